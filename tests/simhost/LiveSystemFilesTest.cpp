// The release, the memory and the firmware's table that a machine's files make.
#include <gtest/gtest.h>

#include "host/StandIns.h"
#include "live/LiveMachine.h"
#include "modules/memory/Memory.h"
#include "modules/smbios/SmBios.h"
#include "simhost/MadeUpMachine.h"
#include "support/SmBiosTable.h"

namespace LiveSystemFilesTest {

using namespace simhost;

namespace {

constexpr char entryPointFile[] = "/sys/firmware/dmi/tables/smbios_entry_point";
constexpr char tableFile[] = "/sys/firmware/dmi/tables/DMI";

class LiveSystemFiles : public testing::Test {
protected:
    HostDescription host() { return LiveMachine(machine.root()).describe(); }
    std::string versionText() { return runLocalcli({"system", "version", "get"}, host()).output; }
    MadeUpMachine machine;
};

// The 64-bit entry point (SMBIOS 3.x, 5.2.2) of version 3.5: no checksum, no length that anybody looks at.
std::string entryPoint64() {
    return std::string("_SM3_\x67\x18\x03\x05\x00\x01\x00", 12) + std::string(12, '\0');
}

TEST_F(LiveSystemFiles, TheVersionComesFromOsReleaseAndTheKernel) {
    machine.file("/etc/os-release",
                 "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\n"
                 "VERSION_ID=\"12\"\nVERSION=\"12 (bookworm)\"\n");
    machine.file("/proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
    EXPECT_EQ(versionText(),
              "   Product: Debian GNU/Linux\n   Version: 12\n   Build: 6.1.0-18-amd64\n   Update: 0\n"
              "   Patch: 0\n");
}

TEST_F(LiveSystemFiles, ARollingDistributionHasTheKernelsVersion) {
    machine.file("/usr/lib/os-release", "NAME='Arch Linux'\nBUILD_ID=rolling\n");
    machine.file("/proc/sys/kernel/osrelease", "6.9.1-arch1-1\n");
    EXPECT_EQ(versionText(),
              "   Product: Arch Linux\n   Version: 6.9.1-arch1-1\n   Build: 6.9.1-arch1-1\n   Update: 0\n"
              "   Patch: 0\n");
}

TEST_F(LiveSystemFiles, WithoutAnyReleaseItIsLinux) {
    EXPECT_EQ(versionText(), "   Product: Linux\n   Version: 0\n   Build: 0\n   Update: 0\n   Patch: 0\n");
}

TEST_F(LiveSystemFiles, ValuesAreQuotedAsInAShell) {
    machine.file("/etc/os-release", "NAME=\"A \\\"quoted\\\" \\$name\"\nVERSION_ID='1\\2'\"3\n" +
                                        std::string(65536, 'x') + "\n\nVERSION_ID\n=\n");
    EXPECT_EQ(host().productName, "A \"quoted\" $name");
    EXPECT_EQ(host().productVersion, "1\\23");
}

TEST_F(LiveSystemFiles, TheMemoryIsInWholeMegabytesAndNothingElseIsMadeUp) {
    machine.file("/proc/meminfo",
                 "MemTotal:       24684092 kB\nMemFree:        20500328 kB\nMemAvailable:   23832804 kB\n");
    machine.file("/proc/sys/kernel/hostname", "a,\"b\\c\n");
    const HostDescription made = host();
    EXPECT_EQ(made.part<Memory>().totalMBytes, 24105u);
    EXPECT_EQ(made.part<Memory>().freeMBytes, 20019u);
    EXPECT_EQ(runStandIn({"esxtop", "-b", "-n", "1"}, {made, 0, "/"}).answer.output,
              "\"(PDH-CSV 4.0) (UTC)(0)\",\"\\\\a??b\\c\\Memory\\Machine MBytes\","
              "\"\\\\a??b\\c\\Memory\\Free MBytes\",\n\"01/01/1970 00:00:00\",\"24105\",\"20019\",\n");
}

TEST_F(LiveSystemFiles, AMemoryThatIsNoNumberIsNone) {
    machine.file("/proc/meminfo", "MemTotal: much\nMemFree: 99999999999999999999999 kB\n");
    EXPECT_EQ(host().part<Memory>().totalMBytes, 0u);
    EXPECT_EQ(host().part<Memory>().freeMBytes, 0u) << "never more than the whole";
}

TEST_F(LiveSystemFiles, A32BitEntryPointIsFollowedByTheTable) {
    SmBiosTable table;
    table.addSystem("Maker", "7711PID02020001").addSlot("Slot 3 r001u05p2i03", "0000:3b:00.0").addEnd();
    machine.file(entryPointFile, table.contents().substr(0, 31));
    machine.file(tableFile, table.contents().substr(31));
    const std::string made = host().part<SmBios>().deviceFile;
    EXPECT_EQ(made.substr(31), table.contents().substr(31));
    EXPECT_EQ(made.substr(0, 4), "_SM_");
    EXPECT_EQ(made[5], 31);
    EXPECT_EQ(made[6], 3);
    EXPECT_EQ(made[7], 2);
    EXPECT_EQ(static_cast<unsigned char>(made[0x16]) + 256u * static_cast<unsigned char>(made[0x17]),
              table.size());
    EXPECT_EQ(made[0x1c], 3) << "structures";
}

TEST_F(LiveSystemFiles, AMachineWithOnlyA64BitEntryPointGetsA32BitOneOfItsFacts) {
    SmBiosTable table;
    table.addSystem("Maker", "Family").addEnd();
    const std::string structures = table.contents().substr(31);
    machine.file(entryPointFile, entryPoint64());
    machine.file(tableFile, structures);
    const std::string made = host().part<SmBios>().deviceFile;
    ASSERT_EQ(made.size(), 31 + structures.size());
    EXPECT_EQ(made.substr(31), structures);
    EXPECT_EQ(made.substr(0, 4), "_SM_");
    EXPECT_EQ(made[5], 31);
    EXPECT_EQ(made.substr(6, 2), std::string("\x03\x05"));
    EXPECT_EQ(made.substr(0x10, 5), "_DMI_");
    EXPECT_EQ(made[0x1c], 2) << "structures";
    EXPECT_EQ(made[0x1e], 0x35) << "the version once more";
    unsigned sum = 0;
    for (int i = 0; i < 31; ++i) sum += static_cast<unsigned char>(made[static_cast<std::size_t>(i)]);
    EXPECT_EQ(sum & 0xff, 0u);
}

TEST_F(LiveSystemFiles, ATableBeyond64KiBEndsWithItsLastStructureThatFits) {
    SmBiosTable table;
    for (int i = 0; i < 300; ++i) table.add(SmBiosStructure(221, 255));
    machine.file(entryPointFile, entryPoint64());
    machine.file(tableFile, table.contents().substr(31));
    EXPECT_EQ(host().part<SmBios>().deviceFile.size(), 31u + 254 * 257)
        << "254 structures of 257 bytes fit into 65505";
}

TEST_F(LiveSystemFiles, ATableThatBreaksOffIsWholeUpToThere) {
    SmBiosTable table;
    table.addSystem("Maker", "Family");
    const std::string whole = table.contents().substr(31);
    machine.file(entryPointFile, entryPoint64());
    for (const std::string& tail :
         {std::string("\x09"), std::string("\x09\x02\x00\x00", 4), std::string("\x09\xff\x00\x00 no end", 11),
          std::string("\x09\x04\x00\x00 no end", 11), std::string(500, '\0')}) {
        machine.file(tableFile, whole + tail);
        EXPECT_EQ(host().part<SmBios>().deviceFile.substr(31), whole);
    }
}

TEST_F(LiveSystemFiles, WithoutTablesThereIsNoDeviceFile) {
    EXPECT_EQ(host().part<SmBios>().deviceFile, "");
    machine.file(tableFile, SmBiosTable().addEnd().contents().substr(31));
    EXPECT_EQ(host().part<SmBios>().deviceFile, "") << "no entry point";
    for (const char* entry : {"", "_SM", "_SM_", "_DMI_ 0123456789012345678901234567890"}) {
        machine.file(entryPointFile, entry);
        EXPECT_EQ(host().part<SmBios>().deviceFile, "") << entry;
    }
    machine.file(entryPointFile, entryPoint64());
    EXPECT_NE(host().part<SmBios>().deviceFile, "");
    machine.file(tableFile, "");
    EXPECT_EQ(host().part<SmBios>().deviceFile, "");
    machine.file(tableFile, std::string(70000, '\xff'));
    EXPECT_EQ(host().part<SmBios>().deviceFile, "");
}

}  // namespace
}  // namespace LiveSystemFilesTest
