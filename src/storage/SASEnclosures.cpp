// The enclosures of the storage manager: a controller reports one for each connection to a backplane, and
// those that belong to the same enclosure become one.
#include <string>
#include <utility>

#include "core/base/vokLog.h"
#include "platform/firmware/vokPlatformFamily.h"
#include "platform/places/vokPhysLocFactory.h"
#include "platform/utils/vokUtils.h"
#include "storage/SASResourceManager.h"

namespace {

constexpr char tag[] = "SAS_RM";
constexpr int unknownBox = -1;
constexpr int sameChassis = 2;  // of checkPCIDevicesLocatedInSameChassis()

bool isInChassis(const vokStorageEnclosureInfo& enclosure) {
    return enclosure.getEnclosureType() == VOK_STORAGE_ENCLOSURE_CHASSIS_BACKPLANE;
}

void setBoxFromModel(vokStorageEnclosureInfo& enclosure) {
    const std::string model = enclosure.getModel();
    if (model.find("8 SFF") != std::string::npos)
        enclosure.setBox(1);
    else if (model.find("2 SFF") != std::string::npos)
        enclosure.setBox(2);
    else
        VOK_LOG_WARNING(tag, "Unable to determine box number. (Model: [%s], Bay count: [%d])", model.c_str(),
                        enclosure.getBayCount());
}

bool areInSameChassis(const vokStorageEnclosureInfo& a, const vokStorageEnclosureInfo& b) {
    return vokPhysLocFactory::getPhysLocInterface()->checkPCIDevicesLocatedInSameChassis(
               a.getControllerPCILocation(), b.getControllerPCILocation()) == sameChassis;
}

}  // namespace

void SASResourceManager::collateAndFinalizeStorageEnclosures() {
    std::vector<vokStorageEnclosureInfo>& all = enclosures.current;
    if (vokIsFirstPlatform(vokUtils::getPlatformFamily())) {
        for (vokStorageEnclosureInfo& each : all)
            if (each.getBox() == unknownBox && isInChassis(each)) setBoxFromModel(each);
    }

    std::vector<vokStorageEnclosureInfo> collated;
    for (const vokStorageEnclosureInfo& each : all) {
        vokStorageEnclosureInfo* const match = findMatchingStorageEnclosure(collated, each);
        if (match) {
            match->setBayCount(match->getBayCount() + each.getBayCount());
            match->setSegmentCount(match->getSegmentCount() + 1);
        } else {
            collated.push_back(each);
        }
        const vokStorageEnclosureInfo& result = match ? *match : collated.back();
        VOK_LOG_DEBUG(tag, "%s collated storage enclosure with SN [%s], PN [%s]: (%d, %d)",
                      match ? "Appended" : "Detected new", result.getSerialNumber().c_str(),
                      result.getPartNumber().c_str(), result.getBayCount(), result.getSegmentCount());
    }

    for (vokStorageEnclosureInfo& each : collated) {
        if (!isInChassis(each)) continue;
        each.setPhysicalLocation(
            vokPhysLocFactory::getPhysLocInterface()->getPhysLocForChassisStorageBackplane(
                each.getControllerPCILocation(), each.getBox()));
        VOK_LOG_DEBUG(tag,
                      "Storage backplane PL for chassis-internal enclosure with SN [%s], PN [%s], Box [%d]: "
                      "(%d, %d): %s",
                      each.getSerialNumber().c_str(), each.getPartNumber().c_str(), each.getBox(),
                      each.getBayCount(), each.getSegmentCount(), each.getPhysicalLocation().c_str());
    }
    all = std::move(collated);
}

vokStorageEnclosureInfo* SASResourceManager::findMatchingStorageEnclosure(
    std::vector<vokStorageEnclosureInfo>& collated, const vokStorageEnclosureInfo& enclosure) {
    const bool isFirstPlatform = vokIsFirstPlatform(vokUtils::getPlatformFamily());
    const std::string serialNumber = enclosure.getSerialNumber();
    const std::string partNumber = enclosure.getPartNumber();
    for (vokStorageEnclosureInfo& each : collated) {
        if (!serialNumber.empty() && !each.getSerialNumber().empty()) {
            if (each.getSerialNumber() != serialNumber) continue;
            VOK_LOG_DEBUG(tag, "Found matching collated enclosure based on serial number [%s].",
                          serialNumber.c_str());
            return &each;
        }
        if (!isFirstPlatform || !isInChassis(enclosure) || !isInChassis(each) ||
            !areInSameChassis(enclosure, each))
            continue;
        if (enclosure.getBox() != unknownBox && enclosure.getBox() == each.getBox()) {
            VOK_LOG_DEBUG(tag, "Found matching collated enclosure based on box number [%d].",
                          enclosure.getBox());
            return &each;
        }
        if (!partNumber.empty() && partNumber == each.getPartNumber()) {
            VOK_LOG_DEBUG(tag, "Found matching collated enclosure based on part number [%s].",
                          partNumber.c_str());
            return &each;
        }
    }
    return nullptr;
}
