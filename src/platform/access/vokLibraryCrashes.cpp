#include "platform/access/vokLibraryCrashes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLibraryCall.h"
#include "platform/access/vokOwnedDescriptor.h"
#include "platform/access/vokSharedFile.h"

namespace {

constexpr std::size_t mostLines = 64;

char recordPath[4096];  // empty if it is not known, or longer
std::int64_t thisStart = 0;
pid_t thisProcess = 0;
std::atomic_flag isNoted = ATOMIC_FLAG_INIT;  // a second thread that crashes meanwhile is no second run

// Which file of a library it was: another one under the same path differs in one of these.
struct FileIdentity {
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified = 0;

    bool operator==(const FileIdentity& other) const {
        return inode == other.inode && size == other.size && modified == other.modified;
    }
};

// Async-signal-safe. Zeros if there is no such file.
FileIdentity identityOf(const char* file) noexcept {
    struct stat status {};
    if (*file == '\0' || ::stat(file, &status) != 0) return {};
    return {static_cast<std::uint64_t>(status.st_ino), static_cast<std::uint64_t>(status.st_size),
            static_cast<std::int64_t>(status.st_mtime)};
}

struct Crash {
    std::int64_t runStart = 0;
    std::string end;
    FileIdentity identity;
    std::string name;
    std::string file;
    std::string call;
};

bool parse(const std::string& line, Crash& crash) {
    std::istringstream fields(line);
    const auto text = [&fields](std::string& field) { return !!std::getline(fields, field, '\t'); };
    std::string time, inode, size, modified;
    if (!text(time) || !text(crash.end) || !text(inode) || !text(size) || !text(modified) ||
        !text(crash.name) || !text(crash.file) || !text(crash.call) || crash.name.empty())
        return false;
    crash.runStart = std::strtoll(time.c_str(), nullptr, 10);
    crash.identity = {std::strtoull(inode.c_str(), nullptr, 10), std::strtoull(size.c_str(), nullptr, 10),
                      std::strtoll(modified.c_str(), nullptr, 10)};
    return true;
}

std::string lineOf(const Crash& crash) {
    std::ostringstream line;
    line << crash.runStart << '\t' << crash.end << '\t' << crash.identity.inode << '\t' << crash.identity.size
         << '\t' << crash.identity.modified << '\t' << crash.name << '\t' << crash.file << '\t' << crash.call
         << '\n';
    return line.str();
}

std::vector<Crash> readRecord(const std::string& hostPath) {
    std::vector<Crash> crashes;
    std::string content;
    if (!vokReadSharedFile(hostPath, content)) return crashes;
    std::istringstream lines(content);
    Crash crash;
    for (std::string line; std::getline(lines, line);)
        if (parse(line, crash)) crashes.push_back(crash);
    if (crashes.size() > mostLines)
        crashes.erase(crashes.begin(), crashes.end() - static_cast<std::ptrdiff_t>(mostLines));
    return crashes;
}

// Replaces the record as a whole; removes it if nothing is left.
void writeRecord(const std::string& hostPath, const std::vector<Crash>& crashes) {
    if (crashes.empty()) {
        ::unlink(hostPath.c_str());
        return;
    }
    std::string content;
    for (const Crash& crash : crashes) content += lineOf(crash);
    const std::string temporary = hostPath + ".new";
    ::unlink(temporary.c_str());
    {
        const vokOwnedDescriptor file(
            ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!file ||
            ::write(file.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
            ::unlink(temporary.c_str());
            return;
        }
    }
    if (std::rename(temporary.c_str(), hostPath.c_str()) != 0) ::unlink(temporary.c_str());
}

std::int64_t bootTime(std::int64_t now) {
    struct sysinfo information {};
    if (vokHostAccess().systemInformation(&information) != 0) return 0;
    return now - static_cast<std::int64_t>(information.uptime);
}

bool counts(const Crash& crash, std::int64_t now) {
    return crash.runStart >= bootTime(now) &&
           std::llabs(now - crash.runStart) < vokLibraryCrashes::secondsThatCount &&
           (crash.file.empty() || crash.identity == identityOf(crash.file.c_str()));
}

std::vector<vokLibraryLeftOut>& leftOutOfThisRun() {
    static auto& list = *new std::vector<vokLibraryLeftOut>;
    return list;
}

std::vector<vokLibraryLeftOut> repeatedlyFatal(const std::vector<Crash>& crashes) {
    std::map<std::string, vokLibraryLeftOut> byName;
    for (const Crash& crash : crashes) {
        vokLibraryLeftOut& library = byName[crash.name];
        library.name = crash.name;
        ++library.crashes;
        library.lastEnd = crash.end;
        library.lastCall = crash.call;
    }
    std::vector<vokLibraryLeftOut> libraries;
    for (const auto& [name, library] : byName)
        if (library.crashes >= vokLibraryCrashes::crashesUntilLeftOut) libraries.push_back(library);
    return libraries;
}

// A line that is put together without an allocation. What does not fit is cut.
class SafeLine {
public:
    // With a tab or newline replaced, so that it stays one field.
    SafeLine& field(const char* text) noexcept {
        for (; *text; ++text) append(*text == '\t' || *text == '\n' ? ' ' : *text);
        append('\t');
        return *this;
    }
    SafeLine& number(std::uint64_t value) noexcept {
        char digits[24];
        std::size_t first = sizeof(digits) - 1;
        digits[first] = '\0';
        do {
            digits[--first] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        return field(digits + first);
    }
    void endLine() noexcept { text_[length_ - 1] = '\n'; }
    bool appendTo(const char* path) const noexcept {
        // Without a wait, if a pipe has the name.
        const int file =
            ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
        if (file < 0) return false;
        const bool isWritten = ::write(file, text_, length_) == static_cast<ssize_t>(length_);
        ::close(file);
        return isWritten;
    }

private:
    void append(char character) noexcept {
        if (length_ < sizeof(text_)) text_[length_++] = character;
    }

    char text_[8192];
    std::size_t length_ = 0;
};

}  // namespace

std::vector<vokLibraryLeftOut> vokLibraryCrashes::decide() {
    const std::string hostPath = vokHostAccess().path(recordFile);
    std::vector<Crash> crashes = readRecord(hostPath);
    leftOutOfThisRun().clear();
    if (crashes.empty()) return {};
    const std::int64_t now = vokWallClockSeconds();
    const auto rest = std::remove_if(crashes.begin(), crashes.end(),
                                     [now](const Crash& crash) { return !counts(crash, now); });
    const bool isUnchanged = rest == crashes.end();
    crashes.erase(rest, crashes.end());
    if (!isUnchanged) writeRecord(hostPath, crashes);
    leftOutOfThisRun() = repeatedlyFatal(crashes);
    return leftOut();
}

const std::vector<vokLibraryLeftOut>& vokLibraryCrashes::leftOut() {
    return leftOutOfThisRun();
}

std::string vokLibraryCrashes::refusal(const std::string& name) {
    for (const vokLibraryLeftOut& library : leftOut())
        if (library.name == name) return library.reason();
    return "";
}

void vokLibraryCrashes::prepare() {
    const std::string hostPath = vokHostAccess().path(recordFile);
    thisStart = vokWallClockSeconds();
    thisProcess = ::getpid();
    isNoted.clear();
    recordPath[0] = '\0';
    if (hostPath.size() < sizeof(recordPath)) std::memcpy(recordPath, hostPath.c_str(), hostPath.size() + 1);
}

bool vokLibraryCrashes::note(const char* end) noexcept {
    const vokLibraryCallInProgress call = vokLibraryCall::current();
    if (!call.library || recordPath[0] == '\0' || ::getpid() != thisProcess) return false;
    if (isNoted.test_and_set()) return false;
    const FileIdentity identity = identityOf(call.library->file.c_str());
    SafeLine line;
    line.number(static_cast<std::uint64_t>(thisStart))
        .field(end)
        .number(identity.inode)
        .number(identity.size);
    line.number(static_cast<std::uint64_t>(identity.modified)).field(call.library->name.c_str());
    line.field(call.library->file.c_str()).field(call.call).endLine();
    return line.appendTo(recordPath);
}
