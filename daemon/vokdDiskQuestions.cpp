#include "daemon/vokdDiskQuestions.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include "daemon/vokdScsiWords.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "storage/scsi/scsi_info.h"

namespace {

using Replies = vokdDiskReplies;
using Reply = vokdDiskReplies::Reply;
using Answer = vokdDiskAnswer;

constexpr std::size_t ataBlock = 512;

// --- answers ---

Answer noAnswer(const vokScsiOutcome& outcome, int code) {
    return {false, vokdNoAnswerText(outcome, code)};
}

Answer noAnswer(const Reply& reply) {
    return noAnswer(reply.outcome, reply.code);
}

Answer noValue() {
    return noAnswer({}, VOK_SCSI_WRONG_REPLY);
}

Answer notThere() {
    return {false, "not there"};
}

// The result of a function that is a VOK_SCSI_RESULT on failure. A command that succeeded may return a
// negative number too.
template <typename Show>
Answer answerOf(int result, Show&& show, bool isSigned = false) {
    const vokScsiOutcome& outcome = vokLastScsiOutcome();
    if (outcome.code < 0 || (result < 0 && !isSigned)) return noAnswer(outcome, result);
    return {true, show(result)};
}

Answer taken(char* text) {
    const vokMallocPtr<char> owned(text);
    if (!owned) return noAnswer(vokLastScsiOutcome(), VOK_SCSI_WRONG_REPLY);
    return {true, vokdPrintable(owned.get())};
}

Answer attribute(char* text) {
    const vokMallocPtr<char> owned(text);
    return owned ? Answer{true, vokdPrintable(owned.get())} : notThere();
}

std::string yesOrNo(int value) {
    return value != 0 ? "yes" : "no";
}

std::string degrees(int value) {
    return vokdFormatted("%d degrees Celsius", value);
}

std::string percent(int value) {
    return vokdFormatted("%d %%", value);
}

std::string hours(int value) {
    return vokdFormatted("%d h", value);
}

std::string hexadecimal(const std::vector<unsigned char>& bytes, std::size_t most) {
    std::string text = vokdFormatted("%zu bytes:", bytes.size());
    for (std::size_t i = 0; i < bytes.size() && i < most; ++i) text += vokdFormatted(" %02X", bytes[i]);
    return text + (bytes.size() > most ? " ..." : "");
}

Answer blocks(unsigned long long count) {
    // Both are what a reader of sysfs returns without the file.
    if (count == 0 || count == ULLONG_MAX) return notThere();
    return {true,
            vokdFormatted("%llu blocks of 512 bytes (%.3f GB)", count, static_cast<double>(count) * 512e-9)};
}

// --- sysfs ---

Answer typeInSysfs(Replies& disk) {
    const unsigned type = get_DiskType(disk.entry());
    return type == UINT_MAX ? notThere() : Answer{true, vokdPeripheralTypeText(type)};
}

Answer isDirectAccess(Replies& disk) {
    return {true, yesOrNo(is_direct_access_block_device(disk.entry()))};
}

Answer sizeByPath(Replies& disk) {
    if (disk.disk().block.empty()) return notThere();
    // The path below /sys/devices, to which the link of the class leads.
    const std::string devices = "/sys/devices";
    const vokMallocPtr<char> root(::realpath(vokHostAccess().path(devices).c_str(), nullptr));
    const vokMallocPtr<char> path(
        ::realpath(vokHostAccess().path("/sys/block/" + disk.disk().block).c_str(), nullptr));
    if (!root || !path) return notThere();
    const std::string start = std::string(root.get()) + "/";
    const std::string resolved = path.get();
    if (resolved.compare(0, start.size(), start) != 0) return notThere();
    return blocks(get_PciBlockSize(resolved.c_str() + start.size()));
}

Answer durableName(Replies& disk) {
    if (disk.disk().block.empty()) return notThere();
    const vokDurableName name = get_durableName_from_block_vpd_pg83(disk.disk().block.c_str());
    return name.text[0] == '\0' ? notThere() : Answer{true, name.text};
}

constexpr vokdDiskQuestion sysfsQuestions[] = {
    {"Device type", "type", typeInSysfs},
    {"Direct-access block device", "type", isDirectAccess},
    {"Vendor", "vendor", [](Replies& disk) { return attribute(get_DiskVendor(disk.entry())); }},
    {"Model", "model", [](Replies& disk) { return attribute(get_DiskModel(disk.entry())); }},
    {"Revision", "rev", [](Replies& disk) { return attribute(get_sas_DiskRev(disk.entry())); }},
    {"State", "state", [](Replies& disk) { return attribute(get_DiskState(disk.entry())); }},
    {"SCSI generic node", "scsi_generic",
     [](Replies& disk) { return attribute(get_ScsiGeneric(disk.entry())); }},
    {"Serial number", "vpd_pg80",
     [](Replies& disk) { return attribute(get_unit_sn_from_sysfs_vpd_pg80(disk.entry())); }},
    {"Serial number", "inquiry",
     [](Replies& disk) { return attribute(get_unit_sn_from_sysfs_inquiry(disk.entry())); }},
    {"Durable name", "vpd_pg83", durableName},
    {"Size", "block/*/size", [](Replies& disk) { return blocks(get_BlockSize(disk.entry())); }},
    {"Size, by the path of the device", "/sys/devices", sizeByPath},
};

// --- SCSI ---

// A field of the standard inquiry data.
template <char* (*parse)(const unsigned char*)>
Answer inquired(Replies& disk) {
    const Reply& reply = disk.inquiry();
    return reply.bytes.empty() ? noAnswer(reply) : taken(parse(reply.bytes.data()));
}

Answer inquiredType(Replies& disk) {
    const Reply& reply = disk.inquiry();
    if (reply.bytes.empty()) return noAnswer(reply);
    return {true, vokdPeripheralTypeText(static_cast<unsigned>(inq_parse_type(reply.bytes.data())))};
}

std::string rotation(int rate) {
    return rate == 0   ? "0: not reported"
           : rate == 1 ? "1: no rotation, solid state"
                       : vokdFormatted("%d per minute", rate);
}

std::string protocol(int number) {
    return vokdFormatted("%d: %s", number, SCSI_Protocol_Identifiers[number & 15]);
}

Answer lastBlock(Replies& disk) {
    const unsigned long long address = get_disk_capacity(disk.fd());
    return answerOf(0, [address](int) { return vokdFormatted("block %llu", address); });
}

template <int format>
Answer defects(Replies& disk) {
    return answerOf(get_defect_data_size(disk.fd(), format), [](int count) { return std::to_string(count); });
}

// A temperature of log page 0Dh; 0 stands for a parameter that is not there.
template <int (*parse)(const unsigned char*)>
Answer temperatureOf0D(Replies& disk) {
    const Reply& reply = disk.temperature();
    if (reply.bytes.empty()) return noAnswer(reply);
    const int value = parse(reply.bytes.data());
    return value == 0 ? noValue() : Answer{true, degrees(value)};
}

Answer wornSas(Replies& disk) {
    constexpr int anotherPage = 255;
    const int worn = get_sas_ssd_wear(disk.fd());
    return worn == anotherPage ? noValue() : answerOf(worn, percent);
}

std::string exceptions(int codes) {
    return codes == 0 ? "0000h: none"
                      : vokdFormatted("%04Xh: ASC %02Xh, ASCQ %02Xh", codes, codes >> 8, codes & 255);
}

constexpr vokdDiskQuestion scsiQuestions[] = {
    {"Device type", "INQUIRY", inquiredType},
    {"Vendor", "INQUIRY", inquired<inq_parse_vendor>},
    {"Product", "INQUIRY", inquired<inq_parse_prodID>},
    {"Revision", "INQUIRY", inquired<inq_parse_rev>},
    {"Serial number", "INQUIRY",
     [](Replies& disk) { return taken(get_unit_sn_from_device_inquiry(disk.fd())); }},
    {"Serial number", "VPD page 80h",
     [](Replies& disk) { return taken(get_unit_sn_from_device_vpd_pg80(disk.fd())); }},
    {"Solid state", "VPD page B1h", [](Replies& disk) { return answerOf(is_unit_ssd(disk.fd()), yesOrNo); }},
    {"Rotation rate", "VPD page B1h",
     [](Replies& disk) { return answerOf(get_scsi_disk_medium_rotation_rate(disk.fd()), rotation); }},
    {"Rotation rate, bytes exchanged", "mode page 04h",
     [](Replies& disk) {
         return answerOf(get_unit_speed(disk.fd()), [](int value) { return vokdFormatted("%04Xh", value); });
     }},
    {"Transport protocol", "mode page 19h",
     [](Replies& disk) { return answerOf(get_scsi_transport_protocol(disk.fd()), protocol); }},
    {"Byte 11h in the page", "mode page 1Ch",
     [](Replies& disk) { return answerOf(is_unit_smart(disk.fd()), yesOrNo); }},
    {"Last block address", "READ CAPACITY", lastBlock},
    {"Grown defects, short block", "READ DEFECT DATA 0", defects<0>},
    {"Grown defects, from index", "READ DEFECT DATA 4", defects<4>},
    {"Grown defects, sector", "READ DEFECT DATA 5", defects<5>},
    {"Grown defects, vendor's format", "READ DEFECT DATA 6", defects<6>},
    {"Temperature", "log page 0Dh", temperatureOf0D<sas_parse_current>},
    {"Reference temperature", "log page 0Dh", temperatureOf0D<sas_parse_mcot>},
    {"Worn", "log page 11h", wornSas},
    {"Time with power", "log page 15h",
     [](Replies& disk) { return answerOf(get_sas_pwron(disk.fd()), hours); }},
    {"Informational exception", "log page 2Fh",
     [](Replies& disk) { return answerOf(get_sas_health(disk.fd()), exceptions); }},
    {"Most recent temperature", "log page 2Fh",
     [](Replies& disk) { return answerOf(get_unit_temp(disk.fd()), degrees); }},
};

// --- ATA ---

// Words of IDENTIFY DEVICE as text; each has its first character in the upper byte (ACS-4).
template <std::size_t first, std::size_t last>
Answer identified(Replies& disk) {
    const Reply& reply = disk.identify();
    if (reply.bytes.empty()) return noAnswer(reply);
    if (reply.bytes.size() < 2 * (last + 1)) return noValue();
    std::string text;
    for (std::size_t word = first; word <= last; ++word) {
        text += static_cast<char>(reply.bytes[2 * word + 1]);
        text += static_cast<char>(reply.bytes[2 * word]);
    }
    return {true, vokdPrintable(text)};
}

Answer identifiedRotation(Replies& disk) {
    constexpr std::size_t at = std::size_t{2} * 217;
    const Reply& reply = disk.identify();
    if (reply.bytes.empty()) return noAnswer(reply);
    if (reply.bytes.size() < at + 2) return noValue();
    return {true, rotation(reply.bytes[at] | reply.bytes[at + 1] << 8)};
}

// A page that the disk does not have is all zeros.
bool isSupported(const Reply& reply) {
    return reply.bytes.size() > 1 && (reply.bytes[0] | reply.bytes[1]) != 0;
}

template <int page>
Answer statisticsPage(Replies& disk) {
    const Reply& reply = disk.statistics(page);
    if (reply.bytes.empty()) return noAnswer(reply);
    if (!isSupported(reply)) return {false, "the disk does not have the page"};
    return {true, hexadecimal(reply.bytes, 16)};
}

template <bool (*parse)(const char*, std::size_t, int&)>
Answer temperatureOfStatistics(Replies& disk) {
    const Reply& reply = disk.statistics(5);
    if (reply.bytes.empty()) return noAnswer(reply);
    int value = 0;
    if (!parse(reinterpret_cast<const char*>(reply.bytes.data()), reply.bytes.size(), value))
        return noValue();
    return {true, degrees(value)};
}

Answer wornAta(Replies& disk) {
    return answerOf(get_sata_ssd_wear(disk.fd()), percent, true);
}

Answer hoursAta(Replies& disk) {
    int value = -1;
    const int result = get_sata_pwron(disk.fd(), value);
    if (result == 0 && value == -1) return noValue();
    return answerOf(result, [value](int) { return hours(value); });
}

Answer logD0(Replies& disk) {
    std::vector<unsigned char> bytes(ataBlock);
    std::size_t size = 0;
    const int result = get_sata_log_vpd_pgD0(disk.fd(), bytes.data(), size);
    bytes.resize(size);
    return answerOf(result, [&bytes](int) { return hexadecimal(bytes, 16); });
}

Answer sctStatus(Replies& disk) {
    const vokMallocPtr<unsigned char> page(get_sata_sct_stat(disk.fd()));
    if (!page) return noAnswer(vokLastScsiOutcome(), VOK_SCSI_WRONG_REPLY);
    return {true, hexadecimal({page.get(), page.get() + ataBlock}, 16)};
}

constexpr vokdDiskQuestion ataQuestions[] = {
    {"Model", "IDENTIFY DEVICE", identified<27, 46>},
    {"Serial number", "IDENTIFY DEVICE", identified<10, 19>},
    {"Firmware revision", "IDENTIFY DEVICE",
     [](Replies& disk) { return taken(get_sata_DiskRev(disk.fd())); }},
    {"Rotation rate", "IDENTIFY DEVICE", identifiedRotation},
    {"List of pages", "log 04h, page 0", statisticsPage<0>},
    {"General statistics", "log 04h, page 1", statisticsPage<1>},
    {"Time with power", "log 04h, page 1", hoursAta},
    {"Temperature", "log 04h, page 5", temperatureOfStatistics<sata_parse_current>},
    {"Maximum operating temperature", "log 04h, page 5", temperatureOfStatistics<sata_parse_mcot>},
    {"Solid-state statistics", "log 04h, page 7", statisticsPage<7>},
    {"Worn", "log 04h, page 7", wornAta},
    {"Index of the error log", "log 03h",
     [](Replies& disk) {
         return answerOf(get_sata_health(disk.fd()), [](int index) { return std::to_string(index); });
     }},
    {"Vendor's log", "log D0h", logD0},
    {"SCT status", "SMART log E0h", sctStatus},
};

// --- replies ---

// `size` bytes that the function returned in `bytes`.
template <typename Byte>
Reply received(int code, const Byte* bytes, std::size_t size) {
    Reply reply;
    reply.code = code;
    reply.outcome = vokLastScsiOutcome();
    if (bytes && code == 0 && reply.outcome.code == 0) reply.bytes.assign(bytes, bytes + size);
    return reply;
}

Reply askInquiry(int fd, int) {
    const vokMallocPtr<unsigned char> page(get_identify_info(fd));
    // At least the fixed part is there, whatever the additional length in byte 4 says.
    constexpr std::size_t fixedPart = 36;
    const std::size_t size = page ? std::max<std::size_t>(fixedPart, page.get()[4] + 4u) : 0;
    return received(page ? 0 : VOK_SCSI_WRONG_REPLY, page.get(), size);
}

Reply askTemperature(int fd, int) {
    constexpr std::size_t least = 16;
    const vokMallocPtr<unsigned char> page(get_sas_temp(fd));
    return received(page ? 0 : VOK_SCSI_WRONG_REPLY, page.get(), least);
}

Reply askIdentify(int fd, int) {
    unsigned char page[ataBlock];
    std::size_t size = sizeof(page);
    const int code = get_ata_identify_device_info(fd, page, size);
    return received(code == 0 && size == 0 ? VOK_SCSI_WRONG_REPLY : code, page, size);
}

Reply askStatistics(int fd, int page) {
    char* bytes = nullptr;
    std::size_t size = 0;
    const int code = page == 1   ? get_sata_statlog(fd, bytes, size)
                     : page == 5 ? get_sata_temp(fd, bytes, size)
                     : page == 7 ? get_sata_ssdlog(fd, bytes, size)
                                 : get_sata_log(fd, page, bytes, size);
    const vokMallocPtr<char> owned(bytes);
    return received(code, reinterpret_cast<const unsigned char*>(bytes), size);
}

// Keys of the replies; the pages of the statistics have their own numbers.
enum Kept { keptInquiry = 0x100, keptTemperature, keptIdentify };

}  // namespace

const vokdDiskQuestions vokdAllDiskQuestions[3] = {
    {"SYSFS", true, sysfsQuestions, std::size(sysfsQuestions)},
    {"SCSI", false, scsiQuestions, std::size(scsiQuestions)},
    {"ATA", false, ataQuestions, std::size(ataQuestions)},
};

const Reply& vokdDiskReplies::kept(int key, Ask ask, int page) {
    const auto found = replies_.find(key);
    return found != replies_.end() ? found->second : replies_[key] = ask(fd(), page);
}

const Reply& vokdDiskReplies::inquiry() {
    return kept(keptInquiry, askInquiry);
}

const Reply& vokdDiskReplies::temperature() {
    return kept(keptTemperature, askTemperature);
}

const Reply& vokdDiskReplies::identify() {
    return kept(keptIdentify, askIdentify);
}

const Reply& vokdDiskReplies::statistics(int page) {
    return kept(page, askStatistics, page);
}
