// Scenarios played on a real simulated host. The test itself is the agent that sends events; the player
// starts and stops a stand-in for it.
#include <gmock/gmock.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include "scenario/OutputTable.h"
#include "scenario/Values.h"
#include "simhost/SimulatedMachine.h"

namespace ScenarioPlayTest {
namespace fs = std::filesystem;
using namespace simhost;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

std::string event(int id, const std::string& device) {
    return R"({"ID":)" + std::to_string(id) +
           R"(,"Source":"VOK-CLI","VariableData":{"Data":{"Oem":{"DeviceName":")" + device +
           R"("}},"Type":"EthernetDevice"}})";
}

class ScenarioPlay : public SimulatedMachine {
protected:
    void SetUp() override {
        // Its process id, so that a test can see whether it is there; it ends with status 0 when it is told
        // to.
        standIn("vokd",
                "trap 'exit 0' TERM; echo $$ >'" + work() + "/agent'\nwhile :; do sleep 0.02; done\n");
        startHost({"--speed", "1000"});
        startController();
        fs::create_directory(work());
    }
    std::string work() const { return directory.path() + "/work"; }
    void standIn(const std::string& name, const std::string& script) const {
        directory.writeFile("programs/" + name, "#!/bin/sh\n" + script);
        fs::permissions(directory.path() + "/programs/" + name, fs::perms::owner_all);
    }
    std::vector<std::string> command(const std::string& scenario,
                                     const std::vector<std::string>& options = {}) const {
        directory.writeFile("scenes.json", scenario);
        std::vector<std::string> words{VOK_SIMHOST_PROGRAM, "play", directory.path() + "/scenes.json"};
        words.insert(words.end(),
                     {"--root", root(), "--work", work(), "--controller", out(), "--controller-log",
                      directory.path() + "/rmc.out", "--programs", directory.path() + "/programs"});
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }
    // Plays one scene "T" with these steps, without its heading.
    Ran play(const std::string& steps, const std::vector<std::string>& options = {}) const {
        Ran ran = runProgram(command(R"({"scenes": [{"title": "T", "steps": [)" + steps + "]}]}", options));
        const std::string heading = "\n1. T\n";
        EXPECT_THAT(ran.output, StartsWith(heading));
        ran.output.erase(0, std::min(ran.output.size(), heading.size()));
        for (const char* line : {"   rmc | vok-rmc: ready: ", "   rmc | note: attached "}) {  // of every play
            const auto at = ran.output.find(line);
            if (at != std::string::npos) ran.output.erase(at, ran.output.find('\n', at) + 1 - at);
        }
        return ran;
    }
    // The same in the background; the test goes on after `first`, which are steps that end in a comma.
    RunningProgram begin(const std::string& steps, const std::string& first = "") const {
        return {directory.path(), "play",
                command(R"({"scenes": [{"title": "T", "steps": [)" + first + R"({"say": "now"}, )" + steps +
                        "]}]}"),
                "   now\n"};
    }
    void send(const std::string& text) {
        const auto host = access();
        ASSERT_EQ(DeviceUser(*host).remoteCommand("MPEventGen", text), 0);
    }
    bool agentRuns() const {
        int process = 0;
        std::ifstream(work() + "/agent") >> process;
        return process > 0 && ::kill(process, 0) == 0;
    }
    bool agentStarts() const {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!agentRuns() && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return agentRuns();
    }
};

TEST_F(ScenarioPlay, ShowsACommandForTheHostAndDoesIt) {
    const Ran ran = play(R"({"host": ["nic", "vmnic1", "link", "down"]})");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output, "   vok-simhost control nic vmnic1 link down\n");
    const Ran list = play(R"({"run": ["localcli", "network", "nic", "list"],
                              "table": {"rows": 9, "where": {"Link Status": "Down"}}})");
    EXPECT_THAT(list.output, AllOf(HasSubstr("   vmnic1  "), Not(HasSubstr("vmnic0"))));
}

TEST_F(ScenarioPlay, ACommandMayGoUnseen) {
    const Ran ran = play(R"({"host": ["clock", "speed", "7"], "shown": false})");
    EXPECT_EQ(ran.output, "");
    EXPECT_EQ(hostState()["speed"].asDouble(), 7);
}

