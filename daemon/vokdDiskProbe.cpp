#include "daemon/vokdDiskProbe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <iterator>
#include <ostream>

#include "daemon/vokdDiskQuestions.h"
#include "daemon/vokdOptions.h"
#include "daemon/vokdScsiWords.h"
#include "platform/access/vokDevice.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokMallocPtr.h"
#include "platform/access/vokSortedDirectory.h"
#include "platform/pci/vokSysfsReaders.h"
#include "storage/scsi/scsi_info.h"

namespace {

constexpr char devices[] = "/sys/class/scsi_device/";

// Where the links of a path lead, as a host path; empty with errno if nowhere.
std::string resolved(const std::string& path) {
    const vokMallocPtr<char> real(::realpath(vokHostAccess().path(path).c_str(), nullptr));
    return real ? real.get() : "";
}

std::string lastName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

// Kernels before 2.6.26 name the entry of a node or block device "scsi_generic:sg3".
std::string withoutClass(const std::string& name) {
    return name.substr(name.find(':') + 1);
}

bool isGenericName(const std::string& name) {
    constexpr char digits[] = "0123456789";
    return name.size() > 2 && name.compare(0, 2, "sg") == 0 &&
           name.find_first_not_of(digits, 2) == std::string::npos;
}

// The first name in one of the directories that the filter passes.
std::string firstName(std::initializer_list<std::string> directories, int (*filter)(const dirent*)) {
    for (const std::string& directory : directories) {
        const vokSortedDirectory entries(vokHostAccess().path(directory), filter);
        if (entries.count() > 0) return withoutClass(entries.name(0));
    }
    return "";
}

// The SCSI generic node of the device in `directory` of sysfs.
std::string genericIn(const std::string& directory) {
    return firstName({directory + "/scsi_generic", directory}, generic_select);
}

std::string entryOf(const std::string& generic) {
    const vokSortedDirectory entries(vokHostAccess().path(devices));
    for (int i = 0; i < entries.count(); ++i)
        if (entries.name(i)[0] != '.' &&
            genericIn(devices + std::string(entries.name(i)) + "/device") == generic)
            return entries.name(i);
    return "";
}

// An error with the exit status that it has.
struct Refusal {
    int status = vokdOptions::graceful;
    std::string text;
};

Refusal refusalOf(int reason, const std::string& node) {
    if (reason == EACCES || reason == EPERM)
        return {vokdOptions::diskRefused,
                node + ": " + std::strerror(reason) +
                    ": asking a disk needs root, or CAP_SYS_RAWIO and the right to the node"};
    if (reason == EISDIR) return {vokdOptions::notADisk, node + " is not a SCSI generic node (/dev/sgN)"};
    return {vokdOptions::noDisk, node + " can't be opened: " + std::strerror(reason)};
}

// Replaces a block device by its SCSI generic node. Nothing else is opened: merely opening a device can have
// an effect.
Refusal findGeneric(std::string& node) {
    const std::string real = resolved(node);
    if (real.empty()) return refusalOf(errno, node);
    const std::string name = lastName(real);
    if (isGenericName(name)) return {};
    const std::string generic = genericIn("/sys/class/block/" + name + "/device");
    if (isGenericName(generic)) {
        node = "/dev/" + generic;
        return {};
    }
    struct stat status {};
    const bool isBlock = ::stat(real.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
    return {vokdOptions::notADisk,
            node + (isBlock ? " has no SCSI generic node: name a whole SCSI disk, or its node /dev/sgN"
                            : " is not a SCSI generic node (/dev/sgN)")};
}

// Whether the node answers the request of a SCSI generic node at all.
bool isScsiGeneric(int descriptor) {
    vokClearScsiOutcome();
    const vokMallocPtr<unsigned char> inquiry(get_identify_info(descriptor));
    const vokScsiOutcome& outcome = vokLastScsiOutcome();
    const int error = outcome.reply.error;
    return outcome.code != VOK_SCSI_IOCTL_FAILED || (error != ENOTTY && error != EINVAL);
}

double secondsNow() {
    timespec now{};
    vokHostAccess().steadyClock(&now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void printHead(std::ostream& out, const std::string& node, const std::string& asked,
               const vokdProbedDisk& disk) {
    out << "Node     " << node << (node == asked ? "" : ", of " + asked) << "\n";
    if (disk.entry.empty()) {
        out << "Entry    none in " << devices << "\n";
        return;
    }
    out << "Entry    " << devices << disk.entry << ", "
        << (disk.block.empty() ? "no block device" : "block device " + disk.block) << "\n";
    const std::string path = resolved(devices + disk.entry + "/device");
    const std::size_t start = path.rfind("/sys/devices/");
    if (start != std::string::npos) out << "Path     " << vokdPrintable(path.substr(start)) << "\n";
    const std::string host = "host" + disk.entry.substr(0, disk.entry.find(':'));
    const vokMallocPtr<char> driver(get_sysfs_str(("/sys/class/scsi_host/" + host + "/proc_name").c_str()));
    out << "Adapter  " << host << ", driver " << (driver ? vokdPrintable(driver.get()) : "not known") << "\n";
}

// The width of a column: the length of the longest text in it, and two blanks.
int widthOf(const char* vokdDiskQuestion::*column) {
    std::size_t most = 0;
    for (const vokdDiskQuestions& part : vokdAllDiskQuestions)
        for (const vokdDiskQuestion& each : part) most = std::max(most, std::strlen(each.*column));
    return static_cast<int>(most) + 2;
}

// Asks the questions of one part. False if a row can't be written.
bool printPart(std::ostream& out, const vokdDiskQuestions& part, vokdDiskReplies& replies, int& asked,
               int& answered) {
    const int nameWidth = widthOf(&vokdDiskQuestion::name);
    const int sourceWidth = widthOf(&vokdDiskQuestion::source);
    out << "\n" << part.title << "\n";
    for (const vokdDiskQuestion& question : part) {
        out << "  " << std::left << std::setw(nameWidth) << question.name << std::setw(sourceWidth)
            << question.source;
        if (!out.flush()) return false;
        vokClearScsiOutcome();
        const double begin = secondsNow();
        const vokdDiskAnswer answer = question.ask(replies);
        const double took = secondsNow() - begin;
        out << (answer.isThere ? "" : "- ") << answer.text;
        if (took >= 1) out << ", after " << std::fixed << std::setprecision(1) << took << " s";
        if (!(out << "\n" << std::flush)) return false;
        ++asked;
        if (answer.isThere) ++answered;
    }
    return true;
}

int print(std::ostream& out, const std::string& node, const std::string& given, const vokdProbedDisk& disk) {
    vokdDiskReplies replies(disk);
    int asked = 0;
    int answered = 0;
    printHead(out, node, given, disk);
    for (const vokdDiskQuestions& part : vokdAllDiskQuestions) {
        if (part.isOfSysfs && disk.entry.empty()) continue;
        if (!printPart(out, part, replies, asked, answered)) return vokdOptions::outputFailed;
    }
    out << "\n" << answered << " of " << asked << " questions were answered.\n" << std::flush;
    return out ? vokdOptions::graceful : vokdOptions::outputFailed;
}

}  // namespace

int vokdProbeDisk(const std::string& given, std::ostream& out, std::ostream& errors) {
    std::string node = given;
    const auto refuse = [&errors](const Refusal& refusal) {
        errors << "vokd: " << refusal.text << std::endl;
        return refusal.status;
    };
    if (const Refusal refusal = findGeneric(node); refusal.status != vokdOptions::graceful)
        return refuse(refusal);
    // As the agent opens a disk: without O_NONBLOCK it would wait for one that is being reset.
    const vokDevice device(node, O_RDWR | O_NONBLOCK);
    if (!device) return refuse(refusalOf(errno, node));

    vokdProbedDisk disk;
    disk.descriptor = device.descriptor();
    disk.entry = entryOf(lastName(resolved(node)));
    const std::string directory = devices + disk.entry + "/device";
    if (!disk.entry.empty()) disk.block = firstName({directory + "/block", directory}, sd_select);
    if (disk.entry.empty() && !isScsiGeneric(device.descriptor()))
        return refuse({vokdOptions::notADisk, node + " is not a SCSI generic node (/dev/sgN)"});
    return print(out, node, given, disk);
}
