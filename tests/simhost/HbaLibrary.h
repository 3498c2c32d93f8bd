// A running simulated host with Fibre Channel adapters, and its HBA libraries as an agent uses them.
#pragma once

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <cstring>
#include <memory>

#include "modules/fc/HbaApi.h"
#include "simhost/SimulatedMachine.h"

// A library in the lib of a host's root, registered.
class HbaLibrary {
public:
    HbaLibrary(const std::string& root, const std::string& file)
        : library_(::dlopen((root + "/lib/" + file).c_str(), RTLD_LAZY | RTLD_LOCAL)) {
        EXPECT_NE(library_, nullptr) << ::dlerror();
        const auto registerLibrary =
            reinterpret_cast<fc::Status (*)(fc::EntryPoints*)>(symbol("HBA_RegisterLibrary"));
        EXPECT_NE(registerLibrary, nullptr);
        if (registerLibrary) registered = registerLibrary(&table);
    }
    ~HbaLibrary() {
        if (library_) ::dlclose(library_);
    }
    HbaLibrary(const HbaLibrary&) = delete;
    HbaLibrary& operator=(const HbaLibrary&) = delete;

    void* symbol(const char* name) const { return library_ ? ::dlsym(library_, name) : nullptr; }

    // The name of each adapter that the library lists.
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (std::uint32_t i = 0; i < table.getNumberOfAdapters(); ++i) {
            char name[fc::nameSize];
            std::memset(name, 'x', sizeof(name));
            EXPECT_EQ(table.getAdapterName(i, name), 0u) << i;
            all.emplace_back(name, ::strnlen(name, sizeof(name)));
        }
        return all;
    }
    fc::Handle open(std::string name) const { return table.openAdapter(name.data()); }
    fc::AdapterAttributes attributesOf(fc::Handle handle) const {
        fc::AdapterAttributes attributes;
        std::memset(static_cast<void*>(&attributes), 'x', sizeof(attributes));
        EXPECT_EQ(table.getAdapterAttributes(handle, &attributes), 0u);
        return attributes;
    }
    fc::PortAttributes portOf(fc::Handle handle, std::uint32_t port = 0) const {
        fc::PortAttributes attributes;
        std::memset(static_cast<void*>(&attributes), 'x', sizeof(attributes));
        EXPECT_EQ(table.getAdapterPortAttributes(handle, port, &attributes), 0u);
        return attributes;
    }
    fc::Status portStatus(fc::Handle handle, std::uint32_t port) const {
        fc::PortAttributes attributes;
        return table.getAdapterPortAttributes(handle, port, &attributes);
    }
    fc::Status adapterStatus(fc::Handle handle) const {
        fc::AdapterAttributes attributes;
        return table.getAdapterAttributes(handle, &attributes);
    }

    fc::EntryPoints table{};
    fc::Status registered = 0xDEAD;

private:
    void* library_;
};

class FibreChannelMachine : public SimulatedMachine {
protected:
    // A card listed per port, one listed as a whole, and one with a single port that has no product data.
    static constexpr char description[] = R"json({
      "pci": [
        {"Address": "0000:3b:00.0", "VMkernel Name": "vmhba2", "Vendor Name": "Maker A", "Vendor ID": "0x10df",
         "vpd": {"productName": "Card", "tags": {"PN": "A32002", "SN": "FC1"}}},
        {"Address": "0000:3b:00.1", "VMkernel Name": "vmhba3", "Vendor ID": "0x10df"}],
      "storageAdapters": [
        {"name": "vmhba0", "driver": "ahci", "uid": "sata.vmhba0"},
        {"name": "vmhba2", "driver": "lpfc", "linkState": "link-up", "uid": "fc.20000090fa7c41d0:10000090fa7c41d0",
         "description": "(0000:3b:00.0) A card", "fibreChannel": {"portId": "010200", "speed": "32 Gbps",
         "hardwareVersion": "0c", "optionRomVersion": "12.8", "firmwareVersion": "12.9", "driverVersion": "14"}},
        {"name": "vmhba3", "driver": "lpfc", "linkState": "link-down", "uid": "fc.20000090fa7c41d1:10000090fa7c41d1",
         "description": "(0000:3b:00.1) A card"},
        {"name": "vmhba4", "driver": "ql", "linkState": "link-up", "uid": "fc.200000e08b4a1000:210000e08b4a1000"},
        {"name": "vmhba5", "driver": "ql", "linkState": "link-up", "uid": "fc.200000e08b4a1000:210100e08b4a1000"},
        {"name": "vmhba6", "driver": "ql", "linkState": "link-up", "uid": "fc.200000e08b4a2000:210000e08b4a2000"}],
      "fibreChannelAdapters": [
        {"library": "libvokfca.so", "ports": ["vmhba2", "vmhba3"]},
        {"library": "libvokfcb.so", "ports": ["vmhba4", "vmhba5"], "listed": "per-adapter", "model": "B2",
         "manufacturer": "Maker B", "serialNumber": "SB"},
        {"library": "libvokfcb.so", "ports": ["vmhba6"]}]
    })json";

    void startDescribed(const std::string& text = description) {
        directory.writeFile("host.json", text);
        startHost({}, directory.path() + "/host.json");
    }
    std::unique_ptr<HbaLibrary> library(const char* file) {
        return std::make_unique<HbaLibrary>(root(), file);
    }
    std::unique_ptr<HbaLibrary> first() { return library("libvokfca.so"); }
    std::unique_ptr<HbaLibrary> second() { return library("libvokfcb.so"); }
    std::string localcli(const std::vector<std::string>& words) {
        std::vector<std::string> command{root() + "/bin/localcli"};
        command.insert(command.end(), words.begin(), words.end());
        return runProgram(command).output;
    }
    // The block of a port in `localcli storage san fc list`; empty when it is not listed.
    std::string portBlock(const std::string& name) {
        const std::string all = localcli({"storage", "san", "fc", "list"});
        const std::size_t begin = all.find("   Adapter: " + name + "\n");
        return begin == std::string::npos ? "" : all.substr(begin, all.find("FcDevice:", begin) - begin);
    }
    int refusal(std::vector<std::string> words) {
        words.insert(words.begin(), {VOK_SIMHOST_PROGRAM, "control", "--root", root()});
        return runProgram(words).status;
    }
};
