#include "rmc/GuestWire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace GuestWireTest {

using namespace simhost;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) text += static_cast<char>(value);
    return text;
}

// What the last byte completed; the ones before complete nothing.
GuestArrival arrivalOf(GuestDecoder& decoder, const std::string& stream) {
    std::optional<GuestArrival> arrival;
    for (const char byte : stream) {
        EXPECT_FALSE(arrival);
        arrival = decoder.take(static_cast<std::uint8_t>(byte));
    }
    EXPECT_TRUE(arrival);
    return arrival.value_or(GuestArrival{});
}

GuestArrival arrivalOf(const std::string& stream) {
    GuestDecoder decoder;
    return arrivalOf(decoder, stream);
}

TEST(GuestWire, AMessageEndsInAChecksumWithWhichItsBytesSumToZero) {
    // 0x07 + 0x1C + 0x01 + 0x00 + 0x20 = 0x44, and 0x44 + 0xBC = 0x100
    EXPECT_EQ(encodeGuestMessage({0x07, 0x07, 0, 0x01, {0x00, 0x20}}),
              bytes({0x07, 0x1C, 0x01, 0x00, 0x20, 0xBC, 0xA0}));
}

TEST(GuestWire, TheLunIsInTheTwoLowBitsBelowTheNetfn) {
    EXPECT_EQ(encodeGuestMessage({0x00, 0x3A, 2, 0x80, {}}), bytes({0x00, 0xEA, 0x80, 0x96, 0xA0}));
    const GuestArrival arrival = arrivalOf(bytes({0x00, 0xEA, 0x80, 0x96, 0xA0}));
    ASSERT_TRUE(arrival.message);
    EXPECT_EQ(arrival.message->netfn, 0x3A);
    EXPECT_EQ(arrival.message->lun, 2);
    EXPECT_EQ(arrival.message->command, 0x80);
    EXPECT_THAT(arrival.message->data, IsEmpty());
}

TEST(GuestWire, EachSpecialByteIsEscapedWithBitFourSet) {
    // 0xA0 + 0x18 + 0x01 + 0xA1 + 0xAA = 0x204, and the checksum is 0xFC
    const std::string stream = bytes({0xAA, 0xB0, 0x18, 0x01, 0xAA, 0xB1, 0xAA, 0xBA, 0xFC, 0xA0});
    EXPECT_EQ(encodeGuestMessage({0xA0, 0x06, 0, 0x01, {0xA1, 0xAA}}), stream);
    const GuestArrival arrival = arrivalOf(stream);
    ASSERT_TRUE(arrival.message);
    EXPECT_EQ(arrival.message->sequence, 0xA0);
    EXPECT_EQ(arrival.message->netfn, 0x06);
    EXPECT_THAT(arrival.message->data, ElementsAre(0xA1, 0xAA));
}

TEST(GuestWire, AChecksumMayHaveToBeEscapedToo) {
    // 0x00 + 0x18 + 0x48 = 0x60, and the checksum is 0xA0
    const std::string stream = bytes({0x00, 0x18, 0x48, 0xAA, 0xB0, 0xA0});
    EXPECT_EQ(encodeGuestMessage({0x00, 0x06, 0, 0x48, {}}), stream);
    EXPECT_TRUE(arrivalOf(stream).message);
}

TEST(GuestWire, ACommandHasNoChecksumAndAnEndOfItsOwn) {
    EXPECT_EQ(encodeGuestCommand(guestEnableIrq), bytes({0x05, 0xA1}));
    EXPECT_EQ(encodeGuestCommand(guestVersion, {1}), bytes({0xFF, 0x01, 0xA1}));
    EXPECT_THAT(arrivalOf(bytes({0x08, 0x3F, 0xA1})).command, ElementsAre(0x08, 0x3F));
}

TEST(GuestWire, AWrongChecksumIsAFault) {
    const GuestArrival arrival = arrivalOf(bytes({0x07, 0x18, 0x01, 0xE1, 0xA0}));
    EXPECT_FALSE(arrival.message);
    EXPECT_STREQ(arrival.fault, "its checksum is wrong");
}

TEST(GuestWire, WhatIsTooShortForAMessageIsAFault) {
    EXPECT_STREQ(arrivalOf(bytes({0xA0})).fault, "it is too short for a message");
    EXPECT_STREQ(arrivalOf(bytes({0x80, 0x40, 0x40, 0xA0})).fault, "it is too short for a message");
}

TEST(GuestWire, AnEmptyCommandIsAFault) {
    EXPECT_STREQ(arrivalOf(bytes({0xA1})).fault, "it is an empty command");
}

TEST(GuestWire, AnEscapeByteAtTheEndIsAFault) {
    EXPECT_STREQ(arrivalOf(bytes({0x07, 0x18, 0x01, 0xE0, 0xAA, 0xA0})).fault, "it ends in an escape byte");
}

TEST(GuestWire, AMessageOfTheGreatestLengthIsTakenAndALongerOneIsAFault) {
    const GuestArrival longest = arrivalOf(encodeGuestMessage({1, 0x06, 0, 1, Bytes(272, 0x11)}));
    ASSERT_TRUE(longest.message);
    EXPECT_EQ(longest.message->data.size(), 272u);
    EXPECT_STREQ(arrivalOf(encodeGuestMessage({1, 0x06, 0, 1, Bytes(273, 0x11)})).fault, "it is too long");
}

TEST(GuestWire, AfterAFaultTheNextMessageIsWhole) {
    const std::string good = bytes({0x07, 0x18, 0x01, 0xE0, 0xA0});
    for (const std::string& broken :
         {bytes({0x55, 0xAA, 0xA0}), std::string(500, 'x') + bytes({0xA1}), bytes({0xA1})}) {
        GuestDecoder decoder;
        EXPECT_NE(arrivalOf(decoder, broken).fault, nullptr);
        EXPECT_TRUE(arrivalOf(decoder, good).message);
    }
}

}  // namespace
}  // namespace GuestWireTest
