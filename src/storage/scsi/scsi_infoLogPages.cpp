// Questions to SAS disks by LOG SENSE. The page control 01b, cumulative values, is part of the page's byte in
// the command: 4Dh requests page 0Dh.
#include <algorithm>

#include "core/base/vokLog.h"
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace {

constexpr vokScsiQuestion temperaturePage("get_sas_temp", "LOG SENSE(4Dh)",
                                          vokScsiCommand({0x4D, 0x00, 0x4D, 0x00, 0x00, 0x00, 0x00, 0x00,
                                                          0x10, 0x00}),
                                          16, 4);
constexpr vokScsiQuestion solidStatePage("get_sas_ssd_wear", "LOG SENSE(51h)",
                                         vokScsiCommand({0x4D, 0x00, 0x51, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10,
                                                         0x00}),
                                         16, 12);
constexpr vokScsiQuestion backgroundScanPage("get_sas_pwron", "LOG SENSE(55h)",
                                             vokScsiCommand({0x4D, 0x00, 0x55, 0x00, 0x00, 0x00, 0x00, 0x00,
                                                             0x20, 0x00}),
                                             32, 12);
constexpr vokScsiCommand readExceptions({0x4D, 0x00, 0x6F, 0x00, 0x00, 0x00, 0x00, 0x00, 0x62, 0x00});
constexpr vokScsiQuestion healthOfExceptions("get_sas_health", "LOG SENSE(6Fh)", readExceptions, 98, 10);
constexpr vokScsiQuestion temperatureOfExceptions("get_unit_temp", "LOG SENSE(6Fh)", readExceptions, 98, 11);

// What the two readers of the temperature page may look at.
constexpr std::size_t temperatureBytes = 16;

}  // namespace

unsigned char* get_sas_temp(int fd) {
    const vokScsiPage page(fd, temperaturePage);
    if (page.failed()) return nullptr;
    const std::size_t size = page[3] + 4;
    if (!page.hasAtLeast(size)) return nullptr;
    return static_cast<unsigned char*>(vokScsiCopy(page.bytes(), size, temperatureBytes));
}

int sas_parse_current(const unsigned char* page) {
    return page[4] == 0 && page[5] == 0 ? page[9] : 0;
}

int sas_parse_mcot(const unsigned char* page) {
    return page[10] == 0 && page[11] == 1 ? page[15] : 0;
}

int get_sas_ssd_wear(int fd) {
    const vokScsiPage page(fd, solidStatePage);
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "Wear Response: %02x %02x %02x", page[0], page[3], page[11]);
    constexpr int notThisPage = 255;
    return page[0] == 0x11 && page[3] == 8 ? static_cast<int>(page[11]) : notThisPage;
}

int get_sas_pwron(int fd) {
    const vokScsiPage page(fd, backgroundScanPage);
    if (page.failed()) return page.code();
    if (page[0] != 0x15) return VOK_SCSI_WRONG_REPLY;
    return static_cast<int>(page.number(8, 4) / 60);
}

int get_sas_health(int fd) {
    const vokScsiPage page(fd, healthOfExceptions);
    if (page.failed()) return page.code();
    VOK_LOG_DEBUG("SCSI_INFO", "SAS Health Response: %02x %02x %02x", page[0], page[8], page[9]);
    return page[0] == 0x2F ? page.word(8) : VOK_SCSI_WRONG_REPLY;
}

int get_unit_temp(int fd) {
    const vokScsiPage page(fd, temperatureOfExceptions);
    if (page.failed()) return page.code();
    return page[0] == 0x2F && page[10] < 255 ? static_cast<int>(page[10]) : VOK_SCSI_WRONG_REPLY;
}
