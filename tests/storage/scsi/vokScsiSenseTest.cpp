#include "storage/scsi/vokScsiSense.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <vector>

namespace vokScsiSenseTest {
namespace {

// In a heap block of exactly this size, so that a sanitizer sees a read beyond it.
std::optional<vokScsiSense> senseOf(std::initializer_list<unsigned char> bytes) {
    const std::vector<unsigned char> exact(bytes);
    return vokReadScsiSense(exact.data(), exact.size());
}

TEST(ScsiSense, FixedFormatOfAnInvalidFieldInTheCommand) {
    const auto sense = senseOf({0x70, 0, 0x05, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0x02, 0, 0, 0, 0});
    ASSERT_TRUE(sense);
    EXPECT_FALSE(sense->isDescriptorFormat);
    EXPECT_FALSE(sense->isDeferred);
    EXPECT_EQ(sense->key, 5);
    EXPECT_EQ(sense->additionalCode, 0x24);
    EXPECT_EQ(sense->additionalQualifier, 0x02);
}

TEST(ScsiSense, DescriptorFormatOfAnAbortedCommand) {
    const auto sense = senseOf({0x72, 0x0B, 0x47, 0x03, 0, 0, 0, 0});
    ASSERT_TRUE(sense);
    EXPECT_TRUE(sense->isDescriptorFormat);
    EXPECT_FALSE(sense->isDeferred);
    EXPECT_EQ(sense->key, 11);
    EXPECT_EQ(sense->additionalCode, 0x47);
    EXPECT_EQ(sense->additionalQualifier, 0x03);
}

TEST(ScsiSense, OddResponseCodesReportAnEarlierCommand) {
    const auto fixed = senseOf({0x71, 0, 0x03, 0, 0, 0, 0, 6, 0, 0, 0, 0, 0x11, 0x00});
    ASSERT_TRUE(fixed);
    EXPECT_TRUE(fixed->isDeferred);
    EXPECT_FALSE(fixed->isDescriptorFormat);
    EXPECT_EQ(fixed->key, 3);
    const auto descriptors = senseOf({0x73, 0x03, 0x11, 0x00});
    ASSERT_TRUE(descriptors);
    EXPECT_TRUE(descriptors->isDeferred);
    EXPECT_TRUE(descriptors->isDescriptorFormat);
    EXPECT_EQ(descriptors->key, 3);
}

TEST(ScsiSense, TheValidBitOfTheFixedFormatIsNotPartOfTheResponseCode) {
    const auto sense = senseOf({0xF0, 0, 0x01});
    ASSERT_TRUE(sense);
    EXPECT_FALSE(sense->isDescriptorFormat);
    EXPECT_EQ(sense->key, 1);
}

TEST(ScsiSense, TheKeyIsTheLowFourBits) {
    EXPECT_EQ(senseOf({0x70, 0, 0xE5})->key, 5);
    EXPECT_EQ(senseOf({0x72, 0xFB})->key, 11);
}

TEST(ScsiSense, TwoBytesOfTheDescriptorFormatHaveOnlyAKey) {
    const auto sense = senseOf({0x72, 0x05});
    ASSERT_TRUE(sense);
    EXPECT_EQ(sense->key, 5);
    EXPECT_FALSE(sense->additionalCode);
    EXPECT_FALSE(sense->additionalQualifier);
}

TEST(ScsiSense, TwoBytesOfTheFixedFormatHaveNoKey) {
    const auto sense = senseOf({0x70, 0x05});
    ASSERT_TRUE(sense);
    EXPECT_FALSE(sense->key);
}

TEST(ScsiSense, FieldsBeyondTheBytesAreNotSet) {
    EXPECT_FALSE(senseOf({0x72})->key);
    EXPECT_FALSE(senseOf({0x72, 5, 0x24})->additionalQualifier);
    EXPECT_EQ(senseOf({0x72, 5, 0x24})->additionalCode, 0x24);
    EXPECT_FALSE(senseOf({0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0})->additionalCode);
    const auto cut = senseOf({0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24});
    EXPECT_EQ(cut->additionalCode, 0x24);
    EXPECT_FALSE(cut->additionalQualifier);
}

TEST(ScsiSense, TheAdditionalLengthEndsTheFixedFormat) {
    // Only four bytes follow byte 7, so that bytes 12 and 13 are left over from another command.
    const auto none = senseOf({0x70, 0, 5, 0, 0, 0, 0, 4, 0, 0, 0, 0, 0x24, 0x02});
    ASSERT_TRUE(none);
    EXPECT_EQ(none->key, 5);
    EXPECT_FALSE(none->additionalCode);
    const auto codeAlone = senseOf({0x70, 0, 5, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0x24, 0x02});
    EXPECT_EQ(codeAlone->additionalCode, 0x24);
    EXPECT_FALSE(codeAlone->additionalQualifier);
}

TEST(ScsiSense, AnAdditionalLengthBeyondTheBytesIsClamped) {
    const auto sense = senseOf({0x70, 0, 5, 0, 0, 0, 0, 0xFF, 0, 0});
    ASSERT_TRUE(sense);
    EXPECT_EQ(sense->key, 5);
    EXPECT_FALSE(sense->additionalCode);
}

TEST(ScsiSense, OtherResponseCodesAreNotSenseData) {
    EXPECT_FALSE(senseOf({0x00, 0, 5}));
    EXPECT_FALSE(senseOf({0x6F, 0, 5}));
    EXPECT_FALSE(senseOf({0x74, 5}));
    EXPECT_FALSE(senseOf({0x7F, 0, 5}));
}

TEST(ScsiSense, NoBytesAreNotSenseData) {
    const unsigned char byte = 0x72;
    EXPECT_FALSE(vokReadScsiSense(&byte, 0));
    EXPECT_FALSE(vokReadScsiSense(nullptr, 18));
}

}  // namespace
}  // namespace vokScsiSenseTest
