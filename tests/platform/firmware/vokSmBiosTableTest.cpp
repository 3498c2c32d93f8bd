// The walk over a table in memory. The tests of smbios_vmw cover the content of the records.
#include "platform/firmware/vokSmBiosTable.h"

#include <gtest/gtest.h>
#include <string>

#include "support/SmBiosTable.h"

namespace vokSmBiosTableTest {
namespace {

unsigned char* bytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

}  // namespace

TEST(SmBiosTableInMemory, WithoutAnEntryPointIsNotFound) {
    vokSmBiosTable table;
    EXPECT_FALSE(vokSmBiosTable::find(nullptr, 0, table));
    std::string bytes = " _SM_ and not on a multiple of four";
    EXPECT_FALSE(vokSmBiosTable::find(bytesOf(bytes), bytes.size(), table));
    EXPECT_EQ(table.size(), 0u);
    EXPECT_FALSE(table.hasStructure(0));
}

TEST(SmBiosTableInMemory, TheWalkVisitsEachStructureAndEndsAfterTheLast) {
    SmBiosTable builder;
    builder.addSystem("Maker", "Family").addSlot("Slot 1", "0000:3b:00.0").addSlot("Slot 2", "0000:3c:00.0");
    builder.addEnd();
    std::string bytes = builder.contents();
    vokSmBiosTable table;
    ASSERT_TRUE(vokSmBiosTable::find(bytesOf(bytes), bytes.size(), table));
    std::string types;
    std::size_t at = 0;
    for (; table.hasStructure(at); at = table.next(at)) types += std::to_string(table.typeOf(at)) + " ";
    EXPECT_EQ(types, "1 9 9 127 ");
    EXPECT_EQ(at, table.size());
    EXPECT_EQ(table.countOf(smbiosSystemSlotType), 2u);
    EXPECT_EQ(table.countOf(smbiosOnboardDeviceExType), 0u);
}

TEST(SmBiosTableInMemory, DecodingChangesOnlyUnprintableCharacters) {
    SmBiosTable builder;
    builder.addSlot("Sl\tot\xff 1", "0000:3b:00.0").addEnd();
    std::string bytes = builder.contents();
    std::string expected = bytes;
    expected.replace(expected.find("Sl\tot\xff 1"), 8, "Sl.ot. 1");
    vokSmBiosTable table;
    ASSERT_TRUE(vokSmBiosTable::find(bytesOf(bytes), bytes.size(), table));
    DmiSystemSlot slot{};
    table.decode(0, slot);
    EXPECT_STREQ(slot.designation, "Sl.ot. 1");
    EXPECT_EQ(bytes, expected);
}
}  // namespace vokSmBiosTableTest
