#include "platform/access/vokCommands.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <vector>

#include "platform/access/vokCommandEnvironment.h"
#include "platform/access/vokOwnedDescriptor.h"

namespace {

// In milliseconds.
constexpr int timeForTheGroup = 100;  // for the children of a shell that has ended by SIGTERM already
constexpr int shortestTick = 1;
constexpr int longestTick = 250;
constexpr int endingTick = 20;

constexpr char shell[] = "/bin/sh";
constexpr int firstOtherDescriptor = STDERR_FILENO + 1;

class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawnattr_setflags(&attributes_,
                                   POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    posix_spawn_file_actions_t* get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// 0, or an error number. `output` is the standard output of the shell, or -1 for that of this process.
int spawnShell(pid_t& process, std::string command, const std::string& searchPath, int output,
               bool closesOthers) {
    const SpawnAttributes attributes;
    SpawnActions actions;
    if (output >= 0) ::posix_spawn_file_actions_adddup2(actions.get(), output, STDOUT_FILENO);
    if (closesOthers) ::posix_spawn_file_actions_addclosefrom_np(actions.get(), firstOtherDescriptor);
    std::vector<std::string> arguments{"sh", "-c", std::move(command)};
    std::vector<std::string> environment = vokCommandEnvironment(searchPath);
    return ::posix_spawn(&process, shell, actions.get(), attributes.get(), pointersTo(arguments).data(),
                         pointersTo(environment).data());
}

}  // namespace

// One command from its start to the end of its shell.
class vokCommandProcess {
public:
    enum class Output { inherited, piped };

    vokCommandProcess(const vokStopRequest& stop, const vokCommandLimits& limits)
        : stop_(stop), limits_(limits) {}

    // False with errno.
    bool start(const std::string& command, const std::string& searchPath, Output output,
               vokOpenProcess openProcess);
    // Like read(2) on the standard output.
    ssize_t read(char* buffer, std::size_t size);
    // Waits for the shell to end: its wait status, or -1 with errno.
    int wait();

private:
    enum class Event { output, exit, timeIsUp };

    // Waits for output at the descriptor, which may be -1, and for the end of the shell.
    Event nextEvent(int output);
    // False if the shell still runs after this time.
    bool waitForExit(int milliseconds);
    bool hasExited() const;
    // Ends the process group.
    void end();

