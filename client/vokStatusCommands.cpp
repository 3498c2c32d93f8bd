#include "vokStatusCommands.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <optional>
#include <vector>

#include "core/status/vokHistory.h"
#include "core/status/vokHistoryRing.h"
#include "core/status/vokStatusLayout.h"
#include "core/status/vokStatusSnapshot.h"
#include "platform/access/vokHostAccess.h"
#include "vokClientCommands.h"
#include "vokClientOutput.h"
#include "vokHistoryWords.h"
#include "vokReplacedFile.h"
#include "vokStatusJson.h"
#include "vokStatusMetrics.h"
#include "vokStatusVerdict.h"
#include "vokStatusWords.h"

namespace {

// True if the file can't be read for want of permission; it or its folder is root's.
bool lacksPermission(const char* file) {
    return ::access(vokHostAccess().path(file).c_str(), R_OK) != 0 && errno == EACCES;
}

int complainOfPermission(const char* file) {
    vokClientComplain("No permission to read " + vokHostAccess().path(file) + "; run as root.");
    return vokExitNoPermission;
}

// Ends with a newline.
std::string textOf(vokStatusForm form, const vokStatusSnapshot* status, const vokVerdict& verdict) {
    const std::int64_t now = vokWallClockSeconds();
    switch (form) {
        case vokStatusForm::json:
            return vokStyledJson(vokStatusJson(status, verdict, now)) + "\n";
        case vokStatusForm::prometheus:
            return vokStatusMetrics(status, verdict, now);
        case vokStatusForm::words:
            break;
    }
    return vokVerdictWords(verdict) + (status ? "\n" + vokStatusWords(*status, now) : "");
}

// Prints a text that ends with a newline.
bool print(std::string text) {
    text.pop_back();
    return vokClientPrint(text);
}

bool writeTo(const std::string& file, const std::string& text) {
    if (vokReplaceFile(file, text)) return true;
    vokClientComplain(file + ": " + std::strerror(errno));
    return false;
}

}  // namespace

const char vokStatusExitHelp[] =
    "Exit status, as that of a monitoring plugin:\n"
    "  0  the agent is healthy, or has just started\n"
    "  1  warning: something hangs, is late, left out or not delivered; wrong usage\n"
    "  2  critical: the agent does not run, or its inventory does not arrive\n"
    "  4  no permission\n"
    "  6  the output could not be written";

const char vokHistoryExitHelp[] =
    "Exit status:\n"
    "  0  done\n"
    "  1  wrong usage\n"
    "  4  no permission\n"
    "  6  any other failure: no history, or the output could not be written";

int vokClientStatus(vokStatusForm form, const std::string& file) {
    std::string reason;
    const std::optional<vokStatusSnapshot> status = vokReadStatus(reason);
    if (!status && lacksPermission(vokStatusLayout::path)) return complainOfPermission(vokStatusLayout::path);
    const vokVerdict verdict =
        status ? vokJudgeStatus(*status, vokWallClockSeconds()) : vokJudgeNoStatus(reason);
    const std::string text = textOf(form, status ? &*status : nullptr, verdict);
    const bool isWritten = file.empty() ? print(text) : writeTo(file, text);
    return isWritten ? static_cast<int>(verdict.health) : vokExitFailed;
}

int vokClientHistory(std::size_t most, bool asJson) {
    std::vector<vokHistoryEntry> entries;
    std::string reason;
    if (!vokReadHistory(most, entries, reason)) {
        if (lacksPermission(vokHistoryRing::path)) return complainOfPermission(vokHistoryRing::path);
        vokClientComplain("No history: " + reason + ".");
        return vokExitFailed;
    }
    if (asJson) return vokClientPrint(vokStyledJson(vokHistoryJson(entries))) ? vokExitDone : vokExitFailed;
    return print(entries.empty() ? "No event or push yet.\n" : vokHistoryWords(entries)) ? vokExitDone
                                                                                         : vokExitFailed;
}
