#include "core/base/Logger.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include "core/base/vokLog.h"
#include "core/base/vokLogFiles.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeSystemLog.h"

namespace LoggerTest {
namespace {

using Logging::Logger;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class LoggerTest : public testing::Test {
protected:
    LoggerTest() {
        ::setenv("TZ", "UTC", 1);
        clock.set(1762331902);  // 5 November 2025, 08:38:22
        ::mkdir((host.root.path() + "/opt").c_str(), 0700);
    }
    void configure(const std::string& level, bool debug, const std::string& agent = "/scratch/log/vok.log",
                   const std::string& debugLog = "/scratch/log/debug.log") {
        host.root.writeFile("/etc/config/mev/vok/vok.conf",
                            R"({"LoggingLevel": ")" + level + R"(", "EnableDebugLog": ")" +
                                (debug ? "true" : "false") + R"(", "VOKLogLocation": ")" + agent +
                                R"(", "DebugLogLocation": ")" + debugLog + R"("})");
    }
    void makeLinkDirectory() { host.root.writeFile("/opt/mev/vok/log/keep", ""); }
    std::string agentLog() { return startOf("/scratch/log/vok.log"); }
    std::string debugLog() { return startOf("/scratch/log/debug.log"); }
    // The first MiB: a log grown to the size limit is too large to compare or print.
    std::string startOf(const std::string& path) {
        std::ifstream file(host.root.path() + path);
        std::string text(1 << 20, '\0');
        file.read(&text[0], static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(file.gcount()));
        return text;
    }
    std::string linkTarget(const std::string& name) {
        char target[4096] = {};
        const auto size = ::readlink((host.root.path() + "/opt/mev/vok/log/" + name).c_str(), target, 4095);
        return size < 0 ? "" : std::string(target, static_cast<std::size_t>(size));
    }
    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeSystemLog& systemLog = host.part<FakeSystemLog>();
};

TEST_F(LoggerTest, WritesEachLevelWithItsOwnBlanks) {
    configure("Info", true);
    Logger* const logger = Logger::getInstance();
    logger->info("stopping all the RM", "JOB_MGR", 42);
    logger->warning("w", "A", 7);
    logger->error("e", "B", 1234);
    logger->always("x", "C", 99);
    logger->debug("d", "D", 100);
    EXPECT_EQ(agentLog(),
              "Nov 5 08:38:22 [INFO]   042 JOB_MGR: stopping all the RM\n"
              "Nov 5 08:38:22 [WARNING] 007 A: w\n"
              "Nov 5 08:38:22 [ERROR]  1234 B: e\n"
              "Nov 5 08:38:22 [INFO] 099 C: x\n");
    EXPECT_EQ(debugLog(), "Nov 5 08:38:22 [DEBUG] 100 D: d\n");
}

TEST_F(LoggerTest, ALineNumberOfFiveDigitsIsCutToFour) {
    configure("Info", false);
    Logger::getInstance()->error("e", "B", 12345);
    EXPECT_EQ(agentLog(), "Nov 5 08:38:22 [ERROR]  1234 B: e\n");
}

struct LevelCase {
    const char* level;
    int value;
    const char* written;  // of error, warning, info
};

void PrintTo(const LevelCase& each, std::ostream* out) {
    *out << each.level;
}

class LevelTest : public LoggerTest, public testing::WithParamInterface<LevelCase> {};

TEST_P(LevelTest, WritesTheSeveritiesThatItIncludes) {
    configure(GetParam().level, false);
    Logger* const logger = Logger::getInstance();
    EXPECT_EQ(logger->getLoglevel(), GetParam().value);
    EXPECT_EQ(logger->getDebugLoglevel(), 12);
    logger->error("e", "", 1);
    logger->warning("w", "", 1);
    logger->info("i", "", 1);
    logger->debug("d", "", 1);
    std::string letters;
    const std::string log = agentLog();
    for (std::size_t end = log.find('\n'); end != std::string::npos; end = log.find('\n', end + 1))
        letters += log[end - 1];
    EXPECT_EQ(letters, GetParam().written);
}

