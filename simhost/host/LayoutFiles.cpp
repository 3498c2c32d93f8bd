#include "host/LayoutFiles.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace simhost {

void writeFile(const std::string& hostPath, const std::string& content, mode_t mode) {
    fs::create_directories(fs::path(hostPath).parent_path());
    std::ofstream stream(hostPath, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream || ::chmod(hostPath.c_str(), mode) != 0)
        throw std::runtime_error(hostPath + ": can't be written");
}

void writeLink(const std::string& target, const std::string& hostPath) {
    fs::create_directories(fs::path(hostPath).parent_path());
    fs::remove(hostPath);
    fs::create_symlink(target, hostPath);
}

std::string moduleLink(const std::string& root) {
    return root + "/lib/libvok-hostaccess.so";
}

void linkLibrary(const std::string& root, const std::string& standIn, const std::string& name) {
    const fs::path file = fs::canonical(moduleLink(root)).parent_path() / standIn;
    if (!fs::exists(file))
        throw std::runtime_error(file.string() + ": the stand-in of a library is not there");
    writeLink(file.string(), root + "/lib/" + name);
}

}  // namespace simhost
