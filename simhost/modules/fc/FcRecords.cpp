#include "modules/fc/FcRecords.h"

#include <cstring>

#include "common/Hexadecimal.h"
#include "common/HostState.h"

namespace simhost {

namespace {

constexpr std::uint32_t frameSize = 2048;
constexpr std::uint32_t rubbishPorts = 5000;
constexpr char rubbishText = '\xA5';

struct SpeedRow {
    const char* text;
    std::uint32_t bit;
};
constexpr SpeedRow speeds[] = {
    {"1 Gbps", 0x01}, {"2 Gbps", 0x02},  {"4 Gbps", 0x08},  {"8 Gbps", 0x10},
    {"10 Gbps", 0x4}, {"16 Gbps", 0x20}, {"32 Gbps", 0x40},
};

struct TypeRow {
    const char* text;
    std::uint32_t type;
};
constexpr TypeRow types[] = {
    {"NPort", 5}, {"NLPort", 6}, {"FLPort", 7}, {"FPort", 8},
    {"EPort", 9}, {"GPort", 10}, {"LPort", 20}, {"PTP", 21},
};
constexpr std::uint32_t unknownType = 1;

std::uint32_t speedOf(const std::string& text) {
    for (const SpeedRow& each : speeds)
        if (text == each.text) return each.bit;
    return 0;
}

std::uint32_t typeOf(const std::string& text) {
    for (const TypeRow& each : types)
        if (text == each.text) return each.type;
    return unknownType;
}

template <class Record>
std::string bytesOf(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

}  // namespace

std::string fcAdapterRecord(const HostDescription& host, const FcAdapter& adapter) {
    const FibreChannelPort& port = *fcPort(host, adapter.ports.front()).fibreChannel;
    fc::AdapterAttributes record{};
    putText(record.manufacturer, adapter.manufacturer);
    putText(record.serialNumber, adapter.serialNumber);
    putText(record.model, adapter.model);
    putText(record.modelDescription, port.modelDescription);
    record.nodeWwn = *parseWwn(port.nodeName);
    putText(record.nodeSymbolicName, adapter.model + " FV" + port.firmwareVersion);
    putText(record.hardwareVersion, port.hardwareVersion);
    putText(record.driverVersion, port.driverVersion);
    putText(record.optionRomVersion, port.optionRomVersion);
    putText(record.firmwareVersion, port.firmwareVersion);
    record.numberOfPorts = adapter.reportedPorts.value_or(static_cast<std::uint32_t>(adapter.ports.size()));
    putText(record.driverName, port.driverName);
    return bytesOf(record);
}

std::string fcPortRecord(const StorageAdapter& adapter) {
    const FibreChannelPort& port = *adapter.fibreChannel;
    fc::PortAttributes record{};
    record.nodeWwn = *parseWwn(port.nodeName);
    record.portWwn = *parseWwn(port.portName);
    record.portState = fcStateOf(port.portState);
    const bool online = isOnline(port);
    record.portFcId = online ? parseHexadecimal(port.portId).value_or(0) : 0;
    record.portType = online ? typeOf(port.portType) : unknownType;
    putText(record.portSymbolicName, port.modelDescription + " " + adapter.name);
    putText(record.osDeviceName, adapter.name);
    record.supportedSpeed = speedOf(port.speed);
    record.speed = online ? record.supportedSpeed : 0;
    record.maxFrameSize = frameSize;
    return bytesOf(record);
}

std::string fcStatisticsRecord(const StorageAdapter& adapter) {
    fc::PortStatistics record{};
    const std::int64_t sent = isOnline(*adapter.fibreChannel) ? 4000 : 0;
    for (std::size_t i = 1; i <= 4; ++i) record.counters[i] = sent;  // frames and words of both directions
    return bytesOf(record);
}

std::string fcNameRecord(const std::string& name) {
    std::string record = name.substr(0, fc::nameSize - 1);
    record += '\0';
    return record;
}

std::string fcRubbishRecord(FcEntry entry) {
    if (entry == FcEntry::getAdapterName) return std::string(fc::nameSize, rubbishText);
    if (entry == FcEntry::getPortStatistics) return std::string(sizeof(fc::PortStatistics), rubbishText);
    if (entry != FcEntry::getAdapterAttributes) return std::string(sizeof(fc::PortAttributes), rubbishText);
    fc::AdapterAttributes record;
    std::memset(static_cast<void*>(&record), rubbishText, sizeof(record));
    record.numberOfPorts = rubbishPorts;
    return bytesOf(record);
}

}  // namespace simhost
