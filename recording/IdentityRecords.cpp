// Identities in records: where the standards and the vendors' libraries have them.
#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "fc/hbaapi/hbaapi.h"
#include "megaraid/storelib/vokStoreLibRecords.h"
#include "recording/Forms.h"
#include "recording/IdentityFields.h"

namespace recording {
namespace {

constexpr std::size_t ataBlock = 512;
constexpr std::size_t identifySerial = 20;  // word 10, 20 characters
constexpr std::size_t identifySerialLength = 20;
constexpr std::size_t identifyWwn = 216;  // word 108, four words
constexpr std::size_t identifySignature = 510;
constexpr unsigned char identifySignatureValue = 0xA5;

unsigned byteAt(std::string_view bytes, std::size_t at) {
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

unsigned bigWordAt(std::string_view bytes, std::size_t at) {
    return byteAt(bytes, at) << 8 | byteAt(bytes, at + 1);
}

unsigned littleWordAt(std::string_view bytes, std::size_t at) {
    return byteAt(bytes, at) | byteAt(bytes, at + 1) << 8;
}

// Adds the part of a field that is within `bytes`. A text ends at its first NUL.
void addWithin(IdentityFields& fields, std::string_view bytes, IdentityField field) {
    if (field.offset >= bytes.size()) return;
    field.length = std::min(field.length, bytes.size() - field.offset);
    if (!field.binary) field.length = std::min(field.length, bytes.substr(field.offset).find('\0'));
    if (field.length > 0) fields.push_back(field);
}

void shift(IdentityFields& fields, std::size_t by) {
    for (IdentityField& field : fields) field.offset += by;
}

std::uint8_t sumOf(std::string_view bytes) {
    unsigned sum = 0;
    for (const char each : bytes) sum += static_cast<unsigned char>(each);
    return static_cast<std::uint8_t>(sum);
}

// The keywords of the product data with the offset and length of their values.
std::map<std::string, std::pair<std::size_t, std::size_t>> keywordsOf(std::string_view vpd) {
    constexpr unsigned largeResource = 0x80;
    constexpr unsigned readOnly = 0x90;
    std::map<std::string, std::pair<std::size_t, std::size_t>> keywords;
    for (std::size_t at = 0; byteAt(vpd, at) & largeResource;) {
        const std::size_t end = std::min<std::size_t>(at + 3 + littleWordAt(vpd, at + 1), vpd.size());
        if (byteAt(vpd, at) == readOnly)
            for (std::size_t field = at + 3; field + 3 <= end;) {
                const std::size_t length = std::min<std::size_t>(byteAt(vpd, field + 2), end - field - 3);
                keywords.emplace(vpd.substr(field, 2), std::pair(field + 3, length));
                field += 3 + length;
            }
        at = end;
    }
    return keywords;
}

// A structure's strings that identify something: by type, the offset of the string's number.
struct SmbiosText {
    unsigned type;
    std::size_t offset;
};
constexpr std::array<SmbiosText, 12> smbiosTexts{{
    {1, 7},      // system: serial number
    {2, 7},      // baseboard: serial number
    {2, 8},      // asset tag
    {3, 7},      // chassis: serial number
    {3, 8},      // asset tag
    {4, 0x20},   // processor: serial number
    {4, 0x21},   // asset tag
    {17, 0x18},  // memory device: serial number
    {17, 0x19},  // asset tag
    {22, 6},     // battery: serial number
    {39, 8},     // power supply: serial number
    {39, 9},     // asset tag
}};
constexpr unsigned smbiosSystem = 1;
constexpr std::size_t smbiosUuid = 8;
constexpr std::size_t uuidLength = 16;

// Offset and length of string `number` of a structure whose strings start at `strings`.
std::pair<std::size_t, std::size_t> smbiosString(std::string_view table, std::size_t strings,
                                                 unsigned number) {
    std::size_t at = strings;
    for (unsigned index = 1; number > 0 && at < table.size() && table[at] != '\0'; ++index) {
        const std::size_t end = std::min(table.find('\0', at), table.size());
        if (index == number) return {at, end - at};
        at = end + 1;
    }
    return {0, 0};
}

void addSmbiosStructure(IdentityFields& fields, std::string_view table, std::size_t at) {
    const unsigned type = byteAt(table, at);
    const std::size_t length = byteAt(table, at + 1);
    for (const SmbiosText& text : smbiosTexts) {
        if (text.type != type || text.offset >= length) continue;
        const auto [offset, size] = smbiosString(table, at + length, byteAt(table, at + text.offset));
        addWithin(fields, table, {offset, size, IdentityKind::serialNumber, false});
    }
    if (type == smbiosSystem && length >= smbiosUuid + uuidLength)
        addWithin(fields, table, {at + smbiosUuid, uuidLength, IdentityKind::systemUuid, true});
}

// Where the structure after the one at `at` starts; npos if there is none.
std::size_t nextStructure(std::string_view table, std::size_t at) {
    const std::size_t length = byteAt(table, at + 1);
    if (length < 4 || at + length > table.size()) return std::string_view::npos;
    const std::size_t end = table.find(std::string_view("\0\0", 2), at + length);
    return end == std::string_view::npos ? end : end + 2;
}

// After the 32-bit entry point, if that is before the table (SMBIOS 3.x, 5.2.1).
std::size_t firstStructure(std::string_view table) {
    for (std::size_t at = 0; at + 4 <= table.size(); at += 4)
        if (table.substr(at, 4) == "_SM_") return at + byteAt(table, at + 5);
    return 0;
}

constexpr unsigned char inquiryCommand = 0x12;
constexpr unsigned char ataPassThrough = 0x85;
constexpr unsigned char ataIdentify = 0xEC;

// Of the data that a SCSI command returned.
IdentityFields fieldsOfReply(std::string_view command, std::string_view data) {
    if (byteAt(command, 0) == ataPassThrough && byteAt(command, 14) == ataIdentify)
        return fieldsOfIdentify(data);
    if (byteAt(command, 0) != inquiryCommand) return {};
    const bool page = (byteAt(command, 1) & 1) != 0;
    if (!page) return fieldsOfInquiry(data);
    if (byteAt(command, 2) == 0x80) return fieldsOfVpdPage80(data);
    return byteAt(command, 2) == 0x83 ? fieldsOfVpdPage83(data) : IdentityFields();
}

IdentityField fieldOf(vokRecordBytes place, IdentityKind kind, bool binary = false) {
    return {place.offset, place.length, kind, binary};
}

IdentityFields fieldsOfRaidAnswer(const Fields& question, std::string_view data) {
    const auto is = [&](const vokStoreLibCommand& command) {
        return textOf(question, "type") == std::to_string(command.type) &&
               textOf(question, "number") == std::to_string(command.command);
    };
    IdentityFields fields;
    if (is(vokDiskRecordCommand))
        addWithin(fields, data, fieldOf(vokDiskFields::serialNumber, IdentityKind::serialNumber));
    if (is(vokVolumeRecordCommand))
        addWithin(fields, data, fieldOf(vokVolumeFields::identity, IdentityKind::wwn, true));
    if (is(vokDcmdPassThroughCommand))
        addWithin(fields, data, fieldOf(vokManufacturingFields::serialNumber, IdentityKind::serialNumber));
    if (is(vokScsiPassThroughCommand) && data.size() > sizeof(vokScsiPassThroughHeader)) {
        const std::string_view command = data.substr(offsetof(vokScsiPassThroughHeader, cdb), 16);
        fields = fieldsOfReply(command, data.substr(sizeof(vokScsiPassThroughHeader)));
        shift(fields, sizeof(vokScsiPassThroughHeader));
    }
    return fields;
}

IdentityFields fieldsOfHbaAnswer(const std::string& entry, std::string_view attributes) {
    IdentityFields fields;
    const auto addWwn = [&](std::size_t offset) {
        addWithin(fields, attributes, {offset, sizeof(HBA_WWN), IdentityKind::wwn, true});
    };
    if (entry.find("Port") != std::string::npos) {
        addWwn(offsetof(HBA_PORTATTRIBUTES, NodeWWN));
        addWwn(offsetof(HBA_PORTATTRIBUTES, PortWWN));
        addWwn(offsetof(HBA_PORTATTRIBUTES, FabricName));
    } else {
        addWithin(fields, attributes,
                  {offsetof(HBA_ADAPTERATTRIBUTES, SerialNumber), sizeof(HBA_ADAPTERATTRIBUTES::SerialNumber),
                   IdentityKind::serialNumber, false});
        addWwn(offsetof(HBA_ADAPTERATTRIBUTES, NodeWWN));
    }
    return fields;
}

bool endsWith(const std::string& text, std::string_view end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

IdentityFields fieldsOfVpdPage80(std::string_view bytes) {
    IdentityFields fields;
    if (byteAt(bytes, 1) == 0x80)
        addWithin(fields, bytes, {4, bigWordAt(bytes, 2), IdentityKind::serialNumber, false});
    return fields;
}

IdentityFields fieldsOfVpdPage83(std::string_view bytes) {
    constexpr unsigned vendorText = 1;
    constexpr unsigned eui64 = 2;
    constexpr unsigned naa = 3;
    constexpr std::size_t ataSerial = 48;  // after the vendor "ATA     " and a model of 40 characters (SAT-4)
    IdentityFields fields;
    if (byteAt(bytes, 1) != 0x83) return fields;
    for (std::size_t at = 4; at + 4 < bytes.size();) {
        const unsigned codeSet = byteAt(bytes, at) & 0xF;
        const unsigned type = byteAt(bytes, at + 1) & 0xF;
        const std::size_t length = byteAt(bytes, at + 3);
        const bool isAta = bytes.substr(at + 4, 4) == "ATA ";
        if (codeSet == 1 && (type == naa || type == eui64))
            addWithin(fields, bytes, {at + 4, length, IdentityKind::wwn, true});
        else if (type == vendorText && isAta && length > ataSerial)
            addWithin(fields, bytes,
                      {at + 4 + ataSerial, length - ataSerial, IdentityKind::serialNumber, false});
        at += 4 + length;
    }
    return fields;
}

IdentityFields fieldsOfInquiry(std::string_view bytes) {
    IdentityFields fields;
    if (bytes.size() >= 56) addWithin(fields, bytes, {36, 20, IdentityKind::serialNumber, false});
    return fields;
}

IdentityFields fieldsOfIdentify(std::string_view bytes) {
    IdentityFields fields;
    addWithin(fields, bytes, {identifyWwn, 8, IdentityKind::wwn, true});
    return fields;
}

std::string serialNumberOfIdentify(std::string_view bytes) {
    std::string serial(bytes.substr(std::min(identifySerial, bytes.size()), identifySerialLength));
    for (std::size_t at = 0; at + 1 < serial.size(); at += 2) std::swap(serial[at], serial[at + 1]);
    return serial;
}

IdentityFields fieldsOfPciVpd(std::string_view bytes) {
    IdentityFields fields;
    const auto keywords = keywordsOf(bytes);
    const auto serial = keywords.find("SN");
    if (serial != keywords.end())
        addWithin(fields, bytes,
                  {serial->second.first, serial->second.second, IdentityKind::serialNumber, false});
    return fields;
}

IdentityFields fieldsOfSmbios(std::string_view table) {
    IdentityFields fields;
    std::size_t at = firstStructure(table);
    while (at < table.size()) {
        const std::size_t next = nextStructure(table, at);
        if (next == std::string_view::npos) break;
        addSmbiosStructure(fields, table, at);
        at = next;
    }
    return fields;
}

IdentityFields fieldsOfFile(const std::string& path, std::string_view content) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const auto whole = [&](IdentityKind kind) { return IdentityFields{{0, content.size(), kind, false}}; };
    if (name == "vpd_pg80") return fieldsOfVpdPage80(content);
    if (name == "vpd_pg83") return fieldsOfVpdPage83(content);
    if (name == "inquiry") return fieldsOfInquiry(content);
    if (name == "vpd") return fieldsOfPciVpd(content);
    if (name == "smbios" || name == "DMI") return fieldsOfSmbios(content);
    if (endsWith(name, "serial") || endsWith(name, "asset_tag") || name == "board_tracer" ||
        name == "serial_number")
        return whole(IdentityKind::serialNumber);
    if (name == "product_uuid") return whole(IdentityKind::systemUuid);
    if (name == "hostname") return whole(IdentityKind::hostName);
    if (name == "sas_address" || name == "wwid" || endsWith(name, "port_name") ||
        endsWith(name, "node_name") || name == "fabric_name" || name == "unique_id")
        return whole(IdentityKind::wwn);
    return {};
}

IdentityFields fieldsOfAnswer(const Exchange& exchange, const Fields& answer, const std::string& name) {
    const std::string& value = textOf(answer, name);
    const auto whole = [&](IdentityKind kind) { return IdentityFields{{0, value.size(), kind, false}}; };
    if (exchange.kind == kinds::systemName && name == "node") return whole(IdentityKind::hostName);
    if (exchange.kind == kinds::interfaceAddresses && endsWith(name, ".address")) {
        const std::string family = textOf(answer, name.substr(0, name.find('.')) + ".family");
        if (family == "inet" || family == "inet6") return whole(IdentityKind::ipAddress);
        return whole(IdentityKind::macAddress);
    }
    if (exchange.kind == kinds::scsi && name == "data")
        return fieldsOfReply(textOf(exchange.question, "command"), value);
    if (exchange.kind == kinds::open && name == "content")
        return fieldsOfFile(textOf(exchange.question, "device"), value);
    if (exchange.kind == kinds::call && name == "data") return fieldsOfRaidAnswer(exchange.question, value);
    if (exchange.kind == kinds::call && name == "attributes")
        return fieldsOfHbaAnswer(textOf(exchange.question, "entry"), value);
    return {};
}

void mendIdentifySum(std::string_view before, std::string& after) {
    // A zero at the end may have been left out.
    const bool wasRight = (before.size() == ataBlock || before.size() == ataBlock - 1) &&
                          byteAt(before, identifySignature) == identifySignatureValue && sumOf(before) == 0;
    if (!wasRight) return;
    after.resize(ataBlock - 1);
    const auto sum = static_cast<std::uint8_t>(-sumOf(after));
    if (before.size() == ataBlock || sum != 0) after += static_cast<char>(sum);
}

void mendPciVpdSum(std::string_view before, std::string& after) {
    const auto keywords = keywordsOf(before);
    const auto sum = keywords.find("RV");
    if (sum == keywords.end() || sum->second.second == 0) return;
    const std::size_t at = sum->second.first;
    if (sumOf(before.substr(0, at + 1)) != 0) return;
    after[at] = static_cast<char>(-sumOf(std::string_view(after).substr(0, at)));
}

}  // namespace recording