    const vokStopRequest& stop_;
    const vokCommandLimits& limits_;
    pid_t process_ = -1;
    vokOwnedDescriptor output_;
    vokOwnedDescriptor exit_;     // readable once the shell has exited; none on older kernels
    bool outputIsKnown_ = false;  // no more than `outputLeft_` bytes are still to be read
    std::size_t outputLeft_ = 0;
};

bool vokCommandProcess::start(const std::string& command, const std::string& searchPath, Output output,
                              vokOpenProcess openProcess) {
    if (stop_.timeLeft(limits_.afterStop) == 0) {
        errno = ECANCELED;
        return false;
    }
    int ends[2] = {-1, -1};
    if (output == Output::piped && ::pipe2(ends, O_CLOEXEC) != 0) return false;
    output_.reset(ends[0]);
    const vokOwnedDescriptor written(ends[1]);
    int error = spawnShell(process_, command, searchPath, written.get(), true);
    // Where the system can't close all descriptors of a process at once, close-on-exec must suffice.
    if (error != 0) error = spawnShell(process_, command, searchPath, written.get(), false);
    if (error != 0) {
        errno = error;
        return false;
    }
    exit_.reset(openProcess(process_));
    return true;
}

ssize_t vokCommandProcess::read(char* buffer, std::size_t size) {
    if (!outputIsKnown_) {
        switch (nextEvent(output_.get())) {
            case Event::output:
                break;
            case Event::exit: {
                int count = 0;  // with what the shell printed last, after the look at the pipe
                ::ioctl(output_.get(), FIONREAD, &count);
                outputLeft_ = static_cast<std::size_t>(std::max(0, count));
                outputIsKnown_ = true;
                break;
            }
            case Event::timeIsUp:
                end();
                outputIsKnown_ = true;
                break;
        }
    }
    if (outputIsKnown_) size = std::min(size, outputLeft_);
    if (size == 0) return 0;
    const ssize_t count = ::read(output_.get(), buffer, size);
    if (outputIsKnown_ && count > 0) outputLeft_ -= static_cast<std::size_t>(count);
    return count;
}

int vokCommandProcess::wait() {
    output_.reset();  // a command that keeps writing gets SIGPIPE
    if (nextEvent(-1) == Event::timeIsUp) end();
    int status = 0;
    const pid_t ended = ::waitpid(process_, &status, WNOHANG);
    if (ended == 0) errno = ETIMEDOUT;
    return ended == process_ ? status : -1;
}

vokCommandProcess::Event vokCommandProcess::nextEvent(int output) {
    for (int tick = shortestTick;; tick = std::min(2 * tick, longestTick)) {
        const bool stopping = stop_.isMade();
        int limit = stop_.timeLeft(limits_.afterStop);
        if (!exit_) limit = stopping ? std::min(limit, tick) : tick;
        pollfd waited[] = {
            {output, POLLIN, 0}, {exit_.get(), POLLIN, 0}, {stopping ? -1 : stop_.descriptor(), POLLIN, 0}};
        ::poll(waited, std::size(waited), limit);  // after an error or a signal nothing is ready
        // Output comes last, as it may be without end.
        if (hasExited()) return Event::exit;
        if (stop_.timeLeft(limits_.afterStop) == 0) return Event::timeIsUp;
        if (waited[0].revents != 0) return Event::output;
    }
}

bool vokCommandProcess::waitForExit(int milliseconds) {
    for (int waited = 0; !hasExited(); waited += endingTick) {
        if (waited >= milliseconds) return false;
        pollfd exit{exit_.get(), POLLIN, 0};
        ::poll(&exit, 1, endingTick);
    }
    return true;
}

bool vokCommandProcess::hasExited() const {
    siginfo_t information{};
    // Without reaping it, as its process id still names the group.
    const int result =
        ::waitid(P_PID, static_cast<id_t>(process_), &information, WEXITED | WNOHANG | WNOWAIT);
    return result != 0 || information.si_pid != 0;
}

void vokCommandProcess::end() {
    ::kill(-process_, SIGTERM);
    if (waitForExit(limits_.untilKilled)) ::poll(nullptr, 0, timeForTheGroup);
    ::kill(-process_, SIGKILL);
    waitForExit(limits_.untilGivenUp);
}

vokCommands::vokCommands(const vokStopRequest& stop, vokCommandLimits limits, vokOpenProcess openProcess)
    : stop_(stop), limits_(limits), openProcess_(openProcess) {}

vokCommands::~vokCommands() = default;

int vokCommands::openPidFd(pid_t process) {
    return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

FILE* vokCommands::open(const std::string& command, const std::string& searchPath) {
    auto process = std::make_unique<vokCommandProcess>(stop_, limits_);
    if (!process->start(command, searchPath, vokCommandProcess::Output::piped, openProcess_)) return nullptr;
    cookie_io_functions_t operations{};
    operations.read = [](void* cookie, char* buffer, std::size_t size) {
        return static_cast<vokCommandProcess*>(cookie)->read(buffer, size);
    };
    FILE* const stream = ::fopencookie(process.get(), "r", operations);
    if (!stream) {
        process->wait();
        errno = ENOMEM;
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    open_[stream] = std::move(process);
    return stream;
}

int vokCommands::close(FILE* stream) {
    std::unique_ptr<vokCommandProcess> process;
    {
        // Removed before the stream is closed: another thread's next stream may have the same address.
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = open_.find(stream);
        if (found != open_.end()) {
            process = std::move(found->second);
            open_.erase(found);
        }
    }
    if (!process) {
        errno = ECHILD;
        return -1;
    }
    std::fclose(stream);
    return process->wait();
}

int vokCommands::run(const std::string& command, const std::string& searchPath) {
    vokCommandProcess process(stop_, limits_);
    return process.start(command, searchPath, vokCommandProcess::Output::inherited, openProcess_)
               ? process.wait()
               : -1;
}
