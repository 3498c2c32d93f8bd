// The product table of the Ethernet adapters: model name and part numbers by the four PCI ids. Its rows are
// data/nic-products.csv, turned into a source when the agent is built.
#pragma once

#include <cstddef>
#include <string>

// Ids are "0x" and four lower-case digits. A text is empty if the product has none.
struct vokNICProduct {
    const char* vendor;
    const char* device;
    const char* subVendor;
    const char* subDevice;
    const char* model;
    const char* partNumberFirstPlatform;          // 7711PID02020001
    const char* partNumberSecondPlatform;         // 7711PID03020102
    const char* partNumberSecondPlatformVariant;  // 7711PID03020101
};

extern const vokNICProduct vokNICProducts[];
extern const std::size_t vokNICProductCount;

// The row of the four ids, ignoring case, or null.
const vokNICProduct* vokFindNICProduct(const std::string& vendor, const std::string& device,
                                       const std::string& subVendor, const std::string& subDevice);
