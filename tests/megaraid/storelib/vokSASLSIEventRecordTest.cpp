#include "megaraid/storelib/vokSASLSIEventRecord.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>

namespace vokSASLSIEventRecordTest {
namespace {

using Bytes = vokSASLSIEventRecord::Bytes;

void put(Bytes& bytes, std::size_t offset, std::size_t width, unsigned value) {
    for (std::size_t i = 0; i < width; ++i) bytes[offset + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

std::string categoryOf(unsigned locale, unsigned code) {
    Bytes bytes{};
    put(bytes, 8, 4, code);
    put(bytes, 12, 2, locale);
    return std::string(vokSASLSIEventRecord(bytes).category());
}

TEST(EventRecord, TheCodeHasFourBytes) {
    Bytes bytes{};
    put(bytes, 8, 4, 0x84030201);
    EXPECT_EQ(vokSASLSIEventRecord(bytes).code(), 0x84030201u);
}

// --- the category ---

TEST(EventRecord, ALocaleOfOneBitOrAllBitsIsACategory) {
    const std::map<unsigned, std::string> expected = {
        {0x0001, "LD_EVENT"},      {0x0002, "PD_EVENT"},          {0x0004, "ENCLOSURE_EVENT"},
        {0x0008, "BBU_EVENT"},     {0x0010, "SAS_EVENT"},         {0x0020, "CTRL_EVENT"},
        {0x0080, "CLUSTER_EVENT"}, {0x0040, "CONFIG_CHNG_EVENT"}, {0xFFFF, "ALL_EVENT"},
    };
    for (unsigned locale = 0; locale <= 0xFFFF; ++locale) {
        const auto row = expected.find(locale);
        ASSERT_EQ(categoryOf(locale, 0x30), row == expected.end() ? "" : row->second) << locale;
    }
}

TEST(EventRecord, ALocaleOfOneBitPrevailsOverTheCode) {
    EXPECT_EQ(categoryOf(0x0002, 0x8A), "PD_EVENT");
    EXPECT_EQ(categoryOf(0xFFFF, 0x8A), "ALL_EVENT");
}

std::string expectedOfCode(unsigned code) {
    static const std::set<unsigned> volume = {0x4F, 0x8A, 0x8B};
    static const std::set<unsigned> disk = {0x76,  0x84,  0x85,  0x86,  0x87,  0x88,  0x89,
                                            0xF4,  0xF5,  0x106, 0x120, 0x121, 0x12A, 0x14D,
                                            0x14E, 0x188, 0x189, 0x21F, 0x220};
    static const std::set<unsigned> controller = {0x0B, 0x143, 0x144, 0x145, 0x146};
    static const std::set<unsigned> configuration = {0xE7, 0xE8};
    if (volume.count(code)) return "LD_EVENT";
    if (disk.count(code)) return "PD_EVENT";
    if (controller.count(code)) return "CTRL_EVENT";
    if (code == 0x02) return "BBU_EVENT";
    return configuration.count(code) ? "CONFIG_CHNG_EVENT" : "";
}

TEST(EventRecord, AnyOtherLocaleGoesByTheCode) {
    for (const unsigned locale : {0x0000u, 0x0003u, 0x0042u, 0x0100u, 0x8000u, 0xFFFEu})
        for (unsigned code = 0; code <= 0x300; ++code)
            ASSERT_EQ(categoryOf(locale, code), expectedOfCode(code)) << locale << " " << code;
    EXPECT_EQ(categoryOf(0x0003, 0x1008A), "");
    EXPECT_EQ(categoryOf(0x0003, 0x8A), "LD_EVENT");
    EXPECT_EQ(categoryOf(0x0003, 0x30), "");
}

// --- the class ---

TEST(EventRecord, TheClassIsTheVendorsPlusTwoOrSeven) {
    const std::map<int, unsigned> expected = {{-2, 0}, {-1, 1}, {0, 2}, {1, 3}, {2, 4}, {3, 5}, {4, 6}};
    for (int vendorClass = -128; vendorClass <= 127; ++vendorClass) {
        Bytes bytes{};
        bytes.fill(0x55);
        put(bytes, 15, 1, static_cast<unsigned>(vendorClass));
        const auto row = expected.find(vendorClass);
        ASSERT_EQ(vokSASLSIEventRecord(bytes).eventClass(), row == expected.end() ? 7 : row->second)
            << vendorClass;
    }
}

// --- the arguments; each byte of them differs, so that a field at a wrong place or width is another number
// ---

Bytes recordOfType(unsigned type) {
    Bytes bytes{};
    for (std::size_t i = 0; i < 96; ++i) bytes[32 + i] = static_cast<std::uint8_t>(0x81 + i);
    put(bytes, 16, 1, type);
    return bytes;
}

using Disk = std::tuple<int, int, int, unsigned>;  // device id, enclosure, slot, extra value

std::optional<Disk> expectedDisk(unsigned type) {
    static const std::set<unsigned> plain = {1, 10, 11, 14, 22, 23, 28, 33, 34, 44, 45, 48, 49, 51, 53, 57};
    if (plain.count(type)) return Disk{0x8281, 0x83, 0x84, 0};
    if (type == 15 || type == 35) return Disk{0x8281, 0x83, 0x84, 0x8C8B8A89};
    if (type == 12 || type == 13) return Disk{0x8A89, 0x8B, 0x8C, 0};
    if (type == 26) return Disk{0x9291, 0x93, 0x94, 0};
    if (type == 29) return Disk{0x8281, 0x8483, 0x86, 0};
    return std::nullopt;
}

TEST(EventRecord, TheDiskOfEachArgumentType) {
    int named = 0;
    for (unsigned type = 0; type < 256; ++type) {
        const Bytes bytes = recordOfType(type);
        const std::optional<vokEventDisk> disk = vokSASLSIEventRecord(bytes).disk();
        ASSERT_EQ(vokSASLSIEventRecord(bytes).argumentType(), type);
        const std::optional<Disk> expected = expectedDisk(type);
        ASSERT_EQ(disk.has_value(), expected.has_value()) << type;
        if (!disk) continue;
        ASSERT_EQ(Disk(disk->deviceId, disk->enclosure, disk->slot, disk->extraValue), *expected) << type;
        ++named;
    }
    EXPECT_EQ(named, 22);
}

using Volume = std::pair<int, unsigned>;  // target id, extra value

std::optional<Volume> expectedVolume(unsigned type) {
    static const std::set<unsigned> plain = {2, 3, 5, 7, 21, 39, 40, 41, 43, 47, 49, 55};
    if (plain.count(type)) return Volume{0x8281, 0};
    if (type == 8) return Volume{0x8281, 0x8C8B8A89};
    if (type == 4 || type == 9) return Volume{0x8A89, 0};
    if (type == 13) return Volume{0x8E8D, 0};
    if (type == 6) return Volume{0x9291, 0};
    return std::nullopt;
}

TEST(EventRecord, TheLogicalDriveOfEachArgumentType) {
    int named = 0;
    for (unsigned type = 0; type < 256; ++type) {
        const Bytes bytes = recordOfType(type);
        const std::optional<vokEventVolume> volume = vokSASLSIEventRecord(bytes).volume();
        const std::optional<Volume> expected = expectedVolume(type);
        ASSERT_EQ(volume.has_value(), expected.has_value()) << type;
        if (!volume) continue;
        ASSERT_EQ(Volume(volume->targetId, volume->extraValue), *expected) << type;
        ++named;
    }
    EXPECT_EQ(named, 17);
}

// --- the text ---

TEST(EventRecord, TheDescriptionEndsWithItsFirstNul) {
    Bytes bytes{};
    const std::string text("PD 0b(e0x0e/s5)\0after it", 24);
    std::copy(text.begin(), text.end(), bytes.begin() + 128);
    EXPECT_EQ(vokSASLSIEventRecord(bytes).description(), "PD 0b(e0x0e/s5)");
}

TEST(EventRecord, ADescriptionWithoutANulEndsWithTheRecord) {
    Bytes bytes{};
    std::fill(bytes.begin() + 128, bytes.end(), 'x');
    EXPECT_EQ(vokSASLSIEventRecord(bytes).description(), std::string(128, 'x'));
}

}  // namespace
}  // namespace vokSASLSIEventRecordTest
