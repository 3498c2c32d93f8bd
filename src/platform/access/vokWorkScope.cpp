#include "platform/access/vokWorkScope.h"

#include <utility>

namespace {

thread_local int currentClass = -1;

}  // namespace

vokWorkScope::vokWorkScope(int classId) : outer_(std::exchange(currentClass, classId)) {}

vokWorkScope::~vokWorkScope() {
    currentClass = outer_;
}

int vokWorkScope::current() {
    return currentClass;
}
