// The update of the table of MegaRAID 9560 cards from the inventory of the vendor's library.
#include <gmock/gmock.h>
#include <cstdint>
#include <string>

#include "megaraid/IOLoadingFixture.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "support/FakeStoreLib.h"

namespace vokIOLoadingUpdateTest {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class IOLoadingUpdate : public IOLoadingFixture {
protected:
    void install(std::uint32_t id, std::uint32_t board, std::uint8_t bus) {
        FakeRaidController controller;
        controller.id = id;
        controller.serial = "SV" + std::to_string(id);
        controller.chipset = chipset;
        controller.board = board;
        controller.bus = bus;
        library.controllers.push_back(controller);
    }
    // Reads the inventory, and updates the table from it.
    void update() {
        ASSERT_TRUE(vokStoreLibInterface::getInstance()->vokStoreInit());
        vokStoreLibInterface::getInstance()->cacheBuild("All");
        ASSERT_THAT(vokStoreLibInterface::getInstance()->getControllerCollection(),
                    SizeIs(library.controllers.size()));
        vokIOLoadingHelper::updateServerIOLoadingTable();
    }

    FakeStoreLib library{host};
};

TEST_F(IOLoadingUpdate, TheCardsOfTheInventoryEnterTheTableAndFollowTheirRule) {
    start();
    install(0, wide, 0x3b);
    install(1, narrow, 0x86);
    update();
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 10SFF Mixed-Width");
    EXPECT_EQ(boxAndOffset(slot03), "1/0");
    EXPECT_EQ(boxAndOffset(slot08), "2/0");
}

TEST_F(IOLoadingUpdate, TheRulesCountForMachinesOfAnyMaker) {
    start("", "Another maker");
    install(0, narrow, 0x3b);
    update();
    EXPECT_TRUE(isCompliant(slot03));
}

TEST_F(IOLoadingUpdate, OnAnotherPlatformTheTableStaysEmptyAndNothingIsLookedUp) {
    start("", "MEV", secondFamily);
    install(0, narrow, 0x3b);
    update();
    EXPECT_THAT(TestIOLoadingHelper::ioLoadingTable, IsEmpty());
    EXPECT_THAT(lines(), IsEmpty());
    EXPECT_THAT(host.part<FakeLibraries>().opened(), SizeIs(1)) << "only the vendor's library";
}

TEST_F(IOLoadingUpdate, WithTheInspectionDisabledTheTableStaysEmpty) {
    start("\"DisableMegaRAID9560LoadingInspection\": \"true\"");
    install(0, narrow, 0x3b);
    update();
    EXPECT_THAT(TestIOLoadingHelper::ioLoadingTable, IsEmpty());
    EXPECT_THAT(lines(), SizeIs(1)) << "only the warning";
    EXPECT_FALSE(isCompliant(slot03));
}

TEST_F(IOLoadingUpdate, ACardThatWasRemovedStaysInTheTable) {
    start();
    install(0, wide, 0x86);  // alone, it follows no rule
    update();
    library.controllers.clear();
    install(1, wide, 0x3b);
    update();
    EXPECT_EQ(cardCount(), 2u);
    EXPECT_EQ(appliedRule(), "QRN 410 MegaRAID 9560 8SFF Full-Width");
    EXPECT_TRUE(isCompliant(slot08));
}

TEST_F(IOLoadingUpdate, AThousandUpdatesKeepTheTableAsItIs) {
    start();
    install(0, wide, 0x3b);
    install(1, wide, 0x5e);
    install(2, narrow, 0x3b);  // of the same location as the first
    update();
    for (int i = 0; i < 1000; ++i) vokIOLoadingHelper::updateServerIOLoadingTable();
    EXPECT_THAT(TestIOLoadingHelper::ioLoadingTable, SizeIs(1));
    EXPECT_EQ(cardCount(), 2u);
}

TEST_F(IOLoadingUpdate, ACardWhoseLocationCantBeReadIsNotInTheTable) {
    start();
    install(0, narrow, 0x3b);
    library.failures[{1, 11}] = vokStoreLibFailed;
    update();
    EXPECT_THAT(TestIOLoadingHelper::ioLoadingTable, IsEmpty());
    EXPECT_TRUE(hasWarned(
        "Unable to determine chassis for storage controller [0x10E21000, 0x40101000] @ [, NotAvailable]. "
        "(-1)"));
}

}  // namespace
}  // namespace vokIOLoadingUpdateTest
