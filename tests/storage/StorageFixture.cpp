#include "storage/StorageFixture.h"

#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"
#include "support/DeliveredEvents.h"
#include "support/LocationLibrary.h"
#include "support/SmBiosTable.h"

namespace {

SmBiosTable tableOfPlatform(const std::string& family, bool isFirst) {
    return SmBiosTable()
        .addSystem("Maker of Racks", family)
        .addSlot(isFirst ? "Slot r001u05p2i03" : "Slot r001i02s03", "0000:3b:00.0")
        .addSlot(isFirst ? "Slot r001u05p2i07" : "Slot r001i02s07", "0000:5e:00.0")
        .addSlot(isFirst ? "Slot r001u07p2i03" : "Slot r001i04s03", "0000:86:00.0")
        .addOnboardDevice(isFirst ? "SATA r001u05p2i00" : "SATA r001i02s00", "0000:00:17.0")
        .addEnd();
}

}  // namespace

void StorageFixture::start(const std::string& family) {
    const bool isFirst = family == firstFamily;
    host.root.writeFile(SmBiosTable::deviceFile, tableOfPlatform(family, isFirst).contents());
    platformCheck::setDirectoryPath();
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    addLocationLibrary(host, isFirst ? "libvkloc0202.so" : "libvkloc0302.so");
}

void StorageFixture::letEventsPass() {
    ::letEventsPass(ipmi);
}

std::vector<Json::Value> StorageFixture::events() const {
    return deliveredEvents(ipmi);
}

std::vector<int> StorageFixture::eventIds() const {
    return deliveredEventIds(ipmi);
}
