#include "megaraid/storelib/StoreLibFixture.h"
#include "storage/scsi/PaddedCalloc.h"

namespace vokStoreLibSerialNumberTest {
namespace {

constexpr FakeStoreLibCommand scsiCommand = {6, 0};
const std::string trying = "No disk S/N available from SCSI Standard Inquiry page. Trying VPD Page 0x80...";

class StoreLibSerialNumber : public StoreLibFixture {
protected:
    StoreLibSerialNumber() { addController(7); }

    // A SAS disk without a serial number in its inquiry data.
    FakeRaidDisk& addSilentDisk(const std::string& vpdSerial) {
        FakeRaidDisk& disk = addDisk(4, "");
        disk.slot = 3;
        disk.vpdSerial = vpdSerial;
        return disk;
    }
    FakeRaidDisk& silentDisk() { return library.controllers[0].disks[0]; }
    PD_INFO cached() { return store->getPDInventoryForCtrl(7).at(0); }
    // Answers each SCSI command with this page, as `returned` bytes.
    void answerWith(const std::string& page, std::uint32_t returned, std::uint8_t scsiStatus = 0) {
        library.answer = [=](_SL_LIB_CMD_PARAM_T& command, std::uint32_t& status) {
            status = 0;
            if (command.commandType != 6 || command.command != 0) return false;
            auto* const data = static_cast<char*>(command.data);
            data[10] = static_cast<char>(scsiStatus);
            for (std::size_t i = 0; i < 4; ++i) data[60 + i] = static_cast<char>(returned >> 8 * i);
            page.copy(data + 64, std::min<std::size_t>(page.size(), command.dataSize - 64));
            return true;
        };
    }
};

TEST_F(StoreLibSerialNumber, OfTheInquiryDataItTakesNoFurtherCommand) {
    addDisk(4, "S1");
    start();
    EXPECT_EQ(cached().serialNumber, "S1");
    EXPECT_EQ(library.count(scsiCommand), 0);
    EXPECT_EQ(debug(trying), 0);
}

TEST_F(StoreLibSerialNumber, OfASasDiskItMayComeFromVpdPage80) {
    addSilentDisk(" ZA1 2 ");
    start();
    EXPECT_EQ(cached().serialNumber, "ZA12");
    EXPECT_EQ(cached().serialRetryCount, 0);
    EXPECT_EQ(debug(trying), 1);
    EXPECT_EQ(debug("Disk S/N from VPD Page 0x80 for disk @ [252:3]: [ZA12]"), 1);
    ASSERT_EQ(library.count(scsiCommand), 1);
    const std::string header = library.passedThrough().back();
    EXPECT_EQ(header.substr(0, 12), std::string("\x04\0\x01\0\x02\0\0\0\x3C\0\0\x06", 12));
    EXPECT_EQ(header.substr(12, 16), storeLibBytes(std::string("\x12\x01\x80\0\x40\0", 6), 16));
    EXPECT_EQ(header.substr(60, 4), std::string("\x40\0\0\0", 4));
}

TEST_F(StoreLibSerialNumber, OfOtherDisksItStaysEmptyWithoutACommand) {
    for (const std::uint8_t type : std::initializer_list<std::uint8_t>{1, 4, 5, 0}) {
        FakeRaidDisk& disk = addDisk(type, "");
        disk.interfaceType = type;
        disk.vpdSerial = "V";
    }
    start();
    for (const PD_INFO& disk : store->getPDInventoryForCtrl(7)) EXPECT_EQ(disk.serialNumber, "");
    EXPECT_EQ(library.count(scsiCommand), 0);
}

TEST_F(StoreLibSerialNumber, IsTriedThreeTimesAcrossBuilds) {
    addSilentDisk("");
    ASSERT_TRUE(store->vokStoreInit());
    store->cacheBuild("CTRL_EVENT");
    const std::string failed = "Unable to retrieve disk S/N from VPD Inquiry Page 0x80 for disk @ [252:3]. [";
    for (int build = 1; build <= 5; ++build) {
        store->cacheBuild("PD_EVENT");
        EXPECT_EQ(library.count(scsiCommand), std::min(build, 3)) << build;
        EXPECT_EQ(cached().serialRetryCount, std::min(build, 3)) << build;
        EXPECT_EQ(cached().serialNumber, "");
    }
    for (const char* const attempt : {"1]", "2]", "3]"}) EXPECT_EQ(debug(failed + attempt), 1);
    EXPECT_EQ(debug(trying), 5);
}

TEST_F(StoreLibSerialNumber, IsTriedAgainInAnotherSlotOrEnclosure) {
    addSilentDisk("");
    start();
    for (int i = 0; i < 3; ++i) store->cacheBuild("PD_EVENT");
    EXPECT_EQ(library.count(scsiCommand), 3);
    silentDisk().slot = 5;
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(library.count(scsiCommand), 4);
    EXPECT_EQ(cached().serialRetryCount, 1);
    silentDisk().enclosure = 8;
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(library.count(scsiCommand), 5);
    EXPECT_EQ(cached().serialRetryCount, 1);
}

TEST_F(StoreLibSerialNumber, CountsTheFailuresOfEachControllerAlone) {
    addSilentDisk("");
    addController(8);
    addSilentDisk("");
    start();
    for (int i = 0; i < 3; ++i) store->cacheBuild("PD_EVENT");
    EXPECT_EQ(library.count(scsiCommand), 6);
}

TEST_F(StoreLibSerialNumber, ASuccessResetsTheCounter) {
    addSilentDisk("");
    start();
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(cached().serialRetryCount, 2);
    silentDisk().vpdSerial = "Z1";
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(cached().serialRetryCount, 0);
    EXPECT_EQ(cached().serialNumber, "Z1");
    silentDisk().vpdSerial = "";
    store->cacheBuild("PD_EVENT");
    EXPECT_EQ(cached().serialRetryCount, 1);
}

TEST_F(StoreLibSerialNumber, IsGoodOnlyWithGoodStatusFiveBytesAndThePageCode) {
    addSilentDisk("");
    const std::string page = std::string("\0\x80\0\x04", 4) + "ABCD";
    ASSERT_TRUE(store->vokStoreInit());
    store->cacheBuild("CTRL_EVENT");
    struct Row {
        std::string page;
        std::uint32_t returned;
        std::uint8_t scsiStatus;
        const char* serial;
    };
    const Row rows[] = {
        {page, 8, 0, "ABCD"},
        {page, 5, 0, "A"},
        {page, 4, 0, ""},
        {page, 8, 2, ""},
        {std::string("\0\x83\0\x04", 4) + "ABCD", 8, 0, ""},
        {std::string("\0\x80\0\x02", 4) + "ABCD", 8, 0, "AB"},
        {std::string("\0\x80\x01\0", 4) + "ABCD", 8, 0, "ABCD"},
        {std::string("\0\x80\0\xFF", 4) + "AB" + '\0' + "D", 8, 0, "AB"},
        {std::string("\0\x80\0\xFF", 4) + std::string(200, 'A'), 0xFFFFFFFF, 0,
         "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"},
    };
    for (const Row& row : rows) {
        answerWith(row.page, row.returned, row.scsiStatus);
        ++silentDisk().slot;
        store->cacheBuild("PD_EVENT");
        EXPECT_EQ(cached().serialNumber, row.serial);
        EXPECT_EQ(cached().serialRetryCount, row.serial[0] ? 0 : 1) << row.serial;
    }
    EXPECT_EQ(debug("ProcessLibCommandCall completed with SCSI status [0x2].\n"), 1);
}

TEST_F(StoreLibSerialNumber, AFailureOfTheLibraryIsAFailedAttempt) {
    addSilentDisk("Z1");
    library.failures[scsiCommand] = 0x800B;
    start();
    EXPECT_EQ(cached().serialNumber, "");
    EXPECT_EQ(cached().serialRetryCount, 1);
    EXPECT_EQ(debug("ProcessLibCommandCall failed!! retVal 0x800B\n"), 1);
}

// --- the command itself ---

TEST_F(StoreLibSerialNumber, AnInquiryReturnsNoMoreThanWasAskedForOrCame) {
    addSilentDisk("ABCDEFGH");
    start();
    std::vector<std::uint8_t> buffer(20, 0xEE);
    std::size_t length = 6;
    EXPECT_EQ(store->fireSCSIVPDInquiry(4, 0x80, buffer.data(), length), 0);
    EXPECT_EQ(length, 6u);
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 6), std::string("\0\x80\0\x08", 4) + "AB");
    EXPECT_EQ(buffer[6], 0xEE);
    length = 20;
    EXPECT_EQ(store->fireSCSIVPDInquiry(4, 0x80, buffer.data(), length), 0);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(buffer[12], 0xEE);
}

