// The calls of the location library, and the handling of its results.
#include <atomic>
#include <cstddef>
#include <thread>

#include "platform/places/PhysLocFixture.h"
#include "platform/places/vokLWNZPhysLocInterface.h"
#include "platform/places/vokTQPhysLocInterface.h"

namespace vokPhysLocEncodeTest {
namespace {

static_assert(sizeof(vokPhysLocRecord) == 16, "16 bytes on every ABI");

class PhysLocEncode : public PhysLocTest {
protected:
    vokTQPhysLocInterface& first() {
        provide(firstLibrary);
        EXPECT_TRUE(vokTQPhysLocInterface::getInstance()->Initialize());
        return *vokTQPhysLocInterface::getInstance();
    }
    vokLWNZPhysLocInterface& second() {
        provide(secondLibrary);
        EXPECT_TRUE(vokLWNZPhysLocInterface::getInstance()->Initialize());
        return *vokLWNZPhysLocInterface::getInstance();
    }
    physloc_rtn_t rc = 99;
};

TEST_F(PhysLocEncode, OnTheFirstPlatformFourElementsAndTheSubLocationFillTheirBytes) {
    library.code = 0x0123456789ABCDEFull;
    EXPECT_EQ(first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 59, &rc, "7"),
              "0123456789ABCDEF");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(library.versions, std::vector<int>{2});
    EXPECT_EQ(onlyRecord(), (Record{59, 0, 0, 0, 1, 5, 0, 0, 2, 0, 0, 3, 0, 7, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: PCI address [0000:3b:00.0]: [59] - {001, 05, 2, 03, 7} - PL: "
               "[0123456789ABCDEF]"));
}

TEST_F(PhysLocEncode, OnTheSecondPlatformTheThirdElementIsTheLastLevelAndByteEightStaysZero) {
    EXPECT_EQ(second().physlocEncode("0000:3b:00.0", {"001", "02", "03"}, 48, &rc, "7"), "00000000000012AB");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(library.versions, std::vector<int>{2});
    EXPECT_EQ(onlyRecord(), (Record{48, 0, 0, 0, 1, 2, 0, 0, 0, 0, 0, 3, 0, 7, 0, 0}));
    EXPECT_TRUE(
        logged("DEBUG LWNZPL_INTF: PCI address [0000:3b:00.0]: [48] - {001, 02, 03, 7} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocEncode, SubLocationNotApplicableLeavesItsByteAndIsLogged) {
    first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, nullptr, "NA");
    EXPECT_EQ(onlyRecord()[13], 0);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: PCI address [0000:3b:00.0]: [3] - {001, 05, 2, 03, NA} - PL: "
               "[00000000000012AB]"));
}

TEST_F(PhysLocEncode, AnEmptySubLocationIsTheNumberZero) {
    second().physlocEncode("0000:3b:00.0", {"001", "02", "03"}, 45, nullptr, "");
    EXPECT_EQ(onlyRecord()[13], 0);
    EXPECT_TRUE(logged(
        "DEBUG LWNZPL_INTF: PCI address [0000:3b:00.0]: [45] - {001, 02, 03, } - PL: [00000000000012AB]"));
}

TEST_F(PhysLocEncode, ASubLocationThatIsNotANumberIsZeroToo) {
    first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, nullptr, "na");
    EXPECT_EQ(onlyRecord()[13], 0);
}

TEST_F(PhysLocEncode, ElementsAreDecimalAndCutToEightBits) {
    first().physlocEncode("0000:3b:00.0", {"999", "256", "257", "010"}, 3, nullptr, "300");
    // 999 is 3 * 256 + 231, 300 is 256 + 44.
    EXPECT_EQ(onlyRecord(), (Record{3, 0, 0, 0, 231, 0, 0, 0, 1, 0, 0, 10, 0, 44, 0, 0}));
}

TEST_F(PhysLocEncode, TheTypeIsFourBytesLittleEndian) {
    first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 0x01020304, nullptr, "NA");
    EXPECT_EQ(onlyRecord(), (Record{4, 3, 2, 1, 1, 5, 0, 0, 2, 0, 0, 3, 0, 0, 0, 0}));
}

struct WrongCount {
    std::vector<std::string> elements;
    const char* counted;
};

