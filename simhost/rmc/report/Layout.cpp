#include "rmc/report/Layout.h"

#include <algorithm>
#include <set>
#include <utility>

#include "common/Text.h"
#include "rmc/JsonMembers.h"

namespace simhost {

namespace {

constexpr unsigned mostEmptyCells = 24;

using Cells = std::map<unsigned, Cell>;

// The cells of a partition before they are put in order.
struct Partition {
    Cells slots;
    Cells bays;
    std::vector<const Device*> others;                       // backplanes and units outside of the chassis
    std::map<unsigned, std::vector<const Device*>> volumes;  // by the slot of their controller
};

void addTo(Cells& cells, const Device& device) {
    Cell& cell = cells[device.place->number];
    cell.name = nameOf(*device.place);
    if (cell.geoId.empty()) cell.geoId = device.geoId;
    // On board each port has a code of its own.
    if (cell.code.empty()) cell.code = device.code;
    cell.devices.push_back(&device);
}

void addTo(Partition& partition, const Device& device) {
    if (device.is("Volumes"))
        partition.volumes[device.place->number].push_back(&device);
    else if (device.place->kind == Place::Kind::slot)
        addTo(partition.slots, device);
    else if (device.place->kind == Place::Kind::bay)
        addTo(partition.bays, device);
    else
        partition.others.push_back(&device);
}

// In order of the numbers, with an empty cell for each number between 1 and the last one that nothing has.
std::vector<Cell> inOrder(Cells cells, const char* word, int digits = 1) {
    std::vector<Cell> ordered;
    const unsigned last = cells.empty() ? 0 : cells.rbegin()->first;
    for (unsigned number = 0; number <= last; ++number) {
        const auto found = cells.find(number);
        if (found != cells.end()) {
            ordered.push_back(std::move(found->second));
        } else if (number > 0 && last <= mostEmptyCells) {
            Cell empty;
            empty.name = formatText("%s %0*u", word, digits, number);
            ordered.push_back(std::move(empty));
        }
    }
    return ordered;
}

void addBank(std::vector<Bank>& banks, Bank::Shape shape, const std::string& name, std::vector<Cell> cells) {
    if (cells.empty()) return;
    Bank bank;
    bank.shape = shape;
    bank.name = name;
    bank.cells = std::move(cells);
    banks.push_back(std::move(bank));
}

std::vector<Cell> volumeCells(const std::map<unsigned, std::vector<const Device*>>& volumes) {
    std::vector<Cell> cells;
    for (const auto& [slot, devices] : volumes) {
        Cell cell;
        cell.name = slot == 0 ? "On board" : formatText("At slot %02u", slot);
        cell.devices = devices;
        cells.push_back(std::move(cell));
    }
    return cells;
}

std::vector<Cell> otherCells(const std::vector<const Device*>& devices) {
    std::vector<Cell> cells;
    for (const Device* device : devices) {
        Cell cell;
        cell.name = nameOf(*device->place);
        cell.code = device->code;
        cell.devices = {device};
        cells.push_back(std::move(cell));
    }
    return cells;
}

void addBanks(std::vector<Bank>& banks, const std::string& partitionName, Partition partition) {
    const std::string of = partitionName.empty() ? "" : ", partition " + partitionName;
    addBank(banks, Bank::Shape::slots, "Slots" + of, inOrder(std::move(partition.slots), "Slot", 2));
    addBank(banks, Bank::Shape::bays, "Drive bays" + of, inOrder(std::move(partition.bays), "Bay"));
    addBank(banks, Bank::Shape::volumes, "Volumes" + of, volumeCells(partition.volumes));
    addBank(banks, Bank::Shape::slots, "Backplanes and external units" + of, otherCells(partition.others));
}

// Where the controller of a drive is, as far as a volume tells it.
std::map<std::string, std::string> controllersBySerial(const std::vector<Device>& devices) {
    std::map<std::string, std::string> controllers;
    for (const Device& device : devices) {
        if (!device.is("Volumes") || !device.place) continue;
        const Json::Value& members = member(*device.item, {"Drives"});
        for (Json::ArrayIndex i = 0; members.isArray() && i < members.size(); ++i)
            controllers[textOf(members[i])] = locationInWords(*device.place);
    }
    return controllers;
}

// Drives of one enclosure. Two controllers may number their enclosures alike: a slot that is already taken
// begins the next group, as the inventory lists one controller after the other.
struct EnclosureGroup {
    Cells cells;
    std::set<std::string> controllers;
};

void addTo(std::vector<EnclosureGroup>& groups, const Device& drive, const std::string& controller) {
    if (groups.empty() || groups.back().cells.count(drive.enclosureSlot) != 0) groups.emplace_back();
    EnclosureGroup& group = groups.back();
    Cell& cell = group.cells[drive.enclosureSlot];
    cell.name = formatText("Slot %u", drive.enclosureSlot);
    cell.code = drive.place ? drive.code : "";
    cell.devices.push_back(&drive);
    if (!controller.empty()) group.controllers.insert(controller);
}

std::vector<Bank> enclosureBanks(const std::vector<Device>& devices) {
    const auto controllers = controllersBySerial(devices);
    std::map<std::string, std::vector<EnclosureGroup>> enclosures;
    for (const Device& device : devices) {
        if (device.enclosure.empty() || (device.place && device.place->kind == Place::Kind::bay)) continue;
        const auto found = controllers.find(textOf(*device.item, {"SerialNumber"}));
        addTo(enclosures[device.enclosure], device, found == controllers.end() ? "" : found->second);
    }
    std::vector<Bank> banks;
    for (auto& [enclosure, groups] : enclosures)
        for (EnclosureGroup& group : groups) {
            std::string name = "Enclosure " + enclosure;
            if (!group.controllers.empty())
                name += ", controller in " +
                        listed(std::vector<std::string>(group.controllers.begin(), group.controllers.end()));
            addBank(banks, Bank::Shape::bays, name, inOrder(std::move(group.cells), "Slot"));
        }
    return banks;
}

}  // namespace

Layout layOutDevices(const std::vector<Device>& devices) {
    Layout layout;
    std::map<std::string, std::map<std::string, Partition>> chassis;
    for (const Device& device : devices) {
        const bool inEnclosure = !device.enclosure.empty();
        if (device.place && (!inEnclosure || device.place->kind == Place::Kind::bay))
            addTo(chassis[device.place->chassis][device.place->partition], device);
        else if (!inEnclosure)
            layout.unplaced.push_back(&device);
    }
    for (auto& [name, partitions] : chassis) {
        Chassis one;
        one.name = name;
        one.words = chassisInWords(name);
        for (auto& [partitionName, partition] : partitions)
            addBanks(one.banks, partitionName, std::move(partition));
        layout.chassis.push_back(std::move(one));
    }
    layout.enclosures = enclosureBanks(devices);
    return layout;
}

}  // namespace simhost
