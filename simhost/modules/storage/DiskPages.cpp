#include "modules/storage/DiskPages.h"

#include <algorithm>

#include "common/Hexadecimal.h"
#include "common/Text.h"

namespace simhost {

namespace {

struct Kind {
    PageKind kind;
    const char* name;
};
constexpr Kind kinds[] = {{PageKind::vpd, "vpd"},
                          {PageKind::mode, "mode"},
                          {PageKind::log, "log"},
                          {PageKind::ata, "ata"},
                          {PageKind::smart, "smart"}};

// Which disks have a page.
enum Whose : unsigned {
    sasHdd = 1,
    sasSsd = 2,
    sataHdd = 4,
    sataSsd = 8,
    sas = sasHdd | sasSsd,
    sata = sataHdd | sataSsd,
    ssd = sasSsd | sataSsd,
    every = sas | sata,
};

struct Page {
    PageKind kind;
    unsigned page;
    unsigned whose;
};
// SPC-5 and SBC-4; of a SATA disk what SAT-4 translates.
constexpr Page pages[] = {
    {PageKind::vpd, 0x00, every},  {PageKind::vpd, 0x80, every},   {PageKind::vpd, 0x83, every},
    {PageKind::vpd, 0xB1, every},  {PageKind::mode, 0x04, sasHdd}, {PageKind::mode, 0x19, sas},
    {PageKind::mode, 0x1C, every}, {PageKind::log, 0x00, every},   {PageKind::log, 0x0D, every},
    {PageKind::log, 0x11, ssd},    {PageKind::log, 0x15, sas},     {PageKind::log, 0x2F, every},
    {PageKind::ata, 0x00, sata},   {PageKind::ata, 0x03, sata},    {PageKind::ata, 0x04, sata},
    {PageKind::ata, 0xD0, sata},   {PageKind::smart, 0x00, sata},  {PageKind::smart, 0xE0, sata},
};

unsigned kindOf(const Disk& disk) {
    if (isSata(disk)) return isSolidState(disk) ? sataSsd : sataHdd;
    return isSolidState(disk) ? sasSsd : sasHdd;
}

std::optional<unsigned> byteOf(const std::string& digits) {
    const auto value = digits.size() <= 2 ? parseHexadecimal(digits) : std::nullopt;
    if (!value) return std::nullopt;
    return *value;
}

}  // namespace

std::string pageName(PageKind kind, unsigned page) {
    const auto isIt = [kind](const Kind& each) { return each.kind == kind; };
    const Kind* const found = std::find_if(std::begin(kinds), std::end(kinds), isIt);
    return formatText("%s:%02x", found->name, page);
}

std::string ataLogPageName(unsigned log, unsigned page) {
    return formatText("ata:%02x/%02x", log, page);
}

std::optional<std::string> pageName(const std::string& text) {
    if (text == identifyName) return text;
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const std::string digits = text.substr(colon + 1);
    for (const Kind& each : kinds) {
        if (text.substr(0, colon) != each.name) continue;
        if (const auto page = byteOf(digits)) return pageName(each.kind, *page);
        const std::size_t slash = digits.find('/');
        if (each.kind != PageKind::ata || slash == std::string::npos) return std::nullopt;
        const auto log = byteOf(digits.substr(0, slash));
        const auto page = byteOf(digits.substr(slash + 1));
        if (log && page) return ataLogPageName(*log, *page);
    }
    return std::nullopt;
}

std::string pageForms() {
    return "vpd:XX, mode:XX, log:XX, ata:XX, ata:XX/XX, smart:XX or identify";
}

bool has(const Disk& disk, const std::string& name) {
    return disk.unsupported.count(name) == 0;
}

std::vector<unsigned> supportedPages(const Disk& disk, PageKind kind) {
    std::vector<unsigned> found;
    for (const Page& each : pages) {
        if (each.kind != kind || (each.whose & kindOf(disk)) == 0 || !has(disk, pageName(kind, each.page)))
            continue;
        if (kind == PageKind::ata && each.page == 0xD0 && disk.logD0.empty()) continue;
        found.push_back(each.page);
    }
    return found;
}

bool supports(const Disk& disk, PageKind kind, unsigned page) {
    const std::vector<unsigned> found = supportedPages(disk, kind);
    return std::find(found.begin(), found.end(), page) != found.end();
}

}  // namespace simhost