struct LineNumberCase {
    int line;
    const char* written;
};

TEST_F(LoggerTest, ALineNumberHasThreeOrFourDigits) {
    configure("Info", false, "syslog", "syslog");
    for (const LineNumberCase& each :
         {LineNumberCase{0, "000"}, LineNumberCase{7, "007"}, LineNumberCase{99, "099"},
          LineNumberCase{100, "100"}, LineNumberCase{1234, "1234"}, LineNumberCase{99999, "9999"},
          LineNumberCase{2147483647, "2147"}}) {
        Logger::getInstance()->always("m", "M", each.line);
        EXPECT_EQ(systemLog.lines().back().second, "[INFO] " + std::string(each.written) + " M: m");
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, LevelTest,
                         testing::Values(LevelCase{"Error", 4, "e"}, LevelCase{"WARNING", 3, "ew"},
                                         LevelCase{"Info", 2, "ewi"}, LevelCase{"debug", 3, "ew"},
                                         LevelCase{"", 3, "ew"}));

TEST_F(LoggerTest, AnAlwaysLineIsWrittenAtAnyLevel) {
    configure("Error", false);
    Logger::getInstance()->always("x", "C", 1);
    EXPECT_THAT(agentLog(), EndsWith("[INFO] 001 C: x\n"));
}

TEST_F(LoggerTest, ADebugLineIsWrittenAtAnyLevel) {
    configure("Error", true);
    Logger::getInstance()->debug("d", "D", 1);
    EXPECT_THAT(debugLog(), EndsWith("[DEBUG] 001 D: d\n"));
}

TEST_F(LoggerTest, TheLevelCanBeChanged) {
    configure("Error", false);
    Logger::getInstance()->updateLogLevel(Logging::INFO);
    Logger::getInstance()->info("i", "M", 1);
    EXPECT_THAT(agentLog(), EndsWith("i\n"));
}

TEST_F(LoggerTest, SyslogInAnyCaseSelectsTheSystemLog) {
    configure("Info", true, "SysLog", "SYSLOG");
    Logger* const logger = Logger::getInstance();
    logger->error("e", "E", 1);
    logger->warning("w", "W", 22);
    logger->info("i", "I", 333);
    logger->always("a", "A", 4444);
    logger->debug("d", "D", 5);
    const std::vector<std::pair<int, std::string>> expected{{LOG_ERR, "[ERROR]  001 E: e"},
                                                            {LOG_WARNING, "[WARNING] 022 W: w"},
                                                            {LOG_INFO, "[INFO]   333 I: i"},
                                                            {LOG_INFO, "[INFO] 4444 A: a"},
                                                            {LOG_DEBUG, "[DEBUG] 005 D: d"}};
    EXPECT_EQ(systemLog.lines(), expected);
    EXPECT_FALSE(host.root.exists("scratch"));
}

TEST_F(LoggerTest, LoggingCanBeDisabledAndSwitchedBackToTheFile) {
    configure("Info", false);
    Logger* const logger = Logger::getInstance();
    logger->disableLog();
    logger->info("one", "M", 1);
    logger->enableFileLogging();
    logger->info("two", "M", 1);
    EXPECT_THAT(agentLog(), AllOf(testing::Not(HasSubstr("one")), HasSubstr("two")));
}

TEST_F(LoggerTest, LoggingCanBeSwitchedToTheSystemLog) {
    configure("Info", false);
    Logger* const logger = Logger::getInstance();
    systemLog.clear();
    logger->enaleLog();
    logger->info("i", "M", 1);
    EXPECT_EQ(agentLog(), "");
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_EQ(systemLog.lines()[0].second, "[INFO]   001 M: i");
}

TEST_F(LoggerTest, TheLogMayBeACharacterDevice) {
    configure("Info", false);
    makeLinkDirectory();
    host.root.writeFile("/scratch/log/keep", "");
    ASSERT_EQ(::symlink("/dev/full", (host.root.path() + "/scratch/log/vok.log").c_str()), 0);
    ASSERT_TRUE(Logger::getInstance()->reopenLogs());
    EXPECT_TRUE(systemLog.lines().empty());
}

TEST_F(LoggerTest, ALogThatCannotBeWrittenIsReportedOnce) {
    configure("Info", false);
    makeLinkDirectory();
    host.root.writeFile("/scratch/log/keep", "");
    const std::string log = host.root.path() + "/scratch/log/vok.log";
    ASSERT_EQ(::symlink("/dev/full", log.c_str()), 0);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 1000; ++i) Logger::getInstance()->error(std::string(100, 'x'), "M", 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                EndsWith(": the agent log " + log + " can't be written: No space left on device\n"));
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_EQ(systemLog.lines()[0].second,
              "Error writing VOK log file [" + log + "]: 28 - No space left on device");
}

