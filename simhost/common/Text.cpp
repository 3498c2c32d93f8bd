#include "common/Text.h"

#include <cstdarg>
#include <cstdio>

namespace simhost {

std::string formatText(const char* format, ...) {
    char buffer[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    va_end(arguments);
    return buffer;
}

}  // namespace simhost
