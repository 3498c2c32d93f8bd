// The stand-ins of the location libraries: at their entry points, and under the agent on a simulated host.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <thread>

#include "platform/places/vokLWNZPhysLocInterface.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/places/vokTQPhysLocInterface.h"
#include "platform/utils/vokUtils.h"
#include "simhost/SimulatedMachine.h"
#include "support/SmBiosTable.h"

namespace LocationLibraryTest {

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

using Record = std::array<std::uint8_t, 16>;

// A library as it lies in a host root, opened as the agent opens it.
class LocationLibrary : public testing::Test {
protected:
    ~LocationLibrary() override {
        if (library_) ::dlclose(library_);
    }
    void open(const char* target, const std::string& name) {
        fs::create_directories(directory.path() + "/lib");
        fs::create_directories(directory.path() + "/run/simhost");
        fs::create_symlink(target, directory.path() + "/lib/" + name);
        library_ = ::dlopen((directory.path() + "/lib/" + name).c_str(), RTLD_LAZY | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << ::dlerror();
        init = reinterpret_cast<int (*)(void*, int)>(::dlsym(library_, "physloc_init_data"));
        encode = reinterpret_cast<std::int32_t (*)(const void*, std::uint64_t*)>(
            ::dlsym(library_, "physloc_encode"));
    }
    void openFirst() { open(VOK_LOCATION_LIBRARY_0202, "libvkloc0202.so"); }
    void openSecond() { open(VOK_LOCATION_LIBRARY_0302, "libvkloc0302.so"); }
    // What the library makes of a record: the code, or its result.
    std::uint64_t codeOf(const Record& wanted) {
        Record record;
        std::uint64_t code = 0xDEAD;
        EXPECT_EQ(init(&record, 2), 0);
        record = wanted;
        EXPECT_EQ(encode(&record, &code), 0) << violations();
        return code;
    }
    std::int32_t refusalOf(const Record& wanted) {
        Record record;
        std::uint64_t code = 0xDEAD;
        EXPECT_EQ(init(&record, 2), 0);
        record = wanted;
        const std::int32_t result = encode(&record, &code);
        EXPECT_EQ(code, 0xDEADu);
        return result;
    }
    std::string violations() const { return directory.readFile("/run/simhost/physloc-violations.log"); }

    TemporaryDirectory directory;
    int (*init)(void*, int) = nullptr;
    std::int32_t (*encode)(const void*, std::uint64_t*) = nullptr;

private:
    void* library_ = nullptr;
};

TEST_F(LocationLibrary, WritesThePlaceOfEachUnitOfTheFirstPlatformReadably) {
    openFirst();
    // r001u05p2i03; then a function on the board, bay 10 of the controller in slot 03, box 2.
    EXPECT_EQ(codeOf({3, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 3, 0, 0, 0, 0}), 0x203A001B05C20300u);
    EXPECT_EQ(codeOf({59, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 0, 0, 1, 0, 0}), 0x259A001B05C20001u);
    EXPECT_EQ(codeOf({56, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 10, 0, 3, 0, 0}), 0x256A001B05C21003u);
    EXPECT_EQ(codeOf({69, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 3, 0, 0, 0, 0}), 0x269A001B05C20300u);
    EXPECT_EQ(codeOf({64, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 3, 0, 2, 0, 0}), 0x264A001B05C20302u);
    EXPECT_EQ(codeOf({3, 0, 0, 0, 255, 99, 0, 0, 9, 0, 0, 99, 0, 99, 0, 0}), 0x203A255B99C99999u);
    EXPECT_FALSE(directory.exists("/run/simhost/physloc-violations.log"));
}

TEST_F(LocationLibrary, WritesThePlaceOfEachUnitOfTheSecondPlatformReadably) {
    openSecond();
    // r012i02s03
    EXPECT_EQ(codeOf({3, 0, 0, 0, 12, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}), 0x303A012B02C00300u);
    EXPECT_EQ(codeOf({48, 0, 0, 0, 12, 2, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}), 0x348A012B02C00001u);
    EXPECT_EQ(codeOf({45, 0, 0, 0, 12, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}), 0x345A012B02C00300u);
    EXPECT_EQ(codeOf({61, 0, 0, 0, 12, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}), 0x361A012B02C00300u);
    EXPECT_EQ(codeOf({53, 0, 0, 0, 12, 2, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0}), 0x353A012B02C00300u);
    EXPECT_FALSE(directory.exists("/run/simhost/physloc-violations.log"));
}

TEST_F(LocationLibrary, ClearsTheWholeRecord) {
    openFirst();
    Record record;
    record.fill(0xFF);
    EXPECT_EQ(init(&record, 2), 0);
    EXPECT_EQ(record, Record{});
}

TEST_F(LocationLibrary, RefusesEveryVersionButTwo) {
    openFirst();
    for (const int version : {0, 1, 3}) {
        Record record{};
        std::uint64_t code = 0;
        EXPECT_NE(init(&record, version), 0);
        record[0] = 3;
        EXPECT_EQ(encode(&record, &code), 2);
        EXPECT_THAT(violations(), HasSubstr("libvkloc0202.so: physloc_init_data: version " +
                                            std::to_string(version) + ", not 2\n"));
    }
}

TEST_F(LocationLibrary, RefusesARecordThatWasNotInitializedForThisOneEncoding) {
    openFirst();
    Record record{3};
    Record other{};
    std::uint64_t code = 0;
    EXPECT_EQ(encode(&record, &code), 2);
    EXPECT_EQ(init(&other, 2), 0);
    EXPECT_EQ(encode(&record, &code), 2);
    EXPECT_EQ(init(&record, 2), 0);
    record[0] = 3;
    EXPECT_EQ(encode(&record, &code), 0);
    EXPECT_EQ(encode(&record, &code), 2);
    EXPECT_THAT(
        violations(),
        HasSubstr("libvkloc0202.so: physloc_encode: the record did not come from physloc_init_data\n"));
}

TEST_F(LocationLibrary, RefusesTheOtherPlatformsKinds) {
    openFirst();
    for (const int kind : {0, 48, 45, 61, 53, 255})
        EXPECT_EQ(refusalOf({static_cast<std::uint8_t>(kind)}), 3) << kind;
    EXPECT_EQ(refusalOf({3, 1}), 3);  // 259
    EXPECT_THAT(violations(), HasSubstr("no unit of this platform has the kind 48\n"));
    EXPECT_THAT(violations(), HasSubstr("no unit of this platform has the kind 259\n"));
}

TEST_F(LocationLibrary, RefusesTheFirstPlatformsKindsOnTheSecond) {
    openSecond();
    for (const int kind : {0, 59, 56, 69, 64, 255})
        EXPECT_EQ(refusalOf({static_cast<std::uint8_t>(kind)}), 3) << kind;
}

TEST_F(LocationLibrary, RefusesABeyondItsDigitsNumberAndAByteOfItsOwnThatIsNotZero) {
    openFirst();
    for (const std::size_t at : {6u, 7u, 9u, 10u, 12u, 14u, 15u}) {
        Record record{3};
        record[at] = 1;
        EXPECT_EQ(refusalOf(record), 4) << at;
        EXPECT_THAT(violations(),
                    HasSubstr("byte " + std::to_string(at) + " is the library's and not zero\n"));
    }
    constexpr struct {
        std::size_t at;
        std::uint8_t value;
        const char* text;
    } rows[] = {
        {5, 100, "second level 100 is more than 99\n"},
        {8, 10, "third level 10 is more than 9\n"},
        {11, 100, "last level 100 is more than 99\n"},
        {13, 100, "sub-location 100 is more than 99\n"},
    };
    for (const auto& row : rows) {
        Record record{3};
        record[row.at] = row.value;
        EXPECT_EQ(refusalOf(record), 5) << row.text;
        EXPECT_THAT(violations(), HasSubstr(row.text));
    }
}

TEST_F(LocationLibrary, TheSecondPlatformHasNoThirdLevel) {
    openSecond();
    EXPECT_EQ(refusalOf({3, 0, 0, 0, 1, 2, 0, 0, 1, 0, 0, 3}), 4);
    EXPECT_THAT(violations(), HasSubstr("byte 8 is not zero and this platform has no third level\n"));
}

TEST_F(LocationLibrary, RefusesNullPointers) {
    openFirst();
    Record record{};
    std::uint64_t code = 0;
    EXPECT_NE(init(nullptr, 2), 0);
    EXPECT_EQ(encode(nullptr, &code), 1);
    EXPECT_EQ(init(&record, 2), 0);
    EXPECT_EQ(encode(&record, nullptr), 1);
}

TEST_F(LocationLibrary, OutsideOfASimulatedHostNothingIsWritten) {
    openFirst();
    fs::remove_all(directory.path() + "/run");
    EXPECT_EQ(refusalOf({1}), 3);
    EXPECT_FALSE(directory.exists("/run"));
}

// --- under the agent, on a simulated host ---

class LocationsOnAHost : public SimulatedMachine {
protected:
    void firmware(const SmBiosTable& table) {
        directory.writeFile("/it's a \"host\"/vmfs/devices/char/mem/smbios", table.contents());
        vokSetHostAccess(access());
        vokUtils::initializeSMBIOS();
        vokUtils::initGeoIDMap();
    }
    void firstPlatform() {
        firmware(SmBiosTable()
                     .addSystem("Maker", "7711PID02020001")
                     .addSlot("Slot r001u05p2i03", "0000:3b:00.0")
                     .addOnboardDevice("LAN r001u05p2i00", "0000:18:00.1")
                     .addEnd());
    }
    std::string violations() const {
        return directory.readFile("/it's a \"host\"/run/simhost/physloc-violations.log");
    }
    vokPhysLocInterface& chosen() { return *vokPhysLocFactory::getPhysLocInterface(); }
};

TEST_F(LocationsOnAHost, EveryUnitOfTheFirstPlatformIsEncodedWithoutAViolation) {
    startHost();
    firstPlatform();
    EXPECT_EQ(chosen().getPhysLocLibraryName(), "libvkloc0202.so");
    EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "203A001B05C20300");
    EXPECT_EQ(chosen().getPhysLocForNetworkAdapter("0000:3b:00.0"), "203A001B05C20300");
    EXPECT_EQ(chosen().getPhysLocForNetworkAdapter("0000:18:00.1"), "259A001B05C20001");
    EXPECT_EQ(chosen().getPhysLocForChassisDriveSlot("0000:3b:00.0", 10), "256A001B05C21003");
    EXPECT_EQ(chosen().getPhysLocForExternalDrive("0000:3b:00.0"), "269A001B05C20300");
    EXPECT_EQ(chosen().getPhysLocForChassisStorageBackplane("0000:3b:00.0", 2), "264A001B05C20302");
    EXPECT_EQ(violations(), "");
}

TEST_F(LocationsOnAHost, EveryUnitOfTheSecondPlatformIsEncodedWithoutAViolation) {
    startHost();
    firmware(SmBiosTable()
                 .addSystem("Maker", "7711PID03020101")
                 .addSlot("Slot r001i02s03", "0000:3b:00.0")
                 .addOnboardDevice("LAN r001i02s00", "0000:18:00.1")
                 .addEnd());
    EXPECT_EQ(chosen().getPhysLocLibraryName(), "libvkloc0302.so");
    EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "303A001B02C00300");
    EXPECT_EQ(chosen().getPhysLocForNetworkAdapter("0000:18:00.1"), "348A001B02C00001");
    EXPECT_EQ(chosen().getPhysLocForChassisDriveSlot("0000:3b:00.0", 0), "345A001B02C00000");
    EXPECT_EQ(chosen().getPhysLocForExternalDrive("0000:3b:00.0"), "361A001B02C00300");
    EXPECT_EQ(chosen().getPhysLocForChassisStorageBackplane("0000:3b:00.0", 7), "353A001B02C00300");
    EXPECT_EQ(violations(), "");
}

