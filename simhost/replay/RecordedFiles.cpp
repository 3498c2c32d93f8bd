#include "replay/RecordedFiles.h"

#include <algorithm>
#include <deque>
#include <vector>

namespace simhost {

namespace {

constexpr unsigned mostLinks = 40;  // followed on the way to one path, as the kernel does

std::deque<std::string> partsOf(const std::string& path) {
    std::deque<std::string> parts;
    for (std::size_t at = 0; at < path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        if (end > at) parts.push_back(path.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

std::string parentOf(const std::string& location) {
    const std::size_t slash = location.rfind('/');
    return slash == 0 ? "/" : location.substr(0, slash);
}

std::string nameOf(const std::string& location) {
    return location.substr(location.rfind('/') + 1);
}

// Of two entries of one location the one that says more.
bool saysMore(const RecordedFiles::Entry& entry, const RecordedFiles::Entry& than) {
    if (entry.asked != than.asked) return entry.asked;
    return entry.children.size() > than.children.size();
}

}  // namespace

RecordedFiles::RecordedFiles(const Entries& recorded) {
    for (const auto& [path, entry] : recorded)
        if (entry.kind == Entry::Kind::link && entry.error == 0) links_[path] = entry.target;
    // A link may itself have been recorded by a path with links in it, and so on.
    for (bool found = true; found;) {
        found = false;
        for (const auto& [path, entry] : recorded) {
            if (entry.kind != Entry::Kind::link || entry.error != 0) continue;
            const auto location = locate(path);
            if (location) found = links_.emplace(*location, entry.target).second || found;
        }
    }
    for (const auto& [path, entry] : recorded) {
        const auto location = locate(path);
        if (!location) continue;
        const auto [place, isNew] = entries_.emplace(*location, entry);
        if (!isNew && saysMore(entry, place->second)) place->second = entry;
    }
}

std::optional<std::string> RecordedFiles::locate(const std::string& path) const {
    bool above = false;
    return walk(path, above);
}

bool RecordedFiles::leadsOut(const std::string& path) const {
    bool above = false;
    walk(path, above);
    return above;
}

// Sets `above` when ".." is met at "/".
std::optional<std::string> RecordedFiles::walk(const std::string& path, bool& above) const {
    if (path.empty() || path.front() != '/') return std::nullopt;
    std::deque<std::string> left = partsOf(path);
    std::string at;  // "" for "/"
    unsigned followed = 0;
    while (!left.empty()) {
        const std::string part = left.front();
        left.pop_front();
        if (part == ".") continue;
        if (part == "..") {
            above = above || at.empty();
            at.erase(std::min(at.rfind('/'), at.size()));
            continue;
        }
        const auto link = left.empty() ? links_.end() : links_.find(at + "/" + part);
        if (link == links_.end()) {
            at += "/" + part;
            continue;
        }
        if (++followed > mostLinks) return std::nullopt;
        const std::string& target = link->second;
        if (!target.empty() && target.front() == '/') at.clear();
        const auto parts = partsOf(target);
        left.insert(left.begin(), parts.begin(), parts.end());
    }
    return at.empty() ? "/" : at;
}

const RecordedFiles::Entry* RecordedFiles::find(const std::string& location) const {
    const auto found = entries_.find(location);
    return found == entries_.end() ? nullptr : &found->second;
}

bool RecordedFiles::isKnownAbsent(const std::string& location) const {
    if (location == "/") return false;
    const std::string parent = parentOf(location);
    const Entry* const above = find(parent);
    if (!above) return isKnownAbsent(parent);
    switch (above->kind) {
        case Entry::Kind::absent:
        case Entry::Kind::file:
        case Entry::Kind::other:
            return true;
        case Entry::Kind::directory:
            return above->asked && above->error == 0 && above->children.count(nameOf(location)) == 0;
        case Entry::Kind::link:
            return false;
    }
    return false;
}

RecordedFiles::Answer RecordedFiles::ask(const std::string& path) const {
    Answer answer;
    const auto location = locate(path);
    if (!location) return answer;
    answer.location = *location;
    const Entry* const entry = find(*location);
    // A link and a path that is absent are recorded wholly, also as a part of the way to another one.
    const bool isWhole =
        entry && (entry->asked || entry->kind == Entry::Kind::link || entry->kind == Entry::Kind::absent);
    if (!isWhole) {
        if (!entry && isKnownAbsent(*location)) answer.kind = Answer::Kind::known;
        return answer;
    }
    answer.kind = entry->error == 0 ? Answer::Kind::known : Answer::Kind::fails;
    answer.type = entry->kind;
    answer.error = entry->error;
    return answer;
}

}  // namespace simhost