TEST_F(ScenarioPlay, FailsWhenTheHostRefusesACommand) {
    const Ran ran = play(R"({"pause": 1}, {"host": ["nic", "vmnic99", "remove"], "shown": false})");
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(
        ran.output,
        AllOf(StartsWith(
                  "vok-simhost play: scenes.json, scene \"T\", step 2 (host): the simulated host refused "
                  "nic vmnic99 remove: vok-simhost control: "),
              HasSubstr("vmnic99")));
}

TEST_F(ScenarioPlay, AnExpectedEventIsShownAndTimed) {
    RunningProgram player = begin(R"({"expect": [{"ID": 1384, "DeviceName": "vmnic0"}], "hostSeconds": 5000,
        "timed": "after ${took} s, ${tookHost} s"}, {"say": "events so far: ${events}"})",
                                  R"({"host": ["nic", "vmnic0", "link", "down"], "shown": false},)");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    send(event(1384, "vmnic0"));
    EXPECT_EQ(player.end(0), 0) << player.errors();
    EXPECT_THAT(player.output(), HasSubstr("rmc | event 1: 1384 Ethernet link is lost\n"));
    std::smatch times;
    const std::string shown = player.output();
    ASSERT_TRUE(
        std::regex_search(shown, times, std::regex("   after ([0-9]+\\.[0-9]) s, ([0-9]+\\.[0-9]) s\n")))
        << shown;
    const double took = std::stod(times[1]);
    EXPECT_GE(took, 0.2);
    EXPECT_NEAR(std::stod(times[2]), took * 1000, took * 500);  // its clock is a thousand times as fast
    EXPECT_THAT(player.output(), HasSubstr("   events so far: 1\n"));
}

TEST_F(ScenarioPlay, FailsWhenAnotherEventComes) {
    RunningProgram player = begin(R"({"expect": [1384], "hostSeconds": 5000})");
    send(event(1390, "vmnic0"));
    EXPECT_EQ(player.end(0), 1);
    EXPECT_THAT(player.errors(),
                AllOf(HasSubstr("scenes.json, scene \"T\", step 2 (expect): expected an event with "
                                "ID 1384, and got {"),
                      HasSubstr("\"ID\":1390")));
}

TEST_F(ScenarioPlay, FailsWhenTheEventIsOfAnotherDevice) {
    RunningProgram player =
        begin(R"({"expect": [{"ID": 1384, "DeviceName": "vmnic0"}], "hostSeconds": 5000})");
    send(event(1384, "vmnic1"));
    EXPECT_EQ(player.end(0), 1);
    EXPECT_THAT(player.errors(), HasSubstr("expected an event with DeviceName vmnic0, ID 1384, and got {"));
}

TEST_F(ScenarioPlay, AnEventWithAValueOfSeveralElementsIsExpectedOncePerElementInTheirOrder) {
    const std::string scenario = R"({
        "values": [{"name": "names", "fact": "disks", "column": "node", "where": {"controller": "0000:d8:00.0"},
                    "take": "all"}],
        "scenes": [{"title": "T", "steps": [{"say": "now"},
            {"expect": [{"ID": 538, "DeviceName": "${names}"}, {"ID": 397}], "hostSeconds": 5000},
            {"say": "events so far: ${events}"}]}]})";
    const auto received = [&](const std::vector<const char*>& devices) {
        RunningProgram player(directory.path(), "play", command(scenario), "   now\n");
        for (const char* device : devices) send(event(538, device));
        send(event(397, "sg9"));
        player.end(0);
        return player.output() + player.errors();
    };
    EXPECT_THAT(received({"sg4", "sg5", "sg6"}), HasSubstr("   events so far: 4\n"));
    EXPECT_THAT(received({"sg4", "sg6", "sg5"}),
                HasSubstr("expected an event with DeviceName sg5, ID 538, and got {"));
    EXPECT_THAT(received({"sg4", "sg5"}),
                HasSubstr("expected an event with DeviceName sg6, ID 538, and got {"));
}

TEST_F(ScenarioPlay, TheClockSpeedIsSetWithoutCountingAsAChange) {
    RunningProgram player = begin(R"({"pause": 600}, {"clockSpeed": "500"},
        {"await": "inventory", "hostSeconds": 5000}, {"say": "it came"})",
                                  R"({"host": ["nic", "vmnic0", "link", "down"], "shown": false},)");
    const auto host = access();
    ASSERT_EQ(DeviceUser(*host).remoteCommand(
                  "WriteInventory", R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":"n"}}}})"),
              0);
    EXPECT_EQ(player.end(0), 0) << player.errors();
    EXPECT_THAT(player.output(), HasSubstr("   it came\n"));
    EXPECT_EQ(hostState()["speed"].asDouble(), 500);
}

