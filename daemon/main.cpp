// vokd: loads the agent, starts its parts in order, waits for a signal to end, and stops it.
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>

#include "core/base/Logger.h"
#include "core/base/vokConfig.h"
#include "core/base/vokLog.h"
#include "core/base/vokModules.h"
#include "core/base/vokVersion.h"
#include "core/inventory/vokFactory.h"
#include "core/inventory/vokResourceManager.h"
#include "core/vokAgentStatus.h"
#include "core/vokJobManager.h"
#include "daemon/recording/RecordingHostAccess.h"
#include "daemon/vokdClockCheck.h"
#include "daemon/vokdConfigReport.h"
#include "daemon/vokdCrashTrace.h"
#include "daemon/vokdDiskProbe.h"
#include "daemon/vokdHugePages.h"
#include "daemon/vokdInstanceLock.h"
#include "daemon/vokdLibraryCrashes.h"
#include "daemon/vokdLogLimits.h"
#include "daemon/vokdOptions.h"
#include "daemon/vokdPlatformReport.h"
#include "daemon/vokdRecord.h"
#include "daemon/vokdSignals.h"
#include "platform/access/vokLongOperation.h"
#include "platform/access/vokRootedHostAccess.h"
#include "platform/access/vokStandardStreams.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokStartupRecordAge.h"
#include "platform/utils/vokSystemInterfaceFactory.h"
#include "platform/utils/vokUtils.h"
#include "platform/utils/vokWorkFolders.h"
#include "recording/Archive.h"
#include "recording/Redaction.h"
#include "rmc/vokIPMIDBService.h"
#include "rmc/vokJsonAggregator.h"
#include "storage/SASResourceManager.h"
#include "storage/vokGenericStorageFactory.h"

