#include "core/base/vokConfigFinding.h"

std::string vokConfigFindingText(const vokConfigFinding& finding) {
    std::string subject = finding.key.empty() ? "the file is not used" : finding.key;
    if (!finding.written.empty()) subject += " = " + finding.written;
    return subject + ": " + finding.reason + "; used instead: " + finding.used;
}
