// A polled door-bell buffer of any bytes is read as one of its answers, and not beyond its 254 bytes.
#include <algorithm>
#include <vector>

#include "FuzzInput.h"
#include "rmc/ipmi/vokipmi.h"
#include "vokFuzzHost.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto* const controller = new ipmi::IPMIUtils;
    std::vector<unsigned char> buffer(254);  // of its exact size, so that a byte beyond it is noticed
    std::copy(data, data + std::min(size, buffer.size()), buffer.begin());
    const std::vector<unsigned char> before = buffer;

    const std::string text(buffer.begin(), std::find(buffer.begin(), buffer.end(), 0));
    const bool isRequest = text.find("WriteInventory") != std::string::npos;
    require(controller->checkIPMIBuffer(1, buffer.data()) == (isRequest ? 1 : 0));
    const std::vector<unsigned char> one = {1, 0, 0, 0};
    require(controller->checkIPMIBuffer(2, buffer.data()) ==
            (std::equal(one.begin(), one.end(), buffer.begin()) ? 1 : 2));
    for (const int type : {-1, 0, 3, 0x81}) require(controller->checkIPMIBuffer(type, buffer.data()) == 0);
    require(buffer == before);
    return 0;
}
