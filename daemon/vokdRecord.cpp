#include "daemon/vokdRecord.h"

#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <iomanip>
#include <ostream>
#include <random>

#include "core/base/Logger.h"
#include "core/base/vokConfig.h"
#include "daemon/vokdInstanceLock.h"
#include "events/client/vokMsgInfra.h"
#include "platform/utils/vokWorkFolders.h"
#include "recording/Forms.h"

namespace {

constexpr std::size_t labelWidth = 18;
constexpr std::size_t mostRemarks = 20;

// The number of different questions of these kinds.
std::size_t countOf(const recording::Recording& recording, std::initializer_list<const char*> kinds) {
    return static_cast<std::size_t>(std::count_if(
        recording.exchanges.begin(), recording.exchanges.end(), [&](const recording::Exchange& exchange) {
            return std::find(kinds.begin(), kinds.end(), exchange.kind) != kinds.end();
        }));
}

std::size_t countAsked(const recording::Recording& recording) {
    return static_cast<std::size_t>(std::count_if(recording.files.begin(), recording.files.end(),
                                                  [](const auto& file) { return file.second.asked; }));
}

template <typename Value>
void printRow(const char* label, const Value& value, std::ostream& out) {
    out << "  " << std::left << std::setw(labelWidth) << label << value << "\n";
}

void printReplaced(const recording::Recording& recording, std::ostream& out) {
    if (!recording.redacted) {
        printRow("replaced", "nothing: it identifies the host and its parts", out);
        return;
    }
    if (recording.replaced.empty()) {
        printRow("replaced", "nothing: nothing was found that identifies the host", out);
        return;
    }
    out << "  replaced\n";
    for (const auto& [kind, count] : recording.replaced) printRow(("  " + kind).c_str(), count, out);
}

void printRemarks(const recording::Recording& recording, std::ostream& out) {
    if (recording.remarks.empty()) return;
    out << "Remarks:\n";
    const std::size_t shown = std::min(recording.remarks.size(), mostRemarks);
    for (std::size_t i = 0; i < shown; ++i) out << "  " << recording.remarks[i] << "\n";
    if (shown < recording.remarks.size())
        out << "  and " << recording.remarks.size() - shown << " more, all in the archive\n";
}

}  // namespace

std::string vokdWhyNoArchiveAt(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) return std::strerror(EEXIST);
    if (errno != ENOENT) return std::strerror(errno);
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    return ::access(directory.c_str(), W_OK | X_OK) == 0 ? "" : std::strerror(errno);
}

std::vector<std::string> vokdOwnPlaces() {
    const vokConfig& config = *vokConfig::getInstance();
    std::vector<std::string> places = {vokdInstanceLock::lockFile, vokDataFolder,
                                       Logging::Logger::linkDirectory, Logging::Logger::backupDirectory,
                                       vokServerPipePath};
    for (const std::string& log : {config.getVOKLogFileLocation(), config.getVOKDebugLogFileLocation()})
        if (!log.empty() && log.front() == '/') places.push_back(log);
    return places;
}

const char* vokdAbi() {
    return sizeof(void*) == 4 ? "i386" : "x86_64";
}

std::uint64_t vokdRandomSeed() {
    std::uint64_t seed = 0;
    if (::getrandom(&seed, sizeof(seed), 0) == static_cast<ssize_t>(sizeof(seed))) return seed;
    std::random_device device;
    return std::uint64_t{device()} << 32 | device();
}

void vokdPrintRecordingSummary(const recording::Recording& recording, const std::string& path,
                               std::uint64_t bytes, std::ostream& out) {
    namespace kinds = recording::kinds;
    out << "Recorded to " << path << "\n";
    printRow("bytes", bytes, out);
    printRow("files", countAsked(recording), out);
    printRow("commands", countOf(recording, {kinds::commandRead, kinds::commandRun}), out);
    printRow("device requests", countOf(recording, {kinds::scsi, kinds::csmi, kinds::ioctl, kinds::ipmi}),
             out);
    printRow("library calls", countOf(recording, {kinds::call}), out);
    printReplaced(recording, out);
    printRemarks(recording, out);
}
