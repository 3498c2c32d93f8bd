// The decorator that records a host: each kind of question is in the recording as it was asked and answered,
// and the agent gets what it would get without it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>

#include "daemon/recording/RecordingHostAccess.h"
#include "fc/hbaapi/hbaapi.h"
#include "platform/places/vokPhysLocPlatform.h"
#include "recording/Forms.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeLibraries.h"
#include "support/FakeNetwork.h"
#include "support/FakeScsi.h"
#include "support/FakeSystem.h"

namespace RecordedHostTest {
namespace {

using recording::Exchange;
using recording::Fields;
using recording::FileEntry;
using recording::Recording;
using Kind = FileEntry::Kind;

class RecordedHost : public testing::Test {
protected:
    Recording finish() {
        Recording recorded;
        complete = host.finish(recorded);
        return recorded;
    }
    // The only exchange of a kind.
    static Exchange only(const Recording& recorded, const std::string& kind) {
        Exchange found;
        int count = 0;
        for (const Exchange& exchange : recorded.exchanges)
            if (exchange.kind == kind) {
                found = exchange;
                ++count;
            }
        EXPECT_EQ(count, 1) << kind;
        return found;
    }
    void link(const std::string& target, const std::string& path) const {
        std::filesystem::create_directories(std::filesystem::path(fake.path(path)).parent_path());
        std::filesystem::create_symlink(target, fake.path(path));
    }
    std::string readCommand(const std::string& command, int& status) {
        FILE* const stream = host.openCommand(command);
        std::string output;
        char line[64];
        while (stream && std::fgets(line, sizeof(line), stream)) output += line;
        status = stream ? host.closeCommand(stream) : -1;
        return output;
    }

