// Questions to disks by MODE SENSE.
#include <algorithm>

#include "core/base/vokLog.h"
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace {

constexpr vokScsiQuestion rigidDiskPage("get_unit_speed", "MODE SENSE 10",
                                        vokScsiCommand({0x5A, 0x00, 0x04, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                                        0x00}),
                                        4096, 38);
constexpr vokScsiQuestion exceptionsControlPage("is_unit_smart", "MODE SENSE",
                                                vokScsiCommand({0x1A, 0x08, 0x1C, 0x00, 0xFF, 0x00}), 252, 4);
constexpr vokScsiQuestion portPage =
    vokScsiQuestion("get_scsi_transport_protocol", "protocol-specific port page",
                    vokScsiCommand({0x1A, 0x08, 0x19, 0x00, 0xFF, 0x00}), 255, 7)
        .logged("IOCTL for protocol-specific port page",
                "MODE SENSE command for protocol-specific port page");

}  // namespace

int get_unit_speed(int fd) {
    const vokScsiPage page(fd, rigidDiskPage);
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "Speed Response: %02x %02x", page[36], page[37]);
    return static_cast<int>(page[37] << 8 | page[36]);
}

int is_unit_smart(int fd) {
    const vokScsiPage page(fd, exceptionsControlPage);
    if (page.code() == VOK_SCSI_IOCTL_FAILED) return VOK_SCSI_WRONG_REPLY;
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "Smart Response: %02x %02x %02x %02x", page[0], page[1], page[2], page[3]);
    const auto length = static_cast<std::size_t>(page.word(2));
    if (length == 0 || length > 100) return 0;
    if (!page.hasAtLeast(length + 4)) return VOK_SCSI_REPLY_TOO_SHORT;
    const unsigned char* const first = page.bytes() + 4;
    return std::find(first, first + length, 0x11) != first + length ? 1 : 0;
}

int get_scsi_transport_protocol(int fd) {
    const vokScsiPage page(fd, portPage);
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "PSPP Response: %02x %02x %02x %02x %02x %02x %02x", page[0], page[1], page[2],
                  page[3], page[4], page[5], page[6]);
    // Block descriptors are disabled, so the page follows the header of four bytes.
    const bool isPortPage = (page[4] & 0x7F) == 0x19 && page[5] != 0;
    return isPortPage ? static_cast<int>(page[6] & 15) : VOK_SCSI_WRONG_REPLY;
}
