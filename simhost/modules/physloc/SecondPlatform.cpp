// libvkloc0302.so
#include "modules/physloc/StandIn.h"

const physloc::Platform physloc::platform = {3, false, {3, 48, 45, 61, 53}};
