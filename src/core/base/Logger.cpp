#include "core/base/Logger.h"

#include <dirent.h>
#include <sys/stat.h>
#include <syslog.h>
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>

#include "core/base/vokConfig.h"
#include "core/base/vokLogFiles.h"
#include "core/base/vokSettingRules.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokTimeStamp.h"

namespace Logging {
namespace {

// The trailing blanks belong to the format of a line.
constexpr char debugText[] = "[DEBUG]";
constexpr char infoText[] = "[INFO]  ";
constexpr char warningText[] = "[WARNING]";
constexpr char errorText[] = "[ERROR] ";
constexpr char alwaysText[] = "[INFO]";

constexpr off_t largestLog = 499999999;

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The first of these words, in this order, that the text contains decides.
int levelOf(const std::string& setting) {
    const std::string text = lowerCase(setting);
    if (text.find("error") != std::string::npos) return ERROR;
    if (text.find("warning") != std::string::npos) return WARNING;
    if (text.find("info") != std::string::npos) return INFO;
    return WARNING;
}

int targetOf(const std::string& path) {
    return vokSettingRules::isEquals(path, "syslog") ? TARGET_SYSLOG : TARGET_FILE;
}

// At least three digits and at most four: a five-digit number loses its last digit.
std::string lineNumber(int line) {
    char text[16];
    std::snprintf(text, sizeof(text), line <= 99 ? "%03d" : "%d", line);
    return std::string(text).substr(0, 4);
}

struct Priority {
    const char* word;
    int priority;
};

constexpr Priority priorities[] = {
    {"ERROR", LOG_ERR}, {"WARNING", LOG_WARNING}, {"INFO", LOG_INFO}, {"DEBUG", LOG_DEBUG}};

int priorityOf(const std::string& levelText) {
    for (const auto& each : priorities)
        if (levelText.find(each.word) != std::string::npos) return each.priority;
    return LOG_INFO;
}

void reportFailure(const char* message, const std::string& path) {
    const int reason = errno;
    vokHostAccess().systemLog(LOG_ERR, std::string(message) + "[" + path + "]: " + std::to_string(reason) +
                                           " - " + std::strerror(reason));
}

// `message` is that of the system log; `log` names the log on standard error.
[[noreturn]] void endWithoutDirectory(const char* message, const char* log, const std::string& hostPath,
                                      int status) {
    const int reason = errno;
    reportFailure(message, hostPath);
    std::fprintf(stderr, "%s: the directory %s of the %s can't be created: %s\n",
                 program_invocation_short_name, hostPath.substr(0, hostPath.rfind('/')).c_str(), log,
                 std::strerror(reason));
    std::exit(status);
}

// `message` is that of the system log; `log` names the log on standard error, and `what` can't be done.
void reportUnusable(const char* message, const char* log, const std::string& hostPath, const char* what) {
    const int reason = errno;
    reportFailure(message, hostPath);
    std::fprintf(stderr, "%s: the %s %s can't be %s: %s\n", program_invocation_short_name, log,
                 hostPath.c_str(), what, std::strerror(reason));
}

void reopen(vokLogFile& log, const std::string& hostPath) {
    if (!log.open(hostPath)) reportFailure("Error opening VOK log file ", hostPath);
}

std::string backupSuffix() {
    const time_t now = vokWallClockSeconds();
    tm local{};
    ::localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof(text), "_%Y_%m_%d_%H_%M_%S", &local);
    return text;
}

}  // namespace

void Logger::loggerInit() {
    getInstance();
}

Logger* Logger::getInstance() {
    static auto* const instance = new Logger;
    return instance;
}

Logger::Logger() {
    const vokConfig& config = *vokConfig::getInstance();
    const bool debugEnabled = config.getDebugLogSettings();
    debugLogPath = config.getVOKDebugLogFileLocation();
    agentLogPath = config.getVOKLogFileLocation();
    logTarget = targetOf(agentLogPath);
    debugLogTarget = targetOf(debugLogPath);
    debugLogLevel = debugEnabled ? 1 : 12;
    logLevel = levelOf(config.getVOKLoggingLevel());

    const IvokHostAccess& host = vokHostAccess();
    const std::string agentHostPath = host.path(agentLogPath);
    const std::string debugHostPath = host.path(debugLogPath);
    if (logTarget == TARGET_FILE && vokLogFiles::createDirectoryPath(agentHostPath) < 0)
        endWithoutDirectory("Failed to create directory path for VOK log file ", "agent log", agentHostPath,
                            -10);
    if (debugLogTarget == TARGET_FILE && vokLogFiles::createDirectoryPath(debugHostPath) < 0)
        endWithoutDirectory("Failed to create directory path for VOK debug log file ", "debug log",
                            debugHostPath, -11);
    openLogs();
    createLinks();
}

bool Logger::openLogs() {
    const std::string agentHostPath = vokHostAccess().path(agentLogPath);
    const std::string debugHostPath = vokHostAccess().path(debugLogPath);
    bool complete = true;
    if (targetOf(agentLogPath) == TARGET_FILE && !agentLog.open(agentHostPath)) {
        reportUnusable("Error opening VOK log file ", "agent log", agentHostPath, "opened");
        complete = false;
    }
    if (targetOf(debugLogPath) == TARGET_FILE && debugLogLevel == 1 && !debugLog.open(debugHostPath)) {
        reportUnusable("Error opening the VOK debug log file", "debug log", debugHostPath, "opened");
        complete = false;
    }
    return complete;
}

