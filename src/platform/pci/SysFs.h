// An in-memory model of the host's /sys. synchronize() creates or refreshes a part of it; the other
// operations read only the model. Links are kept as links and never followed, so the model is always a tree.
// For one thread at a time.
//
// Paths are absolute paths on the host. Empty parts ("//", a "/" at the end) are ignored; a path outside the
// root or with a part "." or ".." is never found.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform/pci/SysFsTreeElement.h"

class SysFs {
public:
    // Reads nothing yet. Elements deeper than 64 levels below the root, and those that would make the tree
    // grow beyond `maxCount`, are left out with a warning.
    explicit SysFs(const std::string& root = "/sys", std::size_t maxCount = 1u << 20);

    // Reads the present content below `path`, in the order of the names, and adds the directories that lead
    // to it. Entries that are not a link, file or directory are left out, and so is all below
    // /sys/kernel/debug. False if `path` is missing or leads through a link; it is then removed from the
    // tree.
    bool synchronize(const std::string& path);

    // The text of an attribute, the target of a link; empty for a directory and for a path not in the tree.
    std::string getValue(const std::string& path) const;
    // True if the path is in the tree.
    bool exists(const std::string& path) const;
    // True if the path is in the tree and is a directory.
    bool existsPath(const std::string& path) const;
    // `path` and all paths below it, each directory before its content.
    std::vector<std::string> getPaths(const std::string& path) const;

    // The number of elements in the tree, including the root.
    std::size_t getCount() const { return _count; }
    // Null as long as the tree is empty.
    const SysFsTreeElement* getRoot() const { return _rootElement.get(); }

private:
    bool synchronizeParts(const std::vector<std::string>& parts);
    const SysFsTreeElement* find(const std::string& path) const;

    std::string _root;
    std::size_t _maxCount;
    std::unique_ptr<SysFsTreeElement> _rootElement;
    std::size_t _count = 0;
};
