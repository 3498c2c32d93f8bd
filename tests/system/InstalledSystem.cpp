#include "system/InstalledSystem.h"

#include <sys/stat.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

InstalledSystem::InstalledSystem() : searchPath_(std::getenv("PATH") ? std::getenv("PATH") : "") {}

InstalledSystem::~InstalledSystem() {
    agent = RunningProgram();
    host_.reset();
    ::setenv("PATH", searchPath_.c_str(), 1);
}

void InstalledSystem::SetUp() {
    if (const std::string reason = FreshHost::reasonAgainst(); !reason.empty()) GTEST_SKIP() << reason;
    fs::create_directories(checkout() + "/build");
    fs::create_directory_symlink(VOK_BUILD_DIRECTORY, checkout() + "/build/i386");
    // What would reach the machine's own services.
    for (const std::string name : {"systemctl", "udevadm"}) {
        directory.writeFile("bin/" + name, "#!/bin/sh\necho \"$@\" >>/run/" + name + "\n");
        fs::permissions(directory.path() + "/bin/" + name, fs::perms::owner_all);
    }

    host_ = std::make_unique<FreshHost>(
        std::vector<std::string>{VOK_BUILD_DIRECTORY, VOK_SOURCE_DIRECTORY, directory.path()});
    startHost();  // on the new host too, as its commands read files that the agent names
    bindMount(root() + "/sys", "/sys");
    bindMount(root() + "/vmfs", "/vmfs");
    bindMount("/dev/null", "/dev/ipmi0");
    ::setenv(
        "PATH",
        (root() + "/bin:" + directory.path() + "/bin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin").c_str(),
        1);
    const Ran installed = runDocumented(documentedCommands("## Installing from source"));
    ASSERT_EQ(installed.status, 0) << installed.output;
}

std::string InstalledSystem::documentedCommands(const std::string& heading) {
    const std::string text = fileText(VOK_SOURCE_DIRECTORY "/docs/operation.md");
    const auto section = text.find("\n" + heading + "\n");
    const auto start = text.find("\n```\n", section);
    const auto end = text.find("\n```\n", start + 1);
    if (section == std::string::npos || end == std::string::npos)
        throw std::runtime_error("the document has no commands below \"" + heading + "\"");
    return text.substr(start + 5, end - start - 4);
}

Ran InstalledSystem::runDocumented(const std::string& commands) const {
    directory.writeFile("commands", "cd '" + checkout() + "'\n" + commands);
    return runProgram({"/bin/sh", "-eu", directory.path() + "/commands"});
}

Json::Value InstalledSystem::settings() {
    Json::Value read;
    std::istringstream(fileText("/etc/config/mev/vok/vok.conf")) >> read;
    return read;
}

void InstalledSystem::writeSettings(const Json::Value& settings) {
    std::ofstream("/etc/config/mev/vok/vok.conf") << settings.toStyledString();
}

Json::Value InstalledSystem::quickSettings() {
    Json::Value quick = settings();
    quick["EnableResources"] = Json::Value(Json::arrayValue);
    quick["EnableResources"].append("EthernetDevices");
    quick["InventoryQueryIntervalInSeconds"] = "1";
    return quick;
}

void InstalledSystem::start() {
    agent = RunningProgram(directory.path(), "vokd", {"/opt/mev/vok/bin/vokd"}, "");
}

bool InstalledSystem::waitForLine(const std::string& text) {
    return waitUntil([&] { return logText().find(text) != std::string::npos; });
}

Ran InstalledSystem::printInventory() {
    Ran ran = runProgram({"/bin/sh", "-c", "exec /opt/mev/vok/bin/vokd --print-inventory 2>/dev/null"});
    keepPrintedInventory(ran.output);
    return ran;
}

std::map<pid_t, std::string> InstalledSystem::runningCommands(const std::string& name) const {
    std::map<pid_t, std::string> running;
    for (const auto& process : fs::directory_iterator("/proc")) {
        const std::string command = fileText(process.path() / "cmdline");
        if (command.find(name) != std::string::npos &&
            fileText(process.path() / "environ").find("PATH=" + root() + "/bin:") != std::string::npos)
            running[static_cast<pid_t>(std::stol(process.path().filename()))] = command;
    }
    return running;
}

std::string InstalledSystem::fileText(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

std::string InstalledSystem::modeOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return "";
    char text[8];
    std::snprintf(text, sizeof(text), "%04o", static_cast<unsigned>(status.st_mode & 07777));
    return text;
}
