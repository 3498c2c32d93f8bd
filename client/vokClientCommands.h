// The commands of the client: what each sends, and what it tells the person who asked.
#pragma once

#include <chrono>
#include <string>

// Exit statuses.
enum vokClientExit {
    vokExitDone = 0,
    vokExitBadInput = 1,
    vokExitRefused = 2,
    vokExitNoAgent = 3,
    vokExitNoPermission = 4,
    vokExitNoAnswer = 5,
    vokExitFailed = 6,
};

// What --help says about the exit statuses.
extern const char vokClientExitHelp[];

// Each gives the exit status, or ends the program by the signal that asked it to end.

// Asks the agent to raise the test event `id`; `location` may be empty.
int vokClientTest(int id, const std::string& location, std::chrono::seconds timeout);
// Has the agent send the event whose JSON text `file` holds; "-" is standard input.
int vokClientInject(const std::string& file, std::chrono::seconds timeout);
// Lists the event numbers.
int vokClientEvents();