TEST_F(StoreLibSerialNumber, AnInquiryAsksForAtMost65535Bytes) {
    addSilentDisk("ABCDEFGH");
    start();
    std::vector<std::uint8_t> buffer(70000);
    std::size_t length = buffer.size();
    EXPECT_EQ(store->fireSCSIVPDInquiry(4, 0x80, buffer.data(), length), 0);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(library.commands().back().dataSize, 0x1003Fu);
    const std::string header = library.passedThrough().back();
    EXPECT_EQ(header.substr(12, 6), std::string("\x12\x01\x80\xFF\xFF\0", 6));
    EXPECT_EQ(header.substr(60, 4), std::string("\xFF\xFF\0\0", 4));
}

TEST_F(StoreLibSerialNumber, AnInquiryReturnsTheStatusOfTheDiskWithoutData) {
    addSilentDisk("");
    start();
    answerWith("ABCDEFGH", 8, 0x18);
    std::vector<std::uint8_t> buffer(8, 0xEE);
    std::size_t length = buffer.size();
    EXPECT_EQ(store->fireSCSIVPDInquiry(4, 0x80, buffer.data(), length), 0x18);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(debug("ProcessLibCommandCall completed with SCSI status [0x18].\n"), 1);
}

#if HAS_PADDED_CALLOC
TEST_F(StoreLibSerialNumber, WithoutMemoryForThePageItStaysEmptyAndNothingIsCounted) {
    addSilentDisk("Z1");
    start();
    const int before = library.count(scsiCommand);
    {
        const FailingCalloc failing;
        store->cacheBuild("PD_EVENT");
    }
    EXPECT_EQ(cached().serialNumber, "");
    EXPECT_EQ(cached().serialRetryCount, 0);
    EXPECT_EQ(library.count(scsiCommand), before);
    EXPECT_EQ(debug("Out of memory for VPD page 80 buffer."), 1);
}

TEST_F(StoreLibSerialNumber, WithoutMemoryAnInquiryIsMinus1) {
    addSilentDisk("Z1");
    start();
    const int before = library.count(scsiCommand);
    std::uint8_t buffer[8];
    std::size_t length = sizeof(buffer);
    const FailingCalloc failing;
    EXPECT_EQ(store->fireSCSIVPDInquiry(4, 0x80, buffer, length), -1);
    EXPECT_EQ(library.count(scsiCommand), before);
    EXPECT_EQ(debug("Out of memory for SCSI VPD inquiry!"), 1);
}
#endif

}  // namespace
}  // namespace vokStoreLibSerialNumberTest
