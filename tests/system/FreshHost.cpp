#include "system/FreshHost.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "simhost/RunningProgram.h"

namespace fs = std::filesystem;

namespace {

// In the tree as on the machine: programs and libraries. A link there is a link here.
constexpr const char* programDirectories[] = {"/bin",    "/lib",  "/lib32", "/lib64",
                                              "/libx32", "/sbin", "/usr",   "/proc"};
// What programs read of /etc.
constexpr const char* settings[] = {"alternatives", "group",     "hosts",         "ld.so.cache", "ld.so.conf",
                                    "ld.so.conf.d", "localtime", "nsswitch.conf", "os-release",  "passwd"};
constexpr const char* devices[] = {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom"};

void check(int result, const std::string& what) {
    if (result != 0) throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

void bindMount(const std::string& source, const std::string& target, bool readOnly) {
    if (!fs::exists(target)) {
        fs::create_directories(fs::is_directory(source) ? fs::path(target) : fs::path(target).parent_path());
        if (!fs::is_directory(source)) std::ofstream{target};
    }
    // Without what is mounted below it: a tree that contained itself could not be removed safely.
    const unsigned long recursive = source == "/proc" ? MS_REC : 0;
    check(::mount(source.c_str(), target.c_str(), nullptr, MS_BIND | recursive, nullptr), "bind " + target);
    if (readOnly)
        check(::mount(nullptr, target.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr),
              "read-only " + target);
}

void mountMemory(const std::string& target, int kibibytes, bool readOnly) {
    fs::create_directories(target);
    const std::string options = "mode=0700,size=" + std::to_string(kibibytes) + "k";
    check(::mount("none", target.c_str(), "tmpfs", readOnly ? MS_RDONLY : 0, options.c_str()),
          "memory " + target);
}

std::string FreshHost::reasonAgainst() {
    if (::geteuid() != 0) return "only root may have private mounts";
    const Ran ran = runProgram({"/usr/bin/unshare", "--mount", "/bin/true"});
    return ran.status == 0 ? "" : "no private mounts here: " + ran.output;
}

FreshHost::FreshHost(const std::vector<std::string>& directories) {
    machineRoot_ = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    machineMounts_ = ::open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC);
    // Not below the directory of a test, which is removed with all that is in it.
    tree_ = (fs::temp_directory_path() / "vok-tree-XXXXXX").string();
    if (machineRoot_ < 0 || machineMounts_ < 0 || !::mkdtemp(tree_.data()))
        throw std::runtime_error("no tree can be made");
    check(::unshare(CLONE_NEWNS), "unshare");
    try {
        build(directories);
    } catch (...) {
        ::setns(machineMounts_, CLONE_NEWNS);
        throw;
    }
}

void FreshHost::build(const std::vector<std::string>& directories) {
    check(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "private mounts");
    check(::mount("none", tree_.c_str(), "tmpfs", 0, "mode=0755"), "the tree");
    for (const std::string directory : programDirectories) {
        if (fs::is_symlink(directory))
            fs::copy_symlink(directory, tree_ + directory);
        else if (fs::exists(directory))
            bindMount(directory, tree_ + directory, directory != "/proc");
    }
    fs::create_directories(tree_ + "/etc");
    for (const std::string name : settings)
        if (fs::exists("/etc/" + name))
            fs::copy("/etc/" + name, tree_ + "/etc/" + name,
                     fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    for (const std::string device : devices) bindMount(device, tree_ + device);
    for (const char* empty : {"/run", "/var/log", "/var/tmp", "/tmp"}) fs::create_directories(tree_ + empty);
    for (const char* shared : {"/var/tmp", "/tmp"}) ::chmod((tree_ + shared).c_str(), 01777);
    fs::create_symlink("/run", tree_ + "/var/run");
    for (const std::string& directory : directories) bindMount(directory, tree_ + directory);
    check(::chroot(tree_.c_str()), "chroot");
    check(::chdir("/"), "chdir");
}

FreshHost::~FreshHost() {
    if (::fchdir(machineRoot_) != 0 || ::chroot(".") != 0 || ::setns(machineMounts_, CLONE_NEWNS) != 0)
        ::_exit(99);  // whatever removes files next must not do it here
    ::close(machineRoot_);
    ::close(machineMounts_);
    ::rmdir(tree_.c_str());
}