TEST_F(ScenarioPlay, FailsWhenASecondEventComesThatNoStepExpects) {
    RunningProgram player = begin(R"({"expect": [1384], "hostSeconds": 5000}, {"pause": 500})");
    send(event(1384, "vmnic0"));
    send(event(1390, "vmnic0"));
    EXPECT_EQ(player.end(0), 1);
    EXPECT_THAT(player.errors(),
                AllOf(HasSubstr("an event came that no step expected: "), HasSubstr("1390")));
}

TEST_F(ScenarioPlay, EventsOfAnEarlierPlayAreNotExpectedAgain) {
    send(event(1384, "vmnic0"));
    const Ran ran = play(R"({"expectNoEvent": true}, {"say": "none in ${events}"})");
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, StartsWith("   none in 0\n   rmc | event 1: 1384 "));
}

TEST_F(ScenarioPlay, WaitsForTheInventoryAfterAChange) {
    RunningProgram player = begin(R"({"await": "inventory", "hostSeconds": 5000},
        {"inventoryHolds": {"HostName": "n", "OSType": "104"}}, {"inventoryLacks": {"HostName": "m"}})",
                                  R"({"controller": ["ring"], "shown": false},)");
    const auto host = access();
    ASSERT_EQ(DeviceUser(*host).remoteCommand(
                  "WriteInventory",
                  R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":"n","OSType":104}}}})"),
              0);
    EXPECT_EQ(player.end(0), 0) << player.errors();
    EXPECT_THAT(player.output(), HasSubstr("   n  104  {\"HostName\":\"n\",\"OSType\":104}\n"));
}

TEST_F(ScenarioPlay, FailsWhenTheInventoryIsNotAsItMustBe) {
    const auto host = access();
    ASSERT_EQ(DeviceUser(*host).remoteCommand(
                  "WriteInventory", R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":"n"}}}})"),
              0);
    EXPECT_THAT(play(R"({"inventoryHolds": {"HostName": "m"}})").output,
                HasSubstr("(inventoryHolds): m is not in "));
    EXPECT_THAT(play(R"({"inventoryLacks": {"HostName": "n"}})").output,
                HasSubstr("(inventoryLacks): n is still in "));
}

TEST_F(ScenarioPlay, WaitsForACommandThatIsRunAfterTheChange) {
    EXPECT_EQ(runProgram({root() + "/bin/localcli", "system", "version", "get"}).status, 0);
    const std::string slower = R"({"host": ["clock", "speed", "100"], "shown": false},)";
    const auto steps = [](const std::string& hostSeconds) {
        return R"({"awaitCommand": "system version get", "among": "localcli", "hostSeconds": )" +
               hostSeconds + R"(, "otherwise": [{"say": "quiet"}]})";
    };
    EXPECT_EQ(play(slower + steps("30")).output, "   quiet\n");
    RunningProgram player = begin(steps("2000") + R"(, {"say": "over"})", slower);
    EXPECT_EQ(runProgram({root() + "/bin/localcli", "system", "version", "get"}).status, 0);
    EXPECT_EQ(player.end(0), 0) << player.errors();
    EXPECT_EQ(player.output().find("quiet"), std::string::npos);
    EXPECT_THAT(player.output(), HasSubstr("   over\n"));
}

TEST_F(ScenarioPlay, FailsWhenTheCommandIsNotRun) {
    EXPECT_THAT(
        play(R"({"awaitCommand": "network nic list", "hostSeconds": 100})").output,
        HasSubstr("(awaitCommand): the agent has not run \"network nic list\" for 100 s of the host's time"));
}

TEST_F(ScenarioPlay, StartsStopsAndKillsTheAgent) {
    EXPECT_EQ(play(R"({"agent": "start"}, {"pause": 200}, {"agent": "stop"})").status, 0);
    EXPECT_FALSE(agentRuns());
    EXPECT_EQ(
        play(R"({"agent": "start"}, {"pause": 200}, {"agent": "kill"}, {"agent": "start"}, {"pause": 200},
                      {"agent": "stop"})")
            .status,
        0);
    EXPECT_FALSE(agentRuns());
}

