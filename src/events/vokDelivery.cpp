#include "events/vokDelivery.h"

#include <utility>

namespace {

thread_local vokDeliveryRecord* current = nullptr;

}  // namespace

vokDeliveryRecord::vokDeliveryRecord() : outer_(std::exchange(current, this)) {}

vokDeliveryRecord::~vokDeliveryRecord() {
    current = outer_;
}

void vokDeliveryRecord::note(vokDelivery delivery) {
    if (current) current->last_ = std::move(delivery);
}
