// The "control" commands of vok-simhost: changes to the host while it runs, as words in and a text out.
#pragma once

#include <string>
#include <vector>

#include "common/RequestServer.h"
#include "host/SimulatedHost.h"

namespace simhost {

// The commands, those of each module together, for the help text.
std::string hostControlHelp();

// Their names.
std::vector<std::string> hostControlNames();

class HostControl {
public:
    HostControl(EventLoop& loop, SimulatedHost& host);

    // Does one command; an error is a status of 1 or 2 and a sentence.
    Answer run(const std::vector<std::string>& words);

private:
    SimulatedHost& host_;
    RequestServer server_;
};

}  // namespace simhost
