#include "platform/pci/vokPciIds.h"

#include <algorithm>
#include <cctype>

#include "platform/access/vokMallocPtr.h"
#include "platform/pci/vokReadFile.h"

namespace {

constexpr const char* usualPaths[] = {"/usr/share/hwdata/pci.ids", "/usr/share/pci.ids",
                                      "/usr/share/misc/pci.ids"};
constexpr std::size_t maxNameLength = 255;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

// Removes `digits` hexadecimal digits, which a blank or the end must follow, and then blanks from the front.
bool takeNumber(std::string_view& text, std::size_t digits, unsigned& value) {
    if (text.size() < digits || (text.size() > digits && !isBlank(text[digits]))) return false;
    value = 0;
    for (std::size_t i = 0; i < digits; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (!std::isxdigit(c)) return false;
        value = value * 16 + static_cast<unsigned>(std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10);
    }
    text.remove_prefix(digits);
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    return true;
}

std::string nameFrom(std::string_view text) {
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return std::string(text.substr(0, maxNameLength));
}

// Reads line by line and keeps the entries to which the next indented line belongs.
class Reader {
public:
    explicit Reader(pci_ids& ids) : ids_(ids) {}

    void take(std::string_view line) {
        if (line.empty() || line[0] == '#') return;
        std::size_t depth = 0;
        while (depth < line.size() && line[depth] == '\t') ++depth;
        line.remove_prefix(depth);
        if (depth == 0)
            takeHead(line);
        else if (depth == 1)
            takeChild(line);
        else if (depth == 2)
            takeGrandchild(line);
    }

private:
    void takeHead(std::string_view line) {
        vendor_ = nullptr;
        device_ = nullptr;
        class_ = nullptr;
        subclass_ = nullptr;
        unsigned id = 0;
        if (line.substr(0, 2) == "C ") {
            line.remove_prefix(2);
            if (takeNumber(line, 2, id)) class_ = addClass(ids_.classes, id, line);
        } else if (takeNumber(line, 4, id)) {
            ids_.vendors.push_back({static_cast<std::uint16_t>(id), nameFrom(line), {}});
            vendor_ = &ids_.vendors.back();
        }
    }

    void takeChild(std::string_view line) {
        device_ = nullptr;
        subclass_ = nullptr;
        unsigned id = 0;
        if (vendor_ && takeNumber(line, 4, id)) {
            vendor_->devices.push_back({static_cast<std::uint16_t>(id), nameFrom(line), {}});
            device_ = &vendor_->devices.back();
        } else if (class_ && takeNumber(line, 2, id)) {
            subclass_ = addClass(class_->subclasses, id, line);
        }
    }

    void takeGrandchild(std::string_view line) {
        unsigned vendor = 0;
        unsigned id = 0;
        if (device_ && takeNumber(line, 4, vendor) && takeNumber(line, 4, id))
            device_->subsystems.push_back(
                {static_cast<std::uint16_t>(vendor), static_cast<std::uint16_t>(id), nameFrom(line)});
        else if (subclass_ && takeNumber(line, 2, id))
            addClass(subclass_->subclasses, id, line);
    }

    static pci_class* addClass(std::list<pci_class>& classes, unsigned id, std::string_view name) {
        classes.push_back({static_cast<std::uint8_t>(id), nameFrom(name), {}});
        return &classes.back();
    }

    pci_ids& ids_;
    pci_vendor* vendor_ = nullptr;
    pci_device* device_ = nullptr;
    pci_class* class_ = nullptr;
    pci_class* subclass_ = nullptr;
};

template <typename Entry, typename Fits>
const Entry* firstMatch(const std::list<Entry>& list, Fits fits) {
    const auto found = std::find_if(list.begin(), list.end(), fits);
    return found == list.end() ? nullptr : &*found;
}

template <typename Entry>
const Entry* firstWithId(const std::list<Entry>& list, unsigned id) {
    return firstMatch(list, [id](const Entry& entry) { return entry.id == id; });
}

template <typename Entry>
const Entry* firstNamed(const std::list<Entry>& list, std::string_view text) {
    const auto same = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return firstMatch(list, [&](const Entry& entry) {
        const auto end = entry.name.end();
        return text.empty() || std::search(entry.name.begin(), end, text.begin(), text.end(), same) != end;
    });
}

}  // namespace

bool scan_hw_ids(pci_ids& ids) {
    for (const char* path : usualPaths) {
        const vokMallocPtr<char> file(ReadFile(path));
        if (!file) continue;
        scan_hw_ids_text({ReadFileData(file.get()), ReadFileLength(file.get())}, ids);
        return true;
    }
    return false;
}

void scan_hw_ids_text(std::string_view text, pci_ids& ids) {
    Reader reader(ids);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        reader.take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

const pci_vendor* vendor_find(const pci_ids& ids, std::uint16_t vendor) {
    return firstWithId(ids.vendors, vendor);
}

const pci_device* device_find(const pci_vendor& vendor, std::uint16_t device) {
    return firstWithId(vendor.devices, device);
}

const pci_subsystem* subsystem_find(const pci_device& device, std::uint16_t subsystemVendor,
                                    std::uint16_t subsystemDevice) {
    return firstMatch(device.subsystems, [=](const pci_subsystem& entry) {
        return entry.vendor == subsystemVendor && entry.device == subsystemDevice;
    });
}

const pci_class* class_find(const pci_ids& ids, std::uint32_t classCode) {
    const pci_class* const base = firstWithId(ids.classes, classCode >> 16);
    const pci_class* const subclass = base ? firstWithId(base->subclasses, classCode >> 8 & 0xFF) : nullptr;
    const pci_class* const interface =
        subclass ? firstWithId(subclass->subclasses, classCode & 0xFF) : nullptr;
    if (interface) return interface;
    return subclass ? subclass : base;
}

const pci_vendor* vendor_search(const pci_ids& ids, std::string_view text) {
    return firstNamed(ids.vendors, text);
}

const pci_device* device_search(const pci_vendor& vendor, std::string_view text) {
    return firstNamed(vendor.devices, text);
}

const pci_subsystem* subsystem_search(const pci_device& device, std::string_view text) {
    return firstNamed(device.subsystems, text);
}

const pci_class* class_search(const pci_ids& ids, std::string_view text) {
    return firstNamed(ids.classes, text);
}
