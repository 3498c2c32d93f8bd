#include "core/base/vokChecksum.h"

#include <gtest/gtest.h>

namespace ChecksumTest {

// The check value that the catalogues of such sums give for CRC-32/ISO-HDLC.
TEST(Checksum, IsTheOneOfEthernet) {
    EXPECT_EQ(vokChecksum("123456789", 9), 0xCBF43926u);
}

TEST(Checksum, OfNothingIsZero) {
    EXPECT_EQ(vokChecksum("", 0), 0u);
}

TEST(Checksum, GoesOnFromThePartBefore) {
    EXPECT_EQ(vokChecksum("6789", 4, vokChecksum("12345", 5)), 0xCBF43926u);
}

}  // namespace ChecksumTest
