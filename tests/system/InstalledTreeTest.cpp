// The agent on a host on which it was installed as the document says.
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "system/InstalledSystem.h"

namespace InstalledTreeTest {

namespace fs = std::filesystem;

namespace {

class InstalledTree : public InstalledSystem {
protected:
    static Json::Value sections(const Ran& ran) {
        Json::Value document;
        Json::CharReaderBuilder builder;
        std::istringstream stream(ran.output);
        std::string errors;
        EXPECT_TRUE(Json::parseFromStream(builder, stream, &document, &errors)) << ran.output;
        return document["HostDataCollection"];
    }
};

TEST_F(InstalledTree, TheInventoryHasAllSections) {
    const Ran ran = printInventory();
    ASSERT_EQ(ran.status, 0);
    const Json::Value found = sections(ran);
    EXPECT_EQ(found["EthernetDevices"].size(), 4u) << ran.output;
    const Json::Value memory = found["Oem"]["HostOSInfo"]["OSMemorySummary"];
    EXPECT_EQ(memory["TotalSystemMemoryGiB"].asDouble(), 511.0);
    EXPECT_EQ(memory["TotalFreeSystemMemoryGiB"].asDouble(), 382.0);
    EXPECT_EQ(found["Oem"]["HostOSInfo"]["OSName"].asString(), "VMwareESXi");
}

TEST_F(InstalledTree, FoldersThatAreMissingAreMade) {
    fs::remove_all("/opt/mev/vok/data");
    fs::remove_all("/opt/mev/vok/log");
    EXPECT_EQ(sections(printInventory())["EthernetDevices"].size(), 4u);
    for (const char* folder : {"/opt/mev/vok/data", "/opt/mev/vok/log", "/scratch/log/mev/vok"})
        EXPECT_EQ(modeOf(folder), "0700") << folder;
}

TEST_F(InstalledTree, ARunHasItsFilesWhereTheDocumentSays) {
    writeSettings(quickSettings());
    start();
    ASSERT_TRUE(waitForLine("Error occurred in delivering inventory")) << logText();
    for (const char* file :
         {"/scratch/log/mev/vok/vok.log", "/var/run/vokd.pid", "/var/run/mevvok", "/var/run/vokStatus.bin",
          "/opt/mev/vok/data/vokHistory.bin", "/var/tmp/mevVOKStartup.txt"})
        EXPECT_EQ(modeOf(file), "0600") << file;
    EXPECT_EQ(fs::read_symlink("/opt/mev/vok/log/vok.log"), "/scratch/log/mev/vok/vok.log");
    EXPECT_EQ(fileText("/var/run/vokd.pid"), std::to_string(agent.process()) + "\n");
    EXPECT_EQ(fileText("/var/tmp/mevVOKStartup.txt").rfind("current_start 1", 0), 0u);
    EXPECT_EQ(agent.errors(), "");

    EXPECT_EQ(stopAgent(), 0);
    const std::string record = fileText("/var/tmp/mevVOKStartup.txt");
    EXPECT_NE(record.find("\ncurrent_start 0\n"), std::string::npos) << record;
    EXPECT_TRUE(waitForLine("VOK Exiting Gracefully!"));
}

TEST_F(InstalledTree, TheInstalledRotationMovesTheLogAndTheAgentGoesOnInANewOne) {
    writeSettings(quickSettings());
    start();
    ASSERT_TRUE(waitForLine("Error occurred in delivering inventory")) << logText();
    const std::string log = "/scratch/log/mev/vok/vok.log";
    const std::string before = logText();
    if (fs::exists("/usr/sbin/logrotate")) {
        const Ran ran = runProgram(
            {"/usr/sbin/logrotate", "--force", "--state", "/run/logrotate", "/etc/logrotate.d/vokd"});
        ASSERT_EQ(ran.status, 0) << ran.output;
    } else {  // what it would do
        fs::rename(log, log + ".1");
        ::kill(agent.process(), SIGHUP);
    }
    ASSERT_TRUE(waitUntil([&] { return fs::exists(log); }));
    EXPECT_EQ(fileText(log + ".1").rfind(before, 0), 0u) << "no line is lost";
    EXPECT_EQ(modeOf(log), "0600");
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_TRUE(waitForLine("VOK Exiting Gracefully!"));
}

TEST_F(InstalledTree, AnotherInstallationChangesNoSettings) {
    writeSettings(quickSettings());
    const std::string before = fileText("/etc/config/mev/vok/vok.conf");
    const Ran again = runDocumented(documentedCommands("## Installing from source"));
    EXPECT_EQ(again.status, 0) << again.output;
    EXPECT_EQ(fileText("/etc/config/mev/vok/vok.conf"), before);
    EXPECT_EQ(modeOf("/etc/config/mev/vok/vok.conf"), "0600");
}

TEST_F(InstalledTree, AHostRootThatOthersOwnOrMayWriteIsRefusedAndItsCommandsAreNotRun) {
    constexpr uid_t stranger = 12345;
    const std::string own = "/tmp/host";
    struct Row {
        const char* part;  // of the host root
        uid_t owner;
        gid_t group;
        mode_t mode;
        const char* reason;
    };
    for (const Row& row :
         {Row{"", stranger, 0, 0755, " belongs to user 12345, who is neither root nor the caller"},
          Row{"/bin", stranger, 0, 0755, "/bin belongs to user 12345, who is neither root nor the caller"},
          Row{"/lib", stranger, 0, 0755, "/lib belongs to user 12345, who is neither root nor the caller"},
          Row{"", 0, 0, 0757, " is writable by everyone"},
          Row{"/bin", 0, 0, 01777, "/bin is writable by everyone"},
          Row{"/lib", 0, stranger, 0775, "/lib is writable by group 12345, which is not the caller's"}}) {
        SCOPED_TRACE(row.reason);
        fs::remove_all(own);
        for (const char* part : {"", "/bin", "/lib"}) fs::create_directories(own + part);
        std::ofstream(own + "/bin/localcli") << "#!/bin/sh\necho >/tmp/was-run\n";
        fs::permissions(own + "/bin/localcli", fs::perms::owner_all);
        ASSERT_EQ(::chown((own + row.part).c_str(), row.owner, row.group), 0);
        ASSERT_EQ(::chmod((own + row.part).c_str(), row.mode), 0);
        const Ran ran = runProgram({"/opt/mev/vok/bin/vokd", "--host-root", own, "--print-inventory"});
        EXPECT_EQ(ran.status, 3);
        EXPECT_EQ(ran.output, "vokd: host root /tmp/host: /tmp/host" + std::string(row.reason) +
                                  ", so its commands and libraries can't be trusted\n");
        EXPECT_FALSE(fs::exists("/tmp/was-run"));
        EXPECT_FALSE(fs::exists(own + "/var"));

        // With the modes that the refusal asks for, the commands are run.
        ASSERT_EQ(::chown((own + row.part).c_str(), 0, 0), 0);
        ASSERT_EQ(::chmod((own + row.part).c_str(), 0755), 0);
        EXPECT_EQ(runProgram({"/opt/mev/vok/bin/vokd", "--host-root", own, "--show-platform"}).status, 0);
        EXPECT_TRUE(fs::remove("/tmp/was-run"));
    }
}

TEST_F(InstalledTree, ARunAsAnotherUserThanRootNamesWhatItCanNotUse) {
    const std::string said =
        "vokd: not running as root: the IPMI device, the startup record, the pipes of the clients and the "
        "working directories can't be used\n"
        "vokd: running without a lock against a second vokd: /var/run/vokd.pid: Permission denied\n"
        "vokd: /etc/config/mev/vok/vok.conf: the file is not used: can't be opened: Permission denied; "
        "used instead: the built-in settings\n"
        "vokd: The working folder /opt/mev/vok/data can't be written: Permission denied.\n"
        "vokd: The working folder /opt/mev/vok/log can't be written: Permission denied.\n";
    const Ran ran =
        runProgram({"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "/bin/sh", "-c",
                    "exec /opt/mev/vok/bin/vokd --print-inventory 2>&1 >/dev/null"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.substr(0, said.size()), said);
}

TEST_F(InstalledTree, TheHostsServicesKnowTheirFiles) {
    for (const char* file :
         {"/etc/systemd/system/vokd.service", "/etc/systemd/system/dev-ipmi0.device.d/vokd.conf",
          "/etc/udev/rules.d/60-vokd.rules", "/etc/tmpfiles.d/vokd.conf", "/etc/logrotate.d/vokd"})
        EXPECT_TRUE(fs::exists(file)) << file;
    EXPECT_EQ(fileText("/run/systemctl"), "daemon-reload\nenable --now vokd.service\n");
}

TEST_F(InstalledTree, AnUpgradeReplacesTheProgramsAndStartsTheAgentAgain) {
    fs::remove("/opt/mev/vok/bin/vokcli");
    fs::remove("/run/systemctl");
    const Ran ran = runDocumented(documentedCommands("### Upgrading an installation from source"));
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_TRUE(fs::exists("/opt/mev/vok/bin/vokcli"));
    EXPECT_EQ(fileText("/run/systemctl"), "stop vokd.service\ndaemon-reload\nstart vokd.service\n");
}

TEST_F(InstalledTree, AfterTheUninstallationOnlySettingsLogsAndTheRecordAreLeft) {
    writeSettings(quickSettings());
    start();
    ASSERT_TRUE(waitForLine("Error occurred in delivering inventory")) << logText();
    EXPECT_EQ(stopAgent(), 0);
    const Ran ran = runDocumented(documentedCommands("### Uninstalling an installation from source"));
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_FALSE(fs::exists("/opt/mev/vok"));
    for (const auto& entry : fs::recursive_directory_iterator("/etc"))
        EXPECT_EQ(entry.path().string().find("vok.service"), std::string::npos) << entry.path();
    for (const char* link :
         {"/etc/systemd/system/vokd.service", "/etc/logrotate.d/vokd", "/etc/tmpfiles.d/vokd.conf"})
        EXPECT_FALSE(fs::is_symlink(link)) << link;
    EXPECT_TRUE(fs::exists("/etc/config/mev/vok/vok.conf"));
    EXPECT_TRUE(fs::exists("/scratch/log/mev/vok/vok.log"));
    EXPECT_TRUE(fs::exists("/var/tmp/mevVOKStartup.txt"));
}

}  // namespace
}  // namespace InstalledTreeTest
