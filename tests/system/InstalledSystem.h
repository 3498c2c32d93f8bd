// The agent as an operator has it: installed with the commands of the document on a host on which it never
// ran, without
// --host-root. The host's commands are those of a simulated host; /dev/ipmi0 is there and answers nothing.
#pragma once

#include <sys/types.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "system/FreshHost.h"
#include "system/SimulatedSystem.h"

class InstalledSystem : public SimulatedSystem {
protected:
    InstalledSystem();
    ~InstalledSystem() override;

    // Installs the agent. Skips the test if this process can't have private mounts; where root can, it never
    // does.
    void SetUp() override;

    // The commands in the first block of the document below this heading.
    static std::string documentedCommands(const std::string& heading);
    // Runs them in a shell that ends at the first failure, in a checkout whose build is "build/i386".
    Ran runDocumented(const std::string& commands) const;

    // The settings of the host, as a JSON object. The installed ones are those that come with the agent.
    static Json::Value settings();
    static void writeSettings(const Json::Value& settings);
    // Settings with which a run takes a second: without the host's manager, which waits 20 s at its start.
    static Json::Value quickSettings();

    void start();
    // Waits until the agent log holds the text; false after 20 s.
    static bool waitForLine(const std::string& text);
    // The status and standard output of "vokd --print-inventory".
    static Ran printInventory();

    // The processes that run for commands of this host with the name, and their command lines.
    std::map<pid_t, std::string> runningCommands(const std::string& name) const;

    static std::string fileText(const std::string& path);
    static std::string logText() { return fileText("/scratch/log/mev/vok/vok.log"); }
    // The permissions in octal, such as "0700"; empty if there is no such file.
    static std::string modeOf(const std::string& path);

private:
    std::string checkout() const { return directory.path() + "/checkout"; }

    std::string searchPath_;
    std::unique_ptr<FreshHost> host_;
};
