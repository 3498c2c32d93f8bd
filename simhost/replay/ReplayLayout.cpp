#include "replay/ReplayLayout.h"

#include <sys/stat.h>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "common/Files.h"
#include "common/HostPaths.h"
#include "host/ClaimedRoot.h"
#include "host/LayoutFiles.h"
#include "replay/ReplayMessage.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

using Entry = RecordedFiles::Entry;

// A recording has no modes. The agent looks for the programs that it may run, and it runs none of them here.
constexpr mode_t fileMode = 0700;
constexpr char unknownTarget[] = "not recorded";

// What a replayed host has in any case.
constexpr const char* directories[] = {
    "/dev",         "/etc/config/mev/vok", "/lib", "/opt/mev/vok/data", "/opt/mev/vok/log",
    "/run/simhost", "/scratch/log",        "/tmp", "/var/log",          "/var/run",
    "/var/tmp",
};

void removeContent(const std::string& root) {
    const fs::path run = HostPaths(root).run();
    for (const auto& entry : fs::directory_iterator(root)) {
        if (entry.path() == run.parent_path() || entry.path() == root + ClaimedRoot::markFile) continue;
        fs::remove_all(entry.path());
    }
    for (const auto& entry : fs::directory_iterator(run.parent_path()))
        if (entry.path() != run) fs::remove_all(entry.path());
}

bool isThere(const std::string& hostPath) {
    return fs::exists(fs::symlink_status(hostPath));
}

// A socket without a listener: it exists, opening it fails, and nothing blocks.
void makeOther(const std::string& hostPath) {
    if (::mknod(hostPath.c_str(), S_IFSOCK | 0600, 0) != 0)
        throw std::system_error(errno, std::generic_category(), hostPath);
}

class Layout {
public:
    Layout(const std::string& root, const RecordedFiles& files) : root_(root), files_(files) {}

    void makeEntries() {
        for (const auto& [location, entry] : files_.entries()) make(location, entry);
        for (const auto& [location, entry] : files_.entries())
            if (entry.kind == Entry::Kind::directory) makeChildren(location, entry);
    }

private:
    void make(const std::string& location, const Entry& entry) {
        const std::string hostPath = root_ + location;
        if (entry.kind == Entry::Kind::absent || isReserved(files_, location)) return;
        makeDirectories(fs::path(hostPath).parent_path().string());
        if (entry.kind == Entry::Kind::file) writeFile(hostPath, entry.content, fileMode);
        if (entry.kind == Entry::Kind::directory) makeDirectories(hostPath);
        if (isThere(hostPath)) return;
        if (entry.kind == Entry::Kind::link) fs::create_symlink(targetOf(location, entry), hostPath);
        if (entry.kind == Entry::Kind::other) makeOther(hostPath);
    }

    // A relative target is as recorded; an absolute one would lead to the machine's own files, so it is made
    // relative.
    std::string targetOf(const std::string& location, const Entry& link) const {
        if (link.error != 0 || link.target.empty()) return unknownTarget;
        const fs::path from = fs::path(location).parent_path();
        const bool isAbsolute = link.target.front() == '/';
        if (files_.leadsOut(isAbsolute ? link.target : (from / link.target).string()))
            throw std::runtime_error("the link " + location + " leads out of the recorded host");
        if (!isAbsolute) return link.target;
        const auto target = files_.locate(link.target);
        return target ? fs::path(*target).lexically_relative(from).string() : unknownTarget;
    }

    // The names in a list that have no entry of their own.
    void makeChildren(const std::string& location, const Entry& directory) {
        for (const auto& [name, kind] : directory.children) {
            if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
                throw std::runtime_error("the list of " + location + " holds what is no file name");
            const std::string child = (location == "/" ? "" : location) + "/" + name;
            if (isThere(root_ + child)) continue;
            Entry placeholder;
            placeholder.kind = kind;
            make(child, placeholder);
        }
    }

    const std::string& root_;
    const RecordedFiles& files_;
};

}  // namespace

bool isReserved(const RecordedFiles& files, const std::string& location) {
    const std::string run = HostPaths("").run();
    return location == run || location.compare(0, run.size() + 1, run + "/") == 0 ||
           location == ClaimedRoot::markFile || location == files.locate(moduleLink(""));
}

void layOutReplay(const std::string& root, const RecordedFiles& files, const ReplaySources& sources) {
    const auto place = [&](const std::string& path) { return root + files.locate(path).value_or(path); };
    removeContent(root);
    // Of a link the directory that it leads to.
    for (const std::string directory : directories) makeDirectories(place(directory + "/."));
    Layout(root, files).makeEntries();
    writeLink(sources.module, place(moduleLink("")));
    if (sources.configuration) layOutFile(place(agentConfiguration), *sources.configuration);
    // A path below a file is nowhere, and can't be made.
    writeFile(root + replayNowhere, "");
}

}  // namespace simhost
