#include "daemon/recording/CommandRecorder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <optional>
#include <utility>

#include "platform/access/vokOwnedDescriptor.h"

namespace {

// A regular file as a command may change it.
struct WrittenFile {
    ino_t inode = 0;
    timespec changed{};
    off_t size = 0;

    bool operator==(const WrittenFile& other) const {
        return inode == other.inode && size == other.size && changed.tv_sec == other.changed.tv_sec &&
               changed.tv_nsec == other.changed.tv_nsec;
    }
};

std::optional<WrittenFile> stateOf(const std::string& hostPath) {
    struct stat status {};
    if (::lstat(hostPath.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return WrittenFile{status.st_ino, status.st_mtim, status.st_size};
}

// The content of a regular file; nothing if it can't be read or is too long.
std::optional<std::string> contentOf(const std::string& hostPath) {
    const vokOwnedDescriptor file(::open(hostPath.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (!file) return std::nullopt;
    std::string content;
    char buffer[16384];
    for (;;) {
        const ssize_t count = ::read(file.get(), buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 || content.size() > FileRecorder::longestFile) return std::nullopt;
        if (count == 0) return content;
        content.append(buffer, static_cast<std::size_t>(count));
    }
}

}  // namespace

// A command with the files that it names, as they were before.
struct CommandRecorder::Running {
    std::string text;
    std::vector<std::pair<std::string, std::optional<WrittenFile>>> files;
};

// A command whose output is read.
struct CommandRecorder::Reading {
    Running running;
    FILE* stream;  // of the recorded host
    ExchangeLog& log;
    std::string output;

    // For fopencookie(3).
    static ssize_t read(void* cookie, char* buffer, std::size_t room) {
        auto& reading = *static_cast<Reading*>(cookie);
        const std::size_t count = std::fread(buffer, 1, room, reading.stream);
        if (count == 0 && std::ferror(reading.stream)) return -1;
        if (reading.log.take(count)) reading.output.append(buffer, count);
        return static_cast<ssize_t>(count);
    }
};

CommandRecorder::CommandRecorder(IvokHostAccess& access, recording::HostTexts& texts, FileRecorder& files,
                                 ExchangeLog& log)
    : access_(access), texts_(texts), files_(files), log_(log) {}

CommandRecorder::~CommandRecorder() = default;

CommandRecorder::Running CommandRecorder::start(const std::string& command) const {
    Running running{texts_.ofHost(command), {}};
    for (const std::string& path : texts_.pathsIn(command))
        running.files.emplace_back(path, stateOf(access_.path(path)));
    return running;
}

void CommandRecorder::finish(const Running& running, bool isRead, recording::CommandAnswer answer) {
    for (const auto& [path, before] : running.files) {
        const std::string hostPath = access_.path(path);
        const std::optional<WrittenFile> now = stateOf(hostPath);
        if (!now || now == before) continue;
        if (auto content = contentOf(hostPath))
            answer.files[path] = std::move(*content);
        else
            log_.remark("what a command wrote to " + path + " is not recorded");
        files_.changedByCommand(path);
    }
    const std::size_t taken = answer.output.size();
    log_.add(isRead ? recording::kinds::commandRead : recording::kinds::commandRun,
             recording::commandQuestion(running.text), recording::commandFields(answer, isRead), taken);
}

FILE* CommandRecorder::open(const std::string& command) {
    auto reading = std::make_unique<Reading>(Reading{start(command), nullptr, log_, {}});
    reading->stream = access_.openCommand(command);
    if (!reading->stream) {
        const int reason = errno;
        recording::CommandAnswer answer;
        answer.opened = false;
        answer.status = -1;
        answer.error = reason;
        finish(reading->running, true, std::move(answer));
        errno = reason;
        return nullptr;
    }
    const cookie_io_functions_t functions{Reading::read, nullptr, nullptr, nullptr};
    FILE* const stream = ::fopencookie(reading.get(), "r", functions);
    if (!stream) {
        log_.remark("a command is not recorded for want of memory: " + reading->running.text);
        return reading->stream;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    open_[stream] = std::move(reading);
    return stream;
}

int CommandRecorder::close(FILE* stream) {
    std::unique_ptr<Reading> reading;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = open_.find(stream);
        if (found != open_.end()) {
            reading = std::move(found->second);
            open_.erase(found);
        }
    }
    if (!reading) return access_.closeCommand(stream);
    std::fclose(stream);
    recording::CommandAnswer answer;
    answer.status = access_.closeCommand(reading->stream);
    const int reason = errno;
    answer.error = answer.status == -1 ? reason : 0;
    answer.output = std::move(reading->output);
    const int status = answer.status;
    finish(reading->running, true, std::move(answer));
    errno = reason;
    return status;
}

int CommandRecorder::run(const std::string& command) {
    const Running running = start(command);
    recording::CommandAnswer answer;
    answer.status = access_.runCommand(command);
    const int reason = errno;
    answer.error = answer.status == -1 ? reason : 0;
    const int status = answer.status;
    finish(running, false, std::move(answer));
    errno = reason;
    return status;
}