TEST_F(ScenarioPlay, LeavesNoAgentBehind) {
    const Ran ran =
        play(R"({"agent": "start"}, {"pause": 300}, {"run": ["cat", "${work}/agent"], "shown": false})");
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, testing::MatchesRegex("   [0-9]+\n"));
    EXPECT_FALSE(agentRuns());
}

TEST_F(ScenarioPlay, FailsWhenTheAgentEndsByItselfOrBadly) {
    standIn("vokd", "exit 4\n");
    EXPECT_THAT(play(R"({"agent": "start"}, {"pause": 5000})").output,
                HasSubstr("(pause): vokd ended by itself, with status 4"));
    standIn("vokd", "trap 'exit 5' TERM\nwhile :; do sleep 0.02; done\n");
    EXPECT_THAT(play(R"({"agent": "start"}, {"pause": 300}, {"agent": "stop"})").output,
                HasSubstr("(agent stop): vokd ended with status 5"));
    EXPECT_THAT(play(R"({"agent": "stop"})").output, HasSubstr("(agent stop): the agent is not running"));
}

TEST_F(ScenarioPlay, ASignalBreaksOffAndEndsTheAgent) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        RunningProgram player = begin(R"({"agent": "start"}, {"await": "inventory", "hostSeconds": 100000})");
        EXPECT_TRUE(agentStarts());
        EXPECT_EQ(player.end(signal), 128 + signal);
        EXPECT_FALSE(agentRuns());
    }
}

TEST_F(ScenarioPlay, ASignalIsTheExpectedEndWhileItIsKeptGoing) {
    const std::string scenario = R"({"scenes": [
        {"title": "Kept", "needs": {"kept": true}, "steps": [{"keep": true}]}, {"title": "The end"}]})";
    RunningProgram player(directory.path(), "play", command(scenario, {"--keep"}), "1. Kept\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    send(event(356, "x"));  // whatever the viewer causes is in order
    EXPECT_EQ(player.end(SIGINT), 0);
    EXPECT_THAT(player.output(), HasSubstr("\n2. The end\n"));
    EXPECT_THAT(runProgram(command(scenario)).output,
                AllOf(HasSubstr("1. The end\n"), Not(HasSubstr("Kept"))));
}

TEST_F(ScenarioPlay, ScenesThatDoNotFitTheTimeAreLeftOut) {
    const std::string scenario =
        R"({"values": [{"name": "all", "output": ["localcli", "network", "nic", "list"],
          "column": "Name", "take": "all"}],
        "scenes": [
        {"title": "Real", "takes": {"seconds": 9}}, {"title": "Short", "takes": {"hostSeconds": 500}},
        {"title": "Long", "takes": {"hostSeconds": 9000}},
        {"title": "Many", "takes": {"each": {"of": "all", "seconds": 2}}},
        {"title": "Kept${until}", "needs": {"kept": true}, "steps": [{"keep": true}]}]})";
    const Ran ran = runProgram(command(scenario, {"--for", "5"}));
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("\n1. Short\n"));
    EXPECT_THAT(ran.output, HasSubstr("\n2. Kept, until 5 s after the show began\n"));
    EXPECT_THAT(runProgram(command(scenario)).output, HasSubstr("\n4. Many\n"));
}

TEST_F(ScenarioPlay, ScenesThatDoNotFitTheHostAreLeftOut) {
    const std::string scenario = R"({
        "values": [{"name": "down", "output": ["localcli", "network", "nic", "list"], "column": "Name",
                    "where": {"Link Status": "Down"}, "otherwise": ""},
                   {"name": "up", "output": ["localcli", "network", "nic", "list"], "column": "Name"}],
        "scenes": [{"title": "Has ${down}", "needs": {"has": ["up", "down"]}}, {"title": "Lacks", "needs": {"lacks": ["down"]}},
                   {"title": "Live", "needs": {"host": "live"}}, {"title": "Described", "needs": {"host": "described"}},
                   {"title": "Tool", "needs": {"program": ["check", "a b"]}}]})";
    standIn("check", "echo noise; echo \"there is no $1\"; exit 1\n");
    const std::vector<std::string> check{"--program", "check=" + directory.path() + "/programs/check"};
    const Ran ran = runProgram(command(scenario, check));
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.output, HasSubstr("\n1. Lacks\n"));
    EXPECT_THAT(ran.output,
                HasSubstr("\n2. Described\n   The scene \"Tool\" is left out: there is no a b\n"));
    EXPECT_THAT(ran.output, AllOf(Not(HasSubstr("Has")), Not(HasSubstr("Live"))));
    standIn("check", "exit 0\n");
    EXPECT_THAT(runProgram(command(scenario, check)).output, HasSubstr("\n3. Tool\n"));
}

