#include "platform/vokUtils.h"

// The firmware tables are not read yet, so every machine is of an unknown family.
std::string vokUtils::getPlatformFamily() {
    return "";
}
