#include "daemon/vokdHugePages.h"

#include <sys/prctl.h>

void vokdAvoidHugePages() {
    ::prctl(PR_SET_THP_DISABLE, 1L, 0L, 0L, 0L);
}
