#include "platform/places/vokLibraryPhysLocInterface.h"

#include <dlfcn.h>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "core/base/vokLog.h"
#include "platform/access/vokLibraryCall.h"
#include "platform/utils/vokUtils.h"

namespace {

constexpr char loaderModule[] = "PL_INTF";
constexpr char noSubLocation[] = "NA";
constexpr char onBoardSlot[] = "00";
constexpr char unknownSlot[] = "0";
constexpr physloc_rtn_t notEncoded = 1;

// True for twelve characters in which "%04x:%02x:%02x.%x" finds four fields. The scan alone would also accept
// blanks, signs and any text after the last digit.
bool isPhysLocAddress(const std::string& text) {
    constexpr std::size_t length = 12;
    if (text.size() != length || text.find_first_not_of("0123456789abcdefABCDEF:.") != std::string::npos)
        return false;
    unsigned segment, bus, device, function;
    return std::sscanf(text.c_str(), "%04x:%02x:%02x.%x", &segment, &bus, &device, &function) == 4;
}

// The loader's reason for the failure of the last call.
const char* reasonOf(const vokLibrary& library) {
    return library.reason().empty() ? "no reason given" : library.reason().c_str();
}

std::uint8_t numberOf(const std::string& text) {
    return static_cast<std::uint8_t>(std::strtoull(text.c_str(), nullptr, 10));
}

std::string joined(const std::vector<std::string>& texts, const char* separator) {
    std::string all;
    for (const auto& text : texts) all += (&text == &texts.front() ? "" : separator) + text;
    return all;
}

bool addressIsValid(const std::string& pciAddress, const char* logModule, const char* owner) {
    if (isPhysLocAddress(pciAddress)) return true;
    VOK_LOG_DEBUG(logModule, "%s controller PCI address is invalid. ([%s])", owner, pciAddress.c_str());
    return false;
}

}  // namespace

// --- the library ---

bool vokLibraryPhysLocInterface::Initialize() {
    const std::lock_guard<std::mutex> lock(loadLock_);
    if (loaded_) return true;
    const std::string name = getPhysLocLibraryName();
    vokLibrary library;
    if (!library.open(name, RTLD_LAZY | RTLD_GLOBAL)) {
        VOK_LOG_ERROR(platform_.logModule, "Failed to load physical location library [%s]: (%s)",
                      name.c_str(), reasonOf(library));
        return false;
    }
    if (!library.resolve({{vokPhysLocInitSymbol, initData_}, {vokPhysLocEncodeSymbol, encode_}})) {
        VOK_LOG_ERROR(loaderModule, "Failed to find address of symbol [%s]: (%s)",
                      library.missingSymbol().c_str(), reasonOf(library));
        return false;
    }
    library_ = std::move(library);
    VOK_LOG_DEBUG(platform_.logModule, "Successfully loaded physical location library.");
    loaded_ = true;
    return true;
}

void vokLibraryPhysLocInterface::UnInitialize() {
    const std::lock_guard<std::mutex> lock(loadLock_);
    if (!loaded_) return;
    loaded_ = false;
    library_.close();
}

std::string vokLibraryPhysLocInterface::getPhysLocLibraryName() {
    return platform_.library;
}

// --- encoding ---

