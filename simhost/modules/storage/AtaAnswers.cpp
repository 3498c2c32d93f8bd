#include "modules/storage/AtaAnswers.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "modules/storage/DiskPages.h"
#include "modules/storage/ReplyBytes.h"
#include "modules/storage/SenseData.h"

namespace simhost {

namespace {

constexpr std::size_t blockSize = 512;

enum Protocol : unsigned { pioDataIn = 4, dma = 6 };
enum Command : unsigned { readLogExt = 0x2F, readLogDmaExt = 0x47, smart = 0xB0, identifyDevice = 0xEC };
constexpr unsigned smartReadLog = 0xD5;
constexpr unsigned smartSignature = 0xC24F;  // in the upper and the middle byte of the address

// An ATA command as the two forms of ATA PASS-THROUGH carry it.
struct AtaCommand {
    unsigned protocol = 0;
    unsigned transferFrom = 0;  // T_LENGTH: 0 none, 1 features, 2 count
    bool inBlocks = false;
    bool fromDevice = false;
    unsigned features = 0;
    std::uint64_t count = 0;
    std::uint64_t address = 0;
    unsigned command = 0;

    std::size_t transfer() const {
        const std::uint64_t units = transferFrom == 1 ? features : transferFrom == 2 ? count : 0;
        return static_cast<std::size_t>(units) * (inBlocks ? blockSize : 1);
    }
};

AtaCommand commandOf(const std::string& bytes) {
    const bool sixteen = byteAt(bytes, 0) == 0x85;
    const bool extended = sixteen && (byteAt(bytes, 1) & 1) != 0;
    AtaCommand made;
    made.protocol = byteAt(bytes, 1) >> 1 & 0xF;
    made.transferFrom = byteAt(bytes, 2) & 3;
    made.inBlocks = (byteAt(bytes, 2) & 4) != 0;
    made.fromDevice = (byteAt(bytes, 2) & 8) != 0;
    if (!sixteen) {
        made.features = byteAt(bytes, 3);
        made.count = byteAt(bytes, 4);
        for (std::size_t i = 0; i < 3; ++i) made.address |= std::uint64_t{byteAt(bytes, 5 + i)} << (8 * i);
        made.command = byteAt(bytes, 9);
        return made;
    }
    made.features = byteAt(bytes, 4);
    made.count = byteAt(bytes, 6);
    // The upper half of each register pair counts in a 48-bit command alone.
    for (std::size_t i = 0; i < 3; ++i) {
        made.address |= std::uint64_t{byteAt(bytes, 8 + 2 * i)} << (8 * i);
        if (extended) made.address |= std::uint64_t{byteAt(bytes, 7 + 2 * i)} << (24 + 8 * i);
    }
    if (extended) {
        made.features |= byteAt(bytes, 3) << 8;
        made.count |= std::uint64_t{byteAt(bytes, 5)} << 8;
    }
    made.command = byteAt(bytes, 14);
    return made;
}

// The two's complement of the sum of all bytes before it as the last byte.
std::string withChecksum(std::string block) {
    const unsigned sum = std::accumulate(block.begin(), block.end() - 1, 0u, [](unsigned soFar, char byte) {
        return soFar + static_cast<unsigned char>(byte);
    });
    block.back() = static_cast<char>(static_cast<unsigned char>(0x100 - (sum & 0xFF)));
    return block;
}

// --- logs ---

constexpr unsigned errorLogPages = 64;
constexpr unsigned errorsInPage = 4;
constexpr unsigned statisticsPages = 8;
constexpr unsigned mostPages = 256;  // of a log whose pages beyond its end are read as zeros

unsigned pagesOf(unsigned log) {
    return log == 0x03 ? errorLogPages : log == 0x04 ? statisticsPages : 1;
}

std::string logDirectory(const Disk& disk, PageKind kind) {
    ReplyBytes page(blockSize);
    page.putLittle(0, 2, 1);
    for (const unsigned log : supportedPages(disk, kind))
        if (log != 0) page.putLittle(2 * std::size_t{log}, 2, pagesOf(log));
    return page.bytes();
}

// Extended Comprehensive SMART Error log: which of its entries is the last one, and how many there were.
std::string errorLogPage(const Disk& disk, unsigned number) {
    ReplyBytes page(blockSize);
    if (number == 0) {
        constexpr unsigned entries = errorLogPages * errorsInPage;
        page.put(0, 1).putLittle(2, 2, disk.errors == 0 ? 0 : (disk.errors - 1) % entries + 1);
        page.putLittle(500, 2, disk.errors);
    }
    return withChecksum(page.bytes());
}

constexpr unsigned generalStatistics = 1;
constexpr unsigned temperatureStatistics = 5;
constexpr unsigned solidStateStatistics = 7;

std::vector<unsigned> statisticsOf(const Disk& disk) {
    std::vector<unsigned> found{0};
    for (const unsigned page : {generalStatistics, temperatureStatistics, solidStateStatistics})
        if ((page != solidStateStatistics || isSolidState(disk)) && has(disk, ataLogPageName(0x04, page)))
            found.push_back(page);
    return found;
}

// The value with its flags "supported" and "valid".
void putStatistic(ReplyBytes& page, std::size_t at, std::uint64_t value) {
    page.putLittle(at, 7, value).put(at + 7, 0xC0);
}

// Device Statistics log. A page that it does not have holds zeros alone.
std::string statisticsPage(const Disk& disk, unsigned number) {
    ReplyBytes page(blockSize);
    const std::vector<unsigned> known = statisticsOf(disk);
    if (std::find(known.begin(), known.end(), number) == known.end()) return page.bytes();
    page.putLittle(0, 2, 1).put(2, number);
    switch (number) {
        case 0:
            page.put(8, known.size());
            for (std::size_t i = 0; i < known.size(); ++i) page.put(9 + i, known[i]);
            break;
        case generalStatistics:
            putStatistic(page, 8, 17);  // power-on resets
            putStatistic(page, 16, disk.powerOnHours);
            break;
        case temperatureStatistics:
            for (const std::size_t at : {8, 16, 24, 32, 40}) putStatistic(page, at, disk.temperature);
            if (disk.maxTemperature > 0) putStatistic(page, 88, disk.maxTemperature);
            putStatistic(page, 104, 0);  // the specified minimum
            break;
        default:
            putStatistic(page, 8, disk.wear);
    }
    return page.bytes();
}

std::string vendorLog(const Disk& disk) {
    return ReplyBytes(blockSize).put(0, 0xD0).putText(24, 4, disk.logD0).bytes();
}

std::string logPage(const Disk& disk, unsigned log, unsigned number) {
    switch (log) {
        case 0x00:
            return logDirectory(disk, PageKind::ata);
        case 0x03:
            return errorLogPage(disk, number);
        case 0x04:
            return statisticsPage(disk, number);
        default:
            return vendorLog(disk);
    }
}

// Bits 0 to 7 of the address are the log's, bits 8 to 15 and 32 to 39 the page's. Nothing: the device aborts
// the command.
std::optional<std::string> readLog(const Disk& disk, const AtaCommand& command) {
    const auto log = static_cast<unsigned>(command.address & 0xFF);
    const auto first =
        static_cast<unsigned>((command.address >> 8 & 0xFF) | (command.address >> 32 & 0xFF) << 8);
    if (!supports(disk, PageKind::ata, log) || command.count == 0) return std::nullopt;
    if (first + command.count > (log == 0x04 ? mostPages : pagesOf(log))) return std::nullopt;
    std::string pages;
    for (unsigned page = first; page < first + command.count; ++page) {
        if (!has(disk, ataLogPageName(log, page))) return std::nullopt;
        pages += logPage(disk, log, page);
    }
    return pages;
}

// SCT status: format 3, the device is ready, and its temperatures.
std::string sctStatus(const Disk& disk) {
    ReplyBytes page(blockSize);
    page.putLittle(0, 2, 3).putLittle(2, 2, 0x0100).putLittle(4, 2, 1).put(200, disk.temperature);
    return page.put(201, disk.temperature).put(202, disk.temperature).put(204, disk.temperature).bytes();
}

std::optional<std::string> readSmartLog(const Disk& disk, const AtaCommand& command) {
    const auto log = static_cast<unsigned>(command.address & 0xFF);
    if (command.features != smartReadLog || (command.address >> 8 & 0xFFFF) != smartSignature ||
        !supports(disk, PageKind::smart, log) || command.count != 1)
        return std::nullopt;
    return log == 0 ? logDirectory(disk, PageKind::smart) : sctStatus(disk);
}

std::optional<std::string> run(const Disk& disk, const AtaCommand& command) {
    switch (command.command) {
        case identifyDevice:
            if (!has(disk, identifyName)) return std::nullopt;
            return identifyData(disk);
        case readLogExt:
        case readLogDmaExt:
            return readLog(disk, command);
        case smart:
            return readSmartLog(disk, command);
        default:
            return std::nullopt;
    }
}

// The characters of each word are exchanged.
void putAtaText(ReplyBytes& data, unsigned word, unsigned words, const std::string& text) {
    for (std::size_t i = 0; i < 2 * std::size_t{words}; ++i)
        data.put(2 * std::size_t{word} + (i ^ 1),
                 static_cast<unsigned char>(i < text.size() ? text[i] : ' '));
}

}  // namespace

bool isAtaPassThrough(const std::string& command) {
    return (byteAt(command, 0) == 0x85 && command.size() >= 16) ||
           (byteAt(command, 0) == 0xA1 && command.size() >= 12);
}

std::string identifyData(const Disk& disk) {
    ReplyBytes data(blockSize);
    const auto word = [&data](std::size_t at, std::uint64_t value) { data.putLittle(2 * at, 2, value); };
    word(0, 0x0040);
    putAtaText(data, 10, 10, disk.serial);
    putAtaText(data, 23, 4, disk.revision);
    putAtaText(data, 27, 20, disk.model);
    word(47, 0x8010);
    word(49, 0x0F00);  // LBA and DMA
    word(50, 0x4000);
    word(53, 0x0006);
    data.putLittle(120, 4, std::min<std::uint64_t>(disk.blocks, 0x0FFFFFFF));
    word(63, 0x0007);
    word(64, 0x0003);
    word(75, 31);
    word(76, 0x850E);  // SATA: three generations, native command queueing
    word(80, disk.ataVersions);
    for (const std::size_t at : {82, 85}) word(at, 0x7069);  // SMART among them
    for (const std::size_t at : {83, 86}) word(at, 0x7400);  // 48-bit addresses
    for (const std::size_t at : {84, 87}) word(at, 0x4163);  // logs, self-test, world wide name
    word(88, 0x407F);
    data.putLittle(200, 8, disk.blocks);
    word(106, 0x6003);  // 4096 bytes in a physical block
    for (std::size_t i = 0; i < 4; ++i) word(108 + i, disk.worldWideName >> (48 - 16 * i) & 0xFFFF);
    word(206, 0x003D);  // SCT
    word(217, disk.rotation);
    word(222, 0x10FF);
    data.put(510, 0xA5);
    return withChecksum(data.bytes());
}

ScsiReply answerAta(const Disk& disk, const ScsiRequest& request) {
    const AtaCommand command = commandOf(request.command);
    // All that is answered here sends data.
    const bool isDma = command.command == readLogDmaExt;
    const bool fits = command.protocol == (isDma ? dma : pioDataIn) && command.fromDevice;
    if (!fits || command.transferFrom == 0 || command.transferFrom == 3)
        return ScsiReply::check(request, senseData(disk.sense, invalidField));
    std::optional<std::string> data = run(disk, command);
    if (!data) return ScsiReply::check(request, ataSenseData(disk.sense, AtaResult()));
    data->resize(std::min(data->size(), command.transfer()));
    return ScsiReply::good(request, std::move(*data));
}

}  // namespace simhost
