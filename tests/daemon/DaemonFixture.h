// The real vokd on a host root of a few files, without devices and without a controller.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <chrono>
#include <csignal>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

class DaemonFixture : public testing::Test {
protected:
    DaemonFixture() {
        directory.writeFile("/host/var/run/here", "");
        directory.writeFile("/host/opt/mev/vok/log/here", "");
        directory.writeFile("/host/opt/mev/vok/data/here", "");
    }
    std::string root() const { return directory.path() + "/host"; }
    // Settings with logs in files, and no resource that has a manager in this build: start and stop are
    // quick.
    void configure(const std::string& members = "") const {
        directory.writeFile("/host/etc/config/mev/vok/vok.conf",
                            R"({"EnableResources": ["FibreChannelDevices"], "LoggingLevel": "Info",
                                "EnableDebugLog": "true", "VOKLogLocation": "/scratch/log/vok.log",
                                "DebugLogLocation": "/scratch/log/debug.log")" +
                                (members.empty() ? members : ", " + members) + "}");
    }
    // A command of the host: the lines of a shell script.
    void command(const std::string& name, const std::string& script) const {
        directory.writeFile("/host/bin/" + name, "#!/bin/sh\n" + script);
        ASSERT_EQ(::chmod((root() + "/bin/" + name).c_str(), 0755), 0);
    }
    void start() {
        agent = RunningProgram(directory.path(), "vokd", {VOKD_PROGRAM, "--host-root", root()}, "");
    }

    std::string agentLog() const { return directory.readFile("/host/scratch/log/vok.log"); }
    std::string debugLog() const { return directory.readFile("/host/scratch/log/debug.log"); }
    std::string systemLog() const { return directory.readFile("/host/var/log/syslog.log"); }
    // Checks the condition every few milliseconds; false if it does not hold within 20 s.
    static bool waitUntil(const std::function<bool()>& condition) {
        for (int tries = 0; tries < 4000; ++tries) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }
    bool waitForLog(const std::string& text) const {
        return waitUntil([&] { return agentLog().find(text) != std::string::npos; });
    }
    static int occurrences(const std::string& content, const std::string& text) {
        int count = 0;
        for (auto at = content.find(text); at != std::string::npos; at = content.find(text, at + 1)) ++count;
        return count;
    }

    TemporaryDirectory directory;
    RunningProgram agent;
};
