// The identities of one recording, each once whatever its form, and their stand-ins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "recording/IdentityFields.h"
#include "recording/Replacer.h"

namespace recording {

class Identities {
public:
    // Takes what a field holds, unless it is no identity: "Not Available", blanks, zeros, a special address.
    void add(std::string_view bytes, const IdentityField& field);
    // The serial number in words of two characters each with the second one first (ACS-4, 3.4.9).
    void addSwapped(const std::string& serialNumber) { addSerialNumber(serialNumber); }

    // Digits that no text makes an identity: they are a part of a record which holds other ones.
    void leaveToRecords(std::string digits) { ofRecords_.insert(std::move(digits)); }
    // Words that mean something to the agent, so that no host name or label is replaced that is one of them.
    // Those with a digit in them are ignored, and the case is too.
    void leaveWords(std::string_view text);

    // Gives all of them stand-ins, and `replacer` every form in which they may be found.
    void replaceWith(Replacer& replacer, std::uint64_t seed);

    // After replaceWith().
    std::map<std::string, unsigned> replacedByKind() const;
    // How many had to stay: what is left of their class is taken by the others.
    unsigned unchanged() const;
    // The host names and labels that are left because of leaveWords(), and the host names that are too short
    // or common words.
    const std::set<std::string>& leftNames() const { return leftNames_; }

private:
    struct Identity {
        IdentityKind kind = IdentityKind::serialNumber;
        std::string standIn;              // in the form of the key
        std::set<std::string> spellings;  // serial numbers as they were found, with blanks
        bool isPart = false;              // of another one, and not counted
    };
    using Map = std::map<std::string, Identity>;

    void addSerialNumber(std::string_view text);
    void addName(std::string_view text, IdentityKind kind);
    void addAddress(std::string_view text);
    void addDigits(std::string digits, IdentityKind kind);
    void giveTexts(Replacer& replacer) const;
    void giveSerialNumber(Replacer& replacer, const std::string& text, const Identity& identity) const;
    void giveDigits(Replacer& replacer) const;
    void choose(std::uint64_t seed);
    bool hasOriginalAsStandIn() const;

    Map texts_;      // by the text in lower case: serial numbers without blanks, host names, labels
    Map digits_;     // by hexadecimal digits in lower case: WWNs, MAC addresses, UUIDs
    Map addresses_;  // by the address as text
    std::set<std::string> ofRecords_;
    std::set<std::string> words_;  // in lower case
    std::set<std::string> leftNames_;
};

}  // namespace recording
