// The one process-wide logger. Each line goes to the agent log, the debug log or the system log; which of
// them, and what passes, is settled once at construction from the configuration. Log through vokLog.h.
#pragma once

#include <atomic>
#include <fstream>
#include <mutex>
#include <string>

namespace Logging {

enum LOG_LEVEL { DEBUG = 1, INFO = 2, WARNING = 3, ERROR = 4 };

enum LOG_TARGET { TARGET_FILE = 2, TARGET_SYSLOG = 3 };

class Logger {
public:
    // Builds the logger if there is none. The first use comes from the thread that starts the agent.
    static void loggerInit();
    static Logger* getInstance();

    void always(std::string message, std::string module, int line);
    void error(std::string message, std::string module, int line);
    void warning(std::string message, std::string module, int line);
    void info(std::string message, std::string module, int line);
    void debug(std::string message, std::string module, int line);

    LOG_LEVEL getLoglevel() const { return static_cast<LOG_LEVEL>(logLevel.load()); }
    // 1 when debug lines are written, 12 when not.
    int getDebugLoglevel() const { return debugLogLevel.load(); }
    void updateLogLevel(LOG_LEVEL level);

    void enaleLog();  // so spelled in the interface
    void disableLog();
    void enableFileLogging();

    void lock();
    void unlock();

    // When the log file `path` is larger than 499999999 bytes: moves its content to the backup directory
    // and starts the file anew. For the supervising program; the library does not call it.
    void isFileExceeded(std::string path);

private:
    Logger();
    ~Logger();

    std::atomic<int> logLevel{WARNING};
    std::atomic<int> debugLogLevel{12};
};

}  // namespace Logging
