// The one writer of localcli's tables: each width rule and each alignment.
#include "host/LocalcliForms.h"

#include <gtest/gtest.h>

namespace LocalcliFormsTest {
using namespace simhost;

namespace {

struct Disk {
    std::string name;
    int degrees;
};

constexpr Column<Disk> byTexts[] = {
    {"Name", [](const Disk& disk) { return disk.name; }},
    {"Temp", [](const Disk& disk) { return std::to_string(disk.degrees); }},
};

TEST(LocalcliTable, AColumnIsAsWideAsItsWidestTextOrItsHeading) {
    EXPECT_EQ(formatTable(byTexts, std::vector<Disk>{{"vmhba0:C0", 7}, {"x", 12345}}),
              "Name       Temp\n"
              "---------  -----\n"
              "vmhba0:C0  7\n"
              "x          12345\n");
}

TEST(LocalcliTable, WithoutRowsItIsTheHeadingsAndTheRuler) {
    EXPECT_EQ(formatTable(byTexts, std::vector<Disk>{}), "Name  Temp\n----  ----\n");
}

TEST(LocalcliTable, AFixedWidthIsExceededByALongerTextOnly) {
    constexpr Column<Disk> columns[] = {
        {"Name", [](const Disk& disk) { return disk.name; }, 6},
        {"Temp", [](const Disk& disk) { return std::to_string(disk.degrees); }},
    };
    EXPECT_EQ(formatTable(columns, std::vector<Disk>{{"abcdefgh", 1}, {"ab", 2}}),
              "Name    Temp\n"
              "------  ----\n"
              "abcdefgh  1\n"
              "ab      2\n");
}

TEST(LocalcliTable, AColumnAlignedToTheRightIsPaddedInFrontAlsoAtTheEndOfALine) {
    constexpr Column<Disk> columns[] = {
        {"Temp", [](const Disk& disk) { return std::to_string(disk.degrees); }, 6, Align::right},
        {"Again", [](const Disk& disk) { return std::to_string(disk.degrees); }, asWideAsItsTexts,
         Align::right},
    };
    EXPECT_EQ(formatTable(columns, std::vector<Disk>{{"a", 41}}),
              "  Temp  Again\n"
              "------  -----\n"
              "    41     41\n");
}

}  // namespace
}  // namespace LocalcliFormsTest
