// The record of the host's operating system and its parts: plain values with accessors.
#pragma once

#include <string>
#include <vector>

class vokHostMemorySummary {
public:
    double getTotalSystemMemGiB() const { return totalSystemMemGiB; }
    double getTotalFreeSystemMemGiB() const { return totalFreeSystemMemGiB; }
    void setTotalSystemMemGiB(double value) { totalSystemMemGiB = value; }
    void setTotalFreeSystemMemGiB(double value) { totalFreeSystemMemGiB = value; }

private:
    double totalSystemMemGiB = 0.0;
    double totalFreeSystemMemGiB = 0.0;
};

class vokHostIPv4Addresses {
public:
    const std::vector<std::string>& getAddresses() const { return addresses; }
    void setAddresses(std::vector<std::string> value) { addresses = std::move(value); }

private:
    std::vector<std::string> addresses;
};

class vokCollectionInfo {
public:
    const std::string& getCollectionType() const { return collectionType; }
    int getCollectionFrequencyMin() const { return collectionFrequencyMin; }
    const std::string& getLastCollection() const { return lastCollection; }
    void setCollectionType(std::string value) { collectionType = std::move(value); }
    void setCollectionFrequencyMin(int value) { collectionFrequencyMin = value; }
    void setLastCollection(std::string value) { lastCollection = std::move(value); }

private:
    std::string collectionType;
    int collectionFrequencyMin = 0;
    std::string lastCollection;  // local time in the format of the log
};

class vokHostOSInfo {
public:
    const std::string& getHostName() const { return hostName; }
    const std::string& getOSName() const { return osName; }
    const std::string& getOSVersion() const { return osVersion; }
    const std::string& getOSDescription() const { return osDescription; }
    int getOSType() const { return osType; }
    const vokHostMemorySummary& getOSMemorySummary() const { return memorySummary; }
    const vokHostIPv4Addresses& getIPv4Addresses() const { return ipv4Addresses; }
    const std::string& getVokSwVersion() const { return vokSwVersion; }

    void setHostName(std::string value) { hostName = std::move(value); }
    void setOSName(std::string value) { osName = std::move(value); }
    void setOSVersion(std::string value) { osVersion = std::move(value); }
    void setOSDescription(std::string value) { osDescription = std::move(value); }
    void setOSType(int value) { osType = value; }
    // Both in GiB.
    void setOSMemorySummary(double total, double free) {
        memorySummary.setTotalSystemMemGiB(total);
        memorySummary.setTotalFreeSystemMemGiB(free);
    }
    void setIPv4Addresses(std::vector<std::string> value) { ipv4Addresses.setAddresses(std::move(value)); }
    void setVokSwVersion(std::string value) { vokSwVersion = std::move(value); }

private:
    std::string hostName;
    std::string osName;
    std::string osVersion;
    std::string osDescription;
    int osType = 0;
    vokHostMemorySummary memorySummary;
    vokHostIPv4Addresses ipv4Addresses;
    // Parts of the record that are not filled on this platform.
    std::string kernelCommandLine;
    std::string crashKernelCommand;
    [[maybe_unused]] long crashKernelMemory = 0;  // bytes
    std::string crashKernelLoaded;
    std::string kdumpServicesEnabled;
    std::string kdumpServicesStatus;
    std::string installedSoftware;
    std::string vokSwVersion;
    std::string telemetrySchemaVersion;
};