    FakeHost fake;
    RecordingHostAccess host{vokHostAccess()};
    bool complete = false;
};

// --- files ---

TEST_F(RecordedHost, AFileIsRecordedWithEveryDirectoryOnItsWay) {
    fake.root.writeFile("/etc/config/x", "content");
    EXPECT_EQ(host.path("/etc/config/x"), fake.path("/etc/config/x"));
    const auto files = finish().files;
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files.at("/").kind, Kind::directory);
    EXPECT_EQ(files.at("/etc").kind, Kind::directory);
    EXPECT_FALSE(files.at("/etc/config").asked);
    EXPECT_EQ(files.at("/etc/config").children.size(), 0u) << "nobody asked for its list";
    EXPECT_EQ(files.at("/etc/config/x").kind, Kind::file);
    EXPECT_EQ(files.at("/etc/config/x").content, "content");
    EXPECT_TRUE(files.at("/etc/config/x").asked);
    EXPECT_TRUE(complete);
}

TEST_F(RecordedHost, EveryLinkOnTheWayIsRecordedAndWhatItLeadsTo) {
    fake.root.writeFile("/sys/devices/pci/host0/speed", "10\n");
    link("../../devices/pci/host0", "/sys/class/scsi_host/host0");
    (void)host.path("/sys/class/scsi_host/host0/speed");
    const auto files = finish().files;
    const FileEntry& followed = files.at("/sys/class/scsi_host/host0");
    EXPECT_EQ(followed.kind, Kind::link);
    EXPECT_EQ(followed.target, "../../devices/pci/host0");
    EXPECT_FALSE(followed.asked);
    EXPECT_EQ(files.at("/sys/devices/pci/host0/speed").content, "10\n");
    EXPECT_TRUE(files.at("/sys/devices/pci/host0/speed").asked);
    EXPECT_EQ(files.count("/sys/class/scsi_host/host0/speed"), 0u);
}

TEST_F(RecordedHost, ALinkThatIsAskedForIsRecordedAndItsTargetToo) {
    fake.root.writeFile("/a/file", "x");
    link("file", "/a/link");
    (void)host.path("/a/link");
    const auto files = finish().files;
    EXPECT_TRUE(files.at("/a/link").asked);
    EXPECT_EQ(files.at("/a/link").target, "file");
    EXPECT_EQ(files.at("/a/file").content, "x");
}

TEST_F(RecordedHost, AnAbsoluteLinkIsOneOfTheHost) {
    fake.root.writeFile("/b/file", "x");
    link(fake.path("/b"), "/a");
    (void)host.path("/a/file");
    const auto files = finish().files;
    EXPECT_EQ(files.at("/a").target, "/b");
    EXPECT_EQ(files.at("/b/file").content, "x");
}

TEST_F(RecordedHost, ADirectoryThatALinkOutOfTheHostRootLeadsToIsRecordedInItsPlace) {
    const TemporaryDirectory machine;
    machine.writeFile("/class/x", "of the machine");
    link(machine.path(), "/sys");
    (void)host.path("/sys/class/x");
    const auto files = finish().files;
    EXPECT_EQ(files.at("/sys").kind, Kind::directory);
    EXPECT_EQ(files.at("/sys/class/x").content, "of the machine");
}

TEST_F(RecordedHost, ALinkThatLeadsToItselfEnds) {
    link("loop", "/loop");
    (void)host.path("/loop/x");
    EXPECT_EQ(finish().files.at("/loop").target, "loop");
}

TEST_F(RecordedHost, ADirectoryThatIsAskedForHasItsNamesAndWhatTheyAre) {
    fake.root.writeFile("/d/file", "");
    fake.root.writeFile("/d/sub/file", "");
    link("file", "/d/link");
    ASSERT_EQ(::mkfifo(fake.path("/d/pipe").c_str(), 0600), 0);
    (void)host.path("/d/");
    const auto files = finish().files;
    const std::map<std::string, Kind> expected = {
        {"file", Kind::file}, {"sub", Kind::directory}, {"link", Kind::link}, {"pipe", Kind::other}};
    EXPECT_EQ(files.at("/d").children, expected);
    EXPECT_TRUE(files.at("/d").asked);
    EXPECT_EQ(files.count("/d/file"), 0u) << "nobody asked for it";
}

TEST_F(RecordedHost, WhatIsMissingIsRecordedAsAbsent) {
    (void)host.path("/no/such/file");
    const auto files = finish().files;
    EXPECT_EQ(files.at("/no").kind, Kind::absent);
    EXPECT_EQ(files.at("/no/such/file").kind, Kind::absent);
    EXPECT_TRUE(files.at("/no/such/file").asked);
}

TEST_F(RecordedHost, APipeIsThereAndIsNotOpened) {
    ASSERT_EQ(::mkfifo(fake.path("/pipe").c_str(), 0600), 0);
    (void)host.path("/pipe");
    EXPECT_EQ(finish().files.at("/pipe").kind, Kind::other);
}

TEST_F(RecordedHost, WhatCannotBeReadHasItsErrno) {
    link("/proc/self/mem", "/unreadable");  // nothing is mapped at its beginning
    (void)host.path("/unreadable");
    const auto files = finish().files;
    EXPECT_EQ(files.at("/unreadable").kind, Kind::file);
    EXPECT_EQ(files.at("/unreadable").error, EIO);
}

TEST_F(RecordedHost, TheContentIsThatOfTheFirstTimeAndAChangeIsRemarked) {
    fake.root.writeFile("/changing", "first");
    fake.root.writeFile("/steady", "same");
    (void)host.path("/changing");
    (void)host.path("/steady");
    fake.root.writeFile("/changing", "then");
    (void)host.path("/changing");
    const Recording recorded = finish();
    EXPECT_EQ(recorded.files.at("/changing").content, "first");
    EXPECT_EQ(recorded.remarks, std::vector<std::string>{"/changing changed meanwhile"});
}

TEST_F(RecordedHost, ThePlacesOfTheAgentAreLeftOut) {
    host.leaveOut({"/opt/mev/vok/log", "/var/run/vokd.pid"});
    for (const char* path :
         {"/opt/mev/vok/log", "/opt/mev/vok/log/a", "/var/run/vokd.pid", "/opt/mev/vok/logs"})
        (void)host.path(path);
    const auto files = finish().files;
    EXPECT_EQ(files.count("/opt/mev/vok/log"), 0u);
    EXPECT_EQ(files.count("/opt/mev/vok/log/a"), 0u);
    EXPECT_EQ(files.count("/var/run/vokd.pid"), 0u);
    EXPECT_EQ(files.count("/opt/mev/vok/logs"), 1u) << "another name";
}

TEST_F(RecordedHost, OfALongFileTheFirstSixteenMebibytesAreKept) {
    const std::string content(16777216, 'a');
    fake.root.writeFile("/long", content + 'b');
    fake.root.writeFile("/longest", content);
    (void)host.path("/long");
    (void)host.path("/longest");
    const Recording recorded = finish();
    EXPECT_TRUE(recorded.files.at("/long").content == content);
    EXPECT_TRUE(recorded.files.at("/longest").content == content);
    EXPECT_EQ(recorded.remarks,
              std::vector<std::string>{"/long is longer than 16 MiB; the rest is not recorded"});
}

TEST_F(RecordedHost, OfAProgramOnlyItsFirstBytesAreKept) {
    fake.root.writeFile("/lib/vendor.so", "\177ELF and the vendor's code");
    (void)host.path("/lib/vendor.so");
    EXPECT_EQ(finish().files.at("/lib/vendor.so").content, "\177ELF");
}

// --- commands ---

TEST_F(RecordedHost, ACommandIsRecordedWithItsOutputItsStatusAndWithoutTheHostRoot) {
    const std::string command = "cat " + host.commandPath("/proc/devices") + " | grep x";
    fake.part<FakeCommands>().onCommand = [](const std::string&, int& status) {
        status = 256;
        return "one\ntwo\n";
    };
    int status = 0;
    EXPECT_EQ(readCommand(command, status), "one\ntwo\n");
    EXPECT_EQ(status, 256);
    EXPECT_EQ(fake.part<FakeCommands>().texts(), std::vector<std::string>{command});
    const Exchange exchange = only(finish(), recording::kinds::commandRead);
    EXPECT_EQ(exchange.question, (Fields{{"text", "cat /proc/devices | grep x"}}));
    ASSERT_EQ(exchange.answers.size(), 1u);
    EXPECT_EQ(exchange.answers[0],
              (Fields{{"status", "256"}, {"error", "0"}, {"opened", "1"}, {"output", "one\ntwo\n"}}));
    EXPECT_EQ(fake.part<FakeCommands>().openStreams(), 0);
}

TEST_F(RecordedHost, TheFilesThatACommandWroteAreInItsAnswer) {
    fake.root.writeFile("/opt/before", "unchanged");
    fake.root.writeFile("/opt/appended", "a");
    (void)host.path("/opt/new");
    const std::string command = "x " + host.commandPath("/opt/before") + " " +
                                host.commandPath("/opt/appended") + " > " + host.commandPath("/opt/new");
    (void)host.commandPath("/opt/unnamed");
    fake.part<FakeCommands>().onCommand = [&](const std::string&, int&) {
        for (const char* path : {"/opt/new", "/opt/unnamed"}) fake.root.writeFile(path, "written");
        fake.root.writeFile("/opt/appended", "ab");
        return "";
    };
    EXPECT_EQ(host.runCommand(command), 0);
    const Recording recorded = finish();
    EXPECT_EQ(
        only(recorded, recording::kinds::commandRun).answers[0],
        (Fields{
            {"status", "0"}, {"error", "0"}, {"file:/opt/new", "written"}, {"file:/opt/appended", "ab"}}));
    EXPECT_EQ(recorded.files.at("/opt/new").kind, Kind::absent) << "as it was before the command";
    EXPECT_EQ(recorded.remarks, std::vector<std::string>()) << "the command is known to have written it";
}

TEST_F(RecordedHost, ACommandThatCannotBeStartedFailsWithTheSameErrno) {
    fake.part<FakeCommands>().failToStart = true;
    errno = 0;
    EXPECT_EQ(host.openCommand("x"), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(host.runCommand("x"), -1);
    EXPECT_EQ(errno, EAGAIN);
    const Recording recorded = finish();
    EXPECT_EQ(only(recorded, recording::kinds::commandRead).answers[0].at("opened"), "0");
    EXPECT_EQ(only(recorded, recording::kinds::commandRun).answers[0].at("error"), std::to_string(EAGAIN));
}

TEST_F(RecordedHost, AnswersStandInTheirOrderAndTheLastIsNotRepeated) {
    int count = 0;
    fake.part<FakeCommands>().onCommand = [&](const std::string&, int& status) {
        status = std::min(++count, 3) / 2;  // 0, 1, 1, 1
        return "";
    };
    for (int i = 0; i < 4; ++i) host.runCommand("x");
    const Exchange exchange = only(finish(), recording::kinds::commandRun);
    ASSERT_EQ(exchange.answers.size(), 2u);
    EXPECT_EQ(exchange.answers[0].at("status"), "0");
    EXPECT_EQ(exchange.answers[1].at("status"), "1");
}

TEST_F(RecordedHost, ARecordingThatGrowsTooLargeIsIncomplete) {
    RecordingHostAccess small(vokHostAccess(), 100);
    fake.part<FakeCommands>().onCommand = [](const std::string&, int&) { return std::string(200, 'x'); };
    FILE* const stream = small.openCommand("x");
    char output[256] = {};
    EXPECT_EQ(std::fread(output, 1, sizeof(output), stream), 200u) << "the agent gets it all";
    EXPECT_EQ(small.closeCommand(stream), 0);
    Recording recorded;
    EXPECT_FALSE(small.finish(recorded));
    EXPECT_EQ(recorded.exchanges.size(), 0u);
}

// --- devices ---

TEST_F(RecordedHost, ACommandToADiskIsRecordedByTheNameOfTheDisk) {
    auto& disk = fake.add<FakeScsi>("/dev/sg3");
    disk.answer({0x12, 0, 0, 0, 8, 0}, {{'d', 'i', 's', 'k'}});
    const int descriptor = host.openDevice(host.path("/dev/sg3"), O_RDWR);
    ASSERT_GE(descriptor, 0);
    unsigned char command[] = {0x12, 0, 0, 0, 8, 0};
    char data[8] = {};
    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.dxfer_direction = SG_DXFER_FROM_DEV;
    header.cmdp = command;
    header.cmd_len = 6;
    header.dxferp = data;
    header.dxfer_len = 8;
    EXPECT_EQ(host.ioctlDevice(descriptor, SG_IO, &header), 0);
    EXPECT_STREQ(data, "disk");
    EXPECT_EQ(host.closeDevice(descriptor), 0);
    EXPECT_EQ(disk.openDescriptors(), 0);
    const Recording recorded = finish();
    EXPECT_EQ(only(recorded, recording::kinds::open).question.at("device"), "/dev/sg3");
    const Exchange exchange = only(recorded, recording::kinds::scsi);
    EXPECT_EQ(exchange.question.at("device"), "/dev/sg3");
    EXPECT_EQ(exchange.answers[0].at("data"), "disk");
    EXPECT_EQ(exchange.answers[0].at("residual"), "4");
}

TEST_F(RecordedHost, ADeviceThatCannotBeOpenedHasItsErrno) {
    fake.add<FakeScsi>("/dev/sg3").failOpens(1, EBUSY);
    errno = 0;
    EXPECT_EQ(host.openDevice(host.path("/dev/sg3"), O_RDWR), -1);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_EQ(only(finish(), recording::kinds::open).answers[0], (Fields{{"error", std::to_string(EBUSY)}}));
}

TEST_F(RecordedHost, ANodeThatIsReadHasItsContentAndTheAgentReadsItFromTheBeginning) {
    fake.root.writeFile("/vmfs/smbios", "table");
    const int descriptor = host.openDevice(host.path("/vmfs/smbios"), O_RDONLY);
    char text[8] = {};
    EXPECT_EQ(::read(descriptor, text, sizeof(text)), 5);
    host.closeDevice(descriptor);
    EXPECT_EQ(only(finish(), recording::kinds::open).answers[0].at("content"), "table");
}

TEST_F(RecordedHost, AMessageToTheControllerIsOneExchangeWithItsAnswer) {
    auto& ipmi = fake.add<FakeIpmi>();
    ipmi.answer({{0x00, 0x20}});
    const int descriptor = host.openDevice(host.path("/dev/ipmi0"), O_RDWR);
    ipmi_system_interface_addr address{};
    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    ipmi_req request{};
    request.addr = reinterpret_cast<unsigned char*>(&address);
    request.addr_len = sizeof(address);
    request.msgid = 5;
    request.msg.netfn = 6;
    request.msg.cmd = 1;
    ASSERT_EQ(host.ioctlDevice(descriptor, IPMICTL_SEND_COMMAND, &request), 0);
    EXPECT_EQ(host.waitForDevice(descriptor), 1);
    unsigned char from[40] = {};
    unsigned char data[16] = {};
    ipmi_recv receive{};
    receive.addr = from;
    receive.addr_len = sizeof(from);
    receive.msg.data = data;
    receive.msg.data_len = sizeof(data);
    EXPECT_EQ(host.ioctlDevice(descriptor, IPMICTL_RECEIVE_MSG_TRUNC, &receive), 0);
    EXPECT_EQ(data[1], 0x20);
    request.msgid = 6;
    host.ioctlDevice(descriptor, IPMICTL_SEND_COMMAND, &request);  // whose answer nobody waits for
    host.closeDevice(descriptor);
    const Exchange exchange = only(finish(), recording::kinds::ipmi);
    EXPECT_EQ(exchange.question.at("function"), "6");
    ASSERT_EQ(exchange.answers.size(), 2u);
    EXPECT_EQ(exchange.answers[0].at("wait"), "1");
    EXPECT_EQ(exchange.answers[0].at("received"), "0");
    EXPECT_EQ(exchange.answers[0].at("data"), std::string("\x00\x20", 2));
    EXPECT_EQ(exchange.answers[1], (Fields{{"sent", "0"}}));
}

TEST_F(RecordedHost, AnUnknownRequestIsRemarked) {
    fake.add<FakeScsi>("/dev/sg3");
    const int descriptor = host.openDevice(host.path("/dev/sg3"), O_RDWR);
    host.ioctlDevice(descriptor, 0x1234, nullptr);
    host.closeDevice(descriptor);
    EXPECT_EQ(finish().remarks,
              std::vector<std::string>{"of device request 0x1234 only the result is recorded"});
}

// --- libraries ---

physloc_rtn_t encodeLocation(vokPhysLocRecord*, std::uint64_t* code) {
    *code = 42;
    return 0;
}
HBA_UINT32 threeAdapters() {
    return 3;
}
HBA_STATUS registerLibrary(HBA_ENTRYPOINTS* table) {
    table->GetNumberOfAdaptersHandler = threeAdapters;
    return 0;
}

TEST_F(RecordedHost, CallsOfALibraryAreRecordedByItsName) {
    fake.part<FakeLibraries>().symbols["loc.so"] = {{vokPhysLocEncodeSymbol, &encodeLocation}};
    void* const library = host.openLibrary("loc.so", 0);
    ASSERT_NE(library, nullptr);
    const auto encode =
        reinterpret_cast<vokPhysLocEncode>(host.librarySymbol(library, vokPhysLocEncodeSymbol));
    vokPhysLocRecord record{};
    std::uint64_t code = 0;
    EXPECT_EQ(encode(&record, &code), 0);
    EXPECT_EQ(code, 42u);
    host.closeLibrary(library);
    EXPECT_EQ(fake.part<FakeLibraries>().openCount(), 0);
    const Recording recorded = finish();
    EXPECT_EQ(only(recorded, recording::kinds::library).answers[0], (Fields{{"opened", "1"}, {"error", ""}}));
    EXPECT_EQ(only(recorded, recording::kinds::symbol).answers[0].at("found"), "1");
    EXPECT_EQ(only(recorded, recording::kinds::call).question.at("library"), "loc.so");
    EXPECT_EQ(only(recorded, recording::kinds::call).answers[0].at("code"), "42");
}

TEST_F(RecordedHost, ALibraryOfAPathHasItsPathOnTheHost) {
    const std::string hostPath = host.path("/lib/fc.so");
    fake.part<FakeLibraries>().symbols[hostPath] = {{HBA_RegisterLibrarySymbol, &registerLibrary}};
    void* const library = host.openLibrary(hostPath, 0);
    HBA_ENTRYPOINTS table{};
    reinterpret_cast<HBA_REGISTERLIBRARY>(host.librarySymbol(library, HBA_RegisterLibrarySymbol))(&table);
    EXPECT_EQ(table.GetNumberOfAdaptersHandler(), 3u);
    host.closeLibrary(library);
    const Recording recorded = finish();
    EXPECT_EQ(recorded.exchanges.back().question,
              (Fields{{"library", "/lib/fc.so"}, {"entry", "GetNumberOfAdaptersHandler"}}));
}

TEST_F(RecordedHost, TheFileOfALibraryIsThatOfTheHost) {
    auto& libraries = fake.part<FakeLibraries>();
    libraries.symbols["loc.so"] = {{vokPhysLocEncodeSymbol, &encodeLocation}};
    libraries.file = "/usr/lib/loc.so.1";
    void* const library = host.openLibrary("loc.so", 0);
    EXPECT_EQ(host.libraryFile(library), "/usr/lib/loc.so.1");
    host.closeLibrary(library);
}

TEST_F(RecordedHost, AMissingLibraryHasTheLoadersReasonAndTheAgentGetsItOnce) {
    fake.part<FakeLibraries>().failure = fake.path("/lib/x.so") + ": not found";
    EXPECT_EQ(host.openLibrary("x.so", 0), nullptr);
    EXPECT_EQ(host.libraryError(), fake.path("/lib/x.so") + ": not found");
    EXPECT_EQ(host.libraryError(), "");
    EXPECT_EQ(only(finish(), recording::kinds::library).answers[0],
              (Fields{{"opened", "0"}, {"error", "/lib/x.so: not found"}}));
}

TEST_F(RecordedHost, AnUnknownSymbolIsTheLibrarysOwnAndIsRemarked) {
    fake.part<FakeLibraries>().symbols["loc.so"] = {{"other", &encodeLocation}};
    void* const library = host.openLibrary("loc.so", 0);
    EXPECT_EQ(host.librarySymbol(library, "other"), reinterpret_cast<void*>(&encodeLocation));
    host.closeLibrary(library);
    EXPECT_EQ(finish().remarks, std::vector<std::string>{"calls of other of loc.so are not recorded"});
}

// --- the system and its clock ---

TEST_F(RecordedHost, NameAddressesAndMemoryOfTheHostAreRecorded) {
    utsname name{};
    host.systemName(&name);
    struct sysinfo information {};
    host.systemInformation(&information);
    ifaddrs* addresses = nullptr;
    ASSERT_EQ(host.interfaceAddresses(&addresses), 0);
    host.freeInterfaceAddresses(addresses);
    const Recording recorded = finish();
    EXPECT_STREQ(name.nodename, "testhost");
    EXPECT_EQ(only(recorded, recording::kinds::systemName).answers[0].at("node"), "testhost");
    EXPECT_EQ(only(recorded, recording::kinds::systemInformation).answers[0].at("uptime"), "1000");
    EXPECT_EQ(only(recorded, recording::kinds::interfaceAddresses).answers[0].at("1.address"), "10.1.2.3");
}

TEST_F(RecordedHost, FactsThatTheSystemRefusesHaveTheirErrno) {
    fake.part<FakeSystem>().nameFails = true;
    fake.part<FakeNetwork>().fails = true;
    utsname name{};
    EXPECT_EQ(host.systemName(&name), -1);
    EXPECT_EQ(errno, EFAULT);
    ifaddrs* addresses = nullptr;
    EXPECT_EQ(host.interfaceAddresses(&addresses), -1);
    EXPECT_EQ(errno, EMFILE);
    const Recording recorded = finish();
    EXPECT_EQ(only(recorded, recording::kinds::systemName).answers[0], (Fields{{"error", "14"}}));
    EXPECT_EQ(only(recorded, recording::kinds::interfaceAddresses).answers[0], (Fields{{"error", "24"}}));
}

TEST_F(RecordedHost, TheWallClockStandsAtOneInstantAndWaitsLastAsLongAsEver) {
    auto& clock = fake.part<FakeClock>();
    clock.set(1700000100, 250000000);
    timespec now{};
    ASSERT_EQ(host.wallClock(&now), 0);
    EXPECT_EQ(now.tv_sec, 1700000000) << "when the recording began";
    EXPECT_EQ(now.tv_nsec, 0);
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const timespec deadline{1700000030, 0};
    pthread_mutex_lock(&mutex);
    EXPECT_EQ(host.timedWait(&condition, &mutex, &deadline), ETIMEDOUT);
    pthread_mutex_unlock(&mutex);
    EXPECT_EQ(clock.waitedSeconds(), std::vector<long long>{30});
    EXPECT_EQ(finish().time, 1700000000);
}

// --- as a whole ---

std::size_t openDescriptors() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        static_cast<void>(entry);
        ++count;
    }
    return count;
}

TEST_F(RecordedHost, NoDescriptorIsLeftOpen) {
    fake.root.writeFile("/d/file", "x");
    fake.part<FakeCommands>().output["x"] = "y\n";
    const std::size_t before = openDescriptors();
    (void)host.path("/d");
    (void)host.path("/d/file");
    (void)host.path("/missing");
    const int descriptor = host.openDevice(host.path("/d/file"), O_RDONLY);
    host.closeDevice(descriptor);
    int status = 0;
    readCommand("x", status);
    finish();
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace RecordedHostTest
