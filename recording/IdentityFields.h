// Where a recording holds what identifies a host and its parts.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "recording/Recording.h"

namespace recording {

enum class IdentityKind { serialNumber, wwn, macAddress, ipAddress, hostName, label, systemUuid };
// As a recording counts them: "serial number".
const char* nameOf(IdentityKind kind);

// A place in a value that may hold an identity, or "Not Available", or blanks.
struct IdentityField {
    std::size_t offset = 0;
    std::size_t length = 0;
    IdentityKind kind = IdentityKind::serialNumber;
    bool binary = false;  // the bytes themselves; otherwise text
};
using IdentityFields = std::vector<IdentityField>;

// In a text of any origin: the values of known keys ("Serial Number: X", "SerialNumber":"X"), and what looks
// like a MAC address or a WWN.
IdentityFields fieldsOfText(std::string_view text);

// In a record. The fields are those that have a fixed place; nothing outside `bytes` is read.
IdentityFields fieldsOfVpdPage80(std::string_view bytes);
IdentityFields fieldsOfVpdPage83(std::string_view bytes);
IdentityFields fieldsOfInquiry(std::string_view bytes);
IdentityFields fieldsOfIdentify(std::string_view bytes);     // of a WWN; the serial number is byte-swapped
std::string serialNumberOfIdentify(std::string_view bytes);  // empty without one
IdentityFields fieldsOfPciVpd(std::string_view bytes);
IdentityFields fieldsOfSmbios(std::string_view table);

// In the file at `path`, by its name.
IdentityFields fieldsOfFile(const std::string& path, std::string_view content);
// In the value `name` of an answer.
IdentityFields fieldsOfAnswer(const Exchange& exchange, const Fields& answer, const std::string& name);

// Puts sums right that were right in `before`: that of an IDENTIFY DEVICE data block (ACS-4, 7.13.6) and that
// of PCI product data (PCI 2.2, appendix I).
void mendIdentifySum(std::string_view before, std::string& after);
void mendPciVpdSum(std::string_view before, std::string& after);

}  // namespace recording
