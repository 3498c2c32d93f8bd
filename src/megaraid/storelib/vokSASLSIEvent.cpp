#include "megaraid/storelib/vokSASLSIEvent.h"

vokSASLSIEvent* vokSASLSIEvent::getInstance() {
    static auto* const instance = new vokSASLSIEvent;
    return instance;
}

bool vokSASLSIEvent::RegisterForAEN(Function) {
    return false;
}

std::uint32_t vokSASLSIEvent::UnregisterForAEN() {
    return 0;
}
