// A host whose files lie under a directory of this machine: a simulated or a recorded one.
//
// Every absolute path is prefixed with the directory, after its parts ".." are resolved, which never lead out
// of the directory; below /sys the kernel resolves up to two of them, after links to devices. Commands are
// looked up in its `bin` first, libraries in its `lib` first. Nothing outside the directory is written.
#pragma once

#include "platform/access/vokHostAccess.h"

class vokRootedHostAccess : public vokKernelHostAccess {
public:
    // `root`: an existing directory; a relative one is made absolute.
    explicit vokRootedHostAccess(const std::string& root);

    const std::string& root() const { return root_; }

    std::string path(const std::string& absolute) const override;
    std::string commandPath(const std::string& absolute) const override;
    FILE* openCommand(const std::string& command) override;
    int runCommand(const std::string& command) override;
    void* openLibrary(const std::string& name, int flags) override;
    // Appended to var/log/syslog.log under the root, since the machine's own log lies outside it.
    void systemLog(int priority, const std::string& text) override;

protected:
    std::string searchPath() const override;

private:
    std::string withHostTools(const std::string& command) const;

    std::string root_;
};

// The entry point that a host-access module exports under the name "vokCreateHostAccess". `root` is that of
// vokOpenHostRoot, made absolute. The caller owns the result; null if the module can't serve the root.
using vokCreateHostAccessFunction = IvokHostAccess* (*)(const char* root);

// The access to the host under `root`: that of the directory's own host-access module,
// lib/libvok-hostaccess.so, if there is one (a simulated host provides its device nodes with it), otherwise a
// vokRootedHostAccess. Null, with a sentence in `error`, if the directory is missing, its module can't be
// used, or somebody other than root and this process's user could change what is run: the directory, its
// `bin` or its `lib` belongs to another user, or is writable by everyone or by a group that is neither root's
// nor this process's own.
std::unique_ptr<IvokHostAccess> vokOpenHostRoot(const std::string& root, std::string& error);
