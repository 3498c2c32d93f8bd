#include "core/status/vokStatusSnapshot.h"

std::optional<vokStatusSnapshot> vokReadStatus(std::string& reason) {
    reason = "not built yet";
    return std::nullopt;
}
