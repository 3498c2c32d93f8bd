#include "core/status/vokHistory.h"

void vokAppendHistory(vokHistoryEntry) {}
bool vokReadHistory(std::size_t, std::vector<vokHistoryEntry>&, std::string& reason) {
    reason = "not built yet";
    return false;
}