std::string vokLibraryPhysLocInterface::physlocEncode(std::string pciAddress,
                                                      std::vector<std::string> geoElements,
                                                      physloc_type_t type, physloc_rtn_t* rc,
                                                      std::string subLocation) {
    const auto store = [rc](physloc_rtn_t result) {
        if (rc) *rc = result;
    };
    if (geoElements.size() != platform_.elementCount) {
        VOK_LOG_DEBUG(platform_.logModule,
                      "Failed to determine physical location for PCI address [%s]. (%zu, [%s])",
                      pciAddress.c_str(), geoElements.size(), joined(geoElements, " ").c_str());
        store(notEncoded);
        return vokUnknownPhysLoc;
    }
    if (!loaded_) {
        VOK_LOG_DEBUG(platform_.logModule, "No library to encode PCI address [%s].", pciAddress.c_str());
        store(notEncoded);
        return vokUnknownPhysLoc;
    }

    vokPhysLocRecord record{};
    {
        const vokLibraryCall call(library_.identity(), vokPhysLocInitSymbol);
        initData_(&record, vokPhysLocRecordVersion);
    }
    record.type = type;
    std::vector<std::string> numbers;
    for (std::size_t i = 0; i < geoElements.size(); ++i) {
        const std::uint8_t number = numberOf(geoElements[i]);
        record.*platform_.elements[i] = number;
        numbers.push_back(std::to_string(number));
    }
    if (subLocation != noSubLocation) record.subLocation = numberOf(subLocation);

    std::uint64_t code = 0;
    physloc_rtn_t result = 0;
    {
        const vokLibraryCall call(library_.identity(), vokPhysLocEncodeSymbol);
        result = encode_(&record, &code);
    }
    store(result);
    if (result != 0) {
        VOK_LOG_DEBUG(platform_.logModule,
                      "Failed to encode physical location for PCI address [%s]. (%d) [%s, %s]",
                      pciAddress.c_str(), result, joined(numbers, ", ").c_str(), subLocation.c_str());
        return vokUnknownPhysLoc;
    }
    char digits[17];
    std::snprintf(digits, sizeof(digits), "%016llX", static_cast<unsigned long long>(code));
    VOK_LOG_DEBUG(platform_.logModule, "PCI address [%s]: [%d] - {%s, %s} - PL: [%s]", pciAddress.c_str(),
                  type, joined(geoElements, ", ").c_str(), subLocation.c_str(), digits);
    return digits;
}

bool vokLibraryPhysLocInterface::hasAllElements(const std::vector<std::string>& elements,
                                                const std::string& pciAddress, const char* what) const {
    if (elements.size() == platform_.elementCount) return true;
    VOK_LOG_DEBUG(platform_.logModule, "Unexpected GeoID split size [%zu] at PCI address [%s] for %s.",
                  elements.size(), pciAddress.c_str(), what);
    return false;
}

// --- by kind of unit ---

std::string vokLibraryPhysLocInterface::getPhysLocForIOSlot(std::string pciAddress) {
    if (!addressIsValid(pciAddress, platform_.logModule, "I/O")) return vokUnknownPhysLoc;
    return physlocEncode(pciAddress, vokUtils::getGeoIDInfo(pciAddress), platform_.types.slot, nullptr,
                         noSubLocation);
}

std::string vokLibraryPhysLocInterface::getPhysLocForNetworkAdapter(std::string pciAddress) {
    if (!addressIsValid(pciAddress, platform_.logModule, "Network")) return vokUnknownPhysLoc;
    const std::vector<std::string> elements = vokUtils::getGeoIDInfo(pciAddress);
    if (!hasAllElements(elements, pciAddress, "network adapter")) return vokUnknownPhysLoc;
    if (elements.back() != onBoardSlot)
        return physlocEncode(pciAddress, elements, platform_.types.slot, nullptr, noSubLocation);
    // The ports of one on-board controller share a GeoID; the function number distinguishes them.
    return physlocEncode(pciAddress, elements, platform_.types.onBoardEthernet, nullptr,
                         pciAddress.substr(pciAddress.find('.') + 1));
}

std::string vokLibraryPhysLocInterface::getPhysLocForExternalDrive(std::string pciAddress) {
    if (!addressIsValid(pciAddress, platform_.logModule, "Storage")) return vokUnknownPhysLoc;
    return physlocEncode(pciAddress, vokUtils::getGeoIDInfo(pciAddress), platform_.types.externalDrive,
                         nullptr, noSubLocation);
}

std::string vokLibraryPhysLocInterface::getPhysLocForChassisDriveSlot(std::string pciAddress, int bay) {
    if (!addressIsValid(pciAddress, platform_.logModule, "Storage")) return vokUnknownPhysLoc;
    const auto number = static_cast<unsigned>(bay);
    if (number < platform_.firstBay || number > platform_.lastBay) {
        VOK_LOG_DEBUG(platform_.logModule,
                      "Invalid internal drive bay # [%d] for physical location encoding at PCI address [%s].",
                      bay, pciAddress.c_str());
        return vokUnknownPhysLoc;
    }
    std::vector<std::string> elements = vokUtils::getGeoIDInfo(pciAddress);
    if (!hasAllElements(elements, pciAddress, "chassis drive slot")) return vokUnknownPhysLoc;
    // An empty text counts as the number 0, unlike "NA".
    const std::string subLocation =
        platform_.driveSub == vokPhysLocDriveSub::lastElement ? elements.back() : "";
    elements.back() = std::to_string(bay);
    return physlocEncode(pciAddress, elements, platform_.types.internalDrive, nullptr, subLocation);
}

