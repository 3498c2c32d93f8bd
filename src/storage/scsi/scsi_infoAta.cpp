// Questions to SATA disks by ATA PASS-THROUGH (16) with PIO data-in: in bytes 4, 6, 8, 10 and 12 the command
// has the feature, the count of blocks and the LBA, and in byte 14 the ATA command.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "core/base/vokLog.h"
#include "platform/access/vokMallocPtr.h"
#include "storage/scsi/scsi_info.h"
#include "storage/scsi/vokScsiQuestion.h"

namespace {

constexpr std::size_t ataBlock = 512;
constexpr unsigned errorLogTimeout = 20000;  // milliseconds

constexpr vokScsiCommand identifyDevice({0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
                                         0x00, 0x00, 0x00, 0xEC, 0x00});
constexpr vokScsiQuestion revisionInIdentify("get_sata_DiskRev", "ATA IDENTIFY DEVICE", identifyDevice,
                                             ataBlock, 53);
constexpr vokScsiQuestion errorLog =
    vokScsiQuestion("get_sata_health", "SMART error log (address 03h)",
                    vokScsiCommand({0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x03, 0x00, 0x00, 0x00,
                                    0x00, 0x00, 0x2F, 0x00}),
                    ataBlock, 4)
        .within(errorLogTimeout)
        .logged("IOCTL to read SMART error log", "Read SMART error log (address 03h) command");
constexpr vokScsiQuestion logD0 =
    vokScsiQuestion("get_sata_log_vpd_pgD0", "SMART error log",
                    vokScsiCommand({0x85, 0x08, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0xD0, 0x00, 0x00, 0x00,
                                    0x00, 0x00, 0x2F, 0x00}),
                    ataBlock, 2)
        .within(errorLogTimeout)
        .logged("IOCTL to read SMART error log", "Read SMART error log (address D0h) command");
constexpr vokScsiQuestion sctStatus("get_sata_sct_stat", "READ SMART LOG",
                                    vokScsiCommand({0x85, 0x08, 0x0E, 0x00, 0xD5, 0x00, 0x01, 0x00, 0x0E,
                                                    0x00, 0x4F, 0x00, 0xC2, 0x00, 0xB0, 0x00}),
                                    ataBlock, ataBlock);

// The pages of the Device Statistics log.
constexpr int generalPage = 1;
constexpr int temperaturePage = 5;
constexpr int solidStatePage = 7;

// With the EXTEND bit (09h), and with the page in bits 8 to 15 of the LBA.
vokScsiQuestion deviceStatistics(int page, const char* name) {
    const auto pageByte = static_cast<unsigned char>(page);
    return {"get_sata_log", name,
            vokScsiCommand({0x85, 0x09, 0x0E, 0x00, 0x00, 0x00, 0x01, 0x00, 0x04, 0x00, pageByte, 0x00, 0x00,
                            0x00, 0x2F, 0x00}),
            ataBlock, 1};
}

unsigned char byteOf(const char* page, std::size_t at) {
    return static_cast<unsigned char>(page[at]);
}

int signedByteOf(const char* page, std::size_t at) {
    return static_cast<std::int8_t>(page[at]);
}

// A statistic of the temperature page: eight bytes with the value first and its flags last, "supported" in
// bit 7 and "valid" in bit 6.
bool readTemperature(const char* page, std::size_t size, std::size_t at, int& out) {
    const std::size_t flags = at + 7;
    if (!page || size <= flags) return false;
    const bool hasRevision = page[0] != 0 || page[1] != 0;
    if (!hasRevision || page[2] != temperaturePage || (byteOf(page, flags) & 0xC0) == 0) return false;
    out = signedByteOf(page, at);
    return true;
}

}  // namespace

int get_ata_identify_device_info(int fd, unsigned char* buffer, std::size_t& size) {
    const vokScsiQuestion identify("get_ata_identify_device_info", "ATA IDENTIFY DEVICE", identifyDevice,
                                   size, 0);
    size = 0;
    const vokScsiAnswer answer = vokAskDisk(fd, identify, buffer);
    if (answer.code == 0) size = answer.received;
    return answer.code;
}

