#include <sys/stat.h>
#include <functional>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr mode_t linkBits = 0xa000;

enum class Position { front, back };

// Adds the names that `keep` accepts, each before or after the present content of `out`.
int listDirectory(const std::string& path, Position position, std::vector<std::string>& out,
                  const std::function<bool(const std::string&)>& keep) {
    const std::string hostPath = vokHostAccess().path(path.empty() || path[0] != '/' ? "/" + path : path);
    struct stat status {};
    if (::lstat(hostPath.c_str(), &status) != 0 || (status.st_mode & linkBits) == linkBits) return -1;
    const vokSortedDirectory directory(hostPath);
    if (directory.count() < 0) return -1;
    for (int i = 0; i < directory.count(); ++i) {
        const std::string name = directory.name(i);
        if (keep(name)) out.insert(position == Position::front ? out.begin() : out.end(), name);
    }
    return 0;
}

bool isItselfOrParent(const std::string& name) {
    return name == "." || name == "..";
}

}  // namespace

int vokUtils::dirList(std::string path, std::vector<std::string>& out) {
    return listDirectory(path, Position::back, out,
                         [](const std::string& name) { return !isItselfOrParent(name); });
}

int vokUtils::dirPciList(std::string path, std::vector<std::string>& out) {
    return listDirectory(path, Position::front, out,
                         [](const std::string& name) { return name.compare(0, 2, "00") == 0; });
}

int vokUtils::dirListIB(std::string path, std::vector<std::string>& out) {
    return listDirectory(path, Position::front, out, [](const std::string& name) {
        return !isItselfOrParent(name) && name.find("ib") != std::string::npos;
    });
}

int vokUtils::dirListNvmeNameSpaces(std::string path, std::string prefix, std::vector<std::string>& out) {
    return listDirectory(path, Position::back, out, [&prefix](const std::string& name) {
        return !isItselfOrParent(name) && name.compare(0, prefix.size(), prefix) == 0;
    });
}
