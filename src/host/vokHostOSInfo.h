// What is known of the host's operating system: one record, copied by value.
#pragma once

#include <string>
#include <utility>
#include <vector>

class vokHostMemorySummary {
public:
    double getTotalSystemMemGiB() const { return TotalSystemMemGiB; }
    void setTotalSystemMemGiB(double value) { TotalSystemMemGiB = value; }
    double getTotalFreeSystemMemGiB() const { return TotalFreeSystemMemGiB; }
    void setTotalFreeSystemMemGiB(double value) { TotalFreeSystemMemGiB = value; }

private:
    double TotalSystemMemGiB = 0.0;
    double TotalFreeSystemMemGiB = 0.0;
};

class vokHostIPv4Addresses {
public:
    const std::vector<std::string>& getAddresses() const { return addresses; }
    void setAddresses(std::vector<std::string> value) { addresses = std::move(value); }

private:
    std::vector<std::string> addresses;
};

class vokHostOSInfo {
public:
    const std::string& getHostName() const { return hostName; }
    void setHostName(std::string value) { hostName = std::move(value); }
    const std::string& getOSName() const { return osName; }
    void setOSName(std::string value) { osName = std::move(value); }
    const std::string& getOSVersion() const { return osVersion; }
    void setOSVersion(std::string value) { osVersion = std::move(value); }
    const std::string& getOSDescription() const { return osDescription; }
    void setOSDescription(std::string value) { osDescription = std::move(value); }
    int getOSType() const { return osType; }
    void setOSType(int value) { osType = value; }
    const vokHostMemorySummary& getOSMemorySummary() const { return memorySummary; }
    // Both in GiB.
    void setOSMemorySummary(double total, double free) {
        memorySummary.setTotalSystemMemGiB(total);
        memorySummary.setTotalFreeSystemMemGiB(free);
    }
    const vokHostIPv4Addresses& getIPv4Addresses() const { return ipv4Addresses; }
    void setIPv4Addresses(std::vector<std::string> value) { ipv4Addresses.setAddresses(std::move(value)); }
    const std::string& getVokSwVersion() const { return vokSwVersion; }
    void setVokSwVersion(std::string value) { vokSwVersion = std::move(value); }

    // Part of the record, but nothing fills them on this kind of host.
    const std::string& getKernelCommandLine() const { return kernelCommandLine; }
    void setKernelCommandLine(std::string value) { kernelCommandLine = std::move(value); }
    const std::string& getCrashKernelCommand() const { return crashKernelCommand; }
    void setCrashKernelCommand(std::string value) { crashKernelCommand = std::move(value); }
    long getCrashKernelMemory() const { return crashKernelMemory; }  // bytes
    void setCrashKernelMemory(long value) { crashKernelMemory = value; }
    const std::string& getCrashKernelLoaded() const { return crashKernelLoaded; }
    void setCrashKernelLoaded(std::string value) { crashKernelLoaded = std::move(value); }
    const std::string& getKdumpServicesEnabled() const { return kdumpServicesEnabled; }
    void setKdumpServicesEnabled(std::string value) { kdumpServicesEnabled = std::move(value); }
    const std::string& getKdumpServicesStatus() const { return kdumpServicesStatus; }
    void setKdumpServicesStatus(std::string value) { kdumpServicesStatus = std::move(value); }
    const std::string& getSoftwareInstalled() const { return softwareInstalled; }
    void setSoftwareInstalled(std::string value) { softwareInstalled = std::move(value); }
    const std::string& getTelemetrySchemaVersion() const { return telemetrySchemaVersion; }
    void setTelemetrySchemaVersion(std::string value) { telemetrySchemaVersion = std::move(value); }

private:
    std::string hostName;
    std::string osName;
    std::string osVersion;
    std::string osDescription;
    int osType = 0;
    vokHostMemorySummary memorySummary;
    vokHostIPv4Addresses ipv4Addresses;
    std::string kernelCommandLine;
    std::string crashKernelCommand;
    long crashKernelMemory = 0;
    std::string crashKernelLoaded;
    std::string kdumpServicesEnabled;
    std::string kdumpServicesStatus;
    std::string softwareInstalled;
    std::string vokSwVersion;
    std::string telemetrySchemaVersion;
};

// How and when the inventory was collected.
class vokCollectionInfo {
public:
    const std::string& getCollectionType() const { return CollectionType; }
    void setCollectionType(std::string value) { CollectionType = std::move(value); }
    int getCollectionFrequencyMin() const { return CollectionFrequencyMin; }
    void setCollectionFrequencyMin(int value) { CollectionFrequencyMin = value; }
    const std::string& getLastCollection() const { return LastCollection; }
    void setLastCollection(std::string value) { LastCollection = std::move(value); }

private:
    std::string CollectionType;
    int CollectionFrequencyMin = 0;
    std::string LastCollection;
};
