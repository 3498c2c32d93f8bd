#include "modules/Modules.h"

#include "modules/fc/FcModule.h"
#include "modules/interfaces/InterfacesModule.h"
#include "modules/ipmi/IpmiModule.h"
#include "modules/memory/MemoryModule.h"
#include "modules/nic/NicModule.h"
#include "modules/pci/PciModule.h"
#include "modules/physloc/PhyslocModule.h"
#include "modules/raid/RaidModule.h"
#include "modules/smbios/SmBiosModule.h"
#include "modules/storage/DisksModule.h"
#include "modules/storage/StorageModule.h"
#include "modules/system/SystemModule.h"

namespace simhost {

namespace {

// In this order they stand in the help text and in the columns of esxtop, and are they laid out and started.
HostModules& list() {
    static HostModules all = {
        &systemModule(), &memoryModule(), &storageModule(), &interfacesModule(),
        &nicModule(),    &pciModule(),    &disksModule(),   &raidModule(),
        &fcModule(),     &smBiosModule(), &physlocModule(), &ipmiModule(),
    };
    return all;
}

}  // namespace

const HostModules& hostModules() {
    return list();
}

void addHostModule(const HostModule& module) {
    list().push_back(&module);
}

}  // namespace simhost
