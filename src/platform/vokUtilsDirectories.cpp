#include <dirent.h>
#include <sys/stat.h>
#include <cstdlib>

#include "platform/vokHostAccess.h"
#include "platform/vokUtils.h"

namespace {

constexpr mode_t linkBits = 0xa000;

// The names in a directory in the order of the alphabet, "." and ".." among them; false when it can't be
// looked at or is a symbolic link.
bool readDirectory(const std::string& path, std::vector<std::string>& names) {
    const std::string place = vokHostAccess().path(path.empty() || path[0] != '/' ? "/" + path : path);
    struct stat status {};
    if (::lstat(place.c_str(), &status) != 0 || (status.st_mode & linkBits) == linkBits) return false;
    dirent** entries = nullptr;
    const int count = ::scandir(place.c_str(), &entries, nullptr, ::alphasort);
    if (count < 0) return false;
    for (int i = 0; i < count; ++i) {
        names.emplace_back(entries[i]->d_name);
        std::free(entries[i]);
    }
    std::free(entries);
    return true;
}

bool isItselfOrParent(const std::string& name) {
    return name == "." || name == "..";
}

}  // namespace

int vokUtils::dirList(std::string path, std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (!readDirectory(path, names)) return -1;
    for (const auto& name : names)
        if (!isItselfOrParent(name)) out.push_back(name);
    return 0;
}

int vokUtils::dirPciList(std::string path, std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (!readDirectory(path, names)) return -1;
    for (const auto& name : names)
        if (name.compare(0, 2, "00") == 0) out.insert(out.begin(), name);
    return 0;
}

int vokUtils::dirListIB(std::string path, std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (!readDirectory(path, names)) return -1;
    for (const auto& name : names)
        if (!isItselfOrParent(name) && name.find("ib") != std::string::npos) out.insert(out.begin(), name);
    return 0;
}

int vokUtils::dirListNvmeNameSpaces(std::string path, std::string prefix, std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (!readDirectory(path, names)) return -1;
    for (const auto& name : names)
        if (!isItselfOrParent(name) && name.compare(0, prefix.size(), prefix) == 0) out.push_back(name);
    return 0;
}
