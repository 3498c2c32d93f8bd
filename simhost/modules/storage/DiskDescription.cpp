#include "modules/storage/DiskDescription.h"

#include <json/json.h>
#include <algorithm>
#include <set>

#include "common/Text.h"
#include "host/DescriptionSection.h"
#include "host/HostDescription.h"
#include "modules/pci/PciFunctions.h"
#include "modules/storage/DiskPages.h"
#include "modules/storage/Disks.h"

namespace simhost {

namespace {

constexpr std::uint64_t blockSize = 512;
constexpr unsigned mostNumber = 65535;

// What is numbered across the whole host.
struct Numbers {
    unsigned nextHost = 0;
    unsigned nextDisk = 0;
    unsigned nextSerial = 1;
    std::set<unsigned> hosts;
    std::set<std::string> links;
};

// One of the words, as its place among them.
std::size_t choice(Section& section, const char* key, const std::vector<std::string>& words,
                   std::size_t otherwise) {
    if (!section.has(key)) return otherwise;
    std::string word;
    section.text(key, word);
    const auto found = std::find(words.begin(), words.end(), word);
    if (found == words.end())
        section.fail("has the " + std::string(key) + " \"" + word + "\", which is none of " + listed(words));
    return static_cast<std::size_t>(found - words.begin());
}

// A number of company 0xC500 and, for each serial number, another lower part.
std::uint64_t madeUpName(const std::string& serial) {
    std::uint64_t hash = 14695981039346656037u;
    for (const char each : serial) hash = (hash ^ static_cast<unsigned char>(each)) * 1099511628211u;
    return 0x5000C500u * (std::uint64_t{1} << 32) | (hash & 0xFFFFFFFCu);
}

void takeUsualValues(Disk& disk) {
    const bool sata = isSata(disk);
    const bool solid = isSolidState(disk);
    disk.vendor = sata ? "ATA" : "MEV";
    disk.model = sata ? (solid ? "MEV0900NS6M" : "MEV4000NH7K2") : solid ? "MEV0900ES3M" : "MEV1800EH10K";
    disk.revision = sata ? "MV010203" : "MV01";
    disk.blocks = solid ? 1758174768 : sata ? 7814037168 : 3516328368;
    disk.rotation = solid ? 1 : sata ? 7200 : 10000;
    disk.ataVersions = 0x0FF0;
    disk.temperature = 31;
    disk.maxTemperature = solid ? 70 : 60;
    disk.powerOnHours = 12345;
}

void limitText(Section& section, const char* key, const std::string& value, std::size_t most) {
    if (value.size() > most)
        section.fail(std::string("has a ") + key + " of more than " + std::to_string(most) + " characters");
}

void parsePages(Section& section, Disk& disk) {
    section.list("unsupported", [&disk](const Json::Value& each, const std::string& name) {
        const auto page = pageName(textElement(each, name));
        if (!page) throw std::runtime_error(name + " is no page: it is " + pageForms());
        disk.unsupported.insert(*page);
    });
}

void parseIdentity(Section& section, Disk& disk) {
    section.text("vendor", disk.vendor);
    section.text("model", disk.model);
    section.text("revision", disk.revision);
    section.text("serial", disk.serial);
    section.text("inquirySerial", disk.inquirySerial);
    section.text("logD0", disk.logD0);
    std::uint64_t capacity = disk.blocks * blockSize;
    section.number("capacityBytes", capacity);
    disk.blocks = capacity / blockSize;
    if (disk.blocks == 0) section.fail("has a capacityBytes of less than a block");
    section.number("type", disk.type, 31);
    section.number("rotation", disk.rotation, 0xFFFE);
    section.number("ataVersions", disk.ataVersions, 0xFFFF);
    limitText(section, "vendor", disk.vendor, 8);
    limitText(section, "model", disk.model, isSata(disk) ? 40 : 16);
    limitText(section, "revision", disk.revision, isSata(disk) ? 8 : 4);
    limitText(section, "serial", disk.serial, 20);
    limitText(section, "inquirySerial", disk.inquirySerial, 20);
    limitText(section, "logD0", disk.logD0, 4);
}

void parseCondition(Section& section, Disk& disk) {
    unsigned code = 0, qualifier = 0;
    section.number("temperature", disk.temperature, 254);
    section.number("maxTemperature", disk.maxTemperature, 254);
    section.number("wear", disk.wear, 255);
    section.number("errors", disk.errors, 1000);
    section.number("asc", code, 255);
    section.number("ascq", qualifier, 255);
    disk.additionalSense = code << 8 | qualifier;
    section.number("defects", disk.defects, 8000);
    section.number("powerOnHours", disk.powerOnHours, 71582788);
    section.text("state", disk.state);
    disk.sense = static_cast<SenseForm>(choice(section, "sense", {"fixed", "fixed-valid", "descriptor"}, 0));
    parsePages(section, disk);
}

std::string numberedSerial(const std::string& serial, unsigned number) {
    return serial.substr(0, 16) + formatText("%04u", number);
}

// `count` disks alike, with targets that follow one another and numbered serial numbers.
void parseDisks(const Json::Value& value, const std::string& name, StoragePort& port, Numbers& numbers) {
    Section section(value, name);
    Disk disk;
    const bool onSataPort = port.ata.has_value();
    disk.transport =
        static_cast<DiskTransport>(choice(section, "transport", {"SAS", "SATA"}, onSataPort ? 1 : 0));
    disk.media = static_cast<DiskMedia>(choice(section, "media", {"HDD", "SSD"}, 0));
    takeUsualValues(disk);
    parseIdentity(section, disk);
    parseCondition(section, disk);
    unsigned count = 1;
    section.number("channel", disk.channel, 255);
    unsigned target = static_cast<unsigned>(port.disks.size());
    section.number("target", target, mostNumber);
    section.number("unit", disk.unit, mostNumber);
    section.number("count", count, 1000);
    section.end();
    if (onSataPort && disk.transport != DiskTransport::sata) section.fail("is no SATA disk on a SATA port");
    const std::string serial = disk.serial, inquirySerial = disk.inquirySerial;
    for (unsigned i = 0; i < count; ++i) {
        disk.target = target + i;
        disk.number = numbers.nextDisk++;
        const std::string prefix = isSata(disk) ? "S" : "Z";
        if (serial.empty())
            disk.serial = prefix + formatText("1MEV%06u", numbers.nextSerial++);
        else if (count > 1)
            disk.serial = numberedSerial(serial, i + 1);
        disk.inquirySerial = inquirySerial.empty() ? disk.serial : inquirySerial;
        disk.worldWideName = madeUpName(disk.serial);
        if (!numbers.links.insert(diskLink(port, disk)).second)
            section.fail("is the second disk at " + diskLink(port, disk));
        port.disks.push_back(disk);
    }
}

StoragePort parsePort(const Json::Value& value, const std::string& name, Numbers& numbers) {
    Section section(value, name);
    StoragePort port;
    port.host = numbers.nextHost;
    section.number("host", port.host, mostNumber);
    if (section.has("ata")) section.number("ata", port.ata.emplace(), mostNumber);
    section.text("state", port.state);
    if (!numbers.hosts.insert(port.host).second)
        section.fail("has the host " + std::to_string(port.host) + ", which another port has");
    numbers.nextHost = *numbers.hosts.rbegin() + 1;
    section.list("disks", [&port, &numbers](const Json::Value& each, const std::string& disk) {
        parseDisks(each, disk, port, numbers);
    });
    section.end();
    return port;
}

StorageController parseController(const Json::Value& value, const std::string& name, Numbers& numbers,
                                  std::vector<PciFunction>& functions) {
    Section section(value, name);
    StorageController made;
    std::string address;
    section.text("address", address);
    const auto parsed = parsePciAddress(address);
    if (!parsed) section.fail("has the address \"" + address + "\", which is not of the form 0000:3b:00.0");
    made.address = *parsed;
    made.driver =
        describedPciFunction(section, made.address, functions, "0x0107", "Serial Attached SCSI controller")
            .at("Module Name");
    section.text("driver", made.driver);
    section.text("firmwareRevision", made.firmwareRevision);
    section.text("boardTracer", made.boardTracer);
    section.text("raidVersion", made.raidVersion);
    made.classic = choice(section, "layout", {"today", "classic"}, 0) == 1;
    section.list("ports", [&made, &numbers](const Json::Value& each, const std::string& port) {
        made.ports.push_back(parsePort(each, port, numbers));
    });
    section.end();
    return made;
}

}  // namespace

void parseStorageControllers(Section& root, HostDescription& into) {
    auto& all = into.part<StorageControllers>().all;
    auto& functions = into.part<PciFunctions>().all;
    Numbers numbers;
    root.list("storageControllers", [&](const Json::Value& each, const std::string& name) {
        all.push_back(parseController(each, name, numbers, functions));
        const StorageController& made = all.back();
        for (std::size_t i = 0; i + 1 < all.size(); ++i)
            if (all[i].address == made.address) root.fail("has the controller at " + name + " twice");
    });
}

}  // namespace simhost
