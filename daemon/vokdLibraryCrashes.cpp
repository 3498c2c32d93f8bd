#include "daemon/vokdLibraryCrashes.h"

#include <unistd.h>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "core/base/vokLog.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLibraryCall.h"
#include "platform/access/vokLibraryCrashes.h"

namespace {

struct FatalSignal {
    int number;
    const char* name;
};

constexpr FatalSignal fatalSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"}, {SIGFPE, "SIGFPE"}, {SIGILL, "SIGILL"}};
constexpr std::size_t signalCount = sizeof(fatalSignals) / sizeof(fatalSignals[0]);

std::array<struct sigaction, signalCount> formerActions;
int statusAfterExit = EXIT_FAILURE;

// True unless another process has sent the signal, which then says nothing about the library.
bool isOfThisProcess(const siginfo_t* information) {
    return !information || information->si_code > 0 || information->si_pid == ::getpid();
}

// Async-signal-safe.
void onFatalSignal(int signal, siginfo_t* information, void* context) {
    for (std::size_t i = 0; i < signalCount; ++i) {
        if (fatalSignals[i].number != signal) continue;
        if (isOfThisProcess(information)) vokLibraryCrashes::note(fatalSignals[i].name);
        const struct sigaction& former = formerActions[i];
        if (former.sa_flags & SA_SIGINFO) return former.sa_sigaction(signal, information, context);
        ::sigaction(signal, &former, nullptr);
        ::raise(signal);
        return;
    }
}

// A library that ends the process by exit(0) would otherwise look like an orderly end, after which no
// supervisor starts the agent again.
void onExit() {
    if (!vokLibraryCrashes::note("exit")) return;
    const vokLibraryCallInProgress inProgress = vokLibraryCall::current();
    std::fprintf(stderr, "vokd: the library %s has ended the process in the call %s\n",
                 inProgress.library->name.c_str(), inProgress.call);
    ::_exit(statusAfterExit);
}

void warnOf(const vokLibraryLeftOut& library) {
    const std::string record = vokHostAccess().path(vokLibraryCrashes::recordFile);
    VOK_LOG_WARNING(
        "VOKD",
        "The library %s is left out: the agent has died in it %d times, last in the call %s (%s). "
        "It is tried again at a start after its file has changed, after the host has booted, a day "
        "later, or without the file %s.",
        library.name.c_str(), library.crashes, library.lastCall.c_str(), library.lastEnd.c_str(),
        record.c_str());
}

}  // namespace

void vokdRecordLibraryCrashes(int exitStatus) {
    for (const vokLibraryLeftOut& library : vokLibraryCrashes::decide()) warnOf(library);
    vokLibraryCrashes::prepare();
    statusAfterExit = exitStatus;
    std::atexit(onExit);
    struct sigaction action {};
    action.sa_sigaction = onFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (std::size_t i = 0; i < signalCount; ++i)
        ::sigaction(fatalSignals[i].number, &action, &formerActions[i]);
}
