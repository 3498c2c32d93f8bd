// --show-platform: the report that shows whether the firmware's tables are right.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <filesystem>

#include "simhost/RunningProgram.h"
#include "support/SmBiosTable.h"
#include "support/TemporaryDirectory.h"

namespace ShowPlatformTest {

namespace fs = std::filesystem;

namespace {

class ShowPlatform : public testing::Test {
protected:
    ShowPlatform() {
        for (const char* folder : {"/var/run", "/opt/mev/vok/data", "/lib", "/bin"})
            fs::create_directories(directory.path() + folder);
        hostLists("");
    }
    // Sets the hardware list of the host: a block for each function, separated by empty lines.
    void hostLists(const std::string& list) {
        directory.writeFile("/bin/localcli",
                            "#!/bin/sh\n[ \"$1\" = hardware ] && cat <<'END'\n" + list + "END\n");
        EXPECT_EQ(::chmod((directory.path() + "/bin/localcli").c_str(), 0700), 0);
    }
    static std::string block(const std::string& address, const std::string& name,
                             const std::string& subVendor, const std::string& deviceClass) {
        return address + ":\n   Address: " + address + "\n   VMkernel Name: " + name +
               "\n   Vendor ID: 0x8086\n   SubVendor ID: " + subVendor + "\n   Device Class: " + deviceClass +
               "\n   Device Class Name: some\n   Parent Device: PCI 0:0:1:1\n";
    }
    void firmware(const SmBiosTable& table) {
        directory.writeFile(SmBiosTable::deviceFile, table.contents());
    }
    void library(const char* target, const char* name) {
        fs::create_symlink(target, directory.path() + "/lib/" + name);
    }
    Ran show() { return runProgram({VOKD_PROGRAM, "--show-platform", "--host-root", directory.path()}); }

