#include "storage/vokIMSMFirmware.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <filesystem>

#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"

namespace vokIMSMFirmwareTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::StrEq;

constexpr char command[] =
    "/usr/sbin/mdadm --detail-platform | /usr/bin/grep -e \"Version : \" -e \"Controller : \"";

class IMSMFirmware : public testing::Test {
protected:
    IMSMFirmware() { logEverything(host); }

    void install(const std::string& path, bool executable = true) const {
        namespace fs = std::filesystem;
        host.root.writeFile(path, "");
        fs::permissions(host.path(path), executable ? fs::perms::owner_all : fs::perms::owner_read);
    }
    void installWith(const std::string& output) const {
        install("/usr/sbin/mdadm");
        commands.output[command] = output;
    }
    // Of the line for one function, as mdadm prints it.
    static std::string controller(const std::string& address) {
        return " I/O Controller : /sys/devices/pci0000:00/" + address + " (SATA)\n";
    }

    FakeHost host;
    FakeCommands& commands = host.part<FakeCommands>();
};

TEST_F(IMSMFirmware, TheVersionIsThatOfTheControllerWithThePciLocation) {
    installWith("        Version : 4.5.0.2144\n" + controller("0000:00:11.5") +
                "        Version : 5.1.0.1029\n" + controller("0000:00:17.0"));
    const vokIMSMFirmware firmware;
    EXPECT_THAT(firmware.versionOf("0000:00:17.0"), StrEq("5.1.0.1029"));
    EXPECT_THAT(firmware.versionOf("0000:00:11.5"), StrEq("4.5.0.2144"));
    EXPECT_THAT(firmware.versionOf("0000:00:1f.2"), IsNull());
    EXPECT_TRUE(hasLogged(host, "DEBUG STOR_LB: mdadm output:\n        Version : 4.5.0.2144\n" +
                                    controller("0000:00:11.5") + "        Version : 5.1.0.1029\n" +
                                    controller("0000:00:17.0") + "\n"));
}

TEST_F(IMSMFirmware, TheFirstOfTwoControllersWithThePciLocationCounts) {
    installWith("Version : 1\n" + controller("0000:00:17.0") + "Version : 2\n" + controller("0000:00:17.0"));
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), StrEq("1"));
}

TEST_F(IMSMFirmware, ASecondControllerUnderOneVersionHasAnEmptyVersionAsIsRequired) {
    installWith("Version : 1\n" + controller("0000:00:11.5") + controller("0000:00:17.0"));
    const vokIMSMFirmware firmware;
    EXPECT_THAT(firmware.versionOf("0000:00:11.5"), StrEq("1"));
    EXPECT_THAT(firmware.versionOf("0000:00:17.0"), StrEq(""));
}

TEST_F(IMSMFirmware, AControllerBeforeTheFirstVersionHasAnEmptyVersion) {
    installWith(controller("0000:00:17.0") + "Version : 1\n");
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), StrEq(""));
}

TEST_F(IMSMFirmware, OfTwoVersionsInARowTheSecondCounts) {
    installWith("Version : 1\nVersion : 2\n" + controller("0000:00:17.0"));
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), StrEq("2"));
}

TEST_F(IMSMFirmware, TheTextAfterTheMarkCountsAndNotThatBeforeIt) {
    installWith("0000:00:17.0 Version : 1 (of 2)\n0000:00:17.0 Controller : 0000:00:11.5\n");
    const vokIMSMFirmware firmware;
    EXPECT_THAT(firmware.versionOf("0000:00:17.0"), IsNull());
    EXPECT_THAT(firmware.versionOf("0000:00:11.5"), StrEq("1 (of 2)"));
}

TEST_F(IMSMFirmware, OtherLinesAndEmptyLinesChangeNothing) {
    installWith("\nVersion : 1\n\n Port0 : /dev/sda\nVersion: 3\n" + controller("0000:00:17.0") + "\n\n");
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), StrEq("1"));
}

TEST_F(IMSMFirmware, TenControllersAreKeptAndTheRestIsNotRead) {
    std::string output;
    for (int i = 0; i < 12; ++i)
        output +=
            "Version : v" + std::to_string(i) + "\n" + controller("0000:0" + std::string(1, char('a' + i)));
    installWith(output);
    const vokIMSMFirmware firmware;
    EXPECT_THAT(firmware.versionOf("0000:0a"), StrEq("v0"));
    EXPECT_THAT(firmware.versionOf("0000:0j"), StrEq("v9"));
    EXPECT_THAT(firmware.versionOf("0000:0k"), IsNull());
    EXPECT_THAT(firmware.versionOf("0000:0l"), IsNull());
}

