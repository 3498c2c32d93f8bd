#include "megaraid/vokMegaRAIDConsistencyCheckEventHandler.h"

bool vokMegaRAIDConsistencyCheckEventHandler::processConsistencyCheckEvents(vokMegaRAIDController&,
                                                                            vokLogicalDiskInfo&,
                                                                            const VOK_SAS_EVENT_DETAIL&) {
    return false;
}
