// Owns one reference to a counted object, or to each of several.
#pragma once

#include <memory>
#include <vector>

#include "storage/vokRemoveLock.h"

struct vokDropReference {
    void operator()(vokRemoveLock* object) const { object->dropReference(); }
};

template <typename Object>
using vokHeldReference = std::unique_ptr<Object, vokDropReference>;

// Takes over the references of a list as the getters of a factory fill it, and empties the list.
template <typename Object>
std::vector<vokHeldReference<Object>> vokTakeReferences(std::vector<Object*>& list) {
    std::vector<vokHeldReference<Object>> held(list.begin(), list.end());
    list.clear();
    return held;
}
