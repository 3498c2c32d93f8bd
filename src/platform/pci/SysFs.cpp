#include "platform/pci/SysFs.h"

#include <algorithm>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/pci/vokDirectoryFilters.h"

namespace {

constexpr char debugTree[] = "/sys/kernel/debug";
constexpr int maxDepth = 64;

using Parts = std::vector<std::string>;

Parts splitPath(const std::string& path) {
    Parts parts;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        if (end > begin) parts.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

std::string childPath(const std::string& path, const std::string& name) {
    return path == "/" ? path + name : path + "/" + name;
}

std::string withoutEmptyParts(const std::string& path) {
    std::string whole = "/";
    for (const std::string& part : splitPath(path)) whole = childPath(whole, part);
    return whole;
}

// The parts of `path` below `root`. False if it lies elsewhere.
bool partsBelow(const std::string& root, const std::string& path, Parts& parts) {
    if (path.empty() || path[0] != '/') return false;
    const Parts above = splitPath(root);
    parts = splitPath(path);
    if (parts.size() < above.size() || !std::equal(above.begin(), above.end(), parts.begin())) return false;
    parts.erase(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(above.size()));
    return std::none_of(parts.begin(), parts.end(),
                        [](const std::string& part) { return part == "." || part == ".."; });
}

// The element at a path, without children; null if there is none or it is of another file type.
std::unique_ptr<SysFsTreeElement> makeElement(const std::string& name, const std::string& path) {
    struct stat status {};
    if (::lstat(vokHostAccess().path(path).c_str(), &status) != 0) return nullptr;
    std::unique_ptr<SysFsElement> element;
    if (S_ISLNK(status.st_mode)) element = std::make_unique<SysFsLink>(name, path, status);
    if (S_ISREG(status.st_mode)) element = std::make_unique<SysFsAttrib>(name, path, status);
    if (S_ISDIR(status.st_mode)) element = std::make_unique<SysFsDirectory>(name, path, status);
    if (!element) return nullptr;
    return std::make_unique<SysFsTreeElement>(std::move(element));
}

bool isDirectory(const SysFsTreeElement& node) {
    return S_ISDIR(node.getElement().getStatus().st_mode);
}

// Adds what lies below a node, as far as the limits of depth and of number allow.
class Walk {
public:
    explicit Walk(std::size_t room) : room_(room) {}

    void run(SysFsTreeElement& start, std::size_t depth) {
        enter(start, depth);
        if (cut_) VOK_LOG_WARNING("SYSFS", "The tree is too large or too deep; a part of it is left out.");
    }

private:
    void enter(SysFsTreeElement& node, std::size_t depth) {
        const std::string path = node.getElement().getPath();
        if (!isDirectory(node) || path == debugTree || path.rfind(std::string(debugTree) + "/", 0) == 0)
            return;
        const vokSortedDirectory directory(vokHostAccess().path(path), file_select);
        for (int i = 0; i < directory.count(); ++i) {
            if (depth >= maxDepth || room_ == 0) {
                cut_ = true;
                return;
            }
            auto child = makeElement(directory.name(i), childPath(path, directory.name(i)));
            if (!child) continue;
            --room_;
            enter(node.addChildtoBack(std::move(child)), depth + 1);
        }
    }

    std::size_t room_;
    bool cut_ = false;
};

void appendPaths(const SysFsTreeElement& node, std::vector<std::string>& paths) {
    paths.push_back(node.getElement().getPath());
    for (const auto& child : node.getChildren()) appendPaths(*child, paths);
}

}  // namespace

SysFs::SysFs(const std::string& root, std::size_t maxCount)
    : _root(withoutEmptyParts(root)), _maxCount(maxCount) {}

bool SysFs::synchronize(const std::string& path) {
    Parts parts;
    if (!partsBelow(_root, path, parts)) return false;
    const bool done = synchronizeParts(parts);
    _count = _rootElement ? _rootElement->countElements() : 0;
    return done;
}

bool SysFs::synchronizeParts(const Parts& parts) {
    const std::string rootName = _root.substr(_root.rfind('/') + 1);
    if (parts.empty() || !_rootElement) {
        _rootElement = makeElement(rootName, _root);
    }
    if (!_rootElement || (!parts.empty() && !isDirectory(*_rootElement))) return false;
    SysFsTreeElement* node = _rootElement.get();
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool isLast = i + 1 == parts.size();
        SysFsTreeElement* const existing = node->findChild(parts[i]);
        auto created = makeElement(parts[i], childPath(node->getElement().getPath(), parts[i]));
        if (!created || (!isLast && !isDirectory(*created))) {
            node->removeChild(parts[i]);
            return false;
        }
        if (isLast || !existing || !isDirectory(*existing)) node->replaceChild(std::move(created));
        node = node->findChild(parts[i]);
    }
    const std::size_t others = _rootElement->countElements();
    Walk(_maxCount > others ? _maxCount - others : 0).run(*node, parts.size());
    return true;
}

const SysFsTreeElement* SysFs::find(const std::string& path) const {
    Parts parts;
    if (!partsBelow(_root, path, parts)) return nullptr;
    const SysFsTreeElement* node = _rootElement.get();
    for (const std::string& part : parts)
        if (node) node = node->findChild(part);
    return node;
}

std::string SysFs::getValue(const std::string& path) const {
    const SysFsTreeElement* const node = find(path);
    return node ? node->getElement().getValue() : std::string();
}

bool SysFs::exists(const std::string& path) const {
    return find(path) != nullptr;
}

bool SysFs::existsPath(const std::string& path) const {
    const SysFsTreeElement* const node = find(path);
    return node && isDirectory(*node);
}

std::vector<std::string> SysFs::getPaths(const std::string& path) const {
    std::vector<std::string> paths;
    const SysFsTreeElement* const node = find(path);
    if (node) appendPaths(*node, paths);
    return paths;
}
