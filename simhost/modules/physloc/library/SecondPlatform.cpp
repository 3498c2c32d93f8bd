// libvkloc0302.so
#include "modules/physloc/library/StandIn.h"

const physloc::Platform physloc::platform = {3, false, {3, 48, 45, 61, 53}};