std::string vokLibraryPhysLocInterface::getPhysLocForChassisStorageBackplane(std::string pciAddress,
                                                                             int box) {
    if (!addressIsValid(pciAddress, platform_.logModule, "Storage")) return vokUnknownPhysLoc;
    const std::vector<std::string> elements = vokUtils::getGeoIDInfo(pciAddress);
    if (!hasAllElements(elements, pciAddress, "storage backplane")) return vokUnknownPhysLoc;
    if (platform_.box == vokPhysLocBox::ignored)
        return physlocEncode(pciAddress, elements, platform_.types.backplane, nullptr, noSubLocation);
    if (box != 1 && box != 2) {
        VOK_LOG_DEBUG(platform_.logModule,
                      "Invalid box number [%d] for storage backplane connected to PCI address [%s].", box,
                      pciAddress.c_str());
        return vokUnknownPhysLoc;
    }
    return physlocEncode(pciAddress, elements, platform_.types.backplane, nullptr, std::to_string(box));
}

// --- from the GeoID alone ---

std::string vokLibraryPhysLocInterface::getPCIeSlotForIOSlot(std::string pciAddress) {
    if (!addressIsValid(pciAddress, platform_.logModule, "I/O")) return unknownSlot;
    const std::vector<std::string> elements = vokUtils::getGeoIDInfo(pciAddress);
    std::string slot = elements.size() == platform_.elementCount ? elements.back() : unknownSlot;
    VOK_LOG_DEBUG(platform_.logModule, "PCI address: [%s]; GeoID split size: [%zu]; Slot #: [%s]",
                  pciAddress.c_str(), elements.size(), slot.c_str());
    return slot;
}

int vokLibraryPhysLocInterface::checkIfPCICardIsOnBoard(std::string pciAddress) {
    constexpr int onBoard = 2;
    constexpr int addIn = 3;
    constexpr int unknown = -4;
    const std::string slot = getPCIeSlotForIOSlot(pciAddress);
    if (slot == unknownSlot) return unknown;
    return slot == onBoardSlot ? onBoard : addIn;
}

int vokLibraryPhysLocInterface::checkPCIDevicesLocatedInSameChassis(std::string a, std::string b) {
    constexpr int same = 2;
    constexpr int different = 1;
    constexpr int malformed = -1;
    constexpr int wrongSplit = -2;
    if (!isPhysLocAddress(a) || !isPhysLocAddress(b)) {
        VOK_LOG_DEBUG(platform_.logModule,
                      "Either or both PCI addresses specified are not valid. ([%s], [%s])", a.c_str(),
                      b.c_str());
        return malformed;
    }
    const std::vector<std::string> elementsA = vokUtils::getGeoIDInfo(a);
    const std::vector<std::string> elementsB = vokUtils::getGeoIDInfo(b);
    if (elementsA.size() != platform_.elementCount || elementsB.size() != platform_.elementCount) {
        VOK_LOG_DEBUG(
            platform_.logModule,
            "Split size of either or both GeoIDs are invalid [%zu, %zu], at PCI addresses [%s, %s], "
            "respectively.",
            elementsA.size(), elementsB.size(), a.c_str(), b.c_str());
        return wrongSplit;
    }
    return elementsA[0] == elementsB[0] && elementsA[1] == elementsB[1] ? same : different;
}

int vokLibraryPhysLocInterface::getChassisLocationForIOSlot(std::string pciAddress, std::string& location) {
    constexpr int malformed = -1;
    constexpr int wrongSplit = -2;
    if (!addressIsValid(pciAddress, platform_.logModule, "I/O")) return malformed;
    const std::vector<std::string> elements = vokUtils::getGeoIDInfo(pciAddress);
    if (elements.size() != platform_.elementCount) {
        if (platform_.logsChassisSplit) hasAllElements(elements, pciAddress, "chassis location");
        return wrongSplit;
    }
    location = "r" + elements[0] + platform_.secondLevelLetter + elements[1];
    return 0;
}
