// Logging in one line: VOK_LOG_INFO("JOB_MGR", "Resource manager %d started", id);
//
// The level is tested first, so a line that won't be written costs no formatting. The text is formatted
// into a buffer of 4096 bytes, and what is longer is cut; the compiler checks the format.
#pragma once

#include "core/base/Logger.h"

// Formats and hands over to one of Logger's methods. Called by the macros below.
void vokLogFormatted(void (Logging::Logger::*method)(std::string, std::string, int), const char* module,
                     int line, const char* format, ...) __attribute__((format(printf, 4, 5)));

#define VOK_LOG_AT(method, passes, module, ...)                                               \
    do {                                                                                      \
        if (passes) vokLogFormatted(&Logging::Logger::method, module, __LINE__, __VA_ARGS__); \
    } while (false)

#define VOK_LOG_ALWAYS(module, ...) VOK_LOG_AT(always, true, module, __VA_ARGS__)
#define VOK_LOG_ERROR(module, ...) \
    VOK_LOG_AT(error, Logging::Logger::getInstance()->getLoglevel() <= Logging::ERROR, module, __VA_ARGS__)
#define VOK_LOG_WARNING(module, ...)                                                               \
    VOK_LOG_AT(warning, Logging::Logger::getInstance()->getLoglevel() <= Logging::WARNING, module, \
               __VA_ARGS__)
#define VOK_LOG_INFO(module, ...) \
    VOK_LOG_AT(info, Logging::Logger::getInstance()->getLoglevel() <= Logging::INFO, module, __VA_ARGS__)
#define VOK_LOG_DEBUG(module, ...)                                                  \
    VOK_LOG_AT(debug,                                                               \
               Logging::Logger::getInstance()->getDebugLoglevel() == 1 ||           \
                   Logging::Logger::getInstance()->getLoglevel() <= Logging::DEBUG, \
               module, __VA_ARGS__)
