#include "core/inventory/vokPushRequest.h"

namespace {

void (*bound)() = nullptr;

}  // namespace

void vokRequestPush() {
    if (bound) bound();
}

void vokBindPushRequest(void (*request)()) {
    bound = request;
}
