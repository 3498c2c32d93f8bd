#include "host/LayoutFiles.h"

#include <filesystem>
#include <stdexcept>

#include "common/Files.h"

namespace fs = std::filesystem;

namespace simhost {

void layOutFile(const std::string& hostPath, const std::string& content, mode_t mode) {
    makeDirectories(fs::path(hostPath).parent_path().string());
    writeFile(hostPath, content, mode);
}

void writeLink(const std::string& target, const std::string& hostPath) {
    makeDirectories(fs::path(hostPath).parent_path().string());
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
