#include "modules/pci/PciTree.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>

#include "common/Text.h"
#include "host/LayoutFiles.h"
#include "modules/pci/PciConfigSpace.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

constexpr char noPhysicalSlot[] = "4294967295";
constexpr char noModule[] = "None";

// Attributes that hold a number of the hardware list as it stands there.
struct Attribute {
    const char* name;
    const char* key;
};
constexpr Attribute attributes[] = {
    {"vendor", "Vendor ID"},
    {"device", "Device ID"},
    {"subsystem_vendor", "SubVendor ID"},
    {"subsystem_device", "SubDevice ID"},
    {"irq", "IRQ"},
    {"revision", "Revision ID"},
};

const PciFunction* parentOf(const PciFunction& function, const std::vector<PciFunction>& functions) {
    PciAddress place;
    unsigned bus = 0, slot = 0, number = 0;
    if (std::sscanf(function.at("Parent Device").c_str(), "PCI %u:%u:%u:%u", &place.segment, &bus, &slot,
                    &number) != 4)
        return nullptr;
    place.bus = static_cast<std::uint8_t>(bus);
    place.slot = static_cast<std::uint8_t>(slot);
    place.function = static_cast<std::uint8_t>(number);
    const auto isIt = [&place](const PciFunction& each) { return each.address == place; };
    const auto found = std::find_if(functions.begin(), functions.end(), isIt);
    return found == functions.end() || &*found == &function || found->at("Device Class") != "0x0604"
               ? nullptr
               : &*found;
}

// Where a link at `place` has to go to reach `target`; both below /sys.
std::string linkTarget(const std::string& place, const std::string& target) {
    return fs::path(target).lexically_relative(fs::path(place).parent_path()).string();
}

class PciTree {
public:
    explicit PciTree(const std::string& sys) : sys_(sys) {}

    void addFunction(const PciFunction& function, const std::string& place) {
        for (const auto& each : attributes) attribute(place + "/" + each.name, function.at(each.key));
        const auto deviceClass = parsePrefixedHexadecimal(function.at("Device Class"));
        const auto interface = parsePrefixedHexadecimal(function.at("Programming Interface"));
        if (deviceClass)
            attribute(place + "/class", formatText("0x%04x%02x", *deviceClass, interface.value_or(0)));
        if (function.linkWidth > 0)
            attribute(place + "/current_link_width", std::to_string(function.linkWidth));
        layOutFile(sys_ + "/" + place + "/config", pciConfigSpace(function));
        const std::string productData = pciProductData(function);
        if (!productData.empty()) layOutFile(sys_ + "/" + place + "/vpd", productData);
        link(place + "/subsystem", "bus/pci");
        link("bus/pci/devices/" + function.at("Address"), place);
        const std::string& module = function.at("Module Name");
        if (!module.empty() && module != noModule && module.find('/') == std::string::npos) {
            const std::string driver = "bus/pci/drivers/" + module;
            link(driver + "/" + function.at("Address"), place);
            link(place + "/driver", driver);
        }
    }

    // A slot has the address of its device without the function. One number for two devices: the kernel puts
    // "-1" and so on behind the later ones.
    void addSlot(const PciFunction& function) {
        const std::string& number = function.at("Physical Slot");
        if (number.empty() || number == noPhysicalSlot ||
            number.find_first_not_of("0123456789") != std::string::npos)
            return;
        const std::string& address = function.at("Address");
        const std::string device = address.substr(0, address.rfind('.'));
        if (!slotted_.insert(device).second) return;
        const unsigned before = slots_[number]++;
        const std::string name = before == 0 ? number : number + "-" + std::to_string(before);
        attribute("bus/pci/slots/" + name + "/address", device);
    }

private:
    // Nothing told: no attribute.
    void attribute(const std::string& place, const std::string& value) {
        if (!value.empty()) layOutFile(sys_ + "/" + place, value + "\n");
    }
    void link(const std::string& place, const std::string& target) {
        writeLink(linkTarget(place, target), sys_ + "/" + place);
    }

    std::string sys_;
    std::set<std::string> slotted_;
    std::map<std::string, unsigned> slots_;
};

}  // namespace

std::string pciDevicePlace(const PciFunction& function, const std::vector<PciFunction>& functions) {
    std::string below;
    const PciFunction* top = &function;
    // Bridges that name one another in a circle end where each had its turn.
    for (std::size_t turns = 0; turns <= functions.size(); ++turns) {
        below = "/" + top->at("Address") + below;
        const PciFunction* parent = parentOf(*top, functions);
        if (!parent || turns == functions.size()) break;
        top = parent;
    }
    return formatText("devices/pci%04x:%02x", top->address.segment, static_cast<unsigned>(top->address.bus)) +
           below;
}

void layOutPciTree(const std::string& sys, const std::vector<PciFunction>& functions) {
    fs::remove_all(sys + "/bus/pci");
    if (fs::exists(sys + "/devices"))
        for (const auto& entry : fs::directory_iterator(sys + "/devices"))
            if (entry.path().filename().string().compare(0, 3, "pci") == 0) fs::remove_all(entry.path());
    for (const char* directory : {"/bus/pci/devices", "/bus/pci/drivers", "/bus/pci/slots", "/devices"})
        fs::create_directories(sys + directory);
    PciTree tree(sys);
    for (const auto& function : functions) {
        tree.addFunction(function, pciDevicePlace(function, functions));
        tree.addSlot(function);
    }
}

}  // namespace simhost
