#include "recording/Identities.h"

#include <arpa/inet.h>
#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include "recording/StandIns.h"

namespace recording {
namespace {

constexpr std::size_t shortest = 4;
constexpr std::size_t longest = 128;
constexpr std::size_t mixedAndLong = 8;
constexpr std::size_t ataSerialNumber = 20;
constexpr std::size_t macDigits = 12;
constexpr std::size_t wwnDigits = 16;
constexpr std::size_t uuidDigits = 32;

// What firmware and drivers write where they have no identity.
constexpr std::array<std::string_view, 18> placeholders{"not available",
                                                        "notavailable",
                                                        "unknown",
                                                        "none",
                                                        "not specified",
                                                        "default string",
                                                        "not settable",
                                                        "no asset tag",
                                                        "system serial number",
                                                        "to be filled by o.e.m.",
                                                        "not provided",
                                                        "undefined",
                                                        "empty",
                                                        "invalid",
                                                        "(none)",
                                                        "chassis serial number",
                                                        "base board serial number",
                                                        "asset-1234567890"};

// Names of hosts that are words of any text.
constexpr std::array<std::string_view, 9> commonNames{"localhost", "localdomain", "linux", "vmkernel", "esxi",
                                                      "vmware",    "debian",      "host",  "unknown"};

template <std::size_t Size>
bool isOneOf(std::string_view text, const std::array<std::string_view, Size>& list) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

bool isDigit(char each) {
    return std::isdigit(static_cast<unsigned char>(each)) != 0;
}

std::string lowerOf(std::string_view text) {
    std::string lower;
    for (const char each : text) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
    return lower;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks(" \t\r\n\0", 5);
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string withoutBlanks(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

// A text of the form of `spelling`, with its blanks and its case, made of the characters of `standIn`.
std::string inFormOf(std::string_view spelling, const std::string& standIn) {
    std::string text;
    auto next = standIn.begin();
    for (const char each : spelling) {
        if (each == ' ') {
            text += each;
            continue;
        }
        const char instead = *next++;
        const bool isUpper = std::isupper(static_cast<unsigned char>(each)) != 0;
        text += isUpper ? static_cast<char>(std::toupper(static_cast<unsigned char>(instead))) : instead;
    }
    return text;
}

// Too long and mixed to be found in another word by chance.
bool standsOut(std::string_view text) {
    const bool someDigits = std::any_of(text.begin(), text.end(), isDigit);
    return text.size() >= mixedAndLong && someDigits && !std::all_of(text.begin(), text.end(), isDigit);
}

bool isOfOneCharacter(std::string_view text) {
    return text.find_first_not_of(text[0]) == std::string_view::npos;
}

// "vmhba2": a name of the operating system, which the agent reads.
bool isDeviceName(std::string_view text) {
    constexpr std::array<std::string_view, 9> stems{"vmhba", "vmnic", "vmk", "host", "eth",
                                                    "sd",    "sg",    "tty", "ttys"};
    const std::string name = lowerOf(text);
    const std::size_t digits = name.find_first_of("0123456789");
    return digits != std::string::npos && name.find_first_not_of("0123456789", digits) == std::string::npos &&
           isOneOf(std::string_view(name).substr(0, digits), stems);
}

bool isUsable(std::string_view text) {
    return text.size() >= shortest && text.size() <= longest && !isOfOneCharacter(text) &&
           !isDeviceName(text) &&
           std::all_of(text.begin(), text.end(), [](char each) { return each >= ' ' && each <= '~'; }) &&
           !isOneOf(lowerOf(text), placeholders);
}

std::string digitsOfBytes(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string bytesOfDigits(std::string_view digits) {
    std::string bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
        bytes += static_cast<char>(std::stoi(std::string(digits.substr(at, 2)), nullptr, 16));
    return bytes;
}

// The digits of a WWN, MAC address or UUID in any of its forms; empty if `text` is something else.
std::string digitsOfText(std::string_view text) {
    std::string lower = lowerOf(trimmed(text));
    for (const std::string_view prefix : {"naa.", "eui.", "wwn.", "wwn-", "0x"})
        if (lower.compare(0, prefix.size(), prefix) == 0) lower.erase(0, prefix.size());
    std::string digits;
    for (const char each : lower) {
        if (std::isxdigit(static_cast<unsigned char>(each)))
            digits += each;
        else if (each != ':' && each != '-' && each != '.')
            return {};
    }
    return digits;
}

std::string reversed(std::string text) {
    std::reverse(text.begin(), text.end());
    return text;
}

// "ABC" as "BA C": each two characters exchanged, from an even place or, with `pad` before it, from an odd
// one.
std::string inWords(std::string text, char pad, bool oddStart) {
    if (oddStart) text.insert(text.begin(), pad);
    if (text.size() % 2 != 0) text += pad;
    for (std::size_t at = 0; at < text.size(); at += 2) std::swap(text[at], text[at + 1]);
    return text;
}

// A UUID between its text and the bytes in the firmware's table, whose first three groups are little-endian.
std::string otherUuidOrder(const std::string& digits) {
    std::string other;
    for (const int byte : {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15})
        other += digits.substr(static_cast<std::size_t>(byte) * 2, 2);
    return other;
}

Symbols symbolsOfText(const std::string& text) {
    Symbols symbols;
    for (const char each : text) symbols.push_back(classSymbol(each, 'z'));
    return symbols;
}

// What other code reads of such numbers stays: the NAA and what it demands (FC-FS-5), the two bits of a MAC
// address, the group of a UUID by which the agent recognises its byte order.
Symbols symbolsOfDigits(const std::string& digits, IdentityKind kind) {
    Symbols symbols;
    for (std::size_t at = 0; at < digits.size(); ++at) {
        const bool isNaa = kind == IdentityKind::wwn && (at == 0 || (digits[0] == '1' && at < 4));
        const bool isMacBits = kind == IdentityKind::macAddress && at == 1;
        const bool isUuidOrder = kind == IdentityKind::systemUuid && at >= 12 && at < 16;
        symbols.push_back(isNaa || isMacBits || isUuidOrder ? fixedSymbol(digits[at])
                                                            : classSymbol(digits[at], 'f'));
    }
    return symbols;
}

Symbol digitUpTo(char value, char least, char most) {
    return {static_cast<unsigned char>(value), static_cast<unsigned char>(least),
            static_cast<unsigned char>(most)};
}

// An octet of the same number of digits.
void addOctet(Symbols& symbols, std::string_view octet) {
    if (octet.size() == 1) {
        symbols.push_back(digitUpTo(octet[0], '0', '9'));
    } else if (octet.size() == 2) {
        symbols.push_back(digitUpTo(octet[0], '1', '9'));
        symbols.push_back(digitUpTo(octet[1], '0', '9'));
    } else {
        const bool isUpper = octet[0] == '2';
        const bool isLast = octet.substr(0, 2) == "25";
        symbols.push_back(fixedSymbol(octet[0]));
        symbols.push_back(!isUpper ? digitUpTo(octet[1], '0', '9')
                          : isLast ? fixedSymbol(octet[1])
                                   : digitUpTo(octet[1], '0', '4'));
        symbols.push_back(!isLast           ? digitUpTo(octet[2], '0', '9')
                          : octet[2] == '5' ? fixedSymbol(octet[2])
                                            : digitUpTo(octet[2], '0', '4'));
    }
}

// The first octet stays: it tells private, loopback and multicast addresses apart.
Symbols symbolsOfIpv4(const std::string& address) {
    Symbols symbols;
    std::string_view rest = address;
    for (bool first = true;; first = false) {
        const std::string_view octet = rest.substr(0, rest.find('.'));
        if (first)
            for (const char each : octet) symbols.push_back(fixedSymbol(each));
        else
            addOctet(symbols, octet);
        if (octet.size() == rest.size()) return symbols;
        symbols.push_back(fixedSymbol('.'));
        rest.remove_prefix(octet.size() + 1);
    }
}

// The first group stays, for the same reason; a group keeps its number of digits, and 0 stays.
Symbols symbolsOfIpv6(const std::string& address) {
    Symbols symbols;
    bool firstGroup = true;
    bool startsGroup = true;
    for (std::size_t at = 0; at < address.size(); ++at) {
        const char each = address[at];
        const bool isNumber = std::isxdigit(static_cast<unsigned char>(each)) != 0;
        if (!isNumber) firstGroup = false;
        if (!isNumber || firstGroup || (startsGroup && each == '0'))
            symbols.push_back(fixedSymbol(each));
        else if (startsGroup && isDigit(each))
            symbols.push_back(digitUpTo(each, '1', '9'));
        else
            symbols.push_back(classSymbol(each, 'f'));
        startsGroup = !isNumber;
    }
    return symbols;
}

Symbols symbolsOfAddress(const std::string& address) {
    return address.find(':') == std::string::npos ? symbolsOfIpv4(address) : symbolsOfIpv6(address);
}

bool isSpecialIpv4(const in_addr& address) {
    const std::uint32_t number = ntohl(address.s_addr);
    const std::uint32_t first = number >> 24;
    return first == 0 || first == 127 || first >= 224 || number >> 16 == 0xA9FE;
}

// Multicast and unspecified ones and the loopback. An address with an IPv4 address at its end stays too.
bool isSpecialIpv6(const in6_addr& address, const std::string& text) {
    return IN6_IS_ADDR_UNSPECIFIED(&address) || IN6_IS_ADDR_LOOPBACK(&address) ||
           IN6_IS_ADDR_MULTICAST(&address) || text.find('.') != std::string::npos;
}

}  // namespace

void Identities::add(std::string_view bytes, const IdentityField& field) {
    const std::string_view value = bytes.substr(field.offset, field.length);
    switch (field.kind) {
        case IdentityKind::serialNumber:
            addSerialNumber(value);
            break;
        case IdentityKind::hostName:
        case IdentityKind::label:
            addName(value, field.kind);
            break;
        case IdentityKind::ipAddress:
            addAddress(value);
            break;
        case IdentityKind::wwn:
        case IdentityKind::macAddress:
        case IdentityKind::systemUuid:
            addDigits(field.binary ? digitsOfBytes(value) : digitsOfText(value), field.kind);
            break;
    }
}

void Identities::leaveWords(std::string_view text) {
    const auto isLetter = [](char each) { return std::isalpha(static_cast<unsigned char>(each)) != 0; };
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && (isLetter(text[end]) || isDigit(text[end]))) ++end;
        const std::string_view word = text.substr(at, end - at);
        if (word.size() >= shortest && std::none_of(word.begin(), word.end(), isDigit))
            words_.insert(lowerOf(word));
        at = end + 1;
    }
}

// One without a digit is a word.
void Identities::addSerialNumber(std::string_view text) {
    text = trimmed(text);
    if (!isUsable(text) || std::none_of(text.begin(), text.end(), isDigit)) return;
    Identity& identity = texts_.try_emplace(withoutBlanks(lowerOf(text))).first->second;
    identity.spellings.emplace(text);
}

void Identities::addName(std::string_view text, IdentityKind kind) {
    text = trimmed(text);
    const std::string name = lowerOf(text);
    const std::string first = name.substr(0, name.find('.'));
    if (!isUsable(text) || isOneOf(first, commonNames)) {
        const bool isNobodys = text.empty() || isOneOf(name, placeholders) || first == "localhost";
        if (kind == IdentityKind::hostName && !isNobodys) leftNames_.insert(name);
        return;
    }
    const auto addPart = [&](const std::string& each, bool isPart) {
        if (words_.count(each) > 0) {
            leftNames_.insert(each);
            return;
        }
        const auto [place, isNew] = texts_.try_emplace(each);
        if (isNew) place->second.kind = kind;
        if (isNew) place->second.isPart = isPart;
    };
    addPart(name, false);
    // The name of the host alone begins as the one with its domain does, and so does its stand-in.
    if (kind == IdentityKind::hostName && first.size() >= shortest) addPart(first, true);
}

void Identities::addAddress(std::string_view text) {
    const std::string address = lowerOf(trimmed(text));
    in_addr version4{};
    in6_addr version6{};
    const bool is4 = ::inet_pton(AF_INET, address.c_str(), &version4) == 1 && !isSpecialIpv4(version4);
    const bool is6 =
        ::inet_pton(AF_INET6, address.c_str(), &version6) == 1 && !isSpecialIpv6(version6, address);
    if (is4 || is6) addresses_[address].kind = IdentityKind::ipAddress;
}

void Identities::addDigits(std::string digits, IdentityKind kind) {
    const bool isLength = kind == IdentityKind::macAddress ? digits.size() == macDigits
                          : kind == IdentityKind::wwn
                              ? digits.size() == wwnDigits || digits.size() == 2 * wwnDigits
                              : digits.size() == uuidDigits;
    if (!isLength || isOfOneCharacter(bytesOfDigits(digits)) || ofRecords_.count(digits) > 0) return;
    // A multicast address is nobody's.
    const std::string_view oddDigits = "13579bdf";
    if (kind == IdentityKind::macAddress && oddDigits.find(digits[1]) != std::string_view::npos) return;
    if (kind == IdentityKind::systemUuid && digits_.count(otherUuidOrder(digits)) > 0) return;
    const auto [place, isNew] = digits_.try_emplace(std::move(digits));
    if (isNew) place->second.kind = kind;
}

void Identities::choose(std::uint64_t seed) {
    StandIns texts;
    StandIns addresses;
    std::map<IdentityKind, StandIns> digits;
    for (const auto& [text, identity] : texts_) texts.add(symbolsOfText(text));
    for (const auto& [text, identity] : addresses_) addresses.add(symbolsOfAddress(text));
    for (const auto& [text, identity] : digits_)
        digits[identity.kind].add(symbolsOfDigits(text, identity.kind));
    texts.choose(seed);
    addresses.choose(seed + 1);
    for (auto& [kind, standIns] : digits) standIns.choose(seed + 2 + static_cast<unsigned>(kind));
    for (auto& [text, identity] : texts_) identity.standIn = texts.of(symbolsOfText(text));
    for (auto& [text, identity] : addresses_) identity.standIn = addresses.of(symbolsOfAddress(text));
    for (auto& [text, identity] : digits_)
        identity.standIn = digits[identity.kind].of(symbolsOfDigits(text, identity.kind));
}

bool Identities::hasOriginalAsStandIn() const {
    for (const Map* map : {&texts_, &digits_, &addresses_})
        for (const auto& [text, identity] : *map)
            if (map->count(identity.standIn) > 0) return true;
    return false;
}

void Identities::replaceWith(Replacer& replacer, std::uint64_t seed) {
    // A stand-in that is another one's original would look like one that was left. With very many alike there
    // is no way round it.
    constexpr int tries = 20;
    choose(seed);
    for (int again = 1; again < tries && hasOriginalAsStandIn(); ++again) choose(seed + 100u * again);

    giveTexts(replacer);
    giveDigits(replacer);
    for (const auto& [text, identity] : addresses_) replacer.addText(text, identity.standIn, true);
}

void Identities::giveTexts(Replacer& replacer) const {
    for (const auto& [text, identity] : texts_) {
        replacer.addText(text, identity.standIn, !standsOut(text));
        giveSerialNumber(replacer, text, identity);
        const std::size_t dot = text.find('.') + 1;  // 0 without one
        const bool hasDomain = dot > 0 && text.find('.', dot) != std::string::npos;
        if (identity.kind == IdentityKind::hostName && hasDomain)
            replacer.addText(text.substr(dot), identity.standIn.substr(dot), true);
    }
}

void Identities::giveSerialNumber(Replacer& replacer, const std::string& text,
                                  const Identity& identity) const {
    for (const std::string& spelling : identity.spellings) {
        const std::string instead = inFormOf(spelling, identity.standIn);
        replacer.addText(lowerOf(spelling), lowerOf(instead), !standsOut(text));
        if (spelling.size() > ataSerialNumber) continue;
        for (const char pad : {' ', '\0'})
            for (const bool oddStart : {false, true})
                replacer.addBytes(inWords(spelling, pad, oddStart), inWords(instead, pad, oddStart),
                                  !standsOut(text));
    }
}

void Identities::giveDigits(Replacer& replacer) const {
    for (const auto& [digits, identity] : digits_) {
        const std::string bytes = bytesOfDigits(digits);
        const std::string instead = bytesOfDigits(identity.standIn);
        replacer.addDigits(digits, identity.standIn);
        replacer.addBytes(bytes, instead, false);
        replacer.addBytes(reversed(bytes), reversed(instead), false);
        if (identity.kind != IdentityKind::systemUuid) continue;
        const std::string other = otherUuidOrder(digits);
        const std::string otherInstead = otherUuidOrder(identity.standIn);
        replacer.addDigits(other, otherInstead);
        replacer.addBytes(bytesOfDigits(other), bytesOfDigits(otherInstead), false);
    }
}

std::map<std::string, unsigned> Identities::replacedByKind() const {
    std::map<std::string, unsigned> counts;
    for (const Map* map : {&texts_, &digits_, &addresses_})
        for (const auto& [text, identity] : *map)
            if (text != identity.standIn && !identity.isPart) ++counts[nameOf(identity.kind)];
    return counts;
}

unsigned Identities::unchanged() const {
    unsigned count = 0;
    for (const Map* map : {&texts_, &digits_, &addresses_})
        for (const auto& [text, identity] : *map)
            if (text == identity.standIn) ++count;
    return count;
}

}  // namespace recording
