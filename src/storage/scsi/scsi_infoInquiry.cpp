// Questions to disks by INQUIRY, and readers of the standard inquiry data.
#include <algorithm>

#include "core/base/vokLog.h"
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace {

constexpr vokScsiCommand inquiry({0x12, 0x00, 0x00, 0x00, 0xFC, 0x00});
constexpr vokScsiCommand characteristicsPage({0x12, 0x01, 0xB1, 0x00, 0xFC, 0x00});

constexpr vokScsiQuestion isSolidState =
    vokScsiQuestion("is_unit_ssd", "VPD page(B1h)", characteristicsPage, 252, 6)
        .logged("IOCTL to fetch VPD page(B1h)", "Inquiry command for VPD page(B1h)");
constexpr vokScsiQuestion rotationRate =
    vokScsiQuestion("get_scsi_disk_medium_rotation_rate", "VPD page 0xB1", characteristicsPage, 252, 6)
        .logged("IOCTL to fetch VPD page 0xB1", "VPD page 0xB1 inquiry command");
constexpr vokScsiQuestion standardInquiry("get_identify_info", "standard inquiry", inquiry, 252, 5);
constexpr vokScsiQuestion serialNumberInInquiry("get_unit_sn_from_device_inquiry", "standard inquiry",
                                                inquiry, 252, 5);
constexpr vokScsiQuestion serialNumberPage("get_unit_sn_from_device_vpd_pg80", "VPD page 80 inquiry",
                                           vokScsiCommand({0x12, 0x01, 0x80, 0x00, 0xFC, 0x00}), 252, 4);

// The fixed part of the standard data, to the end of the revision.
constexpr std::size_t standardBytes = 36;

bool isBlank(unsigned char byte) {
    return (byte & 0xDF) == 0;  // a blank or NUL
}

// Bytes `first` to before `end` of the reply, or to its end if it is shorter.
char* fieldOf(const unsigned char* reply, std::size_t first, std::size_t end) {
    if (!reply) return nullptr;
    end = std::min<std::size_t>(end, reply[4] + 4u);
    while (first < end && reply[first] == ' ') ++first;
    while (first < end && isBlank(reply[end - 1])) --end;
    return first < end ? vokScsiText(reply + first, end - first) : vokScsiText(reply, 0);
}

}  // namespace

int is_unit_ssd(int fd) {
    const vokScsiPage page(fd, isSolidState);
    if (page.code() == VOK_SCSI_IOCTL_FAILED) return VOK_SCSI_WRONG_REPLY;
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "SSD Response: %02x %02x %02x %02x %02x %02x", page[0], page[1], page[2],
                  page[3], page[4], page[5]);
    return page.status() == 0 && page[4] == 0 && page[5] == 1 ? 1 : 0;
}

int get_scsi_disk_medium_rotation_rate(int fd) {
    const vokScsiPage page(fd, rotationRate);
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "DMRR Response: %02x %02x %02x %02x %02x %02x", page[0], page[1], page[2],
                  page[3], page[4], page[5]);
    return page[1] == 0xB1 && page.word(2) >= 2 ? page.word(4) : VOK_SCSI_WRONG_REPLY;
}

unsigned char* get_identify_info(int fd) {
    const vokScsiPage page(fd, standardInquiry);
    if (page.failed()) return nullptr;
    const std::size_t size = page[4] + 4;
    if (!page.hasAtLeast(size)) return nullptr;
    return static_cast<unsigned char*>(vokScsiCopy(page.bytes(), size, std::max(size, standardBytes) + 1));
}

char* get_unit_sn_from_device_inquiry(int fd) {
    const vokScsiPage page(fd, serialNumberInInquiry);
    if (page.failed() || !page.hasAtLeast(56)) return nullptr;
    if (page.status() != 0 || page[4] < 52) return nullptr;
    return vokScsiText(page.bytes() + 36, 20);
}

char* get_unit_sn_from_device_vpd_pg80(int fd) {
    const vokScsiPage page(fd, serialNumberPage);
    if (page.failed()) return nullptr;
    const auto length = static_cast<std::size_t>(page.word(2));
    if (!page.hasAtLeast(length) || page[1] != 0x80) return nullptr;
    const unsigned char* first = page.bytes() + 4;
    const unsigned char* const end = first + length;
    first = std::find_if(first, end, [](unsigned char byte) { return byte != ' '; });
    return static_cast<char*>(vokScsiCopy(first, static_cast<std::size_t>(end - first), length + 1));
}

char* inq_parse_vendor(const unsigned char* inquiryData) {
    return fieldOf(inquiryData, 8, 16);
}

char* inq_parse_prodID(const unsigned char* inquiryData) {
    return fieldOf(inquiryData, 16, 32);
}

char* inq_parse_rev(const unsigned char* inquiryData) {
    return fieldOf(inquiryData, 32, 4 + 255);
}

int inq_parse_type(const unsigned char* inquiryData) {
    return inquiryData ? inquiryData[0] & 31 : 0;
}
