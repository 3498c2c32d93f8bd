// The signals of the daemon: those that it waits for, and how the threads of the agent are kept free of them.
#pragma once

// Blocks the signals in this thread and in all that it creates. To be called before any other thread
// exists: a signal must not interrupt a wait for the management controller. A signal that arrives from here
// on waits for vokdWaitForSignal().
void vokdHoldSignals();

// As long as it exists, SIGTERM and SIGINT reach this thread and request the stop of the host's operations,
// so that a command that hangs can't hold up the start. vokdSignalDuringStart() then returns the signal.
class vokdSignalsDuringStart {
public:
    vokdSignalsDuringStart();
    ~vokdSignalsDuringStart();
    vokdSignalsDuringStart(const vokdSignalsDuringStart&) = delete;
    vokdSignalsDuringStart& operator=(const vokdSignalsDuringStart&) = delete;
};

// The number of the signal that ended the start, or 0.
int vokdSignalDuringStart();

// From here on SIGTERM or SIGINT ends the process at once with `exitStatus`, after the line "vokd:
// interrupted by SIGTERM" on standard error.
void vokdEndAtSignal(int exitStatus);

// Waits for a signal, at most `seconds` of the host: SIGTERM or SIGINT, which end the agent; SIGHUP; or one
// that must not end it (SIGUSR1, SIGUSR2, SIGALRM). Returns the signal's number, or 0 on time-out.
int vokdWaitForSignal(int seconds);

// True for SIGTERM and SIGINT.
bool vokdSignalEndsTheAgent(int number);
// "SIGTERM", for a number that vokdWaitForSignal() returns.
const char* vokdSignalName(int number);

// From three seconds after this call, SIGTERM or SIGINT ends the process at once with `exitStatus`, after a
// line on standard error. For use during a stop, which may wait without limit for a controller that does not
// answer.
void vokdEndAtNextSignal(int exitStatus);
