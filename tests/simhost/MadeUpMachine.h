// A Linux machine's files, made up for a test: a /sys with PCI functions and network interfaces, linked as
// the kernel links them, and whatever else a test writes.
#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>

#include "support/TemporaryDirectory.h"

class MadeUpMachine {
public:
    using Attributes = std::initializer_list<std::pair<const char*, const char*>>;

    const std::string& root() const { return directory_.path(); }
    void file(const std::string& path, const std::string& content) const {
        directory_.writeFile(path, content);
    }
    void link(const std::string& path, const std::string& target) const {
        const std::filesystem::path place = root() + path;
        std::filesystem::create_directories(place.parent_path());
        std::filesystem::create_symlink(target, place);
    }
    void remove(const std::string& path) const { std::filesystem::remove_all(root() + path); }

    // A function on the root bus; each attribute gets a newline behind it. Gives its directory.
    std::string pciFunction(const std::string& address, Attributes attributes) const {
        const std::string directory = "/sys/devices/pci0000:00/" + address;
        fill(directory, attributes);
        link("/sys/bus/pci/devices/" + address, "../../../devices/pci0000:00/" + address);
        return directory;
    }
    // An interface in the directory of its device; "" for one without.
    void interface(const std::string& name, const std::string& device, Attributes attributes) const {
        const std::string directory = (device.empty() ? "/sys/devices/virtual" : device) + "/net/" + name;
        fill(directory, attributes);
        if (!device.empty()) link(directory + "/device", "../../../" + lastName(device));
        link("/sys/class/net/" + name, "../.." + directory.substr(4));
    }
    // A driver of a device.
    void driver(const std::string& device, const std::string& name) const {
        std::filesystem::create_directories(root() + "/sys/bus/any/drivers/" + name);
        std::string up;
        for (const char each : device)
            if (each == '/') up += "../";
        link(device + "/driver", up.substr(3) + "../sys/bus/any/drivers/" + name);
    }
    // What stands in an attribute of an interface from now on.
    void set(const std::string& interface, const char* attribute, const std::string& value) const {
        file("/sys/class/net/" + interface + "/" + attribute, value + "\n");
    }

private:
    static std::string lastName(const std::string& path) { return path.substr(path.rfind('/') + 1); }
    void fill(const std::string& directory, Attributes attributes) const {
        std::filesystem::create_directories(root() + directory);
        for (const auto& [name, value] : attributes) file(directory + "/" + name, std::string(value) + "\n");
    }

    TemporaryDirectory directory_;
};
