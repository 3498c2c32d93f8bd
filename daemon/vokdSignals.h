// The signals of the daemon: which ones end it, and that none of them disturbs a thread of the agent.
#pragma once

// Holds the signals back in this thread and in all that it creates. To be called before there is any other
// thread: a signal must not interrupt a wait for the management controller.
void vokdHoldSignals();

// Waits for SIGTERM or SIGINT, at most `seconds`. The signal's number, or 0 when the time is over.
int vokdWaitForSignal(int seconds);

// A SIGTERM or SIGINT that comes more than three seconds from now ends the process at once with
// `exitStatus`: for the time of a stop, which may wait without limit for a controller that does not answer.
void vokdEndAtNextSignal(int exitStatus);