TEST_F(IMSMFirmware, ALineThatIsLongerThanTheReadBufferStaysOneLine) {
    const std::string longPath(300, 'x');
    installWith("Version : " + std::string(252, '1') + "\n" + "Controller : " + longPath + " 0000:00:17.0\n");
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), StrEq(std::string(252, '1')));
}

TEST_F(IMSMFirmware, OutputWithoutEndIsCut) {
    installWith("Version : 1\n" + controller("0000:00:11.5") + std::string(70000, '\n') + "Version : 2\n" +
                controller("0000:00:17.0"));
    const vokIMSMFirmware firmware;
    EXPECT_THAT(firmware.versionOf("0000:00:11.5"), StrEq("1"));
    EXPECT_THAT(firmware.versionOf("0000:00:17.0"), IsNull());
}

TEST_F(IMSMFirmware, OutputThatIsEmptyGivesNoVersion) {
    installWith("");
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), IsNull());
    EXPECT_TRUE(hasLogged(host, "DEBUG STOR_LB: mdadm output:\n\n"));
}

// --- where mdadm is, and whether it runs ---

TEST_F(IMSMFirmware, MdadmIsTheFirstThatCanBeRunOfTwoPlaces) {
    install("/sbin/mdadm");
    install("/usr/sbin/mdadm");
    const vokIMSMFirmware firmware;
    EXPECT_THAT(commands.texts(), ElementsAre(command));
}

TEST_F(IMSMFirmware, MdadmThatIsNotExecutableIsPassedOver) {
    install("/usr/sbin/mdadm", false);
    install("/sbin/mdadm");
    const vokIMSMFirmware firmware;
    EXPECT_THAT(
        commands.texts(),
        ElementsAre("/sbin/mdadm --detail-platform | /usr/bin/grep -e \"Version : \" -e \"Controller : \""));
}

TEST_F(IMSMFirmware, WithoutMdadmNothingIsRunAndThereIsNoVersion) {
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), IsNull());
    EXPECT_THAT(commands.texts(), IsEmpty());
    EXPECT_TRUE(hasLogged(host, "INFO STOR_LB: Unable to find mdadm at standard location."));
}

TEST_F(IMSMFirmware, ACommandThatCannotBeStartedIsAnErrorAndGivesNoVersion) {
    installWith("Version : 1\n" + controller("0000:00:17.0"));
    commands.failToStart = true;
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), IsNull());
    EXPECT_TRUE(hasLogged(
        host, "ERROR STOR_LB: popen(" + std::string(command) + ") failed: " + std::to_string(EAGAIN)));
}

TEST_F(IMSMFirmware, AFailureOfTheCommandIsReportedAndItsOutputCounts) {
    install("/usr/sbin/mdadm");
    commands.expect({{command, "Version : 1\n" + controller("0000:00:17.0"), 2}});
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), StrEq("1"));
    EXPECT_TRUE(hasLogged(host, "WARNING STOR_LB: Command failed (exit status 2) : " + std::string(command)));
    EXPECT_EQ(commands.openStreams(), 0);
}

TEST_F(IMSMFirmware, OutputWithoutAMatchingLineIsNoFailure) {
    install("/usr/sbin/mdadm");
    commands.expect({{command, "", 1}});
    EXPECT_THAT(vokIMSMFirmware().versionOf("0000:00:17.0"), IsNull());
    EXPECT_FALSE(
        hasLogged(host, "WARNING STOR_LB: Command failed (exit status 1) : " + std::string(command)));
}

// --- once per process ---

TEST_F(IMSMFirmware, MdadmRunsOnceInTheLifeOfTheProcess) {
    installWith("Version : 1\n" + controller("0000:00:17.0"));
    EXPECT_THAT(getIMSMFirmwareVersion("0000:00:17.0"), StrEq("1"));
    commands.output[command] = "Version : 2\n" + controller("0000:00:17.0");
    EXPECT_THAT(getIMSMFirmwareVersion("0000:00:17.0"), StrEq("1"));
    EXPECT_THAT(getIMSMFirmwareVersion("0000:00:11.5"), IsNull());
    EXPECT_EQ(commands.texts().size(), 1u);
}

TEST_F(IMSMFirmware, WithoutMdadmAtTheFirstCallThereIsNeverAVersion) {
    EXPECT_THAT(getIMSMFirmwareVersion("0000:00:17.0"), IsNull());
    installWith("Version : 1\n" + controller("0000:00:17.0"));
    EXPECT_THAT(getIMSMFirmwareVersion("0000:00:17.0"), IsNull());
    EXPECT_THAT(commands.texts(), IsEmpty());
    EXPECT_EQ(countLogged(host, "INFO STOR_LB: Unable to find mdadm at standard location."), 1);
}

}  // namespace
}  // namespace vokIMSMFirmwareTest
