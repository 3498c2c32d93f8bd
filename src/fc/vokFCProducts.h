// The product table of the Fibre Channel adapters: model name and part numbers by the four PCI ids. Its rows
// are data/fc-products.csv, turned into a source when the agent is built.
#pragma once

#include <map>
#include <string>
#include <vector>

// A text is empty if the product has none.
struct DEV_LIST {
    const char* model;
    const char* partNumberFirstPlatform;          // 7711PID02020001
    const char* partNumberSecondPlatform;         // 7711PID03020102
    const char* partNumberSecondPlatformVariant;  // 7711PID03020101
};

// By vendor, device, subsystem vendor and subsystem device.
extern const std::map<std::vector<int>, DEV_LIST> fcPciIdsModelNameMap;
