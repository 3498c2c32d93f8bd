#include "daemon/vokdCrashTrace.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <exception>

#include "core/base/vokLogFiles.h"
#include "core/base/vokVersion.h"

// Everything below the handler uses async-signal-safe functions only; backtrace() becomes one after its
// first call, which is made when the handlers are installed.
namespace {

struct FatalSignal {
    int number;
    const char* name;
};

constexpr FatalSignal fatalSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"}, {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"}};

char traceDirectory[3072];
char exceptionText[512];
alignas(16) char alternateStack[64 * 1024];
std::atomic<long> crashingThread{0};
static_assert(std::atomic<long>::is_always_lock_free);
constexpr int secondsForOtherTrace = 5;

class SafeText {
public:
    SafeText& operator<<(const char* text) {
        while (*text && length_ < sizeof(text_) - 1) text_[length_++] = *text++;
        text_[length_] = '\0';
        return *this;
    }
    SafeText& number(std::uint64_t value, unsigned base = 10) {
        char digits[24];
        std::size_t first = sizeof(digits) - 1;
        digits[first] = '\0';
        do {
            digits[--first] = "0123456789abcdef"[value % base];
            value /= base;
        } while (value != 0);
        return *this << (digits + first);
    }
    const char* get() const { return text_; }
    void writeTo(int descriptor) const {
        [[maybe_unused]] const ssize_t written = ::write(descriptor, text_, length_);
    }

private:
    char text_[4096] = {};
    std::size_t length_ = 0;
};

const char* nameOf(int signal) {
    for (const auto& each : fatalSignals)
        if (each.number == signal) return each.name;
    return "a signal";
}

void writeTrace(int signal, const siginfo_t* information) {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    SafeText path;
    path << traceDirectory << "/vokd-crash-";
    path.number(static_cast<std::uint64_t>(now.tv_sec)) << "-";
    path.number(static_cast<std::uint64_t>(::getpid())) << ".txt";
    const int descriptor = ::open(path.get(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);

    SafeText head;
    head << "vokd " << VOK_VERSION << " ended by " << nameOf(signal);
    if (information && signal != SIGABRT) {
        head << " at address 0x";
        head.number(reinterpret_cast<std::uintptr_t>(information->si_addr), 16);
    }
    SafeText message;
    message << "vokd: " << head.get() + std::strlen("vokd ");
    if (exceptionText[0]) message << ", exception: " << exceptionText;
    message << (descriptor < 0 ? ", no trace in " : ", trace in ") << path.get() << "\n";
    message.writeTo(STDERR_FILENO);
    if (descriptor < 0) return;

    head << "\nprocess ";
    head.number(static_cast<std::uint64_t>(::getpid())) << ", thread ";
    head.number(static_cast<std::uint64_t>(::syscall(SYS_gettid))) << ", time ";
    head.number(static_cast<std::uint64_t>(now.tv_sec)) << "\n";
    if (exceptionText[0]) head << "exception: " << exceptionText << "\n";
    head << "\n";
    head.writeTo(descriptor);

    void* frames[64];
    const int count = ::backtrace(frames, 64);
    ::backtrace_symbols_fd(frames, count, descriptor);
    ::close(descriptor);
}

void onFatalSignal(int signal, siginfo_t* information, void*) {
    const long thread = ::syscall(SYS_gettid);
    long none = 0;
    if (crashingThread.compare_exchange_strong(none, thread)) {
        writeTrace(signal, information);
    } else if (none != thread) {
        // Another thread is writing its trace, and then ends the process.
        timespec remaining{secondsForOtherTrace, 0};
        while (::nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
        }
    }
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(signal, &standard, nullptr);
    ::raise(signal);
}

// Keeps the text of the exception; the abort that follows writes the trace.
[[noreturn]] void onTerminate() {
    if (const std::exception_ptr current = std::current_exception()) {
        try {
            std::rethrow_exception(current);
        } catch (const std::exception& exception) {
            std::strncpy(exceptionText, exception.what(), sizeof(exceptionText) - 1);
        } catch (...) {
            std::strncpy(exceptionText, "of an unknown type", sizeof(exceptionText) - 1);
        }
    }
    std::abort();
}

}  // namespace

bool vokdCaptureCrashes(const std::string& directory) {
    struct stat status {};
    if (vokLogFiles::createDirectoryPath(directory + "/") != 0 || ::stat(directory.c_str(), &status) != 0)
        return false;
    if (!S_ISDIR(status.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    directory.copy(traceDirectory, sizeof(traceDirectory) - 1);

    void* frame[1];
    ::backtrace(frame, 1);  // loads the library that it needs

    stack_t stack{};
    stack.ss_sp = alternateStack;
    stack.ss_size = sizeof(alternateStack);
    ::sigaltstack(&stack, nullptr);
    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const auto& each : fatalSignals) ::sigaction(each.number, &action, nullptr);
    std::set_terminate(onTerminate);
    return true;
}
