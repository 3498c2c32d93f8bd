// Records what lies at the paths that the agent asks for: every symbolic link and directory on the way, and
// the entry itself. It is what lay there when the path was asked for the first time, since that is what the
// agent read; changes that a command made are in the command's answer (CommandRecorder.h). Of programs and
// libraries in ELF only the first four bytes are kept.
#pragma once

#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "daemon/recording/ExchangeLog.h"
#include "platform/access/vokHostAccess.h"
#include "recording/Recording.h"

class FileRecorder {
public:
    static constexpr std::size_t longestFile = std::size_t{16} << 20;

    // Both outlive this.
    FileRecorder(const IvokHostAccess& access, ExchangeLog& log);

    // Paths at and below these are not recorded: the places that the agent itself writes to.
    void leaveOut(const std::vector<std::string>& paths);
    // Records what lies at an absolute path of the host, if it wasn't asked for before.
    void record(const std::string& absolute);
    // Notes that a command has changed a file, which is then not reported as changed.
    void changedByCommand(const std::string& absolute);
    // Reads everything again and adds a remark for each entry that is different by now.
    void remarkChanges();
    // The caller takes the entries.
    std::map<std::string, recording::FileEntry> take();

private:
    using Entry = recording::FileEntry;
    using Parts = std::deque<std::string>;

    bool isLeftOut(const std::string& absolute) const;
    void walk(const std::string& absolute);
    // Keeps `entry`, unless there is one already that was asked for or this one wasn't.
    void keep(const std::string& path, Entry entry);
    // What lies at `path`, none of whose directories is a link; `whole`: with content or children.
    Entry read(const std::string& path, bool whole) const;
    // False if the target of a link leads out of the host root. One with the root at its beginning loses it.
    bool isOfHost(std::string& target) const;

    const IvokHostAccess& access_;
    ExchangeLog& log_;
    std::string root_;  // without "/" at its end; empty for the machine itself

    mutable std::mutex mutex_;  // guards all below
    std::vector<std::string> leftOut_;
    std::set<std::string> asked_;
    std::set<std::string> changed_;
    std::map<std::string, Entry> entries_;
};
