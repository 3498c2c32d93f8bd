#include <dirent.h>
#include <sys/stat.h>
#include <cstdlib>
#include <functional>

#include "platform/vokHostAccess.h"
#include "platform/vokUtils.h"

namespace {

constexpr mode_t linkBits = 0xa000;

enum class Position { front, back };

// The entries of a directory in the order of the alphabet, "." and ".." among them.
class SortedDirectory {
public:
    explicit SortedDirectory(const std::string& place)
        : count_(::scandir(place.c_str(), &entries_, nullptr, ::alphasort)) {}
    ~SortedDirectory() {
        for (int i = 0; i < count_; ++i) std::free(entries_[i]);
        std::free(entries_);
    }
    SortedDirectory(const SortedDirectory&) = delete;
    SortedDirectory& operator=(const SortedDirectory&) = delete;

    int count() const { return count_; }  // -1 when it can't be read
    const char* name(int index) const { return entries_[index]->d_name; }

private:
    dirent** entries_ = nullptr;
    int count_;
};

// Adds the names that `keep` accepts, each before or behind what `out` holds already.
int listDirectory(const std::string& path, Position position, std::vector<std::string>& out,
                  const std::function<bool(const std::string&)>& keep) {
    const std::string place = vokHostAccess().path(path.empty() || path[0] != '/' ? "/" + path : path);
    struct stat status {};
    if (::lstat(place.c_str(), &status) != 0 || (status.st_mode & linkBits) == linkBits) return -1;
    const SortedDirectory directory(place);
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
