#include "nic/vokNICProducts.h"

#include <strings.h>

const vokNICProduct* vokFindNICProduct(const std::string& vendor, const std::string& device,
                                       const std::string& subVendor, const std::string& subDevice) {
    const auto same = [](const std::string& id, const char* column) {
        return ::strcasecmp(id.c_str(), column) == 0;
    };
    for (std::size_t i = 0; i < vokNICProductCount; ++i) {
        const vokNICProduct& row = vokNICProducts[i];
        if (same(vendor, row.vendor) && same(device, row.device) && same(subVendor, row.subVendor) &&
            same(subDevice, row.subDevice))
            return &row;
    }
    return nullptr;
}
