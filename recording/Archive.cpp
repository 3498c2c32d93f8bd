#include "recording/Archive.h"

namespace recording {

std::string writeArchive(const Recording&) {
    return {};
}
std::optional<Recording> readArchive(std::string_view, std::string& error, const ArchiveLimits&) {
    error = "not built yet";
    return std::nullopt;
}
bool saveArchive(const Recording&, const std::string&, std::string& error) {
    error = "not built yet";
    return false;
}
std::optional<Recording> loadArchive(const std::string&, std::string& error) {
    error = "not built yet";
    return std::nullopt;
}

}  // namespace recording
