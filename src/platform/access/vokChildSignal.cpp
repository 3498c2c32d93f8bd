#include "platform/access/vokChildSignal.h"

void sighdlr(int) {}
