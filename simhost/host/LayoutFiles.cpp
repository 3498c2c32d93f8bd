#include "host/LayoutFiles.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace simhost {

void writeFile(const std::string& place, const std::string& content, mode_t mode) {
    fs::create_directories(fs::path(place).parent_path());
    std::ofstream stream(place, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream || ::chmod(place.c_str(), mode) != 0) throw std::runtime_error(place + ": can't be written");
}

void writeLink(const std::string& target, const std::string& place) {
    fs::create_directories(fs::path(place).parent_path());
    fs::remove(place);
    fs::create_symlink(target, place);
}

}  // namespace simhost
