// What the tests of this folder share: a host with the folder of the record, and a process that ends within a
// write.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "core/status/vokStatusRecord.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

class StatusFixture : public testing::Test {
protected:
    StatusFixture() {
        logEverything(host);
        host.root.writeFile("/var/run/keep", "");
        host.root.writeFile("/opt/mev/vok/data/keep", "");
    }

    static vokStatusStart sampleStart() {
        vokStatusStart start;
        start.version = "3.3.2.1";
        start.process = 4711;
        start.start = 1700000000;
        start.refreshSeconds = 3600;
        start.pushSeconds = 86400;
        start.doorBellSeconds = 600;
        start.classes = {{0, false}, {3, true}};
        return start;
    }
    std::vector<std::string> statusLines() const {
        std::vector<std::string> found;
        for (const std::string& line : loggedLines(host))
            if (line.find(" STATUS: ") != std::string::npos) found.push_back(line);
        return found;
    }

    FakeHost host;
};

// A child that runs `body` for ever; it is killed at the end of the scope, if not before.
class EndlessChild {
public:
    explicit EndlessChild(const std::function<void()>& body) : process_(::fork()) {
        if (process_ != 0) return;
        for (;;) body();
    }
    ~EndlessChild() { kill(); }
    EndlessChild(const EndlessChild&) = delete;
    EndlessChild& operator=(const EndlessChild&) = delete;

    void kill() {
        if (process_ <= 0) return;
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        process_ = -1;
    }

private:
    pid_t process_;
};

inline void waitUntil(const std::function<bool()>& condition) {
    while (!condition()) ::usleep(200);  // ctest ends a test that never gets there
}
