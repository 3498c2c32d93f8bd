// Logging in one line: VOK_LOG_INFO("JOB_MGR", "Resource manager %d started", id);
//
// The level is tested first, so a line that won't be written costs no formatting. The text is formatted
// into a buffer of 4096 bytes, and longer text is cut; the compiler checks the format. Includes nothing,
// since nearly every source includes it.
#pragma once

enum class vokLogKind { always, error, warning, info, debug };

// True if a line of this kind passes the level of the logger.
bool vokLogPasses(vokLogKind kind);

// Formats the line and passes it to the logger. Called by the macros below.
void vokLogFormatted(vokLogKind kind, const char* module, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#define VOK_LOG_AT(kind, module, ...)                                         \
    do {                                                                      \
        if (vokLogPasses(vokLogKind::kind))                                   \
            vokLogFormatted(vokLogKind::kind, module, __LINE__, __VA_ARGS__); \
    } while (false)

#define VOK_LOG_ALWAYS(module, ...) VOK_LOG_AT(always, module, __VA_ARGS__)
#define VOK_LOG_ERROR(module, ...) VOK_LOG_AT(error, module, __VA_ARGS__)
#define VOK_LOG_WARNING(module, ...) VOK_LOG_AT(warning, module, __VA_ARGS__)
#define VOK_LOG_INFO(module, ...) VOK_LOG_AT(info, module, __VA_ARGS__)
#define VOK_LOG_DEBUG(module, ...) VOK_LOG_AT(debug, module, __VA_ARGS__)