TEST_F(LoggerTest, TheLogsAreClosedInTheCommandsOfTheAgent) {
    configure("Info", true);
    Logger::getInstance();
    int logs = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        char target[4096] = {};
        const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
        if (::readlink(link.c_str(), target, sizeof(target) - 1) < 0) continue;
        if (std::string(target).find("/scratch/log/") == std::string::npos) continue;
        ++logs;
        EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << target;
    }
    EXPECT_EQ(logs, 2);
}

TEST_F(LoggerTest, WithoutDebugLoggingTheDirectoryIsCreatedAndTheFileIsNot) {
    configure("Info", false, "syslog", "/elsewhere/log/debug.log");
    Logger::getInstance()->debug("d", "D", 1);
    EXPECT_TRUE(host.root.exists("/elsewhere/log"));
    EXPECT_FALSE(host.root.exists("/elsewhere/log/debug.log"));
}

TEST_F(LoggerTest, CreatesItsDirectoriesForTheirOwnerOnly) {
    configure("Info", false);
    Logger::getInstance();
    struct stat status {};
    ASSERT_EQ(::stat((host.root.path() + "/scratch/log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    ASSERT_EQ(::stat((host.root.path() + "/scratch/log/vok.log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0077, 0U);
}

TEST_F(LoggerTest, AppendsToAnExistingLog) {
    configure("Info", false);
    host.root.writeFile("/scratch/log/vok.log", "before\n");
    Logger::getInstance()->info("i", "M", 1);
    EXPECT_THAT(agentLog(), StartsWith("before\nNov 5"));
}

TEST_F(LoggerTest, LinksTheLogsAndTheBackupDirectory) {
    configure("Info", true);
    makeLinkDirectory();
    host.root.writeFile("/scratch/log/mev/vok/backup_log/keep", "");
    host.root.writeFile("/opt/mev/vok/log/vok.log", "an old link or file is replaced");
    Logger::getInstance();
    EXPECT_EQ(linkTarget("vok.log"), host.root.path() + "/scratch/log/vok.log");
    EXPECT_EQ(linkTarget("debug.log"), host.root.path() + "/scratch/log/debug.log");
    EXPECT_EQ(linkTarget("backup_log"), host.root.path() + "/scratch/log/mev/vok/backup_log");
}

TEST_F(LoggerTest, AMissingLinkDirectoryIsReported) {
    configure("Info", false);
    Logger::getInstance();
    const std::string log = host.root.path() + "/scratch/log/vok.log";
    const std::string link = host.root.path() + "/opt/mev/vok/log/vok.log";
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_EQ(systemLog.lines()[0].first, LOG_WARNING);
    EXPECT_EQ(systemLog.lines()[0].second, "symlink(" + log + ", " + link + ") completed with errno [2]");
}

TEST_F(LoggerTest, AFileInsteadOfTheLinkDirectoryIsReportedOnceForEachLink) {
    configure("Info", false);
    host.root.writeFile("/opt/mev/vok/log", "a file");
    Logger::getInstance();
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_EQ(systemLog.lines()[0].second,
              "remove(" + host.root.path() + "/opt/mev/vok/log/vok.log) completed with errno [20]");
}

TEST_F(LoggerTest, ALogInTheLinkDirectoryGetsNoLinkToItself) {
    configure("Info", false, "/opt/mev/vok/log/vok.log", "syslog");
    Logger::getInstance()->info("i", "M", 1);
    const std::string path = host.root.path() + "/opt/mev/vok/log/vok.log";
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_EQ(systemLog.lines()[0].second, "Target path(" + path + ") matches symbolic link path(" + path +
                                               "). Hence, symbolic link will not be created.");
    EXPECT_THAT(host.root.readFile("/opt/mev/vok/log/vok.log"), EndsWith("i\n"));
}

TEST_F(LoggerTest, ALinkThatCannotBeRemovedIsReported) {
    configure("Info", false);
    host.root.writeFile("/opt/mev/vok/log/vok.log/inside", "");
    Logger::getInstance();
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_EQ(systemLog.lines()[0].second,
              "remove(" + host.root.path() + "/opt/mev/vok/log/vok.log) completed with errno [39]");
}

// The recorded lines are lost when a process exits, so this system log prints them to standard error.
class PrintedSystemLog : public FakeSystemLog {
public:
    void write(int priority, const std::string& text) override {
        std::fprintf(stderr, "<%d>%s", priority, text.c_str());
    }
};

std::string asExpression(const std::string& text) {
    std::string expression;
    for (const char c : text)
        expression += std::strchr(".[]()", c) ? std::string("[") + c + "]" : std::string(1, c);
    return expression;
}

class UncreatableDirectoryTest : public LoggerTest {
protected:
    // Puts a file where a log directory would be created.
    void blockDirectories(const std::string& agent, const std::string& debug) {
        blocked.add<PrintedSystemLog>();
        blocked.root.writeFile("/scratch", "a file");
        blocked.root.writeFile(
            "/etc/config/mev/vok/vok.conf",
            R"({"VOKLogLocation": ")" + agent + R"(", "DebugLogLocation": ")" + debug + R"("})");
    }
    FakeHost blocked;  // replaces `host`
};

TEST_F(UncreatableDirectoryTest, IsNamedOnStandardErrorAsTheLastLine) {
    blockDirectories("/scratch/log/vok.log", "syslog");
    EXPECT_EXIT(Logger::getInstance(), testing::ExitedWithCode(246),
                asExpression(": the directory " + blocked.root.path() +
                             "/scratch/log of the agent log can't be created: Not a directory\n") +
                    "$");
}

TEST_F(UncreatableDirectoryTest, OfTheAgentLogEndsTheProcess) {
    blockDirectories("/scratch/log/vok.log", "/scratch/log/debug.log");
    EXPECT_EXIT(Logger::getInstance(), testing::ExitedWithCode(246),
                asExpression("<3>Failed to create directory path for VOK log file [" + blocked.root.path() +
                             "/scratch/log/vok.log]: 20 - Not a directory"));
}

TEST_F(UncreatableDirectoryTest, OfTheDebugLogEndsTheProcess) {
    blockDirectories("syslog", "/scratch/log/debug.log");
    EXPECT_EXIT(Logger::getInstance(), testing::ExitedWithCode(245),
                asExpression("<3>Failed to create directory path for VOK debug log file [" +
                             blocked.root.path() + "/scratch/log/debug.log]: 20 - Not a directory"));
}

TEST_F(LoggerTest, APathThatOnlyStartsLikeTheSystemLogIsAFile) {
    configure("Info", false, "syslog.d/vok.log", "asyslog");
    Logger::getInstance()->info("i", "M", 1);
    EXPECT_EQ(host.root.readFile("/syslog.d/vok.log"), "Nov 5 08:38:22 [INFO]   001 M: i\n");
}

TEST_F(LoggerTest, AnOldDebugLogIsLinkedEvenWithoutDebugLogging) {
    configure("Info", false);
    makeLinkDirectory();
    host.root.writeFile("/scratch/log/debug.log", "from yesterday\n");
    Logger::getInstance();
    EXPECT_EQ(linkTarget("debug.log"), host.root.path() + "/scratch/log/debug.log");
}

TEST_F(LoggerTest, ALogThatCannotBeOpenedIsReportedAndTheAgentContinues) {
    configure("Info", true);
    makeLinkDirectory();
    host.root.writeFile("/scratch/log/vok.log/inside", "");
    host.root.writeFile("/scratch/log/debug.log/inside", "");
    Logger::getInstance()->error("e", "M", 1);
    ASSERT_GE(systemLog.lines().size(), 2U);
    EXPECT_EQ(systemLog.lines()[0].first, LOG_ERR);
    EXPECT_EQ(systemLog.lines()[0].second, "Error opening VOK log file [" + host.root.path() +
                                               "/scratch/log/vok.log]: 21 - Is a directory");
    EXPECT_EQ(systemLog.lines()[1].second, "Error opening the VOK debug log file[" + host.root.path() +
                                               "/scratch/log/debug.log]: 21 - Is a directory");
}

TEST_F(LoggerTest, APipeInsteadOfTheLogDoesNotBlockTheAgent) {
    configure("Info", false);
    host.root.writeFile("/scratch/log/other", "");
    ASSERT_EQ(::mkfifo((host.root.path() + "/scratch/log/vok.log").c_str(), 0600), 0);
    Logger::getInstance()->error("e", "M", 1);
    ASSERT_FALSE(systemLog.lines().empty());
    EXPECT_THAT(systemLog.lines()[0].second, StartsWith("Error opening VOK log file ["));
}

TEST_F(LoggerTest, LinesOfManyThreadsAreNotMixed) {
    configure("Info", false);
    Logger* const logger = Logger::getInstance();
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([logger, i] {
            for (int j = 0; j < 200; ++j) logger->info(std::string(50, static_cast<char>('a' + i)), "M", 1);
        });
    for (auto& thread : threads) thread.join();
    std::istringstream log(agentLog());
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines) {
        ASSERT_EQ(line.size(), std::string("Nov 5 08:38:22 [INFO]   001 M: ").size() + 50) << line;
        ASSERT_EQ(line.substr(line.size() - 50), std::string(50, line.back()));
    }
    EXPECT_EQ(lines, 1600);
}

TEST_F(LoggerTest, AMessageIsCutAt4095Bytes) {
    configure("Info", false);
    const std::string text(5000, 'x');
    VOK_LOG_INFO("M", "%s", text.c_str());
    EXPECT_THAT(agentLog(), EndsWith(" M: " + std::string(4095, 'x') + "\n"));
}

TEST_F(LoggerTest, AMessageBelowTheLevelIsNotFormatted) {
    configure("Warning", false);
    int formatted = 0;
    const auto count = [&] { return ++formatted; };
    VOK_LOG_INFO("M", "%d", count());
    VOK_LOG_DEBUG("M", "%d", count());
    EXPECT_EQ(formatted, 0);
    VOK_LOG_WARNING("M", "%d", count());
    VOK_LOG_ALWAYS("M", "%d", count());
    EXPECT_EQ(formatted, 2);
}

// --- opening the logs again ---

class ReopenTest : public LoggerTest {
protected:
    void moveAway(const std::string& path) {
        ASSERT_EQ(std::rename((host.root.path() + path).c_str(), (host.root.path() + path + ".1").c_str()),
                  0);
    }
};

TEST_F(ReopenTest, LinesGoToNewFilesAndNoneIsLost) {
    configure("Info", true);
    Logger* const logger = Logger::getInstance();
    logger->info("before", "M", 1);
    moveAway("/scratch/log/vok.log");
    moveAway("/scratch/log/debug.log");
    logger->info("between", "M", 2);
    logger->debug("between", "M", 3);
    EXPECT_TRUE(logger->reopenLogs());
    logger->info("after", "M", 4);
    logger->debug("after", "M", 5);
    EXPECT_EQ(startOf("/scratch/log/vok.log.1"),
              "Nov 5 08:38:22 [INFO]   001 M: before\nNov 5 08:38:22 [INFO]   002 M: between\n");
    EXPECT_EQ(agentLog(), "Nov 5 08:38:22 [INFO]   004 M: after\n");
    EXPECT_EQ(startOf("/scratch/log/debug.log.1"), "Nov 5 08:38:22 [DEBUG] 003 M: between\n");
    EXPECT_EQ(debugLog(), "Nov 5 08:38:22 [DEBUG] 005 M: after\n");
}

TEST_F(ReopenTest, TheLinksAreMadeAgain) {
    configure("Info", true);
    makeLinkDirectory();
    Logger* const logger = Logger::getInstance();
    for (const char* name : {"vok.log", "debug.log"})
        ASSERT_EQ(std::remove((host.root.path() + "/opt/mev/vok/log/" + name).c_str()), 0);
    logger->reopenLogs();
    EXPECT_EQ(linkTarget("vok.log"), host.root.path() + "/scratch/log/vok.log");
    EXPECT_EQ(linkTarget("debug.log"), host.root.path() + "/scratch/log/debug.log");
}

TEST_F(ReopenTest, ADirectoryThatWasMovedAwayIsMadeAgain) {
    configure("Info", false);
    Logger* const logger = Logger::getInstance();
    moveAway("/scratch/log");
    logger->reopenLogs();
    logger->info("after", "M", 1);
    EXPECT_EQ(agentLog(), "Nov 5 08:38:22 [INFO]   001 M: after\n");
}

TEST_F(ReopenTest, ALogThatCannotBeOpenedIsReportedAndThePreviousOneStaysInUse) {
    configure("Info", false);
    makeLinkDirectory();
    Logger* const logger = Logger::getInstance();
    moveAway("/scratch/log/vok.log");
    host.root.writeFile("/scratch/log/vok.log/inside", "");
    EXPECT_FALSE(logger->reopenLogs());
    logger->info("after", "M", 1);
    EXPECT_EQ(startOf("/scratch/log/vok.log.1"), "Nov 5 08:38:22 [INFO]   001 M: after\n");
    ASSERT_FALSE(systemLog.lines().empty());
    EXPECT_EQ(systemLog.lines()[0].second, "Error opening VOK log file [" + host.root.path() +
                                               "/scratch/log/vok.log]: 21 - Is a directory");
}

TEST_F(ReopenTest, WithoutDebugLoggingNoDebugLogIsCreated) {
    configure("Info", false);
    Logger::getInstance()->reopenLogs();
    EXPECT_FALSE(host.root.exists("/scratch/log/debug.log"));
}

TEST_F(ReopenTest, TheSystemLogNeedsNothing) {
    configure("Info", true, "syslog", "syslog");
    Logger* const logger = Logger::getInstance();
    logger->reopenLogs();
    logger->info("after", "M", 1);
    ASSERT_EQ(systemLog.lines().size(), 1U);
    EXPECT_FALSE(host.root.exists("scratch"));
}

// --- the size limit ---

class LogLimitTest : public LoggerTest {
protected:
    void grow(const std::string& path, off_t size) {
        ASSERT_EQ(::truncate((host.root.path() + path).c_str(), size), 0);
    }
    static constexpr char backup[] = "/scratch/log/mev/vok/backup_log/vok.log_2025_11_05_08_38_22";
};

TEST_F(LogLimitTest, ALogOfTheMaximumSizeIsLeftAlone) {
    configure("Info", false);
    Logger* const logger = Logger::getInstance();
    grow("/scratch/log/vok.log", 499999999);
    logger->isFileExceeded("/scratch/log/vok.log");
    EXPECT_FALSE(host.root.exists(backup));
}

TEST_F(LogLimitTest, ALogBeyondTheMaximumSizeIsBackedUpByteForByteAndStartedAgain) {
    configure("Info", false);
    makeLinkDirectory();
    Logger* const logger = Logger::getInstance();
    logger->info("first", "M", 1);
    grow("/scratch/log/vok.log", 500000000);
    logger->info("last", "M", 2);
    logger->isFileExceeded("/scratch/log/vok.log");
    logger->info("second", "M", 1);
    EXPECT_EQ(agentLog(), "Nov 5 08:38:22 [INFO]   001 M: second\n");
    struct stat status {};
    ASSERT_EQ(::stat((host.root.path() + backup).c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 500000000 + 36);
    EXPECT_EQ(status.st_mode & 0077, 0U);
    EXPECT_EQ(linkTarget("backup_log"), host.root.path() + "/scratch/log/mev/vok/backup_log");
    ASSERT_EQ(::stat((host.root.path() + "/scratch/log/mev/vok/backup_log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    std::ifstream copy(host.root.path() + backup);
    std::string line;
    std::getline(copy, line);
    EXPECT_EQ(line, "Nov 5 08:38:22 [INFO]   001 M: first");
    copy.seekg(500000000);
    std::getline(copy, line);
    EXPECT_EQ(line, "Nov 5 08:38:22 [INFO]   002 M: last");
}

TEST_F(LogLimitTest, ABackupThatCannotBeWrittenLeavesTheLogInPlace) {
    configure("Info", false);
    Logger* const logger = Logger::getInstance();
    host.root.writeFile("/scratch/log/mev/vok/backup_log", "a file instead of the directory");
    grow("/scratch/log/vok.log", 500000001);
    logger->isFileExceeded("/scratch/log/vok.log");
    logger->info("still written", "M", 1);
    struct stat status {};
    ASSERT_EQ(::stat((host.root.path() + "/scratch/log/vok.log").c_str(), &status), 0);
    EXPECT_GT(status.st_size, 500000001);
    EXPECT_THAT(systemLog.lines().back().second, HasSubstr("Failed to back up the log file"));
}

TEST_F(LogLimitTest, TheDebugLogIsBackedUpUnderItsNameAfterTheLastSlashOrBackslash) {
    configure("Info", true, "/scratch/log/vok.log", "/scratch/log\\\\debug.log");
    Logger* const logger = Logger::getInstance();
    logger->info("agent", "M", 1);
    logger->debug("first", "M", 1);
    grow("/scratch/log\\debug.log", 500000000);
    logger->isFileExceeded("/scratch/log\\debug.log");
    logger->debug("second", "M", 1);
    EXPECT_EQ(startOf("/scratch/log\\debug.log"), "Nov 5 08:38:22 [DEBUG] 001 M: second\n");
    EXPECT_THAT(agentLog(), EndsWith("agent\n"));
    EXPECT_TRUE(host.root.exists("/scratch/log/mev/vok/backup_log/debug.log_2025_11_05_08_38_22"));
}

TEST_F(LogLimitTest, WhenBothLogsAreOneFileBothContinueInTheNewOne) {
    configure("Info", true, "/scratch/log/vok.log", "/scratch/log/vok.log");
    Logger* const logger = Logger::getInstance();
    // One byte above the maximum.
    grow("/scratch/log/vok.log", 500000000);
    logger->isFileExceeded("/scratch/log/vok.log");
    logger->debug("d", "M", 1);
    logger->info("i", "M", 2);
    EXPECT_EQ(agentLog(), "Nov 5 08:38:22 [DEBUG] 001 M: d\nNov 5 08:38:22 [INFO]   002 M: i\n");
}

TEST_F(LogLimitTest, AMissingFileIsNotExceeded) {
    configure("Info", false);
    Logger::getInstance()->isFileExceeded("/no/such/file");
    EXPECT_FALSE(host.root.exists("/scratch/log/mev"));
}

}  // namespace
}  // namespace LoggerTest
