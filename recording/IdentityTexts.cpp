// Identities in texts: by the key before them, or by their look.
#include <algorithm>
#include <array>
#include <cctype>

#include "recording/IdentityFields.h"

namespace recording {
namespace {

struct KnownKey {
    std::string_view name;  // letters and digits in lower case
    IdentityKind kind;
    bool anyStart;  // also at the end of a longer key: "Drive Serial Number"
};

constexpr std::array<KnownKey, 24> knownKeys{{
    {"serialnumber", IdentityKind::serialNumber, true},
    {"serialno", IdentityKind::serialNumber, true},
    {"serial", IdentityKind::serialNumber, true},
    {"assettag", IdentityKind::serialNumber, true},
    {"boardtracer", IdentityKind::serialNumber, false},
    {"wwn", IdentityKind::wwn, true},
    {"wwnn", IdentityKind::wwn, false},
    {"wwpn", IdentityKind::wwn, false},
    {"nodename", IdentityKind::wwn, true},
    {"portname", IdentityKind::wwn, true},
    {"sasaddress", IdentityKind::wwn, true},
    {"durablename", IdentityKind::wwn, false},
    {"macaddress", IdentityKind::macAddress, true},
    {"ipaddress", IdentityKind::ipAddress, true},
    {"ipv4address", IdentityKind::ipAddress, true},
    {"ipv6address", IdentityKind::ipAddress, true},
    {"address", IdentityKind::ipAddress, false},
    {"gateway", IdentityKind::ipAddress, true},
    {"hostname", IdentityKind::hostName, true},
    {"fullyqualifieddomainname", IdentityKind::hostName, false},
    {"volumename", IdentityKind::label, true},
    {"label", IdentityKind::label, false},
    {"systemuuid", IdentityKind::systemUuid, true},
    {"uuid", IdentityKind::systemUuid, true},
}};

const KnownKey* knownKey(std::string_view key) {
    std::string plain;
    for (const char each : key)
        if (std::isalnum(static_cast<unsigned char>(each)))
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
    for (const KnownKey& known : knownKeys) {
        if (plain == known.name) return &known;
        if (known.anyStart && plain.size() > known.name.size() &&
            plain.compare(plain.size() - known.name.size(), known.name.size(), known.name) == 0)
            return &known;
    }
    return nullptr;
}

bool isHex(char each) {
    return std::isxdigit(static_cast<unsigned char>(each)) != 0;
}
bool isWordCharacter(char each) {
    return std::isalnum(static_cast<unsigned char>(each)) != 0;
}

class TextScan {
public:
    explicit TextScan(std::string_view text) : text_(text) {}

    IdentityFields fields() {
        std::size_t start = 0;
        while (start < text_.size()) {
            std::size_t end = text_.find_first_of(std::string_view("\n\r\0", 3), start);
            if (end == std::string_view::npos) end = text_.size();
            readLine(start, end);
            readQuotedKeys(start, end);
            start = end + 1;
        }
        readColonGroups();
        readPrefixed();
        return std::move(fields_);
    }

private:
    void add(std::size_t start, std::size_t end, IdentityKind kind) {
        while (start < end && (text_[start] == ' ' || text_[start] == '\t')) ++start;
        while (end > start && (text_[end - 1] == ' ' || text_[end - 1] == '\t')) --end;
        if (start < end) fields_.push_back({start, end - start, kind, false});
    }

    // "Key: value", "Key = value"
    void readLine(std::size_t start, std::size_t end) {
        constexpr std::size_t longestKey = 64;
        const std::size_t mark = text_.substr(start, std::min(end - start, longestKey)).find_first_of(":=");
        if (mark == std::string_view::npos) return;
        const std::string_view key = text_.substr(start, mark);
        if (key.find('"') != std::string_view::npos) return;
        if (const KnownKey* const known = knownKey(key)) add(start + mark + 1, end, known->kind);
    }

    // "Key":"value" anywhere in the line
    void readQuotedKeys(std::size_t start, std::size_t end) {
        const std::string_view line = text_.substr(start, end - start);
        std::size_t at = 0;
        while (true) {
            const std::size_t colon = line.find("\":", at);
            if (colon == std::string_view::npos) return;
            at = colon + 2;
            const std::size_t keyStart = colon == 0 ? std::string_view::npos : line.rfind('"', colon - 1);
            if (keyStart == std::string_view::npos) continue;
            const std::size_t open = line.find_first_not_of(' ', at);
            if (open == std::string_view::npos || line[open] != '"') continue;
            const std::size_t close = line.find('"', open + 1);
            if (close == std::string_view::npos) return;
            const KnownKey* const known = knownKey(line.substr(keyStart + 1, colon - keyStart - 1));
            if (known) add(start + open + 1, start + close, known->kind);
        }
    }

    // Six or eight pairs of digits with the same separator.
    void readColonGroups() {
        std::size_t at = 0;
        while (at + 16 < text_.size()) {
            const char separator = text_[at + 2];
            const bool starts = isHex(text_[at]) && isHex(text_[at + 1]) &&
                                (separator == ':' || separator == '-') &&
                                (at == 0 || !isWordCharacter(text_[at - 1]));
            if (!starts) {
                ++at;
                continue;
            }
            std::size_t end = at + 2;
            while (end + 2 < text_.size() && text_[end] == separator && isHex(text_[end + 1]) &&
                   isHex(text_[end + 2]))
                end += 3;
            const std::size_t groups = (end - at + 1) / 3;
            const bool ends = end == text_.size() || !isWordCharacter(text_[end]);
            if (ends && groups == 6) fields_.push_back({at, end - at, IdentityKind::macAddress, false});
            if (ends && groups == 8) fields_.push_back({at, end - at, IdentityKind::wwn, false});
            at = end;
        }
    }

    // 16 or 32 digits after what says that they are a WWN.
    void readPrefixed() {
        for (const std::string_view prefix : {"naa.", "eui.", "wwn.", "wwn-0x", "0x"})
            for (std::size_t at = text_.find(prefix); at != std::string_view::npos;
                 at = text_.find(prefix, at + 1)) {
                const std::size_t start = at + prefix.size();
                std::size_t end = start;
                while (end < text_.size() && isHex(text_[end])) ++end;
                const std::size_t digits = end - start;
                const bool ends = end == text_.size() || !isWordCharacter(text_[end]);
                const bool isAuthority =
                    digits > 0 && std::string_view("1235").find(text_[start]) != std::string_view::npos;
                const bool isWwn = digits == 32 || (digits == 16 && (prefix != "0x" || isAuthority));
                if (ends && isWwn) fields_.push_back({start, digits, IdentityKind::wwn, false});
            }
    }

    std::string_view text_;
    IdentityFields fields_;
};

}  // namespace

const char* nameOf(IdentityKind kind) {
    switch (kind) {
        case IdentityKind::serialNumber:
            return "serial number";
        case IdentityKind::wwn:
            return "WWN";
        case IdentityKind::macAddress:
            return "MAC address";
        case IdentityKind::ipAddress:
            return "IP address";
        case IdentityKind::hostName:
            return "host name";
        case IdentityKind::label:
            return "file-system label";
        case IdentityKind::systemUuid:
            return "system UUID";
    }
    return "";
}

IdentityFields fieldsOfText(std::string_view text) {
    return TextScan(text).fields();
}

}  // namespace recording
