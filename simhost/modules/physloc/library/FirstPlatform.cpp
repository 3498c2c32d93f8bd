// libvkloc0202.so
#include "modules/physloc/library/StandIn.h"

const physloc::Platform physloc::platform = {2, true, {3, 59, 56, 69, 64}};
