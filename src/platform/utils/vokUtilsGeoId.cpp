#include <cstdio>

#include "core/base/vokLog.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/firmware/vokSmBiosRecords.h"
#include "platform/utils/vokExpression.h"
#include "platform/utils/vokUtils.h"

std::map<std::string, std::string> vokUtils::geoIDMap;
std::atomic<bool> vokUtils::geoIDSplitRegexCompiled{false};
std::mutex vokUtils::geoIDSplitMutex;
std::string vokUtils::geoIDSplitExpression;
regex_t vokUtils::geoIDSplitExp;

namespace {

// "\b" is the C library's word boundary: words consist of letters, digits and underscores.
constexpr const char* designationExpression = "\\b(r[0-9]{3}u[0-9]{2}p[0-9]i[0-9]{2})\\b";
constexpr const char* firstPlatformSplit = "^r([0-9]{3})u([0-9]{2})p([0-9])i([0-9]{2})$";
constexpr const char* secondPlatformSplit = "^r([0-9]{3})i([0-9]{2})s([0-9]{2})$";
constexpr std::size_t maxElementCount = 4;

constexpr std::size_t wholeRest = std::string::npos;
constexpr std::size_t onboardGeoIDLength = 10;

// The PCI address of a record's function.
struct Address {
    unsigned segment;
    unsigned bus;
    unsigned device;
    unsigned function;
};

Address addressOf(const DmiSystemSlot& slot) {
    const unsigned deviceFunction = slot.devFuncNum;
    return {slot.segmentGroupNum, slot.busNum, deviceFunction >> 3, deviceFunction & 7};
}

Address addressOf(const DmiOnboardDeviceEx& device) {
    return {device.segmentGroupNum, device.busNum, device.devNum, device.funcNum};
}

// On the second platform the text after the first blank, or the whole text without a blank; at most `length`
// characters of it.
std::string geoIDOf(const std::string& designation, std::size_t length) {
    if (!vokIsSecondPlatform(vokUtils::getPlatformFamily()))
        return vokUtils::getGeoIDFromDesignation(designation);
    return designation.substr(designation.find(' ') + 1, length);
}

template <typename Record>
void addGeoID(const Record& record, std::size_t length, std::map<std::string, std::string>& map) {
    const Address address = addressOf(record);
    VOK_LOG_DEBUG("VOK_UTILS", "designation: %s, segmentGroupNum: 0x%x, busNum: 0x%x, evFuncNum: 0x%x",
                  record.designation, address.segment, address.bus, address.device << 3 | address.function);
    char key[256];
    if (std::snprintf(key, sizeof(key), "%04x:%02x:%02x.%x", address.segment, address.bus, address.device,
                      address.function) < 0) {
        VOK_LOG_WARNING("VOK_UTILS", "Encountered incorrect parsing of BDF characters");
        return;
    }
    map[key] = geoIDOf(record.designation, length);
}

const char* splitExpressionOf(const std::string& family) {
    if (vokIsFirstPlatform(family)) return firstPlatformSplit;
    return vokIsSecondPlatform(family) ? secondPlatformSplit : nullptr;
}

}  // namespace

void vokUtils::initGeoIDMap() {
    vokSmBiosRecords<DmiSystemSlot> slots;
    vokSmBiosRecords<DmiOnboardDeviceEx> devices;
    if (smbiosVmwareInit) {
        if (slots.fetch() != 0) VOK_LOG_DEBUG("VOK_UTILS", "Unable to fetch smbios type 9 record");
        if (devices.fetch() != 0) VOK_LOG_DEBUG("VOK_UTILS", "Unable to fetch smbios type 41 record");
    } else {
        VOK_LOG_WARNING("VOK_UTILS", "Unable to fetch SMBIOS record, so could not populate GeoID values");
    }
    for (const DmiSystemSlot& slot : slots) addGeoID(slot, wholeRest, geoIDMap);
    for (const DmiOnboardDeviceEx& device : devices) addGeoID(device, onboardGeoIDLength, geoIDMap);
    if (smbiosVmwareInit) SmBiosDeinit();

    VOK_LOG_DEBUG("VOK_UTILS", "-----Printing GEoID PCIe location map-----");
    for (const auto& entry : geoIDMap)
        VOK_LOG_DEBUG("VOK_UTILS", "%s : %s", entry.first.c_str(), entry.second.c_str());
}

