// The commands of the client: what each sends, and what it prints for the user.
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
    vokExitUnconfirmed = 7,
    vokExitDropped = 8,
};

// The text of --help on the exit statuses.
extern const char vokClientExitHelp[];

// Each returns the exit status, or ends the program by the signal that requested its end.

// Makes the agent raise the test event `id`; `location` may be empty.
int vokClientTest(int id, const std::string& location, std::chrono::seconds timeout);
// Makes the agent send the event whose JSON text `file` contains; "-" is standard input.
int vokClientInject(const std::string& file, std::chrono::seconds timeout);
// Lists the event numbers.
int vokClientEvents();
