// Every question to a disk, with a reply of any bytes, any length, any status and any sense data: no function
// reads what was not received, each result is one that the function may have, and those of the health and
// size of a disk are what the bytes say.
#include <scsi/sg.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FuzzInput.h"
#include "platform/access/vokMallocPtr.h"
#include "storage/scsi/scsi_info.h"
#include "vokFuzzHost.h"

namespace {

// What the driver does with every command, from the first bytes of an input.
struct Reply {
    bool ioctlFails = false;
    unsigned info = 0;
    unsigned char status = 0;
    unsigned short driverStatus = 0;
    unsigned short hostStatus = 0;
    int residual = 0;  // added to that of the data
    std::vector<unsigned char> sense;
    std::vector<unsigned char> data;
};

Reply reply;

class Disk : public vokFuzzHost {
public:
    // Every raw attribute of sysfs has the same bytes, in memory, since a file would take most of the time.
    static int rawAttribute() {
        static const int file = ::memfd_create("raw", MFD_CLOEXEC);
        return file;
    }
    std::string path(const std::string& absolute) const override {
        const bool isRaw =
            absolute.find("/vpd_pg") != std::string::npos || absolute.find("/inquiry") != std::string::npos;
        return isRaw ? "/proc/self/fd/" + std::to_string(rawAttribute()) : vokFuzzHost::path(absolute);
    }
    int ioctlDevice(int, unsigned long request, void* argument) override {
        require(request == SG_IO);
        if (reply.ioctlFails) return -1;
        auto& header = *static_cast<sg_io_hdr_t*>(argument);
        const std::size_t moved = std::min<std::size_t>(header.dxfer_len, reply.data.size());
        std::copy_n(reply.data.begin(), moved, static_cast<unsigned char*>(header.dxferp));
        std::copy_n(reply.sense.begin(), std::min<std::size_t>(header.mx_sb_len, reply.sense.size()),
                    header.sbp);
        header.info = reply.info;
        header.status = reply.status;
        header.masked_status = reply.status >> 1 & 0x1F;
        header.driver_status = reply.driverStatus;
        header.host_status = reply.hostStatus;
        header.sb_len_wr = static_cast<unsigned char>(reply.sense.size());
        header.resid = static_cast<int>(header.dxfer_len - moved) + reply.residual;
        return 0;
    }
};

Reply replyOf(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    const auto next = [&] { return at < size ? data[at++] : std::uint8_t{0}; };
    Reply made;
    const unsigned flags = next();
    made.ioctlFails = (flags & 0xF0) == 0xF0;
    made.info = flags & 0x07;
    made.status = next();
    made.driverStatus = next();
    made.hostStatus = next();
    made.residual = static_cast<std::int8_t>(next());
    const std::size_t senseSize = next();
    const std::size_t sense = std::min(senseSize, size - at);
    made.sense.assign(data + at, data + at + sense);
    made.data.assign(data + at + sense, data + size);
    return made;
}

// --- the expectations, from the reply alone ---

constexpr int anyAnswer = 1 << 30;

// The result of a question that transfers and needs these numbers of bytes; anyAnswer if it was answered.
int failureOf(std::size_t transfer, std::size_t minimum) {
    if (reply.ioctlFails) return -2;
    if ((reply.info & 1) != 0) {
        const std::size_t size = std::min<std::size_t>(reply.sense.size(), 32);
        if ((reply.driverStatus & 8) == 0 && (reply.status & 2) == 0) return -3;
        int key = -1;
        if (size > 2 && reply.sense[0] == 0x70) key = reply.sense[2] & 15;
        if (size >= 2 && reply.sense[0] == 0x72) key = reply.sense[1] & 15;
        return key == 5 ? -7 : key == 11 ? -9 : -3;
    }
    const auto moved = static_cast<long>(std::min(transfer, reply.data.size()));
    const long received = std::clamp(moved - reply.residual, 0L, static_cast<long>(transfer));
    return received < static_cast<long>(minimum) ? -4 : anyAnswer;
}

int byteAt(std::size_t at) {
    return at < reply.data.size() ? reply.data[at] : 0;
}

int expected(std::size_t transfer, std::size_t minimum, const std::function<int()>& answer) {
    const int failure = failureOf(transfer, minimum);
    return failure == anyAnswer ? answer() : failure;
}

// Most significant byte first.
unsigned long long numberAt(std::size_t at, std::size_t size) {
    unsigned long long number = 0;
    for (std::size_t i = 0; i < size; ++i) number = number << 8 | static_cast<unsigned>(byteAt(at + i));
    return number;
}

// Both commands have the same reply.
unsigned long long capacity() {
    if (failureOf(4096, 4) != anyAnswer) return 0;
    if (numberAt(0, 4) != 0xFFFFFFFF) return numberAt(0, 4);
    return failureOf(4096, 8) == anyAnswer ? numberAt(0, 8) : 0;
}

// --- the claims ---

void checkNumbers(int fd) {
    require(get_sas_health(fd) ==
            expected(98, 10, [] { return byteAt(0) == 0x2F ? byteAt(8) << 8 | byteAt(9) : -1; }));
    require(get_unit_temp(fd) ==
            expected(98, 11, [] { return byteAt(0) == 0x2F && byteAt(10) != 255 ? byteAt(10) : -1; }));
    require(get_sas_ssd_wear(fd) ==
            expected(16, 12, [] { return byteAt(0) == 0x11 && byteAt(3) == 8 ? byteAt(11) : 255; }));
    require(get_scsi_disk_medium_rotation_rate(fd) == expected(252, 6, [] {
                const bool isThere = byteAt(1) == 0xB1 && (byteAt(2) != 0 || byteAt(3) >= 2);
                return isThere ? byteAt(4) << 8 | byteAt(5) : -1;
            }));
    require(get_scsi_transport_protocol(fd) == expected(255, 7, [] {
                return (byteAt(4) & 0x7F) == 0x19 && byteAt(5) != 0 ? byteAt(6) & 15 : -1;
            }));
    require(get_sata_health(fd) ==
            expected(512, 4, [] { return byteAt(0) == 1 ? byteAt(3) << 8 | byteAt(2) : -1; }));
    require(get_unit_speed(fd) == expected(4096, 38, [] { return byteAt(37) << 8 | byteAt(36); }));

    const int hours = get_sas_pwron(fd);
    require(failureOf(32, 12) == anyAnswer ? hours >= -1 && hours <= 71582788 : hours == failureOf(32, 12));
    const int ssd = is_unit_ssd(fd);
    require(ssd == 0 || ssd == 1 || ssd == (failureOf(252, 6) == -2 ? -1 : failureOf(252, 6)));
    const int smart = is_unit_smart(fd);
    require(smart == 0 || smart == 1 || smart == -4 ||
            smart == (failureOf(252, 4) == -2 ? -1 : failureOf(252, 4)));
    for (int format = 0; format < 8; ++format) {
        const int defects = get_defect_data_size(fd, format);
        require(failureOf(4096, 4) == anyAnswer ? defects >= 0 && defects <= 0xFFFF / 4
                                                : defects == failureOf(4096, 4));
    }
    require(get_disk_capacity(fd) == capacity());
}

// Null if the question failed; otherwise a text of at most this length.
void checkText(char* taken, int failure, std::size_t longest) {
    const vokMallocPtr<char> text(taken);
    require(!text || failure == anyAnswer);
    require(!text || std::strlen(text.get()) <= longest);
}

void checkTexts(int fd) {
    checkText(get_unit_sn_from_device_inquiry(fd), failureOf(252, 56), 20);
    checkText(get_unit_sn_from_device_vpd_pg80(fd), failureOf(252, 4), 252);
    checkText(get_sata_DiskRev(fd), failureOf(512, 53), 8);
    const vokMallocPtr<unsigned char> inquiry(get_identify_info(fd));
    require(!inquiry || failureOf(252, 5) == anyAnswer);
    if (!inquiry) return;
    checkText(inq_parse_vendor(inquiry.get()), anyAnswer, 8);
    checkText(inq_parse_prodID(inquiry.get()), anyAnswer, 16);
    checkText(inq_parse_rev(inquiry.get()), anyAnswer, 220);
    require(inq_parse_type(inquiry.get()) == (byteAt(0) & 31));
}

void checkPages(int fd) {
    const vokMallocPtr<unsigned char> temperature(get_sas_temp(fd));
    require(!temperature || failureOf(16, 4) == anyAnswer);
    if (temperature) {
        require(sas_parse_current(temperature.get()) <= 255);
        require(sas_parse_mcot(temperature.get()) <= 255);
    }
    const vokMallocPtr<unsigned char> sct(get_sata_sct_stat(fd));
    require((sct != nullptr) == (failureOf(512, 512) == anyAnswer));

    for (const int page : {1, 5, 7, 255}) {
        char* out = nullptr;
        std::size_t size = 0;
        const int code = get_sata_log(fd, page, out, size);
        const vokMallocPtr<char> bytes(out);
        require(code == expected(512, 1, [] { return 0; }));
        require((code == 0) == (bytes != nullptr) && (code == 0) == (size > 0) && size <= 512);
        int value = 1000;
        for (const auto parse : {sata_parse_current, sata_parse_mcot})
            if (parse(bytes.get(), size, value)) require(value >= -128 && value <= 127 && byteAt(2) == 5);
    }
    const int wear = get_sata_ssd_wear(fd);
    require(wear >= -128 && wear <= 127);
    int hours = 0;
    require(get_sata_pwron(fd, hours) == expected(512, 1, [] { return 0; }));

    // Blocks of exactly the size that was asked for.
    const auto buffer = std::make_unique<unsigned char[]>(512);
    std::size_t size = 512;
    require(get_sata_log_vpd_pgD0(fd, buffer.get(), size) ==
            expected(512, 2, [] { return byteAt(0) == 0xD0 ? 0 : -1; }));
    require(size <= 512);
    const std::size_t room = reply.data.size() % 513;
    const auto identify = std::make_unique<unsigned char[]>(room);
    size = room;
    require(get_ata_identify_device_info(fd, identify.get(), size) == expected(room, 0, [] { return 0; }));
    require(size <= room);
}

// The raw attributes are read with one read of 4096 bytes.
void checkAttributes() {
    std::string raw(reply.data.begin(), reply.data.end());
    require(::ftruncate(Disk::rawAttribute(), 0) == 0);
    require(::pwrite(Disk::rawAttribute(), raw.data(), raw.size(), 0) == static_cast<ssize_t>(raw.size()));
    raw.resize(std::min<std::size_t>(raw.size(), 4096));

    const vokMallocPtr<char> serial(get_unit_sn_from_sysfs_vpd_pg80("0:0:0:0"));
    require((serial != nullptr) == (raw.size() >= 5 && byteAt(1) == 0x80));
    const auto length = static_cast<std::size_t>(byteAt(2) << 8 | byteAt(3));
    if (serial) require(std::string(serial.get()) == raw.substr(4, length).c_str());

    const vokMallocPtr<char> ofInquiry(get_unit_sn_from_sysfs_inquiry("0:0:0:0"));
    require((ofInquiry != nullptr) == (raw.size() >= 56 && byteAt(4) > 51));
    if (ofInquiry) require(std::string(ofInquiry.get()) == raw.substr(36, 20).c_str());

    const std::string durable = get_durableName_from_block_vpd_pg83("sda").text;
    require(durable.size() == (raw.size() > 4 && byteAt(1) == 0x83 ? 32 : 0));
    require(durable.find_first_not_of("0123456789ABCDEF") == std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool installed = (vokFuzzHost::install<Disk>(), true);
    require(installed);
    reply = replyOf(data, size);
    constexpr int fd = 3;
    checkNumbers(fd);
    checkTexts(fd);
    checkPages(fd);
    checkAttributes();
    return 0;
}
