#include "megaraid/storelib/StoreLibFixture.h"

namespace vokStoreLibVendorTest {
namespace {

constexpr FakeStoreLibCommand scsiCommand = {6, 0};

class StoreLibVendor : public StoreLibFixture {
protected:
    StoreLibVendor() { addController(7); }

    FakeRaidDisk& addSataDisk(const std::string& logD0) {
        FakeRaidDisk& added = addDisk(4, "S1");
        added.interfaceType = 3;
        added.vendor = "ATA";
        added.logD0 = logD0;
        return added;
    }
    FakeRaidDisk& disk() { return library.controllers[0].disks[0]; }
    PD_INFO cached() { return store->getPDInventoryForCtrl(7).at(0); }
    // Answers each SCSI command with a page D0h that has the signature.
    void answerWith(std::uint32_t libraryStatus, std::uint8_t scsiStatus, std::uint32_t returned,
                    char pageCode = '\xD0') {
        library.answer = [=](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
            if (command.commandType != 6 || command.command != 0) return false;
            status = libraryStatus;
            auto* const data = static_cast<char*>(command.data);
            data[10] = static_cast<char>(scsiStatus);
            for (std::size_t i = 0; i < 4; ++i) data[60 + i] = static_cast<char>(returned >> 8 * i);
            data[64 + 1] = pageCode;
            std::string("MVD0").copy(data + 64 + 24, 4);
            return true;
        };
    }
};

TEST_F(StoreLibVendor, OfASataDiskWithTheSignatureIsMEV) {
    addSataDisk("MVD0");
    start();
    EXPECT_EQ(cached().vendorName, "MEV");
    EXPECT_EQ(cached().vendorRetryCount, 0);
    ASSERT_EQ(library.count(scsiCommand), 1);
    for (const _SL_LIB_CMD_PARAM_T& each : library.commands())
        if (each.commandType == 6 && each.command == 0) {
            EXPECT_EQ(each.dataSize, 576u);
        }
    const std::string header = library.passedThrough().back();
    EXPECT_EQ(header.substr(0, 12), std::string("\x04\0\x01\0\x02\0\0\0\x3C\0\0\x10", 12));
    EXPECT_EQ(header.substr(12, 16), std::string("\x85\x08\x0E\0\0\0\x01\0\xD0\0\0\0\0\0\x2F\0", 16));
    EXPECT_EQ(header.substr(60, 4), std::string("\0\x02\0\0", 4));
    EXPECT_EQ(debug("ProcessLibCommandCall retVal 0x0 (SCSI DATA OVERRUN)"), 1);
}

TEST_F(StoreLibVendor, WithoutTheSignatureIsThatOfTheInquiryDataAndTheCounterIsReset) {
    addSataDisk("");
    start();
    EXPECT_EQ(cached().vendorRetryCount, 1);
    disk().logD0 = "MVD1";
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(cached().vendorName, "ATA");
    EXPECT_EQ(cached().vendorRetryCount, 0);
}

TEST_F(StoreLibVendor, OfOtherDisksIsThatOfTheInquiryDataWithoutACommand) {
    for (const std::uint8_t type : std::initializer_list<std::uint8_t>{0, 1, 2, 4, 5}) {
        FakeRaidDisk& added = addDisk(type, "S");
        added.interfaceType = type;
        added.vendor = " T E S T";
        added.logD0 = "MVD0";
    }
    start();
    for (const PD_INFO& each : store->getPDInventoryForCtrl(7)) EXPECT_EQ(each.vendorName, "TEST");
    EXPECT_EQ(library.count(scsiCommand), 0);
}

TEST_F(StoreLibVendor, IsTriedThreeTimesAcrossBuilds) {
    addSataDisk("");
    start();
    for (int i = 0; i < 4; ++i) store->cacheBuild("PD_EVENT");
    EXPECT_EQ(library.count(scsiCommand), 3);
    EXPECT_EQ(cached().vendorRetryCount, 3);
    EXPECT_EQ(cached().vendorName, "ATA");
    for (const char* const attempt : {"1]", "2]", "3]"})
        EXPECT_EQ(debug(std::string("Could not retrieve VPD Page D0 [") + attempt), 1);
}

TEST_F(StoreLibVendor, IsTriedAgainForAnotherSerialNumberSlotOrEnclosure) {
    addSataDisk("");
    start();
    for (int i = 0; i < 3; ++i) store->cacheBuild("PD_EVENT");
    EXPECT_EQ(library.count(scsiCommand), 3);
    int expected = 3;
    const auto isTriedAgain = [&] {
        store->cacheBuild("PD_EVENT");
        EXPECT_EQ(library.count(scsiCommand), ++expected);
        EXPECT_EQ(cached().vendorRetryCount, 1);
        store->cacheBuild("PD_EVENT");
        EXPECT_EQ(library.count(scsiCommand), ++expected);
        EXPECT_EQ(cached().vendorRetryCount, 2);
    };
    disk().serial = "S2";
    isTriedAgain();
    disk().slot = 9;
    isTriedAgain();
    disk().enclosure = 9;
    isTriedAgain();
}

TEST_F(StoreLibVendor, AnotherLengthThanAskedForIsSuccessIfTheDiskSaysGood) {
    struct Row {
        std::uint32_t libraryStatus;
        std::uint8_t scsiStatus;
        const char* vendor;
        const char* trace;
    };
    const Row rows[] = {
        {0x4044, 0, "MEV", "0x4044 (SCSI DATA OVERRUN)"}, {0x4045, 0, "MEV", "0x4045 (SCSI DATA UNDERRUN)"},
        {0x4044, 2, "ATA", "0x4044 (SCSI DATA OVERRUN)"}, {0x4045, 2, "ATA", "0x4045 (SCSI DATA UNDERRUN)"},
        {0, 2, "MEV", "0x0 (SCSI DATA OVERRUN)"},         {0x4046, 0, "ATA", "0x4046 (SCSI DATA OVERRUN)"},
    };
    addSataDisk("");
    ASSERT_TRUE(store->vokStoreInit());
    store->cacheBuild("CTRL_EVENT");
    for (const Row& row : rows) {
        const long traces = debug(std::string("ProcessLibCommandCall retVal ") + row.trace);
        answerWith(row.libraryStatus, row.scsiStatus, 512);
        ++disk().slot;
        store->cacheBuild("PD_EVENT");
        EXPECT_EQ(cached().vendorName, row.vendor) << row.trace;
        EXPECT_EQ(debug(std::string("ProcessLibCommandCall retVal ") + row.trace), traces + 1);
    }
    EXPECT_EQ(debug("ProcessLibCommandCall failed!! retVal 0x4044"), 1);
    EXPECT_EQ(debug("ProcessLibCommandCall failed!! retVal 0x4045"), 1);
    EXPECT_EQ(debug("ProcessLibCommandCall failed!! retVal 0x4046"), 1);
    EXPECT_EQ(debug("ProcessLibCommandCall failed!! retVal 0x0"), 0);
}

TEST_F(StoreLibVendor, FewerThan28BytesAreAFailedAttempt) {
    addSataDisk("");
    answerWith(0, 0, 27);
    start();
    EXPECT_EQ(cached().vendorName, "ATA");
    EXPECT_EQ(cached().vendorRetryCount, 1);
    answerWith(0, 0, 28);
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(cached().vendorName, "MEV");
    EXPECT_EQ(cached().vendorRetryCount, 0);
}

TEST_F(StoreLibVendor, APageIsTakenWithMoreThanOneByteAndItsCodeInByte1) {
    addSataDisk("");
    start();
    const std::string refused = "SCSI command failed to retrieve log page D0";
    std::vector<std::uint8_t> buffer(512);
    std::size_t length = 512;
    answerWith(0, 0, 1);
    EXPECT_FALSE(store->FireATAReadLogExt(4, 0xD0, buffer.data(), &length));
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(debug(refused), 1);
    answerWith(0, 0, 512, '\xD1');
    length = 512;
    EXPECT_FALSE(store->FireATAReadLogExt(4, 0xD0, buffer.data(), &length));
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(debug(refused), 2);
    answerWith(0, 0, 2);
    length = 512;
    EXPECT_TRUE(store->FireATAReadLogExt(4, 0xD0, buffer.data(), &length));
    EXPECT_EQ(length, 2u);
}

TEST_F(StoreLibVendor, APageIsCopiedUpToTheSmallerLengthAndNeverBeyondItsBlock) {
    addSataDisk("");
    start();
    answerWith(0, 0, 0xFFFFFFFF);
    std::vector<std::uint8_t> buffer(1024, 0xEE);
    std::size_t length = 26;
    EXPECT_TRUE(store->FireATAReadLogExt(4, 0xD0, buffer.data(), &length));
    EXPECT_EQ(length, 26u);
    EXPECT_EQ(buffer[25], 'V');
    EXPECT_EQ(buffer[26], 0xEE);
    length = 1024;
    EXPECT_TRUE(store->FireATAReadLogExt(4, 0xD0, buffer.data(), &length));
    EXPECT_EQ(length, 512u);
    EXPECT_EQ(buffer[511], 0);
    EXPECT_EQ(buffer[512], 0xEE);
}

}  // namespace
}  // namespace vokStoreLibVendorTest
