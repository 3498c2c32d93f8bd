// Commands, and the texts that hold paths of a host.
//
// kind command-read or command-run
//   question  text      the command, as the host HostTexts::ofHost() gives it
//   answer    status    the wait status, -1 if the command couldn't be run
//             error     errno of a status of -1; of a command-read also that of openCommand(), with status -1
//             opened    command-read only: 0 if openCommand() returned null, otherwise 1
//             output    command-read only: what the agent read of the output, which may be less than the
//                       command wrote
//             file:PATH the content of a file after the command, for each regular file that the command
//                       created or changed, of those that its text names and the agent asked for with
//                       IvokHostAccess::commandPath(). PATH is absolute on the host.
#pragma once

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "recording/Forms.h"

namespace recording {

// Turns a text that was made for an access to a host into one of the host itself: without the host root, and
// with paths as the kernel's own access gives them. Safe to use from several threads.
class HostTexts {
public:
    // `access` outlives this.
    explicit HostTexts(const IvokHostAccess& access);

    // Notes that IvokHostAccess::commandPath() was asked for `absolute`.
    void asked(const std::string& absolute);
    // `text` with every word that commandPath() returned, also between backquotes, replaced by its absolute
    // path, and the host root taken out of what is left.
    std::string ofHost(std::string text) const;
    // The paths among those asked for that `text`, as the access got it, names.
    std::vector<std::string> pathsIn(const std::string& text) const;
    // The host root without "/" at its end; empty for the machine itself.
    const std::string& root() const { return root_; }

private:
    const IvokHostAccess& access_;
    std::string root_;
    mutable std::mutex mutex_;
    std::set<std::string> asked_;
};

struct CommandAnswer {
    int status = 0;
    int error = 0;
    bool opened = true;
    std::string output;
    std::map<std::string, std::string> files;  // by absolute path
};

// `text` is one of HostTexts::ofHost().
Fields commandQuestion(const std::string& text);
// `isRead`: of command-read.
Fields commandFields(const CommandAnswer& answer, bool isRead);
CommandAnswer commandAnswer(const Fields& fields);

}  // namespace recording