namespace {

constexpr int secondsBetweenChecks = 60;

// The access to the host under `root`, or to the machine itself. Null after a line on standard error.
std::unique_ptr<IvokHostAccess> openHost(const std::string& root) {
    if (root.empty()) return std::make_unique<vokKernelHostAccess>();
    std::string error;
    auto access = vokOpenHostRoot(root, error);
    if (!access) std::fprintf(stderr, "vokd: %s\n", error.c_str());
    return access;
}

// Sets the host that the agent uses. With --record it is recorded, and `recorder` is its access.
bool useHost(const vokdOptions& options, RecordingHostAccess*& recorder) {
    const bool isRecorded = options.action == vokdOptions::Action::record;
    if (options.hostRoot.empty() && !isRecorded) return true;
    std::unique_ptr<IvokHostAccess> access = openHost(options.hostRoot);
    if (!access) return false;
    if (isRecorded) {
        auto recording = std::make_unique<RecordingHostAccess>(std::move(access));
        recorder = recording.get();
        access = std::move(recording);
    }
    vokSetHostAccess(std::move(access));
    return true;
}

// Reads the platform data that the managers need, before any of them runs.
void readPlatformTables() {
    platformCheck::setDirectoryPath();  // needs the firmware's table, which initGeoIDMap frees
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    vokSystemInterfaceFactory::getSystemInterface()->populateHardwarePCIDetails();
}

void releasePlatformTables() {
    vokSystemInterfaceFactory::getSystemInterface()->UnInitialize();
}

// One vokd per host owns the working files under the data directory and the startup record. Returns zero to
// continue.
int lockHost(vokdInstanceLock& lock) {
    std::string detail;
    switch (lock.take(detail)) {
        case vokdInstanceLock::Result::heldByAnother:
            std::fprintf(stderr, "vokd: another vokd runs on this host (process %s)\n", detail.c_str());
            return vokdOptions::alreadyRunning;
        case vokdInstanceLock::Result::unavailable:
            std::fprintf(stderr, "vokd: running without a lock against a second vokd: %s\n", detail.c_str());
            break;
        case vokdInstanceLock::Result::taken:
            break;
    }
    return 0;
}

void prepareWorkFolders() {
    for (const std::string& error : vokPrepareWorkFolders())
        std::fprintf(stderr, "vokd: %s\n", error.c_str());
}

// The agent continues without root's rights, and its log then holds a failure for each of these.
void warnIfNotRoot(const vokdOptions& options) {
    if (!options.hostRoot.empty() || ::geteuid() == 0) return;
    std::fprintf(
        stderr,
        "vokd: not running as root: the IPMI device, the startup record, the pipes of the clients and "
        "the working directories can't be used\n");
}

int checkConfig() {
    const int status = vokdPrintConfigReport(std::cout);
    return std::cout.flush() ? status : vokdOptions::reportOutputFailure();
}

void printLongOperation(const char* description, long seconds, bool hasEnded) {
    std::fprintf(stderr, "vokd: %s after %ld s: %s\n", hasEnded ? "Ended" : "Still not ended", seconds,
                 description);
}

// Runs a report that asks the host. What takes long is named on standard error. SIGTERM and SIGINT end it,
// also while a command hangs; nothing is printed then.
int runReport(const std::function<int()>& report) {
    int status = vokdOptions::graceful;
    vokBindLongOperationReport(printLongOperation);
    {
        const vokLongOperationWatch watch;
        const vokdSignalsDuringStart mayStop;
        status = report();
    }
    const int ending = vokdSignalDuringStart();
    if (ending == 0) return status;
    std::fprintf(stderr, "vokd: interrupted by %s\n", vokdSignalName(ending));
    return vokdOptions::interrupted;
}

int showPlatform() {
    vokdInstanceLock lock;
    if (const int refused = lockHost(lock)) return refused;
    Logging::Logger::loggerInit();
    prepareWorkFolders();
    readPlatformTables();
    if (vokdSignalDuringStart() != 0) return vokdOptions::graceful;
    vokdPrintPlatformReport(std::cout);
    releasePlatformTables();
    return std::cout.flush() ? vokdOptions::graceful : vokdOptions::reportOutputFailure();
}

// Builds one inventory of every enabled resource. `document` stays empty if none has one.
int buildInventory(std::string& document) {
    vokdInstanceLock lock;
    if (const int refused = lockHost(lock)) return refused;
    vokdPrintConfigWarnings();
    Logging::Logger::loggerInit();
    vokdLogConfigWarnings();
    prepareWorkFolders();
    readPlatformTables();
    vokUseGenericStorageFactory();
    for (const vokModule& module : vokModules) {
        vokResourceManager* const manager = vokFactory().createInstance(module.id);
        if (manager && vokConfig::getInstance()->isResourceEnabled(module.id)) manager->cacheBuild();
    }
    document = vokJsonAggregator::getInstance()->getInventoryDocument();
    // The build has registered for the events of RAID controllers. None may come when what it needs is gone.
    if (vokConfig::getInstance()->isResourceEnabled(STORAGE_CONTROLLERS))
        SASResourceManager::getInstance()->processResourceManagerStop();
    releasePlatformTables();
    if (vokdSignalDuringStart() == 0 && document.empty())
        std::fprintf(stderr, "vokd: no enabled resource has an inventory\n");
    if (!document.empty()) document += '\n';
    return vokdOptions::graceful;
}

int printInventory() {
    std::string document;
    if (const int refused = buildInventory(document)) return refused;
    if (vokdSignalDuringStart() != 0) return vokdOptions::graceful;
    const bool printed = std::fputs(document.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    return printed ? vokdOptions::graceful : vokdOptions::reportOutputFailure();
}

int reportNoArchive(const std::string& file, const std::string& reason) {
    std::fprintf(stderr, "vokd: no recording in %s: %s\n", file.c_str(), reason.c_str());
    return vokdOptions::outputFailed;
}

// Writes the archive of a finished recording and prints the summary.
int saveRecording(const vokdOptions& options, recording::Recording& recorded) {
    if (!options.plain) recording::redact(recorded, vokdRandomSeed());
    std::string error;
    if (!recording::saveArchive(recorded, options.recordTo, error)) {
        std::fprintf(stderr, "vokd: no recording: %s\n", error.c_str());
        return vokdOptions::outputFailed;
    }
    struct stat status {};
    ::stat(options.recordTo.c_str(), &status);
    vokdPrintRecordingSummary(recorded, options.recordTo, static_cast<std::uint64_t>(status.st_size),
                              std::cout);
    return std::cout.flush() ? vokdOptions::graceful : vokdOptions::reportOutputFailure();
}

int recordHost(const vokdOptions& options, RecordingHostAccess& recorder) {
    const std::string reason = vokdWhyNoArchiveAt(options.recordTo);
    if (!reason.empty()) return reportNoArchive(options.recordTo, reason);
    recording::Recording recorded;
    const int status = runReport([&] {
        recorder.leaveOut(vokdOwnPlaces());
        return buildInventory(recorded.document);
    });
    if (status != vokdOptions::graceful) return status;
    recorded.agentVersion = VOK_VERSION;
    recorded.abi = vokdAbi();
    if (!recorder.finish(recorded))
        return reportNoArchive(options.recordTo, "it would hold more than 64 MiB");
    return saveRecording(options, recorded);
}

// A command that hangs can't be left in order, and nothing is held that has to be released: a signal ends the
// program.
int probeDisk(const std::string& node) {
    vokdEndAtSignal(vokdOptions::interrupted);
    const int status = vokdProbeDisk(node, std::cout, std::cerr);
    return std::cout.flush() ? status : vokdOptions::reportOutputFailure();
}

void captureCrashesIfEnabled() {
    if (!vokConfig::getInstance()->isUnhandledExceptionStackCaptureEnabled()) return;
    const std::string directory = vokHostAccess().path(Logging::Logger::linkDirectory);
    if (!vokdCaptureCrashes(directory))
        std::fprintf(stderr, "vokd: no stack traces: %s can't be created: %s\n", directory.c_str(),
                     std::strerror(errno));
}

void logStart(const vokdOptions& options) {
    VOK_LOG_ALWAYS("VOKD", "vokd %s starts: process %d, user %d, log level %s, settings from %s%s%s",
                   VOK_VERSION_LOG, static_cast<int>(::getpid()), static_cast<int>(::geteuid()),
                   vokConfig::getInstance()->getVOKLoggingLevel().c_str(),
                   vokHostAccess().path(vokConfig::configFile).c_str(),
                   options.hostRoot.empty() ? "" : ", host root ", options.hostRoot.c_str());
}

void logEnd(int signal) {
    VOK_LOG_ALWAYS("VOKD", "vokd has stopped after %s", vokdSignalName(signal));
}

// Returns the number of the signal.
int waitForTheEnd() {
    vokdClockCheck clockCheck;
    vokStartupRecordAge recordAge;
    for (;;) {
        vokdEnforceLogLimits();
        clockCheck.run();
        recordAge.renewDaily();
        const int signal = vokdWaitForSignal(secondsBetweenChecks);
        if (vokdSignalEndsTheAgent(signal)) return signal;
        if (signal == SIGHUP) {
            if (Logging::Logger::getInstance()->reopenLogs())
                VOK_LOG_INFO("VOKD", "SIGHUP: the log files are open again");
            else
                VOK_LOG_ERROR("VOKD",
                              "SIGHUP: a log file can't be opened again; the system log has the reason");
        } else if (signal != 0) {
            VOK_LOG_INFO("VOKD", "%s has no effect", vokdSignalName(signal));
        }
    }
}

int runAgent(const vokdOptions& options) {
    vokdAvoidHugePages();
    vokdInstanceLock lock;
    if (const int refused = lockHost(lock)) return refused;
    captureCrashesIfEnabled();

    vokdPrintConfigWarnings();
    Logging::Logger::loggerInit();
    logStart(options);
    vokdLogConfigWarnings();
    prepareWorkFolders();
    vokdRecordLibraryCrashes(vokdOptions::libraryExit);
    const vokAgentStatus status;
    const vokLongOperationWatch watch;
    {
        const vokdSignalsDuringStart mayStop;
        readPlatformTables();
    }
    if (const int ending = vokdSignalDuringStart()) {
        // Nothing runs yet, and the startup record is still that of the last run.
        releasePlatformTables();
        logEnd(ending);
        return vokdOptions::graceful;
    }
    vokUseGenericStorageFactory();
    if (!vokJobManager::getInstance()->startResourceManagers()) {
        // Threads are running that can no longer be stopped in order, so nothing that they use is torn
        // down.
        std::fprintf(stderr, "vokd: a thread could not be created, the agent is not running\n");
        std::fflush(nullptr);
        ::_exit(vokdOptions::startFailed);
    }
    vokJsonAggregator::getInstance()->sendInventory(false);
    vokIPMIDBService::getInstance()->startvokIPMIDBService();
    vokJobManager::getInstance()->startVOKServer();

    const int ending = waitForTheEnd();
    vokdEndAtNextSignal(vokdOptions::secondSignal);
    vokHostAccess().requestStop();
    vokJobManager::getInstance()->stopVOKServer();
    vokIPMIDBService::getInstance()->stopvokIPMIDBService();
    vokJsonAggregator::getInstance()->stopvokJsonAggregator();
    vokJobManager::getInstance()->stopResourceManagers();
    releasePlatformTables();
    logEnd(ending);
    return vokdOptions::graceful;
}

}  // namespace

int main(int argc, char** argv) {
    vokdHoldSignals();  // before any other thread exists, and before a signal could end the start
    vokOccupyClosedStandardStreams();
    vokdOptions options;
    int exitStatus = vokdOptions::graceful;
    if (!options.parse(argc, argv, exitStatus)) return exitStatus;

    ::umask(0077);
    RecordingHostAccess* recorder = nullptr;
    if (!useHost(options, recorder)) return vokdOptions::noHostRoot;
    const bool isAgent = options.action != vokdOptions::Action::checkConfig &&
                         options.action != vokdOptions::Action::probeDisk;
    if (isAgent) warnIfNotRoot(options);
    switch (options.action) {
        case vokdOptions::Action::checkConfig:
            return checkConfig();
        case vokdOptions::Action::printInventory:
            return runReport(printInventory);
        case vokdOptions::Action::record:
            return recordHost(options, *recorder);
        case vokdOptions::Action::showPlatform:
            return runReport(showPlatform);
        case vokdOptions::Action::probeDisk:
            return probeDisk(options.disk);
        case vokdOptions::Action::run:
            return runAgent(options);
    }
    return vokdOptions::usage;
}
