#include "platform/utils/vokWorkFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <utility>

#include "core/base/Logger.h"
#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnDirectory.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char tag[] = "JOB_MGR";

struct Findings {
    std::vector<std::string> warnings;
    std::vector<std::string> errors;
};

std::string reasonText(const char* what) {
    return std::string(what) + ": " + vokUtils::getErrorDescription(errno) + ".";
}

std::string modeText(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof(text), "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

void noteLink(const std::string& hostPath, Findings& findings) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(hostPath.c_str(), target, sizeof(target));
    if (length < 0) return;
    findings.warnings.push_back("The working folder " + hostPath + " is a link to " +
                                std::string(target, static_cast<std::size_t>(length)) + ".");
}

void noteOwnerAndMode(const std::string& hostPath, Findings& findings) {
    const vokOwnedDescriptor folder(::open(hostPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!folder || ::fstat(folder.get(), &status) != 0) return;
    if (status.st_uid != ::geteuid()) {
        findings.warnings.push_back("The working folder " + hostPath + " belongs to user " +
                                    std::to_string(status.st_uid) + ".");
    } else if ((status.st_mode & 0077) != 0) {
        const bool changed = ::fchmod(folder.get(), 0700) == 0;
        findings.warnings.push_back(
            "The working folder " + hostPath + " has mode " + modeText(status.st_mode) +
            (changed ? "; changed to 0700." : reasonText(", which can't be changed")));
    }
}

// Writes a file, as only that finds a full file system.
bool canWrite(const std::string& hostPath) {
    const std::string name = hostPath + "/.vokd-start";
    ::unlink(name.c_str());  // of a start that was killed
    const vokOwnedDescriptor file(
        ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) return false;
    constexpr char block[4096] = {};
    const ssize_t written = ::write(file.get(), block, sizeof(block));
    if (written >= 0 && written < static_cast<ssize_t>(sizeof(block))) errno = ENOSPC;
    const int reason = errno;
    ::unlink(name.c_str());
    errno = reason;
    return written == static_cast<ssize_t>(sizeof(block));
}

void prepare(const std::string& hostPath, Findings& findings) {
    if (!vokMakeOwnDirectory(hostPath)) {
        findings.errors.push_back("The working folder " + hostPath + reasonText(" can't be made"));
        return;
    }
    noteLink(hostPath, findings);
    noteOwnerAndMode(hostPath, findings);
    if (!canWrite(hostPath))
        findings.errors.push_back("The working folder " + hostPath + reasonText(" can't be written"));
}

}  // namespace

std::vector<std::string> vokPrepareWorkFolders() {
    Findings findings;
    for (const char* folder : {vokDataFolder, Logging::Logger::linkDirectory})
        prepare(vokHostAccess().path(folder), findings);
    // Only now, as the first line makes the logger, which puts links into the second folder.
    for (const std::string& text : findings.warnings) VOK_LOG_WARNING(tag, "%s", text.c_str());
    for (const std::string& text : findings.errors) VOK_LOG_ERROR(tag, "%s", text.c_str());
    return std::move(findings.errors);
}