TEST_F(ScenarioPlay, FindsValuesInTheRunningHost) {
    const std::string list = R"("output": ["localcli", "network", "nic", "list"], "column": )";
    const std::string scenario = R"({"values": [
        {"name": "last", )" + list +
                                 R"("Name", "take": "last"},
        {"name": "names", )" + list +
                                 R"("Name", "take": "all"},
        {"name": "intels", )" + list +
                                 R"("PCI Device", "where": {"Driver": "igbn"}, "take": "all"},
        {"name": "preferred", )" +
                                 list + R"("Name", "prefer": {"PCI Device": "${intels}"}, "take": "last"},
        {"name": "first", )" + list +
                                 R"("Name", "prefer": {"Driver": "none such"}},
        {"name": "free", "free": "vmnic", "among": ["${names}", "vmnic4"]},
        {"name": "version", "output": ["localcli", "system", "version", "get"], "field": "Version"},
        {"name": "memory", "output": ["printf", "Memory  12 GiB\n"], "field": "Memory", "unit": "GiB"},
        {"name": "matching", "output": ["printf", "Memory  12 GiB\n"], "field": "Memory", "matching": ["MiB"], "otherwise": "-"},
        {"name": "node", "fact": "nodeName"},
        {"name": "disk", "fact": "disks", "column": "serial",
         "where": {"firmwareRaid": "true", "media": "SSD"}, "take": "last"},
        {"name": "others", "fact": "disks", "column": "node", "where": {"firmwareRaid": "false"}, "take": "all"},
        {"name": "least", "least": ["${speed}", "5", "50"]},
        {"name": "both", "text": "${node} ${least}"}],
        "scenes": [{"title": "T", "lines": ["${last} (${names}) ${preferred} ${first} ${free}",
                                            "${version} ${memory} ${matching} ${both}",
                                            "(${others}) ${disk}"]}]})";
    EXPECT_THAT(runProgram(command(scenario)).output,
                HasSubstr("\n1. T\n   vmnic3 (vmnic0 vmnic1 vmnic2 vmnic3) vmnic1 vmnic0 vmnic5\n"
                          "   7.0.3 12 - rack42-node07 5\n"
                          "   (sg4 sg5 sg6) NS09M07311\n"));
}

TEST_F(ScenarioPlay, FailsWhenAValueIsNotToBeFound) {
    const Ran ran = runProgram(command(R"({"values": [{"name": "a", "output": ["true"], "field": "F"}],
                                           "scenes": [{"title": "T"}]})"));
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output, "vok-simhost play: scenes.json: the value \"a\" is not to be found\n");
}

TEST_F(ScenarioPlay, ASceneWhoseNeedHasNoUsableSourceIsLeftOutWithTheReason) {
    const auto output = [this](const std::string& source) {
        const Ran ran = runProgram(command(R"({"values": [{"name": "a", )" + source + R"(, "otherwise": ""}],
                        "scenes": [{"title": "T", "needs": {"has": ["a"]}}, {"title": "The end"}]})"));
        EXPECT_EQ(ran.status, 0);
        EXPECT_THAT(ran.output, HasSubstr("\n1. The end\n"));
        return ran.output.substr(0, ran.output.find("\n1. The end\n"));
    };
    const std::string leftOut = "   The scene \"T\" is left out: it needs the value \"a\", but ";
    EXPECT_EQ(output(R"("fact": "interfaces")"),
              leftOut + "the member \"interfaces\" of the host's state is an array, not a text\n");
    EXPECT_EQ(output(R"("fact": "commandsRun")"),
              leftOut + "the member \"commandsRun\" of the host's state is an object, not a text\n");
    EXPECT_EQ(output(R"("fact": "nodeName", "column": "serial")"),
              leftOut + "the member \"nodeName\" of the host's state is a text, not an array\n");
    EXPECT_EQ(output(R"("fact": "disks", "column": "colour")"),
              leftOut + "its elements have no text \"colour\"\n");
    EXPECT_EQ(output(R"("fact": "nothing")"), leftOut + "the host's state has no member \"nothing\"\n");
    EXPECT_EQ(output(R"("output": ["sh", "-c", "echo why; exit 3"], "field": "F")"),
              leftOut + "sh ended with status 3: why\n");
    EXPECT_EQ(output(R"("output": ["true"], "field": "F")"), "");  // the host has none: no reason to give
}