char* get_sata_DiskRev(int fd) {
    const vokScsiPage reply(fd, revisionInIdentify);
    if (reply.failed()) return nullptr;
    constexpr std::size_t firstWord = 23;
    unsigned char revision[8];
    for (std::size_t i = 0; i < sizeof(revision); ++i)  // each word has its first character in the upper byte
        revision[i] = static_cast<unsigned char>(reply[2 * firstWord + (i ^ 1)]);
    return vokScsiText(revision, sizeof(revision));
}

int get_sata_log(int fd, int page, char*& out, std::size_t& size) {
    out = nullptr;
    size = 0;
    char name[32];
    std::snprintf(name, sizeof(name), "ATA DEV STAT LOG(%d)", page);
    const vokScsiPage reply(fd, deviceStatistics(page, name));
    if (reply.failed()) return reply.code();
    if (reply[0] == 0 && reply[1] == 0)
        VOK_LOG_WARNING("SCSI_INFO", "The requested page %02x is not supported by Device Statistics Log(04h)",
                        static_cast<unsigned>(page));
    out = static_cast<char*>(vokScsiCopy(reply.bytes(), reply.received(), 1));
    if (!out) return VOK_SCSI_OUT_OF_MEMORY;
    size = reply.received();
    return 0;
}

int get_sata_statlog(int fd, char*& out, std::size_t& size) {
    return get_sata_log(fd, generalPage, out, size);
}

int get_sata_temp(int fd, char*& out, std::size_t& size) {
    return get_sata_log(fd, temperaturePage, out, size);
}

int get_sata_ssdlog(int fd, char*& out, std::size_t& size) {
    return get_sata_log(fd, solidStatePage, out, size);
}

bool sata_parse_current(const char* page, std::size_t size, int& out) {
    return readTemperature(page, size, 8, out);
}

bool sata_parse_mcot(const char* page, std::size_t size, int& out) {
    return readTemperature(page, size, 88, out);
}

int get_sata_ssd_wear(int fd) {
    char* bytes = nullptr;
    std::size_t size = 0;
    const int result = get_sata_ssdlog(fd, bytes, size);
    const vokMallocPtr<char> page(bytes);
    if (result < 0) return result;
    return page && size >= 9 ? signedByteOf(page.get(), 8) : 0;
}

int get_sata_pwron(int fd, int& hours) {
    hours = -1;
    char* bytes = nullptr;
    std::size_t size = 0;
    const int result = get_sata_statlog(fd, bytes, size);
    const vokMallocPtr<char> page(bytes);
    if (page && size >= 20) {
        unsigned value = 0;
        for (std::size_t i = 4; i-- > 0;) value = value << 8 | byteOf(page.get(), 16 + i);
        hours = static_cast<int>(value);
    }
    return result;
}

int get_sata_health(int fd) {
    const vokScsiPage reply(fd, errorLog);
    if (reply.failed()) return reply.code();
    VOK_LOG_DEBUG("SCSI_INFO", "SATA Health Response(log address 03h): %02x %02x %02x %02x", reply[0],
                  reply[1], reply[2], reply[3]);
    return reply[0] == 1 ? static_cast<int>(reply[3] << 8 | reply[2]) : VOK_SCSI_WRONG_REPLY;
}

int get_sata_log_vpd_pgD0(int fd, unsigned char* buffer, std::size_t& size) {
    size = 0;
    const vokScsiPage reply(fd, logD0);
    if (reply.failed()) return reply.code();
    VOK_LOG_DEBUG("SCSI_INFO", "SATA Health Response(log address D0h): %02x %02x %02x %02x", reply[0],
                  reply[1], reply[2], reply[3]);
    if (reply[0] != 0xD0) return VOK_SCSI_WRONG_REPLY;
    size = std::min(reply.received(), ataBlock);
    std::memcpy(buffer, reply.bytes(), size);
    return 0;
}

unsigned char* get_sata_sct_stat(int fd) {
    const vokScsiPage reply(fd, sctStatus);
    if (reply.failed()) return nullptr;
    return static_cast<unsigned char*>(vokScsiCopy(reply.bytes(), ataBlock, ataBlock));
}
