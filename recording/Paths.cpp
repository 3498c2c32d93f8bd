#include "recording/Paths.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "recording/ArchiveText.h"

namespace recording {
namespace {

using Files = std::map<std::string, FileEntry>;

constexpr int mostLinks = 40;
constexpr std::ptrdiff_t mostParts = 100;  // the deepest paths of /sys have some twenty

// A name that a directory can hold, other than "." and "..".
bool isName(std::string_view part) {
    return !part.empty() && part != "." && part != ".." &&
           part.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

// Takes the first part off `rest`, up to and with the "/".
std::string_view takePart(std::string_view& rest) {
    const std::size_t slash = rest.find('/');
    const std::string_view part = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    return part;
}

bool isHostPath(std::string_view path) {
    if (path == "/") return true;
    if (path.empty() || path.front() != '/' || path.back() == '/') return false;
    path.remove_prefix(1);
    while (!path.empty())
        if (!isName(takePart(path))) return false;
    return true;
}

std::ptrdiff_t partsOf(const std::string& path) {
    return std::count(path.begin(), path.end(), '/');
}

// "" for a path directly below "/".
std::string_view parentOf(std::string_view path) {
    return path.substr(0, path.rfind('/'));
}

std::string checkEntry(const std::string& path, const FileEntry& entry, std::size_t longest) {
    if (path.size() > longest || entry.target.size() > longest)
        return "or its target is longer than " + std::to_string(longest) + " bytes";
    if (std::max(partsOf(path), partsOf(entry.target)) > mostParts)
        return "or its target has more than " + std::to_string(mostParts) + " parts";
    if (!isHostPath(path)) return "is not an absolute path without \".\", \"..\" and empty parts";
    if (entry.kind != FileEntry::Kind::directory && !entry.children.empty())
        return "is no directory and has names in it";
    for (const auto& [name, kind] : entry.children)
        if (!isName(name) || kind == FileEntry::Kind::absent)
            return "has the name " + shownText(name) + " in it, which is none";
    const bool hasTarget = !entry.target.empty();
    if (entry.kind == FileEntry::Kind::link ? hasTarget == (entry.error != 0) : hasTarget)
        return "has a target without being a link, or none without an error";
    if (entry.target.find('\0') != std::string::npos) return "has a target with a NUL";
    return {};
}

// The nearest recorded path above, which is no directory; nothing if there is none.
const std::string* nonDirectoryAbove(const Files& files, const std::string& path) {
    for (std::string_view above = parentOf(path); !above.empty(); above = parentOf(above)) {
        const auto found = files.find(std::string(above));
        if (found == files.end()) continue;
        return found->second.kind == FileEntry::Kind::directory ? nullptr : &found->first;
    }
    const auto root = files.find("/");
    const bool isRoot = path == "/";
    return !isRoot && root != files.end() && root->second.kind != FileEntry::Kind::directory ? &root->first
                                                                                             : nullptr;
}

// Where links lead, each found out once.
class Links {
public:
    Links(const Files& files, std::size_t longest) : files_(files), longest_(longest) {}

    // What is wrong with the link at `path`; empty if nothing is.
    std::string check(const std::string& path) {
        follow(path, 1);
        return std::exchange(failure_, {});
    }

private:
    struct End {
        std::string path;  // "" for "/"
        int links = 0;     // how many lead there
    };

    const End* follow(const std::string& path, int depth) {
        const auto known = ends_.find(path);
        if (known != ends_.end()) return &known->second;
        if (depth > mostLinks) {
            fail(tooMany());
            return nullptr;
        }
        const std::string& target = files_.at(path).target;
        End end{target.front() == '/' ? std::string() : std::string(parentOf(path)), 1};
        for (std::string_view rest = target; !rest.empty();)
            if (!step(end, takePart(rest), depth)) return nullptr;
        return &(ends_[path] = std::move(end));
    }

    bool step(End& end, std::string_view part, int depth) {
        if (part.empty() || part == ".") return true;
        if (part == "..") {
            if (end.path.empty()) return fail("leads above \"/\"");
            end.path.resize(parentOf(end.path).size());
            return true;
        }
        end.path += '/';
        end.path += part;
        if (end.path.size() > longest_) return fail("leads to a path that is too long");
        const auto found = files_.find(end.path);
        if (found == files_.end() || found->second.target.empty()) return true;
        const End* const onward = follow(found->first, depth + 1);
        if (!onward) return false;
        end.links += onward->links;
        if (end.links > mostLinks) return fail(tooMany());
        end.path = onward->path;
        return true;
    }

    static std::string tooMany() { return "needs more than " + std::to_string(mostLinks) + " links"; }

    bool fail(const std::string& reason) {
        failure_ = reason;
        return false;
    }

    const Files& files_;
    std::size_t longest_;
    std::map<std::string_view, End> ends_;
    std::string failure_;
};

}  // namespace

bool checkPaths(const Files& files, std::size_t longest, std::string& error) {
    for (const auto& [path, entry] : files) {
        std::string reason = checkEntry(path, entry, longest);
        if (reason.empty() && entry.kind != FileEntry::Kind::absent)
            if (const std::string* const above = nonDirectoryAbove(files, path))
                reason = "lies below " + shownText(*above) + ", which is no directory";
        if (!reason.empty()) {
            error = "The path " + shownText(path) + " " + reason + ".";
            return false;
        }
    }
    Links links(files, longest);
    for (const auto& [path, entry] : files) {
        if (entry.target.empty()) continue;
        const std::string reason = links.check(path);
        if (!reason.empty()) {
            error = "The link " + shownText(path) + " " + reason + ".";
            return false;
        }
    }
    return true;
}

}  // namespace recording
