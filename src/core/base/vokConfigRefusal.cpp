#include "core/base/vokConfigRefusal.h"

std::string vokConfigRefusalText(const vokConfigRefusal& refusal) {
    std::string subject = refusal.key.empty() ? "the file is not used" : refusal.key;
    if (!refusal.written.empty()) subject += " = " + refusal.written;
    return subject + ": " + refusal.reason + "; used instead: " + refusal.used;
}