std::string vokUtils::getGeoIDFromDesignation(std::string designation) {
    const vokExpression expression(designationExpression);
    if (expression.compileResult() != 0) {
        VOK_LOG_WARNING("VOK_UTILS", "Error Compiling Regex, Return Value: %d, Error Info: %s",
                        expression.compileResult(), expression.describe(expression.compileResult()).c_str());
        return "";
    }
    regmatch_t span{};
    const int result = expression.match(designation, span);
    if (result != 0) {
        VOK_LOG_DEBUG("VOK_UTILS", "Error detecting GeoId : %s", expression.describe(result).c_str());
        return "";
    }
    std::string geoID = designation.substr(static_cast<std::size_t>(span.rm_so),
                                           static_cast<std::size_t>(span.rm_eo - span.rm_so));
    if (geoID.empty())
        VOK_LOG_WARNING("VOK_UTILS", "Issue in identifying GeoId from PCI Designation : : %s",
                        designation.c_str());
    return geoID;
}

const std::map<std::string, std::string>& vokUtils::getGeoIDMap() {
    return geoIDMap;
}

std::string vokUtils::getGeoIDStr(std::string pciAddress) {
    const auto found = geoIDMap.find(pciAddress);
    return found == geoIDMap.end() ? "NotAvailable" : found->second;
}

// True if geoIDSplitExp is compiled. The flag stays clear until then, so each call tries again.
bool vokUtils::compileGeoIDSplit(const std::string& geoID) {
    if (geoIDSplitRegexCompiled) return true;
    const std::lock_guard<std::mutex> lock(geoIDSplitMutex);
    if (geoIDSplitRegexCompiled) return true;
    const char* const expression = splitExpressionOf(getPlatformFamily());
    if (!expression) {
        VOK_LOG_WARNING("VOK_UTILS", "Failed to decode GeoID [%s]: Unknown or unsupported platform type.",
                        geoID.c_str());
        return false;
    }
    geoIDSplitExpression = expression;
    const int result = ::regcomp(&geoIDSplitExp, expression, REG_EXTENDED);
    if (result != 0) {
        VOK_LOG_WARNING("VOK_UTILS", "Error compiling regex [%s]: [%d] - [%s]", expression, result,
                        vokExpression::describe(result, geoIDSplitExp).c_str());
        return false;
    }
    geoIDSplitRegexCompiled = true;
    return true;
}

std::vector<std::string> vokUtils::getGeoIDInfo(std::string pciAddress) {
    const std::string geoID = getGeoIDStr(pciAddress);
    if (geoID == "NotAvailable") {
        VOK_LOG_DEBUG("VOK_UTILS", "GeoID not available for PCI address [%s].", pciAddress.c_str());
        return {};
    }
    if (!compileGeoIDSplit(geoID)) return {};
    regmatch_t spans[1 + maxElementCount];
    const int result = ::regexec(&geoIDSplitExp, geoID.c_str(), 1 + maxElementCount, spans, 0);
    if (result != 0) {
        VOK_LOG_DEBUG("VOK_UTILS", "Error decoding GeoID [%s]: [%d] - [%s]", geoID.c_str(), result,
                      vokExpression::describe(result, geoIDSplitExp).c_str());
        return {};
    }
    std::vector<std::string> elements;
    for (std::size_t number = 1; number <= maxElementCount; ++number) {
        const regmatch_t& span = spans[number];
        if (span.rm_so < 0) break;  // the form of three elements ends here
        if (span.rm_eo <= span.rm_so) {
            VOK_LOG_WARNING("VOK_UTILS",
                            "Failed to extract element # %zu from GeoID [%s]: Internal error (%d, %d)",
                            number, geoID.c_str(), span.rm_so, span.rm_eo);
            return {};
        }
        elements.push_back(geoID.substr(static_cast<std::size_t>(span.rm_so),
                                        static_cast<std::size_t>(span.rm_eo - span.rm_so)));
    }
    return elements;
}