void Logger::createLinks() const {
    const IvokHostAccess& host = vokHostAccess();
    const std::string links = host.path(linkDirectory);
    for (const std::string& path : {agentLogPath, debugLogPath})
        if (targetOf(path) == TARGET_FILE) vokLogFiles::createSymbolicLink(host.path(path), links);
    vokLogFiles::createSymbolicLink(host.path(backupDirectory), links);
}

bool Logger::reopenLogs() {
    const std::lock_guard<Logger> guard(*this);
    // A directory that has gone is made again; if it can't be, opening the file fails and reports it.
    for (const std::string& path : {agentLogPath, debugLogPath})
        if (targetOf(path) == TARGET_FILE) vokLogFiles::createDirectoryPath(vokHostAccess().path(path));
    const bool complete = openLogs();
    createLinks();
    return complete;
}

Logger::~Logger() {
    agentLog.close();
    debugLog.close();
}

void Logger::always(std::string message, std::string module, int line) {
    dispatch(logTarget, alwaysText, message, module, line);
}

void Logger::error(std::string message, std::string module, int line) {
    if (logLevel < 5) dispatch(logTarget, errorText, message, module, line);
}

void Logger::warning(std::string message, std::string module, int line) {
    if (logLevel < 4) dispatch(logTarget, warningText, message, module, line);
}

void Logger::info(std::string message, std::string module, int line) {
    if (logLevel < 3) dispatch(logTarget, infoText, message, module, line);
}

void Logger::debug(std::string message, std::string module, int line) {
    if (debugLogLevel == 1) dispatch(debugLogTarget, debugText, message, module, line);
}

void Logger::dispatch(int target, const char* levelText, const std::string& message,
                      const std::string& module, int line) {
    if (target == TARGET_FILE)
        logIntoFile(levelText, message, module, line);
    else if (target == TARGET_SYSLOG)
        logIntoSyslog(levelText, message, module, line);
}

void Logger::logIntoFile(const std::string& levelText, const std::string& message, const std::string& module,
                         int line) {
    const std::lock_guard<Logger> guard(*this);
    const std::string timeStamp = vokLogTimeStamp();
    const auto contains = [&](const char* word) { return levelText.find(word) != std::string::npos; };
    vokLogFile* log = nullptr;
    const bool isDebug = contains("DEBUG");
    if (isDebug)
        log = &debugLog;
    else if (contains("ERROR") || contains("WARNING") || contains("INFO"))
        log = &agentLog;
    if (!log) return;
    std::string text = timeStamp;
    text.append(" ").append(levelText).append(" ").append(lineNumber(line)).append(" ").append(module);
    if (!log->write(text.append(": ").append(message).append("\n")))
        reportUnusable(isDebug ? "Error writing the VOK debug log file" : "Error writing VOK log file ",
                       isDebug ? "debug log" : "agent log",
                       vokHostAccess().path(isDebug ? debugLogPath : agentLogPath), "written");
}

void Logger::logIntoSyslog(const std::string& levelText, const std::string& message,
                           const std::string& module, int line) {
    const std::lock_guard<Logger> guard(*this);
    std::ostringstream text;
    text << levelText << " " << lineNumber(line) << " " << module << ": " << message;
    vokHostAccess().systemLog(priorityOf(levelText), text.str());
}

void Logger::isFileExceeded(std::string path) {
    IvokHostAccess& host = vokHostAccess();
    const std::string hostPath = host.path(path);
    struct stat status {};
    if (::stat(hostPath.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= largestLog)
        return;

    const std::string directory = host.path(backupDirectory);
    if (DIR* const existing = ::opendir(directory.c_str())) {
        ::closedir(existing);
    } else {
        vokLogFiles::createDirectoryPath(directory);
        ::mkdir(directory.c_str(), 0700);
        vokLogFiles::createSymbolicLink(directory, host.path(linkDirectory));
    }
    const std::string backup = directory + "/" + path.substr(path.find_last_of("/\\") + 1) + backupSuffix();

    // Most of the file is copied while other threads log, and only the rest under the lock.
    long long copied = 0;
    if (vokLogFiles::appendRest(hostPath, backup, copied)) {
        const std::lock_guard<Logger> guard(*this);
        if (vokLogFiles::appendRest(hostPath, backup, copied)) {
            const bool isAgentLog = path == agentLogPath;
            // Both logs may be the same file.
            const bool isDebugLog = !isAgentLog || (path == debugLogPath && debugLog.isOpen());
            if (isAgentLog) agentLog.close();
            if (isDebugLog) debugLog.close();
            std::remove(hostPath.c_str());
            if (isAgentLog) reopen(agentLog, hostPath);
            if (isDebugLog) reopen(debugLog, hostPath);
            return;
        }
    }
    reportFailure("Failed to back up the log file ", backup);
    std::remove(backup.c_str());
}

}  // namespace Logging
