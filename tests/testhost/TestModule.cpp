#include "testhost/TestModule.h"

#include <json/json.h>
#include <cstdlib>
#include <map>

#include "common/ByteCodec.h"
#include "devices/ScsiDevice.h"
#include "host/DescriptionSection.h"
#include "host/LayoutFiles.h"
#include "host/LocalcliForms.h"
#include "host/SimulatedHost.h"
#include "testhost/TestIoctls.h"
#include "testhost/TestKinds.h"

using namespace simhost;

namespace {

constexpr std::size_t blockSize = 512;

struct TestDiskPart {
    std::string vendor = "TESTING";
    std::uint64_t blocks = 4096;
};

// Command bytes of SBC-4 and SPC-5, and three of its own (vendor specific, C0h and on).
enum Operation : std::uint8_t {
    testUnitReady = 0x00,
    inquiry = 0x12,
    read10 = 0x28,
    write10 = 0x2A,
    hang = 0xC0,
    answerLate = 0xC1,  // byte 1: seconds of the host's time
    tooMuch = 0xC2,     // more data and sense bytes than anybody has room for
    gone = 0xC3,        // pulled out while it is asked
};

std::size_t bigEndian(const std::string& bytes, std::size_t at, std::size_t count) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

class TestDisk : public ScsiDevice {
public:
    TestDisk(SimulatedHost& host, const TestDiskPart& part)
        : ScsiDevice(host.nodes(), host.paths().root + "/dev/sg9", host.time()),
          host_(host),
          vendor_(part.vendor),
          content_(static_cast<std::size_t>(part.blocks * blockSize), '\0') {}

    void hangFromNowOn() { hangs_ = true; }

private:
    void execute(const ScsiRequest& request, const Finish& finish) override {
        const std::string& command = request.command;
        if (hangs_) return;
        switch (static_cast<std::uint8_t>(command[0])) {
            case inquiry:
                return finish(ScsiReply::good(request, std::string(8, '\0') + vendor_));
            case read10:
                return finish(
                    ScsiReply::good(request, content_.substr(bigEndian(command, 2, 4) * blockSize,
                                                             bigEndian(command, 7, 2) * blockSize)));
            case write10:
                content_.replace(bigEndian(command, 2, 4) * blockSize, request.data.size(), request.data);
                return finish(ScsiReply::good(request, ""));
            case hang:
                return;
            case answerLate:
                host_.loop().after(host_.machineTime(static_cast<unsigned char>(command[1])),
                                   [request, finish] { finish(ScsiReply::good(request, "late")); });
                return;
            case tooMuch: {
                ScsiReply reply;
                reply.data = std::string(request.room + 100, 'd');
                reply.sense = std::string(252, 's');
                reply.residual = -100;
                return finish(reply);
            }
            case gone:
                return pullOut();
            default:
                return finish(ScsiReply::check(request, std::string("\x70\0\x05\0\0\0\0\x0A", 8)));
        }
    }
    std::optional<BlockReply> control(const BlockRequest& request) override {
        if (request.number == addOne || request.number == keepNumber || request.number == askNumber)
            return sized(request);
        if (request.number != 0xCC770002) return std::nullopt;
        std::string changed = request.block;
        changed.back() = 'X';
        return BlockReply{7, changed + "beyond the caller's room"};
    }

    // A number of 32 bits each.
    BlockReply sized(const BlockRequest& request) {
        const auto number = ByteReader(request.block.data(), request.block.size()).number<std::uint32_t>();
        if (request.number == keepNumber) kept_ = number;
        const std::uint32_t answer = request.number == askNumber ? kept_ + number : number + 1;
        return {0, ByteWriter().number(answer).bytes()};
    }

    SimulatedHost& host_;
    std::string vendor_;
    std::string content_;
    std::uint32_t kept_ = 0;
    bool hangs_ = false;
};

class TestState : public ModuleState {
public:
    explicit TestState(SimulatedHost& host) : disk_(host, host.description().part<TestDiskPart>()) {
        LibraryServer& libraries = host.libraries();
        libraries.serve(echo, [](const std::string& bytes, const LibraryServer::Reply& reply) {
            reply(static_cast<std::int32_t>(bytes.size()), bytes);
        });
        libraries.serve(postEvents,
                        [&libraries](const std::string& bytes, const LibraryServer::Reply& reply) {
                            const auto count = ByteReader(bytes.data(), bytes.size()).number<std::uint32_t>();
                            for (std::uint32_t i = 0; i < count; ++i)
                                libraries.post(numbered, ByteWriter().number(i).bytes());
                            reply(0, "");
                        });
        libraries.serve(die, [](const std::string&, const LibraryServer::Reply&) { std::_Exit(9); });
        libraries.serve(neverReply,
                        [this](const std::string&, const LibraryServer::Reply&) { ++unanswered_; });
    }
    TestDisk& disk() { return disk_; }
    unsigned unanswered() const { return unanswered_; }

private:
    unsigned unanswered_ = 0;
    TestDisk disk_;
};

void diskCommand(SimulatedHost& host, Words& words) {
    const std::string how = words.next("pull, plug or hang");
    words.end();
    TestDisk& disk = host.state<TestState>().disk();
    if (how == "pull")
        disk.pullOut();
    else if (how == "plug")
        disk.node().setPresent(true);
    else if (how == "hang")
        disk.hangFromNowOn();
    else
        throw UsageError("test-disk: \"" + how + "\" is none of pull, plug, hang");
}

void eventCommand(SimulatedHost& host, Words& words) {
    const std::string text = words.next("the text");
    words.end();
    host.libraries().post(named, text);
}

constexpr ControlCommand commands[] = {
    {"test-disk", "  test-disk pull|plug|hang\n", diskCommand},
    {"test-event", "  test-event TEXT\n", eventCommand},
};

constexpr LocalcliCommand localcliCommands[] = {
    {"test disk get", nullptr, [](const HostDescription& host, const std::string&) {
         return Answer{0, formatLine("Vendor", host.part<TestDiskPart>().vendor), ""};
     }}};

class TestModule : public HostModule {
public:
    void parse(Section& root, const std::string& /*directory*/, HostDescription& into) const override {
        auto& part = into.part<TestDiskPart>();
        root.section("testDisk", [&part](Section& disk) {
            disk.text("vendor", part.vendor);
            disk.number("blocks", part.blocks, 65536);
        });
    }
    void layOut(const std::string& root, const HostDescription& /*host*/,
                const LayoutSources& /*sources*/) const override {
        linkLibrary(root, "libvok-test-library.so", "libtest.so");
    }
    Rows<ControlCommand> controls() const override { return commands; }
    Rows<LocalcliCommand> localcli() const override { return localcliCommands; }
    std::unique_ptr<ModuleState> start(SimulatedHost& host) const override {
        return std::make_unique<TestState>(host);
    }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        shown["testDisk"]["open"] = Json::UInt64(host.state<TestState>().disk().node().openDescriptors());
        shown["testDisk"]["unanswered"] = host.state<TestState>().unanswered();
        shown["libraryConnections"] = Json::UInt64(host.libraries().connections());
    }
};

}  // namespace

const HostModule& testModule() {
    static const TestModule module;
    return module;
}