TEST_F(LocationsOnAHost, ManyThreadsEncodeWithoutAViolation) {
    startHost();
    firstPlatform();
    std::vector<std::thread> threads;
    for (int i = 1; i <= 8; ++i)
        threads.emplace_back([this, i] {
            const std::string location = "256A001B05C20" + std::to_string(i) + "03";
            for (int n = 0; n < 100; ++n)
                EXPECT_EQ(chosen().getPhysLocForChassisDriveSlot("0000:3b:00.0", i), location);
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(violations(), "");
}

TEST_F(LocationsOnAHost, AHostMayLackTheLibrary) {
    startHost();
    EXPECT_EQ(hostControl({"library", "libvkloc0202.so", "absent"}), "ok\n");
    firstPlatform();
    EXPECT_EQ(chosen().getPhysLocLibraryName(), "Mock-PL library");
    EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "FFFFFFFFFFFFFFFF");
}

TEST_F(LocationsOnAHost, AHostMayHaveALibraryWithoutTheEncoder) {
    startHost();
    EXPECT_EQ(hostControl({"library", "libvkloc0202.so", "without-encoder"}), "ok\n");
    firstPlatform();
    EXPECT_EQ(chosen().getPhysLocLibraryName(), "Mock-PL library");
    EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "FFFFFFFFFFFFFFFF");
}