TEST_F(ScenarioPlay, TheScenarioOfTheMachinesOwnControllerIsPlayedToItsEnd) {
    standIn("vokd",
            "root=$2\n"
            "if [ \"$3\" = --show-platform ]; then\n"
            "    printf 'Platform family  first\\nPCI ADDRESS   KNOWN TO\\n0000:00:11.5  both\\n'; exit 0\n"
            "fi\n"
            "mkdir -p \"$root/scratch/log/mev/vok\"\n"
            "echo 'the controller refuses it' >\"$root/scratch/log/mev/vok/vok.log\"\n"
            "trap 'echo current_start 0 >\"$root/var/tmp/mevVOKStartup.txt\"; exit 0' TERM\n"
            "while :; do sleep 0.02; done\n");
    RunningProgram player(directory.path(), "play",
                          {VOK_SIMHOST_PROGRAM, "play", "ipmi", "--root", root(), "--work", work(),
                           "--programs", directory.path() + "/programs", "--keep"},
                          "log | the controller refuses it\n");
    EXPECT_EQ(player.end(SIGINT), 0) << player.errors();
    const std::string output = player.output();
    EXPECT_THAT(output, HasSubstr("1. This machine as the host, with its own management controller\n"));
    EXPECT_THAT(output, HasSubstr("   localcli network nic list\n   Name "));
    EXPECT_THAT(output, HasSubstr("   0000:00:11.5  both\n"));
    EXPECT_THAT(output, HasSubstr("3. The agent starts, builds its first inventory and sends it\n"));
    EXPECT_THAT(output,
                HasSubstr("4. The agent stops gracefully, and leaves its record for the next start\n"));
    EXPECT_THAT(output, testing::EndsWith("   current_start 0\n"));
}

TEST_F(ScenarioPlay, RunsProgramsAndFailsWithThem) {
    const Ran ran = play(R"({"write": "letter.json", "json": {"to": "${root}", "at": [1]}},
                            {"run": ["grep", "-c", "host", "${work}/letter.json"]},
                            {"run": ["grep", "none", "/dev/null"]})");
    EXPECT_THAT(ran.output,
                StartsWith("   grep -c host " + work() + "/letter.json\n   1\n   grep none /dev/null\n"));
    EXPECT_THAT(ran.output, HasSubstr("step 3 (run): grep none /dev/null ended with status 1: "));
    EXPECT_THAT(play(R"({"run": ["no-such-program"], "shown": false})").output,
                HasSubstr("ended with status 127: no-such-program can't be run: No such file or directory"));
}

TEST_F(ScenarioPlay, APerformedProgramPrintsForItself) {
    standIn("act", "echo '   its own line'; exit \"$1\"\n");
    const std::vector<std::string> act{"--program", "act=" + directory.path() + "/programs/act"};
    EXPECT_EQ(play(R"({"perform": ["act", "0"]})", act).output, "   its own line\n");
    EXPECT_THAT(play(R"({"perform": ["act", "3"]})", act).output, HasSubstr("act 3 ended with status 3"));
}

TEST_F(ScenarioPlay, PrintsAFileThatMustHoldALine) {
    directory.writeFile("record", "one 1\ntwo 2\n");
    const std::string print = R"({"print": ")" + directory.path() + "/record\", \"holds\": ";
    EXPECT_EQ(play(print + "\"two 2\"}").output, "   one 1\n   two 2\n");
    EXPECT_THAT(play(print + "\"two\"}").output, HasSubstr("record has no line \"two\""));
}

TEST_F(ScenarioPlay, RowsOfAForArePlayedInTurn) {
    EXPECT_EQ(play(R"({"for": [{"a": "1"}, {"a": "2"}], "steps": [{"say": "${a}"}]})").output,
              "   1\n   2\n");
}

TEST_F(ScenarioPlay, EndsWithTheStatusOfAClosedPipeWhenNobodyReads) {
    const auto words = command(R"({"scenes": [{"title": "T", "steps": [{"pause": 300}, {"say": "x"}]}]})");
    std::vector<std::string> shell{"/bin/bash", "-c", "{ \"$@\"; echo $? >\"$0\"; } | head -n 2",
                                   directory.path() + "/status"};
    shell.insert(shell.end(), words.begin(), words.end());
    EXPECT_EQ(runProgram(shell).output, "\n1. T\n");
    EXPECT_EQ(directory.readFile("status"), "141\n");
}

