#include "modules/ipmi/IpmiModule.h"

#include <json/json.h>
#include <algorithm>
#include <iterator>
#include <optional>

#include "host/HostLayout.h"
#include "host/LayoutFiles.h"
#include "host/SimulatedHost.h"
#include "modules/ipmi/OpenIpmiDriver.h"

namespace simhost {

namespace {

class IpmiState : public ModuleState {
public:
    explicit IpmiState(SimulatedHost& host)
        : machines_(host.settings().machinesIpmi),
          driver_(host.nodes(), {host.paths().ipmiDevice(), host.paths().controllerSocket()},
                  host.description().nodeName, host.settings().ipmiPatience) {
        driver_.setPresent(!machines_);
    }

    const OpenIpmiDriver& driver() const { return driver_; }
    void appear() {
        requireOwnNode();
        modprobesUntilBack_.reset();
        driver_.setPresent(true);
    }
    // It comes back after so many calls of modprobe, with none never by itself.
    void vanish(std::optional<unsigned long> callsUntilBack) {
        requireOwnNode();
        modprobesUntilBack_ = callsUntilBack;
        driver_.setPresent(false);
    }

    void commandRan(const std::string& name) override {
        if (name != "modprobe" || !modprobesUntilBack_) return;
        if (*modprobesUntilBack_ > 1)
            --*modprobesUntilBack_;
        else
            appear();
    }

private:
    void requireOwnNode() const {
        if (machines_) throw UsageError("the device node is the machine's own");
    }

    bool machines_;
    std::optional<unsigned long> modprobesUntilBack_;
    OpenIpmiDriver driver_;
};

void ipmiCommand(SimulatedHost& host, Words& words) {
    const std::string what = words.next("absent, present or appears-after-bringup");
    if (what != "absent" && what != "present" && what != "appears-after-bringup")
        throw UsageError("ipmi: \"" + what + "\" is none of absent, present, appears-after-bringup");
    std::optional<unsigned long> calls;
    if (what == "appears-after-bringup")
        calls = static_cast<unsigned long>(
            words.empty() ? 5 : words.nextNumber("the number of calls", 1, 1000000));
    words.end();
    if (what == "present")
        host.state<IpmiState>().appear();
    else
        host.state<IpmiState>().vanish(calls);
}

constexpr ControlCommand commands[] = {
    {"ipmi",
     "  ipmi absent|present                  the device node\n"
     "  ipmi appears-after-bringup [N]       absent until modprobe was called N (5)\n"
     "                                       times\n",
     ipmiCommand}};

// The driver's kernel modules; there is nothing to load, the host has them.
constexpr const char* kernelModules[] = {"ipmi_msghandler", "ipmi_si", "ipmi_devintf", "ipmi_watchdog",
                                         "ipmi_ssif"};

CommandResult modprobe(const std::vector<std::string>& arguments, const CommandContext&) {
    for (const auto& argument : arguments) {
        if (argument.rfind('-', 0) == 0) continue;
        if (std::find(std::begin(kernelModules), std::end(kernelModules), argument) ==
            std::end(kernelModules))
            return {{1, "", "modprobe: FATAL: Module " + argument + " not found.\n"}, 0};
    }
    return {};
}

// The driver makes its own device node; nothing else may appear on a simulated host.
CommandResult mknod(const std::vector<std::string>&, const CommandContext&) {
    return {};
}

constexpr StandIn binCommands[] = {{"modprobe", modprobe}, {"mknod", mknod}};

class IpmiModule : public HostModule {
public:
    void layOut(const std::string& root, const HostDescription& /*host*/,
                const LayoutSources& sources) const override {
        if (!sources.ipmiDevice.empty()) writeLink(sources.ipmiDevice, root + "/dev/ipmi0");
    }
    Rows<ControlCommand> controls() const override { return commands; }
    Rows<StandIn> standIns() const override { return binCommands; }
    std::unique_ptr<ModuleState> start(SimulatedHost& host) const override {
        return std::make_unique<IpmiState>(host);
    }
    void show(SimulatedHost& host, Json::Value& shown) const override {
        const OpenIpmiDriver& driver = host.state<IpmiState>().driver();
        shown["ipmi"]["present"] = driver.present();
        shown["ipmi"]["controllerAttached"] = driver.controllerAttached();
        shown["ipmi"]["openDescriptors"] = Json::UInt64(driver.openDescriptors());
        shown["ipmi"]["exchanges"] = Json::UInt64(driver.exchanges());
        shown["ipmi"]["expired"] = Json::UInt64(driver.expiredExchanges());
    }
};

}  // namespace

const HostModule& ipmiModule() {
    static const IpmiModule module;
    return module;
}

}  // namespace simhost
