// The texts of the events that a RAID controller's firmware causes.
#include "megaraid/vokMegaRAIDEventText.h"

#include <gtest/gtest.h>
#include <string>

namespace vokMegaRAIDEventTextTest {
namespace {

VOK_SAS_EVENT_DETAIL detailOf(unsigned int code, const std::string& description) {
    VOK_SAS_EVENT_DETAIL detail;
    detail.eventCode = code;
    detail.description = description;
    return detail;
}

TEST(MegaRAIDEventText, AHexadecimalNumberIsInLowerCaseWithoutLeadingZeros) {
    EXPECT_EQ(int_to_hex(0xFB), "0xfb");
    EXPECT_EQ(int_to_hex(0), "0x0");
    EXPECT_EQ(int_to_hex(0x1AF), "0x1af");
    EXPECT_EQ(int_to_hex(0xFFFFFFFF), "0xffffffff");
}

TEST(MegaRAIDEventText, ATextNamesTheCodeTheDescriptionAndTheGuide) {
    EXPECT_EQ(getAddEventInfo(detailOf(0xFC, "VD 00/0 is now OFFLINE")),
              "[Msg # 0xfc] VD 00/0 is now OFFLINE. Please refer to MegaRAID Software User Guide for further "
              "details.");
}

TEST(MegaRAIDEventText, AFurtherSentenceFollowsTheDescription) {
    EXPECT_EQ(getAddEventInfo(detailOf(0x5B, "Inserted: PD 0b(e0x0e/s5)"), "Drive is in Failed state"),
              "[Msg # 0x5b] Inserted: PD 0b(e0x0e/s5). Drive is in Failed state. Please refer to MegaRAID "
              "Software User Guide for further details.");
    EXPECT_EQ(getAddEventInfo(detailOf(0x5B, "Inserted"), ""),
              "[Msg # 0x5b] Inserted. . Please refer to MegaRAID Software User Guide for further details.")
        << "only the optional detail is left out if it is empty";
}

TEST(MegaRAIDEventText, AnOptionalDetailIsInBrackets) {
    EXPECT_EQ(getAddEventInfoWithOptionalDetail(detailOf(0x3A, "Consistency Check done on VD 00/0"),
                                                "# Inconsistent parity = 1"),
              "[Msg # 0x3a] Consistency Check done on VD 00/0, (# Inconsistent parity = 1). Please refer to "
              "MegaRAID Software User Guide for further details.");
}

TEST(MegaRAIDEventText, AnEmptyOptionalDetailIsLeftOut) {
    EXPECT_EQ(getAddEventInfoWithOptionalDetail(detailOf(0x3A, "Consistency Check done on VD 00/0"), ""),
              "[Msg # 0x3a] Consistency Check done on VD 00/0. Please refer to MegaRAID Software User Guide "
              "for further details.");
}

TEST(MegaRAIDEventText, TheVendorsTextPassesAsItIs) {
    EXPECT_EQ(getAddEventInfo(detailOf(1, "")),
              "[Msg # 0x1] . Please refer to MegaRAID Software User Guide for further details.");
    EXPECT_EQ(getAddEventInfo(detailOf(1, " 100%s %n ")),
              "[Msg # 0x1]  100%s %n . Please refer to MegaRAID Software User Guide for further details.");
}

}  // namespace
}  // namespace vokMegaRAIDEventTextTest
