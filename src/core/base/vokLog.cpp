#include "core/base/vokLog.h"

#include <cstdarg>
#include <cstdio>

void vokLogFormatted(void (Logging::Logger::*method)(std::string, std::string, int), const char* module,
                     int line, const char* format, ...) {
    char message[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(message, sizeof(message), format, arguments);
    va_end(arguments);
    if (length >= 0) (Logging::Logger::getInstance()->*method)(message, module, line);
}
