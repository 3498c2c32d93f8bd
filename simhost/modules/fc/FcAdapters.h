// The Fibre Channel adapters that the vendors' HBA libraries list. What is known of their ports is in the
// storage adapters.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "modules/fc/HbaApi.h"
#include "modules/storage/StorageAdapters.h"

namespace simhost {

class HostDescription;
class Section;

// An entry of a library's list.
struct FcAdapter {
    std::string name;  // "vokfca-vmhba2", after its first port
    std::size_t library = 0;
    std::vector<std::string> ports;              // names of storage adapters
    std::optional<std::uint32_t> reportedPorts;  // none: as many as there are
    std::string manufacturer;
    std::string model;
    std::string serialNumber;
};

struct FcAdapters {
    bool described = false;  // the host has the libraries and their list
    std::vector<FcAdapter> all;
};

// Reads the key "fibreChannelAdapters", after the storage adapters and the PCI functions. Throws
// std::runtime_error.
void parseFcAdapters(Section& root, HostDescription& into);

// The storage adapter that is this port; it is there.
const StorageAdapter& fcPort(const HostDescription& host, const std::string& name);
StorageAdapter& fcPort(HostDescription& host, const std::string& name);

// It has not vanished.
bool isPresent(const HostDescription& host, const FcAdapter& adapter);

// "20:00:00:90:fa:7c:41:d0"; nothing for any other form.
std::optional<fc::Wwn> parseWwn(const std::string& text);

// The text of localcli for a state of a port: a word, or the number of a state without one.
std::string fcStateText(std::uint32_t state);
// The state of such a text; fc::portUnknown for any other.
std::uint32_t fcStateOf(const std::string& text);

}  // namespace simhost