TEST_F(PhysLocEncode, AWrongNumberOfElementsIsNotPassedToTheFirstPlatformsLibrary) {
    const WrongCount rows[] = {{{}, "(0, [])"},
                               {{"001", "02", "03"}, "(3, [001 02 03])"},
                               {{"1", "2", "3", "4", "5"}, "(5, [1 2 3 4 5])"}};
    for (const auto& row : rows) {
        rc = 99;
        EXPECT_EQ(first().physlocEncode("0000:3b:00.0", row.elements, 3, &rc, "NA"), unknownLocation);
        EXPECT_EQ(rc, 1);
        EXPECT_TRUE(logged(std::string("DEBUG TQPL_INTF: Failed to determine physical location for PCI "
                                       "address [0000:3b:00.0]. ") +
                           row.counted))
            << row.counted;
    }
    EXPECT_EQ(first().physlocEncode("0000:3b:00.0", {}, 3, nullptr, "NA"), unknownLocation);
    EXPECT_TRUE(library.versions.empty());
}

TEST_F(PhysLocEncode, FourElementsAreTooManyOnTheSecondPlatform) {
    EXPECT_EQ(second().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, &rc, "NA"),
              unknownLocation);
    EXPECT_EQ(rc, 1);
    EXPECT_TRUE(
        logged("DEBUG LWNZPL_INTF: Failed to determine physical location for PCI address [0000:3b:00.0]. (4, "
               "[001 05 2 03])"));
    EXPECT_TRUE(library.versions.empty());
}

TEST_F(PhysLocEncode, AFailedEncodingIsLoggedWithTheNumbersAndReturnsTheUnknownLocation) {
    library.result = 5;
    EXPECT_EQ(first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, &rc, "NA"), unknownLocation);
    EXPECT_EQ(rc, 5);
    EXPECT_TRUE(
        logged("DEBUG TQPL_INTF: Failed to encode physical location for PCI address [0000:3b:00.0]. (5) [1, "
               "5, 2, 3, NA]"));
    library.result = -7;
    EXPECT_EQ(second().physlocEncode("0000:3b:00.0", {"999", "02", "03"}, 3, &rc, ""), unknownLocation);
    EXPECT_EQ(rc, -7);
    EXPECT_TRUE(
        logged("DEBUG LWNZPL_INTF: Failed to encode physical location for PCI address [0000:3b:00.0]. (-7) "
               "[231, 2, 3, ]"));
}

TEST_F(PhysLocEncode, ACodeIsSixteenUpperCaseDigitsWithLeadingZeros) {
    EXPECT_EQ(first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, nullptr, "NA"),
              "00000000000012AB");
    library.code = ~0ull - 1;
    EXPECT_EQ(first().physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, nullptr, "NA"),
              "FFFFFFFFFFFFFFFE");
}

TEST_F(PhysLocEncode, WithoutALibraryNothingIsCalled) {
    vokTQPhysLocInterface& interface = first();
    interface.UnInitialize();
    EXPECT_EQ(interface.physlocEncode("0000:3b:00.0", {"001", "05", "2", "03"}, 3, &rc, "NA"),
              unknownLocation);
    EXPECT_EQ(rc, 1);
    EXPECT_TRUE(logged("DEBUG TQPL_INTF: No library to encode PCI address [0000:3b:00.0]."));
    EXPECT_TRUE(library.versions.empty());
}

// The code holds the record's bytes, so that a mixed-up record is detected.
std::int32_t encodeOwnBytes(void* record, std::uint64_t* code) {
    std::uint8_t bytes[16];
    std::memcpy(bytes, record, sizeof(bytes));
    *code = 0;
    for (const int at : {4, 5, 8, 11, 13}) *code = *code << 8 | bytes[at];
    return 0;
}
int zeroRecord(void* record, int) {
    std::memset(record, 0, 16);
    return 0;
}

TEST_F(PhysLocEncode, ManyThreadsEncodeAtOnceWithoutALock) {
    startFirstPlatform();
    libraries.symbols[firstLibrary] = {{"physloc_init_data", reinterpret_cast<void*>(zeroRecord)},
                                       {"physloc_encode", reinterpret_cast<void*>(encodeOwnBytes)}};
    vokTQPhysLocInterface& interface = *vokTQPhysLocInterface::getInstance();
    ASSERT_TRUE(interface.Initialize());
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&interface, &wrong, i] {
            for (int n = 0; n < 200; ++n) {
                if (interface.getPhysLocForIOSlot("0000:3b:00.0") != "0000000105020300") ++wrong;
                if (interface.getPhysLocForNetworkAdapter("0000:18:00.1") != "0000000105020001") ++wrong;
                const std::string bay = "000000010501" + std::string(i % 2 ? "0207" : "0307");
                if (interface.getPhysLocForChassisDriveSlot("0000:5e:00.0", i % 2 ? 2 : 3) != bay) ++wrong;
                if (interface.checkPCIDevicesLocatedInSameChassis("0000:3b:00.0", "0000:5e:00.0") != 2)
                    ++wrong;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace vokPhysLocEncodeTest
