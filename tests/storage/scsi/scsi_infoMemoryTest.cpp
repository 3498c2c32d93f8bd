// What the functions return when there is no memory for their result.
#include <gtest/gtest.h>
#include <cstdlib>

#include "storage/scsi/PaddedCalloc.h"
#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"

namespace scsi_infoMemoryTest {
#if HAS_PADDED_CALLOC
namespace {

FakeScsiBytes statistics(unsigned char page) {
    return {0x85, 0x09, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x04, 0x00, page, 0x00, 0x00, 0x00, 0x2F, 0x00};
}

TEST(ScsiMemory, MissingForAStatisticsPageIsMinus6) {
    ScsiDisk disk;
    disk.disk.answer(statistics(1), {{0x01, 0x00, 0x01, 0x00}});
    char* out = nullptr;
    std::size_t size = 7;
    int code = 0;
    {
        const FailingCalloc failing;
        code = get_sata_log(disk.fd(), 1, out, size);
    }
    EXPECT_EQ(code, -6);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(size, 0u);
}

TEST(ScsiMemory, MissingForTheStatisticsIsTheResultOfTheirReaders) {
    ScsiDisk disk;
    disk.disk.answer(statistics(1), {FakeScsiBytes(512, 1)});
    disk.disk.answer(statistics(7), {FakeScsiBytes(512, 1)});
    int hours = 0;
    int hoursCode = 0;
    int wear = 0;
    {
        const FailingCalloc failing;
        hoursCode = get_sata_pwron(disk.fd(), hours);
        wear = get_sata_ssd_wear(disk.fd());
    }
    EXPECT_EQ(hoursCode, -6);
    EXPECT_EQ(hours, -1);
    EXPECT_EQ(wear, -6);
}

// Each answer would otherwise be a page or a text.
TEST(ScsiMemory, MissingForAPageOrATextIsNull) {
    ScsiDisk disk;
    FakeScsiBytes inquiry(96, 'x');
    inquiry[4] = 92;
    FakeScsiBytes serialNumber(12, 'x');
    serialNumber[1] = 0x80;
    serialNumber[2] = 0;
    serialNumber[3] = 8;
    disk.disk.answer({0x12, 0x00, 0x00, 0x00, 0xFC, 0x00}, {inquiry});
    disk.disk.answer({0x12, 0x01, 0x80, 0x00, 0xFC, 0x00}, {serialNumber});
    disk.disk.answer({0x4D, 0x00, 0x4D, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00}, {{0x0D, 0, 0, 0}});
    disk.disk.answer(
        {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xEC, 0x00},
        {FakeScsiBytes(512, 'x')});
    disk.disk.answer(
        {0x85, 0x08, 0x0E, 0x00, 0xD5, 0x00, 0x01, 0x00, 0x0E, 0x00, 0x4F, 0x00, 0xC2, 0x00, 0xB0, 0x00},
        {FakeScsiBytes(512, 'x')});
    const auto results = [&disk, &inquiry] {
        return std::vector<bool>{
            !takenBytes(get_sas_temp(disk.fd()), 1).empty(),
            !takenBytes(get_identify_info(disk.fd()), 1).empty(),
            !takenBytes(get_unit_sn_from_device_inquiry(disk.fd()), 1).empty(),
            !takenBytes(get_unit_sn_from_device_vpd_pg80(disk.fd()), 1).empty(),
            !takenBytes(get_sata_DiskRev(disk.fd()), 1).empty(),
            !takenBytes(get_sata_sct_stat(disk.fd()), 1).empty(),
            !takenBytes(inq_parse_vendor(inquiry.data()), 1).empty(),
            !takenBytes(inq_parse_prodID(inquiry.data()), 1).empty(),
            !takenBytes(inq_parse_rev(inquiry.data()), 1).empty(),
        };
    };
    EXPECT_EQ(results(), std::vector<bool>(9, true));
    const FailingCalloc failing;
    EXPECT_EQ(results(), std::vector<bool>(9, false));
}

TEST(ScsiMemory, OfTheProgramIsFollowedByBytesThatAreNotZero) {
    const vokMallocPtr<unsigned char> block(static_cast<unsigned char*>(std::calloc(2, 3)));
    EXPECT_EQ(FakeScsiBytes(block.get(), block.get() + 8), (FakeScsiBytes{0, 0, 0, 0, 0, 0, 0xEE, 0xEE}));
}

}  // namespace
#endif
}  // namespace scsi_infoMemoryTest
