#include "support/FakeScsi.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>

#include "platform/access/vokHostAccess.h"
#include "support/FakeHost.h"

namespace FakeScsiTest {
namespace {

const FakeScsiBytes inquiry = {0x12, 0, 0, 0, 8, 0};
const FakeScsiBytes testUnitReady = {0, 0, 0, 0, 0, 0};

class ScsiNode : public testing::Test {
protected:
    ScsiNode() {
        descriptor = vokHostAccess().openDevice(vokHostAccess().path("/dev/sg3"), O_RDWR);
        header.interface_id = 'S';
        header.mx_sb_len = sizeof(sense);
        header.sbp = sense;
        header.timeout = 20000;
    }
    ~ScsiNode() override { vokHostAccess().closeDevice(descriptor); }

    // The result of SG_IO.
    int send(FakeScsiBytes cdb, int direction = SG_DXFER_FROM_DEV, unsigned int length = 8) {
        header.cmdp = cdb.data();
        header.cmd_len = static_cast<unsigned char>(cdb.size());
        header.dxfer_direction = direction;
        header.dxfer_len = length;
        header.dxferp = data;
        return vokHostAccess().ioctlDevice(descriptor, SG_IO, &header);
    }

    FakeHost host;
    FakeScsi& disk = host.add<FakeScsi>("/dev/sg3");
    int descriptor = -1;
    sg_io_hdr_t header{};
    unsigned char data[16] = {};
    unsigned char sense[32] = {};
};

TEST_F(ScsiNode, AnswersACommandByItsBytesEachTime) {
    disk.answer(inquiry, {{1, 2, 3, 4, 5, 6, 7, 8}});
    for (int time = 0; time < 2; ++time) {
        ASSERT_EQ(send(inquiry), 0);
        EXPECT_EQ(FakeScsiBytes(data, data + 9), (FakeScsiBytes{1, 2, 3, 4, 5, 6, 7, 8, 0}));
        EXPECT_EQ(header.status, 0);
        EXPECT_EQ(header.resid, 0);
        EXPECT_EQ(header.sb_len_wr, 0);
        EXPECT_EQ(header.info & SG_INFO_OK_MASK, static_cast<unsigned>(SG_INFO_OK));
    }
}

TEST_F(ScsiNode, DataShorterThanRequestedLeavesAResidual) {
    disk.answer(inquiry, {{1, 2, 3}});
    ASSERT_EQ(send(inquiry), 0);
    EXPECT_EQ(header.resid, 5);
}

TEST_F(ScsiNode, DataLongerThanRequestedIsCut) {
    disk.answer(inquiry, {{1, 2, 3, 4}});
    ASSERT_EQ(send(inquiry, SG_DXFER_FROM_DEV, 2), 0);
    EXPECT_EQ(FakeScsiBytes(data, data + 4), (FakeScsiBytes{1, 2, 0, 0}));
    EXPECT_EQ(header.resid, 0);
}

TEST_F(ScsiNode, AnImpossibleResidualIsReported) {
    FakeScsiReply reply{{1, 2, 3}};
    reply.residual = -4;
    disk.answer(inquiry, reply);
    ASSERT_EQ(send(inquiry), 0);
    EXPECT_EQ(header.resid, -4);
}

TEST_F(ScsiNode, SenseDataIsCutToItsBuffer) {
    disk.answer(testUnitReady, FakeScsiReply::checkCondition(0x02, 0x04, 0x11));
    ASSERT_EQ(send(testUnitReady, SG_DXFER_NONE, 0), 0);
    EXPECT_EQ(header.status, 2);
    EXPECT_EQ(header.masked_status, 1);
    EXPECT_EQ(header.info & SG_INFO_OK_MASK, static_cast<unsigned>(SG_INFO_CHECK));
    ASSERT_EQ(header.sb_len_wr, 18);
    EXPECT_EQ(sense[2], 0x02);
    EXPECT_EQ(sense[12], 0x04);
    EXPECT_EQ(sense[13], 0x11);

    sense[13] = 0;
    header.mx_sb_len = 13;
    ASSERT_EQ(send(testUnitReady, SG_DXFER_NONE, 0), 0);
    EXPECT_EQ(header.sb_len_wr, 13);
    EXPECT_EQ(sense[13], 0);
}

TEST_F(ScsiNode, ACommandWithoutAReplyIsNotSupported) {
    ASSERT_EQ(send(inquiry), 0);
    EXPECT_EQ(header.status, 2);
    EXPECT_EQ(sense[2], 0x05);
    EXPECT_EQ(sense[12], 0x20);
    EXPECT_EQ(header.resid, 8);
}

TEST_F(ScsiNode, HostAndDriverStatusArePassedOn) {
    FakeScsiReply reply;
    reply.hostStatus = 3;
    reply.driverStatus = 6;
    disk.answer(inquiry, reply);
    ASSERT_EQ(send(inquiry), 0);
    EXPECT_EQ(header.host_status, 3);
    EXPECT_EQ(header.driver_status, 6);
    EXPECT_EQ(header.info & SG_INFO_OK_MASK, static_cast<unsigned>(SG_INFO_CHECK));
}

TEST_F(ScsiNode, TheRequestItselfCanFail) {
    disk.answer(inquiry, FakeScsiReply::ioctlFails(ENOMEM));
    EXPECT_EQ(send(inquiry), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST_F(ScsiNode, AnInvalidHeaderIsRejected) {
    EXPECT_EQ(send({0x12}), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    FakeScsiBytes cdb = inquiry;
    header.cmdp = cdb.data();
    header.cmd_len = 6;
    header.dxferp = nullptr;
    EXPECT_EQ(vokHostAccess().ioctlDevice(descriptor, SG_IO, &header), -1);
    EXPECT_EQ(errno, EFAULT);
    header.interface_id = 'Q';
    EXPECT_EQ(send(inquiry), -1);
    EXPECT_EQ(errno, ENOSYS);
    int version = 0;
    EXPECT_EQ(vokHostAccess().ioctlDevice(descriptor, SG_GET_VERSION_NUM, &version), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_TRUE(disk.requests().empty());
}

TEST_F(ScsiNode, RecordsTheRequestAndTheDataSent) {
    const FakeScsiBytes modeSelect = {0x15, 0x10, 0, 0, 3, 0};
    data[0] = 7;
    data[2] = 9;
    disk.answer(modeSelect, {});
    ASSERT_EQ(send(modeSelect, SG_DXFER_TO_DEV, 3), 0);
    EXPECT_EQ(header.resid, 0);
    const auto requests = disk.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].cdb, modeSelect);
    EXPECT_EQ(requests[0].direction, SG_DXFER_TO_DEV);
    EXPECT_EQ(requests[0].length, 3U);
    EXPECT_EQ(requests[0].timeout, 20000U);
    EXPECT_EQ(requests[0].senseRoom, 32U);
    EXPECT_EQ(requests[0].sent, (FakeScsiBytes{7, 0, 9}));
}

TEST_F(ScsiNode, ExpectedCommandsAreAnsweredRowByRow) {
    disk.expect({
        {testUnitReady, FakeScsiReply::checkCondition(0x06, 0x29, 0x00)},
        {testUnitReady, {}},
        {inquiry, {{1}}},
    });
    ASSERT_EQ(send(testUnitReady, SG_DXFER_NONE, 0), 0);
    EXPECT_EQ(header.status, 2);
    ASSERT_EQ(send(testUnitReady, SG_DXFER_NONE, 0), 0);
    EXPECT_EQ(header.status, 0);
    ASSERT_EQ(send(inquiry), 0);
    EXPECT_EQ(data[0], 1);
}

TEST_F(ScsiNode, ACommandThatDiffersFromTheNextRowFailsTheTestAtOnce) {
    disk.expect({{testUnitReady, {}}});
    EXPECT_NONFATAL_FAILURE(send(inquiry), "row 0 expects another request");
    EXPECT_EQ(header.status, 2);
    send(testUnitReady, SG_DXFER_NONE, 0);  // the row is still there
    EXPECT_EQ(header.status, 0);
    EXPECT_NONFATAL_FAILURE(send(testUnitReady, SG_DXFER_NONE, 0), "after all 1 expected rows");
}

TEST(ScsiNodes, EachHasItsOwnDescriptorsAndReplies) {
    const FakeHost host;
    auto& first = host.add<FakeScsi>("/dev/sg0");
    auto& second = host.add<FakeScsi>("/dev/sg1");
    IvokHostAccess& access = vokHostAccess();
    const int firstDescriptor = access.openDevice(access.path("/dev/sg0"), O_RDWR);
    const int secondDescriptor = access.openDevice(access.path("/dev/sg1"), O_RDWR);
    const int again = access.openDevice(access.path("/dev/sg1"), O_RDWR);
    EXPECT_EQ(first.openDescriptors(), 1);
    EXPECT_EQ(second.openDescriptors(), 2);
    FakeScsiBytes cdb = testUnitReady;
    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.dxfer_direction = SG_DXFER_NONE;
    header.cmdp = cdb.data();
    header.cmd_len = 6;
    EXPECT_EQ(access.ioctlDevice(again, SG_IO, &header), 0);
    EXPECT_EQ(first.requests().size(), 0U);
    EXPECT_EQ(second.requests().size(), 1U);
    for (const int descriptor : {firstDescriptor, secondDescriptor, again})
        EXPECT_EQ(access.closeDevice(descriptor), 0);
    EXPECT_EQ(first.openDescriptors() + second.openDescriptors(), 0);
    EXPECT_EQ(access.ioctlDevice(again, SG_IO, &header), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(ScsiNodes, RowsThatWereNotUsedFailTheTestAtTheEnd) {
    EXPECT_NONFATAL_FAILURE(
        {
            const FakeHost host;
            host.add<FakeScsi>("/dev/sg0").expect({{inquiry, {}}, {testUnitReady, {}}});
        },
        "/dev/sg0: 2 of 2 expected rows were not used");
}

}  // namespace
}  // namespace FakeScsiTest
