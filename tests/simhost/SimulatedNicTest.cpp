// The Ethernet adapters of a simulated host, as the agent's commands see them.
#include <gmock/gmock.h>

#include "platform/access/vokCommandStream.h"
#include "simhost/SimulatedMachine.h"

namespace SimulatedNicTest {

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

class SimulatedNic : public SimulatedMachine {
protected:
    void SetUp() override {
        startHost();
        host = access();
    }
    std::string outputOf(const std::string& command) {
        FILE* const stream = host->openCommand(command);
        std::string output;
        for (int c; (c = std::fgetc(stream)) != EOF;) output += static_cast<char>(c);
        host->closeCommand(stream);
        return output;
    }
    std::string lineOf(const std::string& name) {
        return outputOf("localcli network nic list | grep '^" + name + " '");
    }
    int refusal(std::vector<std::string> words) {
        words.insert(words.begin(), {VOK_SIMHOST_PROGRAM, "control", "--root", root()});
        return runProgram(words).status;
    }
    std::unique_ptr<IvokHostAccess> host;
};

TEST_F(SimulatedNic, TheListHasAHeadingARulerAndALineAnAdapter) {
    const std::string list = outputOf("localcli network nic list");
    EXPECT_THAT(list,
                HasSubstr("Name    PCI Device    Driver  Admin Status  Link Status  Speed  Duplex  MAC "
                          "Address        MTU   Description\n"
                          "------  ------------  ------  ------------  -----------  -----  ------  ---"));
    EXPECT_THAT(lineOf("vmnic0"), MatchesRegex("vmnic0 +0000:18:00\\.0 +igbn +Up +Up +1000 +Full "
                                               "+02:00:5e:10:00:00 +1500 +Intel Corporation I350.*\n"));
}

TEST_F(SimulatedNic, AnAdaptersDetailsHoldItsFirmware) {
    EXPECT_THAT(outputOf("localcli network nic get -n vmnic2 | grep 'Firmware Version'"),
                testing::StrEq("         Firmware Version: 3.2d 0x80000b5c 0.0.0\n"));
    EXPECT_EQ(host->runCommand("localcli network nic get -n vmnic77 2> " + host->commandPath("/dev/null")),
              1 << 8);
}

TEST_F(SimulatedNic, LinkStateAndPresenceChangeWhileItRuns) {
    hostControl({"nic", "vmnic0", "link", "down"});
    EXPECT_THAT(lineOf("vmnic0"), MatchesRegex(".* Up +Down +0 +Half .*\n"));
    hostControl({"nic", "vmnic0", "link", "unknown"});
    EXPECT_THAT(lineOf("vmnic0"), MatchesRegex(".* Up +Unknown +0 +Half .*\n"));
    hostControl({"nic", "vmnic0", "link", "up"});
    hostControl({"nic", "vmnic0", "speed", "100"});
    EXPECT_THAT(lineOf("vmnic0"), MatchesRegex(".* Up +Up +100 +Full .*\n"));
    hostControl({"nic", "vmnic0", "admin", "down"});
    EXPECT_THAT(lineOf("vmnic0"), MatchesRegex(".* Down +Down +0 +Half .*\n"));
    hostControl({"nic", "vmnic0", "remove"});
    EXPECT_EQ(lineOf("vmnic0"), "");
    hostControl({"nic", "vmnic9", "add", "0000:d8:00.0"});
    EXPECT_THAT(lineOf("vmnic9"), MatchesRegex("vmnic9 +0000:d8:00\\.0 +ixgben +Up +Up +10000 .*\n"));
}

TEST_F(SimulatedNic, WhatDoesNotFitIsRefused) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"nic"},
                                                  {"nic", "vmnic0"},
                                                  {"nic", "vmnic0", "dance"},
                                                  {"nic", "vmnic0", "link", "sideways"},
                                                  {"nic", "vmnic0", "admin", "unknown"},
                                                  {"nic", "vmnic0", "speed", "-1"},
                                                  {"nic", "vmnic77", "link", "up"},
                                                  {"nic", "vmnic77", "remove"},
                                                  {"nic", "vmnic0", "add", "0000:d8:00.0"}})
        EXPECT_EQ(refusal(words), 2) << words.back();
}

}  // namespace
}  // namespace SimulatedNicTest
