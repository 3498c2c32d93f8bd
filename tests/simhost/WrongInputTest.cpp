// What vok-simhost and vok-rmc do with wrong arguments, files that can't be read, and output that can't be
// written: a sentence with the path and the reason, a status, and nothing left behind.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <csignal>
#include <filesystem>

#include "simhost/SimulatedMachine.h"

namespace WrongInputTest {
namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using Arguments = std::vector<std::string>;

class WrongInput : public SimulatedMachine {
protected:
    std::string place(const std::string& name) const { return directory.path() + "/" + name; }
    static Ran run(const std::string& program, const Arguments& arguments) {
        Arguments command{program};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runProgram(command);
    }
    static Ran simhost(const Arguments& arguments) { return run(VOK_SIMHOST_PROGRAM, arguments); }
    static Ran rmc(const Arguments& arguments) { return run(VOK_RMC_PROGRAM, arguments); }
    Ran runHost(const std::string& host, const Arguments& more = {}) const {
        Arguments arguments{"run", "--host", host, "--root", place("new/root")};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return simhost(arguments);
    }
    // The script's arguments start with the program.
    static Ran shell(const std::string& script, const Arguments& arguments) {
        Arguments command{"/bin/sh", "-c", script, "sh"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runProgram(command);
    }
    static bool canMount() {
        return runProgram({"/usr/bin/unshare", "-m", "mount", "-t", "tmpfs", "none", "/mnt"}).status == 0;
    }
    // Mounts a full disk at the path, in a namespace of the command that follows.
    static Arguments onFullDisk(const std::string& path, const Arguments& command) {
        Arguments whole{
            "/usr/bin/unshare",
            "-m",
            "/bin/sh",
            "-c",
            "mount -t tmpfs -o size=64k none \"$0\" && cat /dev/zero >\"$0/fill\" 2>/dev/null; \"$@\"",
            path};
        whole.insert(whole.end(), command.begin(), command.end());
        return whole;
    }
};

TEST_F(WrongInput, AHostOfAnUnknownNameIsAnsweredWithTheListOfThoseThereAre) {
    const Ran ran = runHost("nope");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output,
              "vok-simhost: there is no host \"nope\"; those that come with it: bare, blade-node, "
              "blade-node-b, esxi8-node, foreign-node, large, rack-node\n");
    EXPECT_FALSE(directory.exists("new"));
}

TEST_F(WrongInput, ADescriptionThatCantBeUsedIsNamedWithTheReasonInOneLine) {
    directory.writeFile("bad.json", "{\"x\":");
    directory.writeFile("key.json", "{\"bogus\": 1}");
    fs::create_directory(place("folder.json"));
    const auto expect = [this](const std::string& name, const std::string& reason) {
        const Ran ran = runHost(place(name));
        EXPECT_EQ(ran.status, 1) << name;
        EXPECT_EQ(ran.output, "vok-simhost: " + place(name) + ": " + reason + "\n");
        EXPECT_FALSE(directory.exists("new")) << name;
    };
    expect("none.json", "can't be opened: No such file or directory");
    expect("folder.json", "can't be read: Is a directory");
    expect("bad.json", "is no JSON: * Line 1, Column 6 Syntax error: value, object or array expected.");
    expect("key.json", "the description has a key \"bogus\" that is not known");
}

TEST_F(WrongInput, ARefusedStartLeavesNothingBehind) {
    directory.writeFile("file", "mine");
    const Arguments wrong[] = {{"--config", "/nonexistent/vok.conf"},
                               {"--config", directory.path()},
                               {"--module", "/nonexistent/module.so"},
                               {"--module", place("file")}};
    for (const Arguments& options : wrong) {
        const Ran ran = runHost("bare", options);
        EXPECT_EQ(ran.status, 1) << options[1];
        EXPECT_THAT(ran.output, AllOf(StartsWith("vok-simhost: /"), testing::EndsWith("\n")));
        EXPECT_FALSE(directory.exists("new")) << options[1];
    }
    // A directory that was there stays, empty.
    fs::create_directories(place("new/root"));
    EXPECT_EQ(runHost("bare", {"--module", place("file")}).status, 1);
    EXPECT_TRUE(fs::is_empty(place("new/root")));
    EXPECT_EQ(directory.readFile("file"), "mine");
}

TEST_F(WrongInput, AFailedRestartKeepsTheFilesOfTheHost) {
    startHost();
    directory.writeFile("it's a \"host\"/var/tmp/mevVOKStartup.txt", "current_start 1\n");
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    directory.writeFile("module.so", "");
    EXPECT_EQ(simhost({"run", "--host", "bare", "--root", root(), "--module", place("module.so")}).status, 1);
    EXPECT_EQ(directory.readFile("it's a \"host\"/var/tmp/mevVOKStartup.txt"), "current_start 1\n");
}

TEST_F(WrongInput, ASecondStartOnARootDisturbsNothing) {
    startHost();
    const Ran second = simhost({"run", "--host", "bare", "--root", root(), "--config", "/nonexistent"});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(simhost({"run", "--host", "bare", "--root", root()}).status, 1);
    EXPECT_EQ(hostState()["nodeName"].asString(), "rack42-node07");
    EXPECT_EQ(hostProgram.end(SIGINT), 0);
}

TEST_F(WrongInput, ARootThatCantBeMadeIsNamedWithTheReason) {
    directory.writeFile("file", "mine");
    const auto expect = [](const std::string& path, const std::string& message) {
        const Ran ran = simhost({"run", "--host", "bare", "--root", path});
        EXPECT_EQ(ran.status, 1) << path;
        EXPECT_EQ(ran.output, "vok-simhost: " + message + "\n");
    };
    expect(place("file"), place("file") + ": the directory can't be made: Not a directory");
    expect(place("file/x"), place("file/x") + ": the directory can't be made: Not a directory");
    expect("/proc/none", "/proc/none: the directory can't be made: No such file or directory");
    expect("", "--root: the name of the directory is empty");
}

TEST_F(WrongInput, ADescribedFileIsNotWrittenThroughALink) {
    directory.writeFile("h.json", R"({"files": {"/dev/null": "x"}})");
    struct stat before {};
    ASSERT_EQ(::stat("/dev/null", &before), 0);
    const Ran ran = runHost(place("h.json"));
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.output, HasSubstr("/dev/null: can't be written: Too many levels of symbolic links"));
    struct stat after {};
    ASSERT_EQ(::stat("/dev/null", &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
}

TEST_F(WrongInput, ANumberOutsideOfItsLimitsIsRefusedAsUsage) {
    const Arguments wrong[] = {{"--speed", "x"},        {"--speed", "nan"},       {"--speed", "0"},
                               {"--speed", "1e9"},      {"--speed", ""},          {"--start-time", "12x"},
                               {"--start-time", "-1"},  {"--uptime", "1.5"},      {"--uptime", "99999999999"},
                               {"--ipmi-timeout", "0"}, {"--ipmi-timeout", "nan"}};
    for (const Arguments& options : wrong) {
        const Ran ran = runHost("bare", options);
        EXPECT_EQ(ran.status, 2) << options[0] << " " << options[1];
        EXPECT_THAT(ran.output, HasSubstr(options[0] + ": ")) << options[1];
        EXPECT_FALSE(directory.exists("new"));
    }
    for (const char* size : {"x", "-1", "0", "1073741825"})
        EXPECT_EQ(rmc({"run", "--root", root(), "--out", out(), "--size-limit", size}).status, 2) << size;
    for (const char* index : {"foo", "constant:", "constant:65536", "constant:x"})
        EXPECT_EQ(rmc({"run", "--root", root(), "--out", out(), "--index", index}).status, 2) << index;
    EXPECT_FALSE(directory.exists("rmc"));
}

TEST_F(WrongInput, AScenarioOrAProgramThatIsNoneIsNamed) {
    const Arguments play{"--root", directory.path(), "--work", directory.path()};
    const auto playing = [&play](const std::string& scenario, const Arguments& more = {}) {
        Arguments arguments{"play", scenario};
        arguments.insert(arguments.end(), play.begin(), play.end());
        arguments.insert(arguments.end(), more.begin(), more.end());
        return simhost(arguments);
    };
    EXPECT_EQ(
        playing("opera").output,
        "vok-simhost: there is no scenario \"opera\"; those that come with it: demo, ipmi, lost-link\n");
    EXPECT_EQ(playing("opera").status, 1);
    for (const char* program : {"x", "=", "x=", "=x"}) {
        const Ran ran = playing("demo", {"--program", program});
        EXPECT_EQ(ran.status, 1);
        EXPECT_EQ(ran.output,
                  "vok-simhost: --program: \"" + std::string(program) + "\" is not of the form NAME=FILE\n");
    }
}

TEST_F(WrongInput, AWordThatIsNotExpectedIsNamedAlsoWhereSomethingElseIsMissing) {
    const std::string end = "\nRun with --help for more information.\n";
    for (const char* program : {VOK_SIMHOST_PROGRAM, VOK_RMC_PROGRAM}) {
        for (const Arguments& arguments :
             {Arguments{"foo"}, Arguments{"foo", "run"}, Arguments{"run", "foo"}, Arguments{"--foo"}}) {
            const Ran ran = run(program, arguments);
            EXPECT_EQ(ran.status, 2);
            EXPECT_EQ(ran.output, "The following argument was not expected: " +
                                      (arguments[0] == "run" ? arguments[1] : arguments[0]) + end);
        }
        EXPECT_EQ(run(program, {}).output, "A subcommand is required" + end);
    }
    EXPECT_EQ(rmc({"run", "--root", root()}).output, "--out is required" + end);
}

TEST_F(WrongInput, TheControllerSaysThatItWaitsForAHost) {
    RunningProgram waiting(directory.path(), "rmc",
                           {VOK_RMC_PROGRAM, "run", "--root", "/nonexistent", "--out", out()}, "waiting");
    EXPECT_THAT(waiting.output(),
                HasSubstr("note: no simulated host runs under /nonexistent yet; waiting for it\n"));
    EXPECT_EQ(waiting.end(SIGTERM), 0);
}

TEST_F(WrongInput, TheControllerAttachesToAHostThatStartsLater) {
    RunningProgram waiting(directory.path(), "rmc",
                           {VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out()}, "waiting");
    startHost();
    EXPECT_EQ(waitFor("attached", 1), 0);
    EXPECT_EQ(waiting.end(SIGINT), 0);
}

TEST_F(WrongInput, AControllerThatWasKilledStartsAgainInItsDirectoryAndGoesOnCounting) {
    startHost();
    startController();
    const auto host = access();
    const std::string text = R"({"HostDataCollection":{"Oem":{"HostOSInfo":{"HostName":"n"}}}})";
    ASSERT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", text), 0);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    controllerProgram.end(SIGKILL);
    EXPECT_TRUE(directory.exists("rmc/control.sock"));
    startController();
    const Ran second = rmc({"run", "--root", root(), "--out", out()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, "vok-rmc: " + out() + ": another vok-rmc keeps its files there\n");
    ASSERT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", text), 0);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    EXPECT_EQ(directory.readFile("rmc/inventory-0002.json"), text);
}

TEST_F(WrongInput, TheControllerRefusesARootThatCantBeOne) {
    directory.writeFile("file", "mine");
    const Ran ran = rmc({"run", "--root", place("file"), "--out", out()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.output, "vok-rmc: " + place("file") + "/run/simhost/controller.sock: Not a directory\n");
}

TEST_F(WrongInput, TheControllersDirectoryIsNamedWithTheReason) {
    directory.writeFile("file", "mine");
    const auto expect = [this](const std::string& path, const std::string& message) {
        const Ran ran = rmc({"run", "--root", root(), "--out", path});
        EXPECT_EQ(ran.status, 1) << path;
        EXPECT_EQ(ran.output, "vok-rmc: " + message + "\n");
    };
    expect(place("file"), place("file") + ": the directory can't be made: Not a directory");
    expect("/proc/none", "/proc/none: the directory can't be made: No such file or directory");
    expect("", "--out: the name of the directory is empty");
}

TEST_F(WrongInput, AMisspeltWaitIsRefusedBeforeAnyControllerRuns) {
    const Ran ran = rmc({"control", "--out", "/nonexistent", "wait", "inventories", "1"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.output,
              "vok-rmc: wait: \"inventories\" is none of inventory, event, poll, violation, abandoned, "
              "refused, attached, request\n");
    EXPECT_EQ(rmc({"control", "--out", "/nonexistent", "wait", "event", "x"}).status, 2);
    EXPECT_EQ(rmc({"control", "--out", "/nonexistent", "wait", "event", "1", "--timeout", "0"}).status, 1);
}

TEST_F(WrongInput, OutputThatCantBeWrittenIsAFailure) {
    const std::string full = "exec \"$@\" >/dev/full";
    const std::string message = "standard output can't be written: No space left on device\n";
    for (const char* program : {VOK_SIMHOST_PROGRAM, VOK_RMC_PROGRAM})
        for (const char* option : {"--help", "--version"}) {
            const Ran ran = shell(full, {program, option});
            EXPECT_EQ(ran.status, 1) << program << option;
            EXPECT_THAT(ran.output, HasSubstr(message));
        }
    const Ran host = shell(full, {VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", place("new/root")});
    EXPECT_EQ(host.status, 1);
    EXPECT_EQ(host.output, "vok-simhost: " + message);
    EXPECT_FALSE(directory.exists("new"));
    const Ran controller = shell(full, {VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out()});
    EXPECT_EQ(controller.status, 1);
    EXPECT_EQ(controller.output, "vok-rmc: " + message);

    startHost();
    startController();
    EXPECT_EQ(shell(full, {VOK_SIMHOST_PROGRAM, "control", "--root", root(), "show"}).status, 1);
    EXPECT_EQ(shell(full, {VOK_RMC_PROGRAM, "control", "--out", out(), "status"}).status, 1);
    directory.writeFile("s.json", R"({"scenes": [{"title": "T"}]})");
    const Ran play = shell(
        full, {VOK_SIMHOST_PROGRAM, "play", place("s.json"), "--root", root(), "--work", directory.path()});
    EXPECT_EQ(play.status, 1);
    EXPECT_EQ(play.output, "vok-simhost: " + message);
}

TEST_F(WrongInput, AControllerWhoseReaderIsGoneGoesOnAndFailsAtItsEnd) {
    startHost();
    // head ends after the first line; the controller's status is that of the script.
    const std::string script = "{ \"$@\"; echo $? >\"" + place("status") + "\"; } | head -n 1";
    RunningProgram whole(
        directory.path(), "rmc",
        {"/bin/sh", "-c", script, "sh", VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out()}, "ready");
    ASSERT_EQ(waitFor("attached", 1), 0);
    const auto host = access();
    EXPECT_EQ(DeviceUser(*host).remoteCommand("MPEventGen", R"({"ID":538,"Source":"VOK-CLI"})"), 0);
    controllerControl({"quit"});
    EXPECT_EQ(whole.end(0), 0);
    EXPECT_EQ(directory.readFile("status"), "1\n");
    EXPECT_THAT(whole.errors(), HasSubstr("vok-rmc: standard output can't be written: Broken pipe\n"));
}

TEST_F(WrongInput, AControllerOnAFullDiskSaysSoAndGoesOn) {
    if (!canMount()) GTEST_SKIP() << "no disk can be mounted here";
    startHost();
    fs::create_directory(out());
    RunningProgram controller(
        directory.path(), "rmc",
        onFullDisk(out(), {"exec", VOK_RMC_PROGRAM, "run", "--root", root(), "--out", out()}), "attached");
    const auto host = access();
    const std::string event = R"({"ID":538,"Source":"VOK-CLI"})" + std::string(8000, ' ');
    EXPECT_EQ(DeviceUser(*host).remoteCommand("MPEventGen", event), 0);
    EXPECT_EQ(DeviceUser(*host).remoteCommand("WriteInventory", event), 0);
    EXPECT_EQ(DeviceUser(*host).remoteCommand("MPEventGen", event), 0);
    EXPECT_EQ(controller.end(SIGTERM), 3);  // the documents are not of the right form
    EXPECT_THAT(controller.errors(),
                AllOf(HasSubstr("/events.jsonl: can't be written: No space left on device\n"),
                      HasSubstr("/inventory-0001.json.part: can't be written: No space left on device\n")));
    EXPECT_THAT(controller.output(), HasSubstr("vok-rmc: 1 inventories, 2 events, "));
    EXPECT_THAT(controller.output(), HasSubstr(" not kept\n"));
}

TEST_F(WrongInput, AHostWhoseDiskFillsAnswersItsCommandsAndSaysThatItCantRecordThem) {
    if (!canMount()) GTEST_SKIP() << "no disk can be mounted here";
    fs::create_directory(place("disk"));
    const Ran ran = runProgram(
        {"/usr/bin/unshare", "-m", "/bin/sh", "-c",
         "cd \"$0\" && mount -t tmpfs -o size=4m none disk && { \"$1\" run --host bare --root disk/root "
         ">ready & }\n"
         "until grep -q ready ready; do sleep 0.02; done\n"
         "cat /dev/zero >disk/fill 2>/dev/null\n"
         "disk/root/bin/localcli system version get; disk/root/bin/localcli system version get >/dev/null\n"
         "echo status $?; kill $!; wait $!; echo ended $?",
         directory.path(), VOK_SIMHOST_PROGRAM});
    EXPECT_THAT(ran.output, HasSubstr("   Version: "));
    EXPECT_THAT(ran.output, testing::EndsWith("status 0\nended 0\n"));
    const std::string message = "vok-simhost: " + place("disk") +
                                "/root/run/simhost/commands.log: can't be written: No space left on device\n";
    const auto first = ran.output.find(message);
    EXPECT_NE(first, std::string::npos) << ran.output;
    EXPECT_EQ(ran.output.find(message, first + 1), std::string::npos);
}

TEST_F(WrongInput, AHostOnAFullDiskIsRefusedAndLeavesNothing) {
    if (!canMount()) GTEST_SKIP() << "no disk can be mounted here";
    fs::create_directory(place("disk"));
    const Ran ran = runProgram(onFullDisk(
        place("disk"), {"/bin/sh", "-c", "\"$@\"; echo status $?; ls -A \"" + place("disk") + "\"", "sh",
                        VOK_SIMHOST_PROGRAM, "run", "--host", "bare", "--root", place("disk") + "/root"}));
    EXPECT_THAT(ran.output, StartsWith("vok-simhost: " + place("disk") + "/root/"));
    EXPECT_THAT(ran.output, HasSubstr(": No space left on device\nstatus 1\nfill\n"));
}

}  // namespace
}  // namespace WrongInputTest