    TemporaryDirectory directory;
};

TEST_F(ShowPlatform, ListsEveryFunctionOfTheHostAndOfTheFirmwareWithAllThatIsKnownAboutIt) {
    hostLists(block("0000:3b:00.0", "vmhba2", "0x10df", "0x0c04") + "\n" +
              block("0000:18:00.1", "vmnic1", "0x8086", "0x0280") + "\n" +
              block("0000:5e:00.0", "vmnic2", "0x1077", "0x0280") + "\n" +
              block("0000:00:17.0", "", "0x8086", "0x0106"));
    firmware(SmBiosTable()
                 .addSystem("Maker of Racks", "7711PID02020001")
                 .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                 .addSlot("Slot r001u05p1i07", "0000:5e:00.0")
                 .addSlot("Slot without a place", "0000:86:00.0")
                 .addOnboardDevice("LAN r001u05p2i00", "0000:18:00.1")
                 .addEnd());
    library(VOK_LOCATION_LIBRARY_0202, "libvkloc0202.so");
    const Ran ran = show();
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(
        ran.output,
        "Platform family   7711PID02020001 (first platform)\n"
        "Manufacturer      Maker of Racks\n"
        "Location library  libvkloc0202.so\n"
        "\n"
        "PCI ADDRESS   NAME    KNOWN TO  GEOID         SLOT  CHASSIS  PLACE     LOCATION          "
        "MANUFACTURER\n"
        "0000:00:17.0  -       host      -             -     -        -         FFFFFFFFFFFFFFFF  -\n"
        "0000:18:00.1  vmnic1  both      r001u05p2i00  00    r001u05  on board  259A001B05C20001  Maker of "
        "Racks\n"
        "0000:3b:00.0  vmhba2  both      r001u05p2i03  03    r001u05  add-in    203A001B05C20300  Emulex "
        "Corporation\n"
        "0000:5e:00.0  vmnic2  both      r001u05p1i07  07    r001u05  add-in    203A001B05C10700  QLogic "
        "Corp.\n"
        "0000:86:00.0  -       firmware  -             -     -        -         FFFFFFFFFFFFFFFF  -\n"
        "\n"
        "5 PCI functions: 3 known to both, 1 to the host alone, 1 to the firmware alone.\n");
}

TEST_F(ShowPlatform, TheSecondPlatformHasItsOwnLibraryAndChassis) {
    hostLists(block("0000:3b:00.0", "vmhba2", "0x10df", "0x0c04"));
    firmware(SmBiosTable()
                 .addSystem("Maker of Racks", "7711PID03020101")
                 .addSlot("Slot r001i02s03", "0000:3b:00.0")
                 .addSlot("Slot r001i02s04 Bay", "0000:5e:00.0")
                 .addEnd());
    library(VOK_LOCATION_LIBRARY_0302, "libvkloc0302.so");
    const Ran ran = show();
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(
        ran.output,
        "Platform family   7711PID03020101 (second platform)\n"
        "Manufacturer      Maker of Racks\n"
        "Location library  libvkloc0302.so\n"
        "\n"
        "PCI ADDRESS   NAME    KNOWN TO  GEOID           SLOT  CHASSIS  PLACE   LOCATION          "
        "MANUFACTURER\n"
        "0000:3b:00.0  vmhba2  both      r001i02s03      03    r001i02  add-in  303A001B02C00300  Emulex "
        "Corporation\n"
        "0000:5e:00.0  -       firmware  r001i02s04 Bay  -     -        -       FFFFFFFFFFFFFFFF  -\n"
        "\n"
        "2 PCI functions: 1 known to both, 0 to the host alone, 1 to the firmware alone.\n");
}

TEST_F(ShowPlatform, WithoutTheLibraryThereIsNoLocationAndNoManufacturer) {
    hostLists(block("0000:3b:00.0", "vmhba2", "0x10df", "0x0c04"));
    firmware(SmBiosTable()
                 .addSystem("Maker of Racks", "7711PID02020001")
                 .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                 .addEnd());
    const Ran ran = show();
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(
        ran.output,
        "Platform family   7711PID02020001 (first platform)\n"
        "Manufacturer      Maker of Racks\n"
        "Location library  Mock-PL library\n"
        "\n"
        "PCI ADDRESS   NAME    KNOWN TO  GEOID         SLOT  CHASSIS  PLACE  LOCATION          MANUFACTURER\n"
        "0000:3b:00.0  vmhba2  both      r001u05p2i03  -     -        -      FFFFFFFFFFFFFFFF  -\n"
        "\n"
        "1 PCI functions: 1 known to both, 0 to the host alone, 0 to the firmware alone.\n");
}

TEST_F(ShowPlatform, AnotherFamilyIsNamedAsItIs) {
    firmware(SmBiosTable().addSystem("Maker", "Other machine").addSlot("Slot 1", "0000:3b:00.0").addEnd());
    EXPECT_EQ(show().output.rfind("Platform family   Other machine (no locations are known for it)\n", 0),
              0u);
}

TEST_F(ShowPlatform, AHostWithNothingYieldsAnEmptyTableAndStatusZero) {
    const Ran ran = show();
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.output.rfind("Platform family   not known: the firmware's table has none\n"
                               "Manufacturer      -\n"
                               "Location library  Mock-PL library\n",
                               0),
              0u)
        << ran.output;
    EXPECT_NE(ran.output.find("0 PCI functions: "), std::string::npos) << ran.output;
}

TEST_F(ShowPlatform, UnprintableCharactersAreShownAsDots) {
    hostLists(block("0000:3b:00.0", "vm\033[2J\x7Fx", "0x10df", "0x0c04") + "\n" +
              block("not an address", "vmnic9", "0x10df", "0x0200"));
    const Ran ran = show();
    EXPECT_NE(ran.output.find("0000:3b:00.0  vm.[2J.x  host"), std::string::npos) << ran.output;
    EXPECT_EQ(ran.output.find_first_of("\033\x7F"), std::string::npos);
    EXPECT_EQ(ran.output.find("vmnic9"), std::string::npos) << ran.output;
}

TEST_F(ShowPlatform, TheStoredListIsRemovedAndNothingIsSent) {
    hostLists(block("0000:3b:00.0", "vmhba2", "0x10df", "0x0c04"));
    show();
    EXPECT_FALSE(directory.exists("/opt/mev/vok/data/vok_hwlist.txt"));
    EXPECT_FALSE(directory.exists("/var/tmp/mevVOKStartup.txt"));
}

TEST_F(ShowPlatform, AFullDiskIsAnError) {
    const Ran ran = runProgram({"/bin/sh", "-c", "exec \"$0\" --show-platform --host-root \"$1\" > /dev/full",
                                VOKD_PROGRAM, directory.path()});
    EXPECT_EQ(ran.status, 8);
    EXPECT_EQ(ran.output, "vokd: standard output: No space left on device\n");
}

TEST_F(ShowPlatform, OtherReportsAreRefusedAtTheSameTime) {
    for (const char* other : {"--print-inventory", "--check-config"})
        EXPECT_EQ(
            runProgram({VOKD_PROGRAM, "--show-platform", other, "--host-root", directory.path()}).status, 2);
}

TEST_F(ShowPlatform, AMissingHostRootIsRefused) {
    EXPECT_EQ(runProgram({VOKD_PROGRAM, "--show-platform", "--host-root", directory.path() + "/none"}).status,
              3);
}

}  // namespace
}  // namespace ShowPlatformTest
