// What all functions that send a command have in common: one request as listed here, and the same results of
// each failure.
#include <gtest/gtest.h>
#include <cerrno>
#include <functional>

#include "storage/scsi/ScsiDisk.h"
#include "storage/scsi/scsi_info.h"
#include "support/FakeSystemLog.h"

namespace scsi_infoQuestionsTest {
namespace {

constexpr int nullPointer = -1000;

template <typename Byte>
int codeOf(Byte* taken) {
    const vokMallocPtr<Byte> owned(taken);
    return owned ? 0 : nullPointer;
}

int withPage(int (*ask)(int, char*&, std::size_t&), int fd) {
    char* out = nullptr;
    std::size_t size = 77;
    const int code = ask(fd, out, size);
    const vokMallocPtr<char> owned(out);
    EXPECT_EQ(out == nullptr, code != 0);
    EXPECT_EQ(size == 0, code != 0);
    return code;
}

enum class Kind { integer, isUnit, pointer, zero };

struct Question {
    const char* function;
    std::function<int(int)> ask;
    Kind kind;
    FakeScsiBytes cdb;
    unsigned transfer;
    std::size_t minimum;
    unsigned timeout;
    const char* ioctlFailed;    // up to the numbers
    const char* commandFailed;  // without " failed."
    const char* tooShort;       // up to the count, or the whole line
};

const FakeScsiBytes inquiry = {0x12, 0x00, 0x00, 0x00, 0xFC, 0x00};
const FakeScsiBytes pageB1 = {0x12, 0x01, 0xB1, 0x00, 0xFC, 0x00};
const FakeScsiBytes exceptions = {0x4D, 0x00, 0x6F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x62, 0x00};
const FakeScsiBytes identify = {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00,
                                0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xEC, 0x00};

FakeScsiBytes statistics(unsigned char page) {
    return {0x85, 0x09, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x04, 0x00, page, 0x00, 0x00, 0x00, 0x2F, 0x00};
}

const std::vector<Question>& questions() {
    static const std::vector<Question> all = {
        {"get_sas_temp",
         [](int fd) { return codeOf(get_sas_temp(fd)); },
         Kind::pointer,
         {0x4D, 0x00, 0x4D, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00},
         16,
         4,
         60000,
         "IOCTL for LOG SENSE(4Dh) failed.",
         "LOG SENSE(4Dh) command",
         "IOCTL for LOG SENSE(4Dh) returned "},
        {"get_sas_ssd_wear",
         get_sas_ssd_wear,
         Kind::integer,
         {0x4D, 0x00, 0x51, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00},
         16,
         12,
         60000,
         "IOCTL for LOG SENSE(51h) failed.",
         "LOG SENSE(51h) command",
         "IOCTL for LOG SENSE(51h) returned "},
        {"get_sas_pwron",
         get_sas_pwron,
         Kind::integer,
         {0x4D, 0x00, 0x55, 0x00, 0x00, 0x00, 0x00, 0x00, 0x20, 0x00},
         32,
         12,
         60000,
         "IOCTL for LOG SENSE(55h) failed.",
         "LOG SENSE(55h) command",
         "IOCTL for LOG SENSE(55h) returned "},
        {"get_sas_health", get_sas_health, Kind::integer, exceptions, 98, 10, 60000,
         "IOCTL for LOG SENSE(6Fh) failed.", "LOG SENSE(6Fh) command", "IOCTL for LOG SENSE(6Fh) returned "},
        {"get_unit_temp", get_unit_temp, Kind::integer, exceptions, 98, 11, 60000,
         "IOCTL for LOG SENSE(6Fh) failed.", "LOG SENSE(6Fh) command", "IOCTL for LOG SENSE(6Fh) returned "},
        {"get_unit_speed",
         get_unit_speed,
         Kind::integer,
         {0x5A, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00},
         4096,
         38,
         60000,
         "IOCTL for MODE SENSE 10 failed.",
         "MODE SENSE 10 command",
         "IOCTL for MODE SENSE 10 returned "},
        {"is_unit_smart",
         is_unit_smart,
         Kind::isUnit,
         {0x1A, 0x08, 0x1C, 0x00, 0xFF, 0x00},
         252,
         4,
         60000,
         "IOCTL for MODE SENSE failed.",
         "MODE SENSE command",
         "IOCTL for MODE SENSE returned "},
        {"get_scsi_transport_protocol",
         get_scsi_transport_protocol,
         Kind::integer,
         {0x1A, 0x08, 0x19, 0x00, 0xFF, 0x00},
         255,
         7,
         60000,
         "IOCTL for protocol-specific port page failed.",
         "MODE SENSE command for protocol-specific port page",
         "IOCTL for protocol-specific port page returned "},
        {"is_unit_ssd", is_unit_ssd, Kind::isUnit, pageB1, 252, 6, 60000,
         "IOCTL to fetch VPD page(B1h) failed.", "Inquiry command for VPD page(B1h)",
         "IOCTL for VPD page(B1h) returned "},
        {"get_scsi_disk_medium_rotation_rate", get_scsi_disk_medium_rotation_rate, Kind::integer, pageB1, 252,
         6, 60000, "IOCTL to fetch VPD page 0xB1 failed.", "VPD page 0xB1 inquiry command",
         "IOCTL for VPD page 0xB1 returned "},
        {"get_identify_info", [](int fd) { return codeOf(get_identify_info(fd)); }, Kind::pointer, inquiry,
         252, 5, 60000, "IOCTL for standard inquiry failed.", "standard inquiry command",
         "IOCTL for standard inquiry returned "},
        {"get_unit_sn_from_device_inquiry",
         [](int fd) { return codeOf(get_unit_sn_from_device_inquiry(fd)); }, Kind::pointer, inquiry, 252, 5,
         60000, "IOCTL for standard inquiry failed.", "standard inquiry command",
         "IOCTL for standard inquiry returned "},
        {"get_unit_sn_from_device_vpd_pg80",
         [](int fd) { return codeOf(get_unit_sn_from_device_vpd_pg80(fd)); },
         Kind::pointer,
         {0x12, 0x01, 0x80, 0x00, 0xFC, 0x00},
         252,
         4,
         60000,
         "IOCTL for VPD page 80 inquiry failed.",
         "VPD page 80 inquiry command",
         "IOCTL for VPD page 80 inquiry returned "},
        {"get_disk_capacity",
         [](int fd) { return static_cast<int>(get_disk_capacity(fd)); },
         Kind::zero,
         {0x25, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00},
         4096,
         4,
         60000,
         "IOCTL for READ CAPACITY failed.",
         "READ CAPACITY command",
         "IOCTL for READ CAPACITY returned "},
        {"get_defect_data_size",
         [](int fd) { return get_defect_data_size(fd, 5); },
         Kind::integer,
         {0x37, 0x00, 0x0D, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00},
         4096,
         4,
         60000,
         "IOCTL for READ DEFECT DATA failed.",
         "READ DEFECT DATA command",
         "IOCTL for READ DEFECT DATA returned "},
        {"get_ata_identify_device_info",
         [](int fd) {
             unsigned char buffer[512];
             std::size_t size = sizeof(buffer);
             return get_ata_identify_device_info(fd, buffer, size);
         },
         Kind::integer, identify, 512, 0, 60000, "IOCTL for ATA IDENTIFY DEVICE failed.",
         "ATA IDENTIFY DEVICE command", ""},
        {"get_sata_DiskRev", [](int fd) { return codeOf(get_sata_DiskRev(fd)); }, Kind::pointer, identify,
         512, 53, 60000, "IOCTL for ATA IDENTIFY DEVICE failed.", "ATA IDENTIFY DEVICE command",
         "IOCTL for ATA IDENTIFY DEVICE returned "},
        {"get_sata_log", [](int fd) { return withPage(get_sata_statlog, fd); }, Kind::integer, statistics(1),
         512, 1, 60000, "IOCTL for ATA DEV STAT LOG(1) failed.", "ATA DEV STAT LOG(1) command",
         "IOCTL for ATA DEV STAT LOG(1) returned no data."},
        {"get_sata_log", [](int fd) { return withPage(get_sata_temp, fd); }, Kind::integer, statistics(5),
         512, 1, 60000, "IOCTL for ATA DEV STAT LOG(5) failed.", "ATA DEV STAT LOG(5) command",
         "IOCTL for ATA DEV STAT LOG(5) returned no data."},
        {"get_sata_log", [](int fd) { return withPage(get_sata_ssdlog, fd); }, Kind::integer, statistics(7),
         512, 1, 60000, "IOCTL for ATA DEV STAT LOG(7) failed.", "ATA DEV STAT LOG(7) command",
         "IOCTL for ATA DEV STAT LOG(7) returned no data."},
        {"get_sata_log", get_sata_ssd_wear, Kind::integer, statistics(7), 512, 1, 60000,
         "IOCTL for ATA DEV STAT LOG(7) failed.", "ATA DEV STAT LOG(7) command",
         "IOCTL for ATA DEV STAT LOG(7) returned no data."},
        {"get_sata_log",
         [](int fd) {
             int hours = 5;
             const int code = get_sata_pwron(fd, hours);
             EXPECT_EQ(hours, -1);
             return code;
         },
         Kind::integer, statistics(1), 512, 1, 60000, "IOCTL for ATA DEV STAT LOG(1) failed.",
         "ATA DEV STAT LOG(1) command", "IOCTL for ATA DEV STAT LOG(1) returned no data."},
        {"get_sata_health",
         get_sata_health,
         Kind::integer,
         {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2F, 0x00},
         512,
         4,
         20000,
         "IOCTL to read SMART error log failed.",
         "Read SMART error log (address 03h) command",
         "IOCTL for SMART error log (address 03h) returned "},
        {"get_sata_log_vpd_pgD0",
         [](int fd) {
             unsigned char buffer[512];
             std::size_t size = sizeof(buffer);
             return get_sata_log_vpd_pgD0(fd, buffer, size);
         },
         Kind::integer,
         {0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0xD0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x2F, 0x00},
         512,
         2,
         20000,
         "IOCTL to read SMART error log failed.",
         "Read SMART error log (address D0h) command",
         "IOCTL for SMART error log returned "},
        {"get_sata_sct_stat",
         [](int fd) { return codeOf(get_sata_sct_stat(fd)); },
         Kind::pointer,
         {0x85, 0x08, 0x0E, 0x00, 0xD5, 0x00, 0x01, 0x00, 0x0E, 0x00, 0x4F, 0x00, 0xC2, 0x00, 0xB0, 0x00},
         512,
         512,
         60000,
         "IOCTL for READ SMART LOG failed.",
         "READ SMART LOG command",
         "IOCTL for READ SMART LOG returned "},
    };
    return all;
}

// What a function of this kind returns for a failure.
int expectedCode(Kind kind, int code) {
    switch (kind) {
        case Kind::integer:
            return code;
        case Kind::isUnit:
            return code == -2 ? -1 : code;
        case Kind::pointer:
            return nullPointer;
        case Kind::zero:
            return 0;
    }
    return 0;
}

// Asks each question of a disk with this reply and expects the result of this failure.
void expectOfEach(const FakeScsiReply& reply, int code,
                  const std::function<std::string(const Question&)>& line) {
    const ScsiDisk host;
    std::size_t asked = 0;
    for (const Question& question : questions()) {
        SCOPED_TRACE(question.function);
        host.host.part<FakeSystemLog>().clear();
        host.disk.answer(question.cdb, reply);
        EXPECT_EQ(question.ask(host.fd()), expectedCode(question.kind, code));
        EXPECT_TRUE(host.logged(line(question))) << line(question);
        EXPECT_EQ(host.disk.requests().size(), ++asked) << "nothing is repeated";
        EXPECT_EQ(host.disk.openDescriptors(), 1) << "the descriptor is the caller's";
    }
}

std::string commandFailed(const Question& question) {
    return std::string(question.commandFailed) + " failed.";
}

TEST(ScsiQuestions, EachSendsOneCommandThatReads) {
    const ScsiDisk host;
    std::size_t asked = 0;
    for (const Question& question : questions()) {
        SCOPED_TRACE(question.function);
        question.ask(host.fd());
        ASSERT_EQ(host.disk.requests().size(), ++asked);
        const FakeScsiRequest request = host.disk.requests().back();
        EXPECT_EQ(request.cdb, question.cdb);
        EXPECT_EQ(request.direction, -3);
        EXPECT_EQ(request.length, question.transfer);
        EXPECT_EQ(request.timeout, question.timeout);
        EXPECT_EQ(request.senseRoom, 32u);
    }
}

TEST(ScsiQuestions, AFailedIoctlIsMinus2AndMinus1OfTheTwoIsUnitFunctions) {
    expectOfEach(FakeScsiReply::ioctlFails(ENODEV), -2,
                 [](const Question& question) { return std::string(question.ioctlFailed) + " (-1, 19)"; });
}

TEST(ScsiQuestions, AFailedCommandIsMinus3) {
    expectOfEach(FakeScsiReply::checkCondition(0x03, 0x11, 0x00), -3, commandFailed);
}

TEST(ScsiQuestions, AnAdapterThatFailsIsMinus3) {
    FakeScsiReply reply;
    reply.hostStatus = 1;
    expectOfEach(reply, -3, commandFailed);
}

TEST(ScsiQuestions, AnIllegalRequestIsMinus7) {
    expectOfEach(FakeScsiReply::checkCondition(0x05, 0x24, 0x00), -7, commandFailed);
}

TEST(ScsiQuestions, AnAbortedCommandIsMinus9) {
    expectOfEach(FakeScsiReply::checkCondition(0x0B, 0x47, 0x03), -9, commandFailed);
}

TEST(ScsiQuestions, SenseDataInDescriptorFormatCountToo) {
    FakeScsiReply reply;
    reply.status = 2;
    reply.sense = {0x72, 0x05, 0x20, 0x00, 0, 0, 0, 0};
    expectOfEach(reply, -7, commandFailed);
    reply.sense = {0x72, 0x0B, 0x47, 0x00, 0, 0, 0, 0};
    expectOfEach(reply, -9, commandFailed);
}

TEST(ScsiQuestions, TheCompletionOfAFailedCommandIsLoggedUnderTheNameOfTheFunction) {
    expectOfEach(FakeScsiReply::checkCondition(0x05, 0x24, 0x00), -7, [](const Question& question) {
        return std::string(question.function) +
               ": sgiob: info=[0x1]; masked_status=[0x1]; host_status=[0x0]; driver_status=[0x0]; "
               "status=[0x2]; sb_len_wr=[18]; dxfer_len=[" +
               std::to_string(question.transfer) + "]; resid=[" + std::to_string(question.transfer) +
               "]\n    Sense data: 70 00 05 00 00 00 00 0a 00 00 00 00 24 00 00 00 00 00";
    });
}

// A reply of ones, so that a byte that was not received would show.
void expectTooShort(bool byResidual) {
    const ScsiDisk host;
    for (const Question& question : questions()) {
        if (question.minimum == 0) continue;
        SCOPED_TRACE(question.function);
        host.host.part<FakeSystemLog>().clear();
        const std::size_t received = question.minimum - 1;
        FakeScsiReply reply;
        reply.data.assign(byResidual ? question.transfer : received, 0x01);
        reply.residual = static_cast<int>(question.transfer - received);
        host.disk.answer(question.cdb, reply);
        EXPECT_EQ(question.ask(host.fd()), expectedCode(question.kind, -4));
        const std::string line = question.minimum == 1
                                     ? std::string(question.tooShort)
                                     : question.tooShort + std::to_string(received) +
                                           " bytes. (Min expected: " + std::to_string(question.minimum) + ")";
        EXPECT_TRUE(host.logged(line)) << line;
    }
}

TEST(ScsiQuestions, AReplyOfOneByteLessThanNeededIsMinus4) {
    expectTooShort(false);
}

TEST(ScsiQuestions, TheResidualCountsAndNotWhatLiesInTheBuffer) {
    expectTooShort(true);
}

}  // namespace
}  // namespace scsi_infoQuestionsTest
