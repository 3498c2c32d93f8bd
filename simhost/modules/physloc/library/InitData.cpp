#include <cstring>

#include "library/LibraryFault.h"
#include "modules/physloc/library/StandIn.h"

thread_local const std::uint8_t* physloc::initializedRecord = nullptr;

VOK_ENTRY_POINT int physloc_init_data(std::uint8_t* record, int version) {
    simhost::sufferLibraryFault("physloc_init_data");
    physloc::initializedRecord = nullptr;
    if (!record) {
        physloc::reportViolation("physloc_init_data: no record");
        return -1;
    }
    std::memset(record, 0, physloc::recordSize);
    if (version != physloc::recordVersion) {
        physloc::reportViolation("physloc_init_data: version " + std::to_string(version) + ", not 2");
        return -1;
    }
    physloc::initializedRecord = record;
    return 0;
}
