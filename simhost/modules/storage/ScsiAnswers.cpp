#include "modules/storage/ScsiAnswers.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "modules/storage/AtaAnswers.h"
#include "modules/storage/DiskPages.h"
#include "modules/storage/ReplyBytes.h"
#include "modules/storage/SenseData.h"

namespace simhost {

namespace {

constexpr std::uint64_t blockSize = 512;
constexpr std::uint64_t most32 = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned sasProtocol = 6;  // protocol identifier
constexpr std::size_t serialSize = 20;

// Data for the command, cut to its allocation length; or why there is none.
struct Outcome {
    std::string data;
    std::optional<SenseCode> refusal;

    static Outcome refused(const SenseCode& code) { return {"", code}; }
    static Outcome cut(std::string data, std::uint64_t allocation) {
        if (data.size() > allocation) data.resize(static_cast<std::size_t>(allocation));
        return {std::move(data), std::nullopt};
    }
};

// --- INQUIRY ---

std::string pageOf(const Disk& disk, unsigned code, const std::string& content) {
    ReplyBytes head(4);
    head.put(0, disk.type).put(1, code).putBig(2, 2, content.size());
    return head.bytes() + content;
}

std::string listPage(const Disk& disk, PageKind kind) {
    std::string codes;
    for (const unsigned each : supportedPages(disk, kind)) codes += static_cast<char>(each);
    return codes;
}

// Protocol or code set, designator type with association, length.
std::string designator(unsigned first, unsigned second, const std::string& value) {
    ReplyBytes head(4);
    head.put(0, first).put(1, second).put(3, value.size());
    return head.bytes() + value;
}

std::string bigNumber(std::uint64_t value, std::size_t size) {
    return ReplyBytes(size).putBig(0, size, value).bytes();
}

// Nominal form factor: 3.5 inches for a disk that rotates, otherwise 2.5.
std::string characteristicsPage(const Disk& disk) {
    ReplyBytes page(60);
    page.putBig(0, 2, disk.rotation).put(3, isSolidState(disk) ? 3 : 2);
    return pageOf(disk, 0xB1, page.bytes());
}

std::string vitalPage(const Disk& disk, unsigned code) {
    switch (code) {
        case 0x00:
            return pageOf(disk, code, listPage(disk, PageKind::vpd));
        case 0x80:
            return serialNumberPage(disk);
        case 0x83:
            return identificationPage(disk);
        default:
            return characteristicsPage(disk);
    }
}

Outcome inquiry(const Disk& disk, const std::string& command) {
    const bool vital = (byteAt(command, 1) & 1) != 0;
    const unsigned page = byteAt(command, 2);
    const std::uint64_t allocation = bigAt(command, 3, 2);
    if (!vital) {
        if (page != 0) return Outcome::refused(invalidField);
        return Outcome::cut(standardInquiry(disk), allocation);
    }
    if (!supports(disk, PageKind::vpd, page)) return Outcome::refused(invalidField);
    return Outcome::cut(vitalPage(disk, page), allocation);
}

// --- MODE SENSE ---

constexpr unsigned allPages = 0x3F;
constexpr unsigned allSubpages = 0xFF;

std::string modePage(const Disk& disk, unsigned code) {
    switch (code) {
        case 0x04: {  // rigid disk geometry
            ReplyBytes page(24);
            page.put(0, code).put(1, 22).putBig(2, 3, disk.blocks / 16065).put(5, 16);
            return page.putBig(20, 2, disk.rotation).bytes();
        }
        case 0x19: {  // protocol specific port; both time-outs in milliseconds
            ReplyBytes page(8);
            return page.put(0, code)
                .put(1, 6)
                .put(2, sasProtocol)
                .putBig(4, 2, 2000)
                .putBig(6, 2, 2000)
                .bytes();
        }
        default: {  // informational exceptions control: warnings on, reported only on request
            ReplyBytes page(12);
            return page.put(0, code).put(1, 10).put(2, 0x10).put(3, 6).bytes();
        }
    }
}

// Of the changeable values: nothing can be changed.
std::string unchangeable(std::string page) {
    std::fill(page.begin() + 2, page.end(), '\0');
    return page;
}

std::string blockDescriptor(const Disk& disk) {
    return ReplyBytes(8).putBig(0, 4, std::min(disk.blocks, most32)).putBig(5, 3, blockSize).bytes();
}

Outcome modeSense(const Disk& disk, const std::string& command) {
    const bool ten = byteAt(command, 0) == 0x5A;
    const bool withoutBlocks = (byteAt(command, 1) & 8) != 0;
    const unsigned control = byteAt(command, 2) >> 6;
    const unsigned wanted = byteAt(command, 2) & 0x3F;
    const unsigned subpage = byteAt(command, 3);
    const std::uint64_t allocation = ten ? bigAt(command, 7, 2) : byteAt(command, 4);
    if (subpage != 0 && !(subpage == allSubpages && wanted == allPages))
        return Outcome::refused(invalidField);
    if (wanted != allPages && !supports(disk, PageKind::mode, wanted)) return Outcome::refused(invalidField);
    if (control == 3) return Outcome::refused(savingNotSupported);
    std::string content = withoutBlocks ? "" : blockDescriptor(disk);
    const std::size_t descriptors = content.size();
    for (const unsigned each : supportedPages(disk, PageKind::mode)) {
        if (wanted != allPages && each != wanted) continue;
        content += control == 1 ? unchangeable(modePage(disk, each)) : modePage(disk, each);
    }
    // The length does not count itself.
    ReplyBytes head(ten ? 8 : 4);
    constexpr unsigned forcedAccess = 0x10;  // DPOFUA
    if (ten)
        head.putBig(0, 2, content.size() + 6).put(3, forcedAccess).putBig(6, 2, descriptors);
    else
        head.put(0, content.size() + 3).put(2, forcedAccess).put(3, descriptors);
    return Outcome::cut(head.bytes() + content, allocation);
}

// --- LOG SENSE ---

std::string logParameter(unsigned code, const std::string& value) {
    constexpr unsigned binaryList = 3;  // format and linking
    return ReplyBytes(4).putBig(0, 2, code).put(2, binaryList).put(3, value.size()).bytes() + value;
}

struct LogParameter {
    unsigned code;
    std::string value;
};

std::vector<LogParameter> logParameters(const Disk& disk, unsigned page) {
    switch (page) {
        case 0x0D: {  // temperature
            std::vector<LogParameter> made{{0, bigNumber(disk.temperature, 2)}};
            if (disk.maxTemperature > 0) made.push_back({1, bigNumber(disk.maxTemperature, 2)});
            return made;
        }
        case 0x11:  // solid state media
            return {{1, bigNumber(disk.wear, 4)}};
        case 0x15:  // background scan: minutes with power, status, how many scans
            return {{0, bigNumber(std::uint64_t{disk.powerOnHours} * 60, 4) + std::string(8, '\0')}};
        default: {  // informational exceptions
            std::string value = bigNumber(disk.additionalSense, 2);
            value += static_cast<char>(disk.temperature);
            return {{0, value + '\0'}};
        }
    }
}

Outcome logSense(const Disk& disk, const std::string& command) {
    constexpr unsigned savesParameters = 1, onlyChanged = 2;
    const unsigned page = byteAt(command, 2) & 0x3F;
    const std::uint64_t pointer = bigAt(command, 5, 2);
    if ((byteAt(command, 1) & (savesParameters | onlyChanged)) != 0 || byteAt(command, 3) != 0 ||
        !supports(disk, PageKind::log, page))
        return Outcome::refused(invalidField);
    std::string content;
    if (page == 0) {
        content = listPage(disk, PageKind::log);
    } else {
        for (const LogParameter& each : logParameters(disk, page))
            if (each.code >= pointer) content += logParameter(each.code, each.value);
        if (content.empty()) return Outcome::refused(invalidField);
    }
    const std::string head = ReplyBytes(4).put(0, page).putBig(2, 2, content.size()).bytes();
    return Outcome::cut(head + content, bigAt(command, 7, 2));
}

// --- READ CAPACITY, READ DEFECT DATA ---

Outcome readCapacity10(const Disk& disk, const std::string& /*command*/) {
    ReplyBytes data(8);
    data.putBig(0, 4, std::min(disk.blocks - 1, most32)).putBig(4, 4, blockSize);
    return {data.bytes(), std::nullopt};
}

Outcome readCapacity16(const Disk& disk, const std::string& command) {
    constexpr unsigned serviceAction = 0x10;
    if ((byteAt(command, 1) & 0x1F) != serviceAction) return Outcome::refused(invalidField);
    ReplyBytes data(32);
    data.putBig(0, 8, disk.blocks - 1).putBig(8, 4, blockSize).put(13, 3);  // 4096 bytes in a physical block
    return Outcome::cut(data.bytes(), bigAt(command, 10, 4));
}

// A grown defect; the places are made up.
std::string defect(unsigned format, unsigned index) {
    if (format == 0) return bigNumber(std::uint64_t{index} * 4096, 4);
    if (format == 3) return bigNumber(std::uint64_t{index} * 4096, 8);
    return ReplyBytes(8).putBig(0, 3, index * 7).put(3, index & 7).putBig(4, 4, index * 61).bytes();
}

// The lists that are asked for, in the formats of blocks (0, 3) and of places (4, 5). There is no primary
// list.
Outcome readDefectData(const Disk& disk, const std::string& command) {
    const bool ten = byteAt(command, 0) == 0x37;
    const unsigned wanted = byteAt(command, ten ? 2 : 1) & 0x1F;
    const unsigned format = wanted & 7;
    constexpr unsigned grown = 0x08;
    if (isSata(disk)) return Outcome::refused(invalidCommand);
    if (format != 0 && format != 3 && format != 4 && format != 5) return Outcome::refused(invalidField);
    std::string list;
    if ((wanted & grown) != 0)
        for (unsigned i = 0; i < disk.defects; ++i) list += defect(format, i + 1);
    ReplyBytes head(ten ? 4 : 8);
    head.put(1, wanted);
    if (ten)
        head.putBig(2, 2, std::min<std::size_t>(list.size(), 0xFFFF));
    else
        head.putBig(4, 4, list.size());
    return Outcome::cut(head.bytes() + list, ten ? bigAt(command, 7, 2) : bigAt(command, 6, 4));
}

Outcome testUnitReady(const Disk& /*disk*/, const std::string& /*command*/) {
    return {};
}

struct Operation {
    unsigned code;
    std::size_t size;  // of the command
    Outcome (*answer)(const Disk& disk, const std::string& command);
};
constexpr Operation operations[] = {
    {0x00, 6, testUnitReady},   {0x12, 6, inquiry},         {0x1A, 6, modeSense},
    {0x5A, 10, modeSense},      {0x4D, 10, logSense},       {0x25, 10, readCapacity10},
    {0x9E, 16, readCapacity16}, {0x37, 10, readDefectData}, {0xB7, 12, readDefectData},
};

}  // namespace

std::string standardInquiry(const Disk& disk) {
    ReplyBytes data(96);
    constexpr unsigned spc4 = 6, responseFormat = 2, hierarchical = 0x10, queueing = 2;
    data.put(0, disk.type).put(2, spc4).put(3, responseFormat | hierarchical).put(4, 91).put(7, queueing);
    data.putText(8, 8, disk.vendor).putText(16, 16, disk.model);
    // SAT-4: of the eight characters of a SATA disk the last four, unless they are blanks.
    const bool longer = disk.revision.size() > 4;
    data.putText(32, 4, longer ? disk.revision.substr(4) : disk.revision);
    if (isSata(disk)) return data.bytes();
    for (std::size_t i = 0; i < std::min(disk.inquirySerial.size(), serialSize); ++i)
        data.put(36 + i, static_cast<unsigned char>(disk.inquirySerial[i]));
    return data.bytes();
}

// Right-aligned by SPC-5; of a SATA disk as its IDENTIFY DEVICE data has it.
std::string serialNumberPage(const Disk& disk) {
    const std::string blanks(serialSize - std::min(serialSize, disk.serial.size()), ' ');
    return pageOf(disk, 0x80, isSata(disk) ? disk.serial + blanks : blanks + disk.serial);
}

std::string identificationPage(const Disk& disk) {
    constexpr unsigned binary = 1, ascii = 2;
    constexpr unsigned vendorSpecific = 0, t10Vendor = 1, naa = 3, relativePort = 4;
    constexpr unsigned ofPort = 0x90;  // association, and that the protocol is told
    if (isSata(disk)) {
        ReplyBytes serial(serialSize), longer(68);
        serial.putText(0, serialSize, disk.serial);
        longer.putText(0, 8, disk.vendor).putText(8, 40, disk.model).putText(48, serialSize, disk.serial);
        return pageOf(disk, 0x83,
                      designator(ascii, vendorSpecific, serial.bytes()) +
                          designator(ascii, t10Vendor, longer.bytes()) +
                          designator(binary, naa, bigNumber(disk.worldWideName, 8)));
    }
    return pageOf(
        disk, 0x83,
        designator(binary, naa, bigNumber(disk.worldWideName, 8)) +
            designator(sasProtocol << 4 | binary, ofPort | naa, bigNumber(disk.worldWideName + 1, 8)) +
            designator(sasProtocol << 4 | binary, ofPort | relativePort, bigNumber(1, 4)));
}

ScsiReply answerScsi(const Disk& disk, const ScsiRequest& request) {
    const unsigned code = byteAt(request.command, 0);
    if (isSata(disk) && isAtaPassThrough(request.command)) return answerAta(disk, request);
    const auto isIt = [&](const Operation& each) {
        return each.code == code && request.command.size() >= each.size;
    };
    const Operation* const found = std::find_if(std::begin(operations), std::end(operations), isIt);
    const Outcome outcome = found == std::end(operations) ? Outcome::refused(invalidCommand)
                                                          : found->answer(disk, request.command);
    if (outcome.refusal) return ScsiReply::check(request, senseData(disk.sense, *outcome.refusal));
    return ScsiReply::good(request, outcome.data);
}

}  // namespace simhost