TEST_F(ScenarioPlay, SaysThatThereIsNoHost) {
    fs::create_directory(directory.path() + "/empty");
    const Ran ran = runProgram(
        {VOK_SIMHOST_PROGRAM, "play", "demo", "--root", directory.path() + "/empty", "--work", work()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output, StartsWith("vok-simhost play: the simulated host does not answer ("));
}

// Each change that the demo makes is one that the host takes, whichever host it is.
class DemoRehearsal : public SimulatedMachine, public testing::WithParamInterface<const char*> {};

TEST_P(DemoRehearsal, IsTakenByTheHost) {
    startHost({"--speed", "100"}, GetParam());
    const auto runsBefore = hostState()["commandsRun"].size();
    const Ran ran = runProgram(
        {VOK_SIMHOST_PROGRAM, "play", "demo", "--rehearse", "--root", root(), "--work", directory.path()});
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_GT(hostState()["commandsRun"].size(), runsBefore);
}

INSTANTIATE_TEST_SUITE_P(Hosts, DemoRehearsal,
                         testing::Values("rack-node", "esxi8-node", "blade-node", "blade-node-b",
                                         "foreign-node", "bare", "large"));

TEST(OutputTable, CellsStandBelowTheirColumn) {
    const auto table = readTable(
        "Head  1\n\nName    Two Words  Last\n----    ---------  ----\na  b    c          d e\nf\n\nx  y  z\n",
        {"Name", "Two Words"});
    ASSERT_TRUE(table);
    EXPECT_THAT(table->before, ElementsAre("Head  1"));
    EXPECT_EQ(table->heading, "Name    Two Words  Last");
    ASSERT_EQ(table->rows.size(), 2u);
    EXPECT_EQ(table->rows[0].cells.at("Name"), "a  b");
    EXPECT_EQ(table->rows[0].cells.at("Two Words"), "c");
    EXPECT_EQ(table->rows[0].cells.at("Last"), "d e");
    EXPECT_EQ(table->rows[1].cells.at("Name"), "f");
    EXPECT_EQ(table->rows[1].cells.at("Last"), "");
    EXPECT_FALSE(readTable("Name  Last\n", {"Name", "First"}));
}

TEST(OutputTable, ARowFitsWhenEachNamedCellIsOneOfItsTexts) {
    const OutputTable::Row row{"", {{"A", "1"}, {"B", "2"}}};
    EXPECT_TRUE(fits(row, {}));
    EXPECT_TRUE(fits(row, {{"A", {"0", "1"}}, {"B", {"2"}}}));
    EXPECT_FALSE(fits(row, {{"A", {"1"}}, {"B", {"1"}}}));
    EXPECT_FALSE(fits(row, {{"C", {""}}}));
}

TEST(OutputTable, AFieldHasAColonOrABlankAfterItsKey) {
    const std::string text = "  Versions: no\n   Version: 7.0 \nLevel   Info\nEmpty:\n";
    EXPECT_EQ(readField(text, "Version"), "7.0");
    EXPECT_EQ(readField(text, "Level"), "Info");
    EXPECT_EQ(readField(text, "Empty"), "");
    EXPECT_EQ(readField(text, "Lev"), std::nullopt);
}

TEST(ScenarioValues, FillTextsAndLists) {
    Values values;
    values.set("one", "1");
    values.set("many", std::vector<std::string>{"a", "b"});
    EXPECT_EQ(values.filled("${one}, ${many}; ${none}."), "1, a b; .");
    EXPECT_THAT(values.filledList({"${many}", "x${many}", "${none}"}), ElementsAre("a", "b", "xa b"));
    EXPECT_TRUE(values.isEmpty("none"));
    values.set("none", "");
    EXPECT_TRUE(values.isEmpty("none"));
    EXPECT_FALSE(values.isEmpty("many"));
    EXPECT_THAT(valueNames("${a}${b c}$"), ElementsAre("a", "b c"));
    EXPECT_THAT(valueNames("$a {b}"), IsEmpty());
    EXPECT_THROW(valueNames("${a"), std::runtime_error);
}

}  // namespace
}  // namespace ScenarioPlayTest
