// An in-memory model of the host's /sys. synchronize() makes or renews a part of it; the questions are
// answered from the model alone. Links are kept as links and never followed, so the model is a tree whatever
// the links say. One thread at a time.
//
// Paths are absolute paths of the host. Empty parts ("//", a "/" at the end) do not count; a path outside the
// root or with a part "." or ".." is never found.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform/pci/SysFsTreeElement.h"

class SysFs {
public:
    // Nothing is read yet. What lies deeper than 64 levels below the root, and what would make the tree grow
    // beyond `greatestCount`, is left out with a warning.
    explicit SysFs(const std::string& root = "/sys", std::size_t greatestCount = 1u << 20);

    // Makes the tree below `path` as it is now, in the order of the names, and the directories that lead to
    // it. Entries that are no link, file or directory are left out, and so is all below /sys/kernel/debug.
    // False when `path` is not there or a link leads to it; it is then no longer in the tree.
    bool synchronize(const std::string& path);

    // The text of an attribute, the target of a link; empty for a directory and for what is not in the tree.
    std::string getValue(const std::string& path) const;
    // Whether anything of this name is in the tree.
    bool exists(const std::string& path) const;
    // Whether a directory of this name is in the tree.
    bool existsPath(const std::string& path) const;
    // `path` and all that lies below it, each directory before what it holds.
    std::vector<std::string> getPaths(const std::string& path) const;

    // The elements in the tree, the root among them.
    std::size_t getCount() const { return _count; }
    // Null as long as nothing was found.
    const SysFsTreeElement* getRoot() const { return _rootElement.get(); }

private:
    bool synchronizeParts(const std::vector<std::string>& parts);
    const SysFsTreeElement* find(const std::string& path) const;

    std::string _root;
    std::size_t _greatestCount;
    std::unique_ptr<SysFsTreeElement> _rootElement;
    std::size_t _count = 0;
};
