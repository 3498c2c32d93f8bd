// The agent's log, for tests that expect a line. The settings send every line to the system log, which the
// fake host keeps.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"

// Writes a configuration that logs every level. Called before the agent's first log line.
// `members`: further members of the JSON object, such as "\"EnableResources\": [\"HostOSInfo\"]".
inline void logEverything(const FakeHost& host, const std::string& members = "") {
    host.root.writeFile("/etc/config/mev/vok/vok.conf",
                        "{\"LoggingLevel\": \"Info\", \"EnableDebugLog\": \"true\"" +
                            (members.empty() ? std::string() : ", " + members) + "}");
}

// The lines so far as "DEBUG HOST_RM: text", without the line number.
inline std::vector<std::string> loggedLines(const FakeHost& host) {
    std::vector<std::string> lines;
    for (const auto& entry : host.part<FakeSystemLog>().lines()) {
        const std::string& text = entry.second;
        const std::size_t levelEnd = text.find(']');
        const std::size_t number = text.find_first_of("0123456789", levelEnd);
        const std::size_t module = text.find(' ', number);
        if (levelEnd == std::string::npos || number == std::string::npos || module == std::string::npos)
            lines.push_back(text);
        else
            lines.push_back(text.substr(1, levelEnd - 1) + text.substr(module));
    }
    return lines;
}

inline long countLogged(const FakeHost& host, const std::string& line) {
    const std::vector<std::string> lines = loggedLines(host);
    return static_cast<long>(std::count(lines.begin(), lines.end(), line));
}

inline bool hasLogged(const FakeHost& host, const std::string& line) {
    return countLogged(host, line) > 0;
}
