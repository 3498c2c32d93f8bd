#include "live/PciReader.h"

#include <map>

#include "common/Text.h"

namespace simhost {

namespace {

constexpr char functionsDirectory[] = "/sys/bus/pci/devices/";
constexpr char slotsDirectory[] = "/sys/bus/pci/slots/";

// The kernel's words for the ways in which it can reset a function, best first.
constexpr struct {
    const char* kernel;
    const char* listed;
} resetMethods[] = {
    {"flr", "Function reset"},
    {"pm", "D3Hot"},
    {"bus", "Link reset"},
    {"", "None"},
};

unsigned byteAt(const std::string& bytes, std::size_t at) {
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0;
}

// The names of the slots by the address of what is in them, which is one without the function.
std::map<std::string, std::string> slotsByDevice(const MachineFiles& files) {
    std::map<std::string, std::string> slots;
    for (const auto& name : files.names(slotsDirectory))
        slots.emplace(files.line(slotsDirectory + name + "/address"), name);
    return slots;
}

}  // namespace

std::vector<PciFunction> PciReader::functions() const {
    std::map<std::string, std::string> interfaces;  // by the address of the function behind them
    for (const auto& name : network_.ethernetInterfaces())
        interfaces.emplace(network_.pciAddress(name), name);
    const auto slots = slotsByDevice(files_);

    std::vector<PciFunction> functions;
    for (const auto& name : files_.names(functionsDirectory)) {
        const auto address = parsePciAddress(name);
        if (!address) continue;
        PciFunction made = usualPciFunction(*address);
        const std::string directory = functionsDirectory + name;
        identify(made, directory);
        readConfigurationSpace(made, directory);
        place(made, directory);
        if (const auto found = interfaces.find(name); found != interfaces.end())
            made.listed["VMkernel Name"] = asWord(found->second);
        if (const auto found = slots.find(name.substr(0, name.rfind('.'))); found != slots.end())
            made.listed["Physical Slot"] = asWord(found->second);
        functions.push_back(std::move(made));
    }
    return functions;
}

void PciReader::identify(PciFunction& function, const std::string& directory) const {
    const auto number = [this, &directory](const char* attribute) {
        return static_cast<std::uint32_t>(files_.number(directory + attribute).value_or(0));
    };
    const std::uint32_t vendor = number("/vendor") & 0xffff;
    const std::uint32_t device = number("/device") & 0xffff;
    const std::uint32_t deviceClass = number("/class") & 0xffffff;
    function.listed["Vendor ID"] = formatText("0x%04x", vendor);
    function.listed["Device ID"] = formatText("0x%04x", device);
    function.listed["SubVendor ID"] = formatText("0x%04x", number("/subsystem_vendor") & 0xffff);
    function.listed["SubDevice ID"] = formatText("0x%04x", number("/subsystem_device") & 0xffff);
    function.listed["Device Class"] = formatText("0x%04x", deviceClass >> 8);
    function.listed["Programming Interface"] = formatText("0x%02x", deviceClass & 0xff);
    function.listed["Revision ID"] = formatText("0x%02x", number("/revision") & 0xff);
    function.listed["IRQ"] = std::to_string(number("/irq"));
    function.listed["Vendor Name"] = names_.vendor(vendor);
    function.listed["Device Name"] = names_.device(vendor, device);
    function.listed["Device Class Name"] = names_.deviceClass(deviceClass >> 8);
}

// The head of the configuration space, which every user may read.
void PciReader::readConfigurationSpace(PciFunction& function, const std::string& directory) const {
    constexpr std::size_t headLength = 64;
    constexpr unsigned bridge = 1;
    const std::string head = files_.read(directory + "/config", headLength).value_or("");
    if (head.size() < headLength) return;
    if ((byteAt(head, 0x0e) & 0x7f) == bridge)
        function.listed["Spawned Bus"] = formatText("0x%02x", byteAt(head, 0x19));
    function.listed["Interrupt Line"] = formatText("0x%02x", byteAt(head, 0x3c));
    function.listed["PCI Pin"] = formatText("0x%02x", byteAt(head, 0x3d));
}

void PciReader::place(PciFunction& function, const std::string& directory) const {
    const std::string real = files_.resolved(directory);
    const std::string above = real.substr(0, real.rfind('/'));
    if (const auto parent = parsePciAddress(above.substr(above.rfind('/') + 1)))
        function.listed["Parent Device"] = pciListAddress(*parent);
    std::string module = files_.resolvedName(directory + "/driver/module");
    if (module.empty()) module = files_.resolvedName(directory + "/driver");  // one that is built in
    function.listed["Module Name"] = asWord(module, "None");
    function.listed["Passthru Capable"] = files_.exists(directory + "/iommu_group") ? "true" : "false";
    const std::string methods = " " + files_.line(directory + "/reset_method") + " ";
    for (const auto& each : resetMethods) {
        const std::string word = *each.kernel ? " " + std::string(each.kernel) + " " : "";
        if (methods.find(word) == std::string::npos) continue;
        function.listed["Reset Method"] = each.listed;
        break;
    }
}

}  // namespace simhost
