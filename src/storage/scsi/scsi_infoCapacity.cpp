// Questions to disks about their blocks.
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace {

constexpr vokScsiQuestion capacity("get_disk_capacity", "READ CAPACITY",
                                   vokScsiCommand({0x25, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                                   0x00}),
                                   4096, 4);
constexpr vokScsiQuestion capacity16("get_disk_capacity", "READ CAPACITY 16",
                                     vokScsiCommand({0x9E, 0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}),
                                     4096, 8);

constexpr unsigned beyond32Bits = 0xFFFFFFFF;

// The grown list (GLIST) in this address descriptor format.
vokScsiQuestion defectsIn(int format) {
    const auto listAndFormat = static_cast<unsigned char>(format | 8);
    return {"get_defect_data_size", "READ DEFECT DATA",
            vokScsiCommand({0x37, 0x00, listAndFormat, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x00}), 4096, 4};
}

}  // namespace

unsigned long long get_disk_capacity(int fd) {
    const vokScsiPage reply(fd, capacity);
    if (reply.failed()) return 0;
    const std::uint64_t last = reply.number(0, 4);
    if (last != beyond32Bits) return last;
    const vokScsiPage reply16(fd, capacity16);
    return reply16.failed() ? 0 : reply16.number(0, 8);
}

int get_defect_data_size(int fd, int format) {
    const vokScsiQuestion defects = defectsIn(format);
    const vokScsiPage reply(fd, defects);
    if (reply.failed()) return reply.code();
    const int bytes = reply.word(2);
    switch (reply[1] & 7) {
        case 4:  // bytes from index
        case 5:  // physical sector
            return bytes / 8;
        case 0:  // short block
        case 6:  // vendor-specific
            return bytes / 4;
        default:
            return 0;
    }
}
