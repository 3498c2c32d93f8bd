#include "rmc/report/Faults.h"

#include <algorithm>
#include <cstddef>

#include "rmc/JsonMembers.h"
#include "rmc/report/Place.h"

namespace simhost {

namespace {

std::string subjectOf(const Json::Value& item, const std::string& code) {
    const auto place = placeOfCode(code);
    const bool isInBay = place && place->kind == Place::Kind::bay;
    if (isInBay) return code;
    const std::string identity = identityOf(item);
    return identity.empty() ? code + "\n" + textOf(item, {"Oem", "Description"}) : identity;
}

const Json::Value& itemOf(const Entry& event) {
    return member(*event.document, {"VariableData", "Data"});
}

// A unit as an inventory has it.
struct Listed {
    const Json::Value* item = nullptr;
    bool isInOrder = true;
};

// Several entries of an inventory may be one unit: it is in order if all of them are.
std::map<UnitKey, Listed> unitsOf(const Entry& push) {
    std::map<UnitKey, Listed> units;
    for (const Device& device : devicesOf(push.inventory->document)) {
        Listed& unit = units[keyOf(push.host, device)];
        unit.item = device.item;
        unit.isInOrder = unit.isInOrder && device.condition == Condition::ok;
    }
    return units;
}

// The state of all units, as one entry of the time line after the other tells it.
class Ledger {
public:
    void add(const Entry& entry) {
        if (entry.inventory != nullptr)
            addInventory(entry);
        else if (entry.document != nullptr)
            addEvent(entry);
    }

    Faults result() && {
        for (auto& fault : open_) faults_.open.push_back(std::move(fault.second));
        std::sort(faults_.open.begin(), faults_.open.end(),
                  [](const OpenFault& left, const OpenFault& right) { return left.event < right.event; });
        return std::move(faults_);
    }

private:
    void addEvent(const Entry& entry) {
        if (textOf(*entry.document, {"Source"}) == "VOK-CLI") return;
        const EventKind kind = eventKindOf(member(*entry.document, {"ID"}));
        if (kind.matter == Matter::none) return;
        const UnitKey key{entry.host, kind.matter, subjectOf(itemOf(entry), entry.code)};
        open_.erase(key);
        faults_.recovered.erase(key);
        if (kind.kind == EntryKind::fault)
            open_[key] = {key, &entry, kind.condition, ""};
        else
            faults_.recovered[key] = &entry;
    }

    void addInventory(const Entry& push) {
        const auto units = unitsOf(push);
        for (auto fault = open_.begin(); fault != open_.end();) {
            const auto unit = units.find(fault->first);
            fault = unit != units.end() && closes(unit->second, fault->second, push) ? open_.erase(fault)
                                                                                     : std::next(fault);
        }
        for (auto each = faults_.recovered.begin(); each != faults_.recovered.end();)
            each = std::get<0>(each->first) == push.host ? faults_.recovered.erase(each) : std::next(each);
    }

    static bool closes(const Listed& unit, OpenFault& fault, const Entry& push) {
        fault.inventory.clear();
        if (!unit.isInOrder) return false;
        const Matter matter = std::get<Matter>(fault.key);
        if (matter == Matter::ethernet || matter == Matter::fibreChannel) return true;
        if (identityOf(*unit.item) != identityOf(itemOf(*fault.event))) return true;
        fault.inventory = push.inventory->file;
        return false;
    }

    std::map<UnitKey, OpenFault> open_;
    Faults faults_;
};

}  // namespace

UnitKey keyOf(const std::string& host, const Device& device) {
    return {host, matterOf(device.key), subjectOf(*device.item, device.code)};
}

Faults faultsOf(const std::vector<Entry>& timeline) {
    Ledger ledger;
    for (const Entry& entry : timeline) ledger.add(entry);
    return std::move(ledger).result();
}

}  // namespace simhost
