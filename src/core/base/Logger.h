// The one process-wide logger. Each line goes to the agent log, the debug log or the system log;
// destinations and levels are set once, at construction, from the configuration. Log through vokLog.h.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "core/base/vokLogFile.h"

namespace Logging {

enum LOG_LEVEL { DEBUG = 1, INFO = 2, WARNING = 3, ERROR = 4 };

enum LOG_TARGET { TARGET_NONE = 0, TARGET_FILE = 2, TARGET_SYSLOG = 3 };

class Logger {
public:
    // The directory with a link to each log, and the one to which oversized logs are moved.
    static constexpr char linkDirectory[] = "/opt/mev/vok/log";
    static constexpr char backupDirectory[] = "/scratch/log/mev/vok/backup_log";

    // Creates the logger if there is none. The first call comes from the thread that starts the agent. Ends
    // the process with status -10 or -11, after a line on standard error, when the directory of the agent log
    // or of the debug log can't be created.
    static void loggerInit();
    static Logger* getInstance();

    // Each writes one line if the level allows it. `line` is the caller's source line.
    void always(std::string message, std::string module, int line);
    void error(std::string message, std::string module, int line);
    void warning(std::string message, std::string module, int line);
    void info(std::string message, std::string module, int line);
    void debug(std::string message, std::string module, int line);

    LOG_LEVEL getLoglevel() const { return static_cast<LOG_LEVEL>(logLevel.load()); }
    // 1 when debug lines are written, 12 when not.
    int getDebugLoglevel() const { return debugLogLevel.load(); }
    void updateLogLevel(LOG_LEVEL level) { logLevel = level; }

    // Send the agent log to the system log, nowhere, or its file. The spelling of enaleLog() is part of the
    // interface.
    void enaleLog() { logTarget = TARGET_SYSLOG; }
    void disableLog() { logTarget = TARGET_NONE; }
    void enableFileLogging() { logTarget = TARGET_FILE; }

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

    // If the log file `path`, as named in the configuration, is larger than 499999999 bytes, moves its
    // content to the backup directory and starts a new file. No line is lost; if the backup can't be
    // written, the log stays as it is. For the supervising program; the library does not call it.
    void isFileExceeded(std::string path);

    // Opens the log files again by their paths, and makes their links again: after a program has moved them
    // away, lines go to new files. No line is lost: if a file can't be opened, that is reported to the system
    // log, the previous one stays in use, and the result is false.
    bool reopenLogs();

private:
    Logger();
    ~Logger();

    bool openLogs();
    void createLinks() const;
    void dispatch(int target, const char* levelText, const std::string& message, const std::string& module,
                  int line);
    void logIntoFile(const std::string& levelText, const std::string& message, const std::string& module,
                     int line);
    void logIntoSyslog(const std::string& levelText, const std::string& message, const std::string& module,
                       int line);

    vokLogFile agentLog;
    vokLogFile debugLog;
    std::string debugLogPath;
    std::string agentLogPath;
    std::atomic<int> logLevel{WARNING};
    std::atomic<int> debugLogLevel{12};
    std::atomic<int> logTarget{TARGET_SYSLOG};
    std::atomic<int> debugLogTarget{TARGET_SYSLOG};
    std::mutex mutex_;  // always the last lock to be taken
};

}  // namespace Logging