TEST_F(LocationsOnAHost, ALibraryComesBack) {
    startHost();
    hostControl({"library", "libvkloc0202.so", "absent"});
    EXPECT_EQ(hostControl({"library", "libvkloc0202.so", "present"}), "ok\n");
    firstPlatform();
    EXPECT_EQ(chosen().getPhysLocLibraryName(), "libvkloc0202.so");
}

TEST_F(LocationsOnAHost, ACallHangsAfterTheGivenNumberUntilItIsNormalAgain) {
    startHost();
    hostControl({"library", "libvkloc0202.so", "call", "physloc_encode", "hang", "--after", "1"});
    firstPlatform();
    EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "203A001B05C20300");
    std::atomic<bool> hasReturned{false};
    std::thread second([this, &hasReturned] {
        EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "203A001B05C20300");
        hasReturned = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(hasReturned);
    hostControl({"library", "libvkloc0202.so", "call", "normal"});
    second.join();
}

TEST_F(LocationsOnAHost, ANewRunOfTheHostHasNoFaultyCalls) {
    startHost();
    hostControl({"library", "libvkloc0202.so", "call", "physloc_encode", "abort"});
    EXPECT_EQ(hostProgram.end(SIGTERM), 0);
    startHost();
    firstPlatform();
    EXPECT_EQ(chosen().getPhysLocForIOSlot("0000:3b:00.0"), "203A001B05C20300");
}

