// The signals of the daemon: those that end it, and how the threads of the agent are kept free of them.
#pragma once

// Blocks the signals in this thread and in all that it creates. To be called before any other thread
// exists: a signal must not interrupt a wait for the management controller.
void vokdHoldSignals();

// Waits for SIGTERM or SIGINT, at most `seconds`. Returns the signal's number, or 0 on time-out.
int vokdWaitForSignal(int seconds);

// From three seconds after this call, SIGTERM or SIGINT ends the process at once with `exitStatus`. For use
// during a stop, which may wait without limit for a controller that does not answer.
void vokdEndAtNextSignal(int exitStatus);
