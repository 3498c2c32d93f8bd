// A fake of a vendor's HBA library: adapters that a test changes between the calls, below the common HBA
// layer of the agent. It records its calls; a call with a handle that is not open fails.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "fc/hbaapi/hbaapi.h"

class FakeHost;

struct FakeHbaPort {
    HBA_UINT8 number = 0;  // the last byte of its port name, which is 10:00:00:00:c9:00:00:NN
    HBA_PORTSTATE state = HBA_PORTSTATE_ONLINE;
    HBA_STATUS status = HBA_STATUS_OK;  // of its attributes
};

struct FakeHbaAdapter {
    std::string name;
    HBA_UINT8 number = 0;   // the last byte of its node name, which is 20:00:00:00:c9:00:00:NN
    HBA_HANDLE handle = 1;  // of its opening; 0 fails
    std::vector<FakeHbaPort> ports{1};
    HBA_STATUS status = HBA_STATUS_OK;  // of its attributes
    // Texts longer than their field are cut, without a NUL.
    std::string model = "LPe32002-M2";
    std::string serialNumber = "FC00000001";
    std::string firmwareVersion = "12.8.340.8";
    std::string romVersion = "12.8.340.7";
    std::optional<HBA_UINT32> reportedPorts = {};  // instead of the number of ports
};

class FakeHbaLibrary {
public:
    // Installs itself as the only library of the list of `host`. One at a time.
    explicit FakeHbaLibrary(FakeHost& host);
    ~FakeHbaLibrary();
    FakeHbaLibrary(const FakeHbaLibrary&) = delete;
    FakeHbaLibrary& operator=(const FakeHbaLibrary&) = delete;

    // --- what a test sets ---
    std::vector<FakeHbaAdapter> adapters;
    // Called with each call before it is answered.
    std::function<void(const std::string& call)> onCall;

    // --- what a test reads ---
    // The calls since the last take, without those that count and name the adapters: "load", "open NAME",
    // "close HANDLE", "attributes HANDLE", "port HANDLE PORT".
    std::vector<std::string> takeCalls();
    long allCalls() const { return allCalls_; }  // including those that count and name the adapters

private:
    static HBA_STATUS registerLibrary(HBA_ENTRYPOINTS* entryPoints);
    void begin(const std::string& call, bool isRecorded = true);
    FakeHbaAdapter* find(HBA_HANDLE handle);
    HBA_STATUS name(HBA_UINT32 index, char* out);
    HBA_HANDLE open(const char* adapter);
    HBA_STATUS attributes(HBA_HANDLE handle, HBA_ADAPTERATTRIBUTES& out);
    HBA_STATUS portAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES& out);

    std::vector<std::string> calls_;
    long allCalls_ = 0;
};