TEST_F(LocationsOnAHost, TheLibraryCommandKnowsItsWords) {
    startHost();
    const std::vector<std::string> rows[] = {
        {"library"},
        {"library", "libvkloc0202.so"},
        {"library", "libc.so", "absent"},
        {"library", "libvkloc0202.so", "gone"},
        {"library", "libvkloc0202.so", "absent", "now"},
        {"library", "libvkloc0202.so", "call"},
        {"library", "libvkloc0202.so", "call", "physloc_decode", "hang"},
        {"library", "libvkloc0202.so", "call", "physloc_encode", "sleep"},
        {"library", "libvkloc0202.so", "call", "physloc_encode", "hang", "now"},
        {"library", "libvkloc0202.so", "call", "physloc_encode", "hang", "--after", "-1"},
        {"library", "libstorelib.so", "call", "physloc_encode", "hang"},
        {"library", "libvokfca.so", "call", "ProcessLibCommand", "hang"},
    };
    for (const auto& words : rows) {
        std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "control", "--root", root()};
        command.insert(command.end(), words.begin(), words.end());
        EXPECT_EQ(runProgram(command).status, 2) << words.back();
    }
    EXPECT_TRUE(fs::exists(root() + "/lib/libvkloc0202.so"));
}

}  // namespace
}  // namespace LocationLibraryTest
