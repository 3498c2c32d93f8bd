#include "core/base/vokLog.h"

#include <cstdarg>
#include <cstdio>

#include "core/base/Logger.h"

using Logging::Logger;

bool vokLogPasses(vokLogKind kind) {
    const Logger& logger = *Logger::getInstance();
    switch (kind) {
        case vokLogKind::error:
            return logger.getLoglevel() <= Logging::ERROR;
        case vokLogKind::warning:
            return logger.getLoglevel() <= Logging::WARNING;
        case vokLogKind::info:
            return logger.getLoglevel() <= Logging::INFO;
        case vokLogKind::debug:
            return logger.getDebugLoglevel() == 1 || logger.getLoglevel() <= Logging::DEBUG;
        case vokLogKind::always:
            return true;
    }
    return true;
}

void vokLogFormatted(vokLogKind kind, const char* module, int line, const char* format, ...) {
    char message[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(message, sizeof(message), format, arguments);
    va_end(arguments);
    if (length < 0) return;
    Logger& logger = *Logger::getInstance();
    switch (kind) {
        case vokLogKind::always:
            return logger.always(message, module, line);
        case vokLogKind::error:
            return logger.error(message, module, line);
        case vokLogKind::warning:
            return logger.warning(message, module, line);
        case vokLogKind::info:
            return logger.info(message, module, line);
        case vokLogKind::debug:
            return logger.debug(message, module, line);
    }
}
