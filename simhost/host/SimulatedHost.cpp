#include "host/SimulatedHost.h"

#include <sys/stat.h>
#include <algorithm>
#include <cmath>
#include <ctime>
#include <fstream>

#include "common/Files.h"
#include "common/SimulatedClock.h"
#include "common/Words.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

std::int64_t machineClock(clockid_t which) {
    timespec now{};
    ::clock_gettime(which, &now);
    return static_cast<std::int64_t>(now.tv_sec) * nanosecondsInSecond + now.tv_nsec;
}

std::int64_t machineWall() {
    return machineClock(CLOCK_REALTIME);
}

std::int64_t thousandths(double speed) {
    return std::max<std::int64_t>(1, std::llround(speed * 1000));
}

}  // namespace

SimulatedHost::SimulatedHost(EventLoop& loop, const std::string& root, HostDescription description,
                             const HostSettings& settings, std::unique_ptr<LiveMachine> live)
    : loop_(loop),
      paths_(root),
      settings_(settings),
      live_(std::move(live)),
      description_(std::move(description)),
      state_(HostState::create(paths_.state())),
      summary_(paths_.summaryLog()),
      libraries_(loop, paths_.librarySocket()),
      nodes_(loop),
      commands_(loop, {paths_.commandSocket(), paths_.commandLog(),
                       [this](const std::vector<std::string>& command) {
                           if (live_) live_->refresh(description_, command);
                           return CommandContext{description_, wall(), ""};
                       },
                       [this](double seconds) { return machineTime(seconds); },
                       [this](const std::string& name) {
                           for (const auto& each : states_) each->commandRan(name);
                       }}) {
    initializeClock();
    publishFacts();
    for (const HostModule* module : hostModules())
        if (auto state = module->start(*this)) states_.push_back(std::move(state));
}

const HostDescription& SimulatedHost::description() {
    if (live_) live_->refresh(description_, {});
    return description_;
}

void SimulatedHost::requireDescribed() const {
    if (live_) throw UsageError("this host is the machine it runs on, which is not changed from here");
}

// A root that had a host before goes on where its clock is, unless a setting says otherwise.
void SimulatedHost::initializeClock() {
    const std::int64_t machine = machineNow();
    const bool goesOn = !settings_.startTime && !settings_.uptime && state_.readClock(clock_) &&
                        clock_.speedThousandths > 0 && clock_.machineBase <= machine;
    if (goesOn) {
        if (settings_.speed) changeSpeed(clock_, machine, thousandths(*settings_.speed));
    } else {
        const std::int64_t wall =
            settings_.startTime ? *settings_.startTime * nanosecondsInSecond : machineWall();
        const std::int64_t uptime =
            settings_.uptime.value_or(description_.uptimeSeconds) * nanosecondsInSecond;
        clock_ = startClock(machine, wall, uptime, thousandths(settings_.speed.value_or(1)));
    }
    state_.writeClock(clock_);
    startSummaryLog(goesOn);
}

void SimulatedHost::startSummaryLog(bool clockGoesOn) {
    struct stat status {};
    const std::int64_t boot = wall() - uptime();
    if (live_)
        recordMachinesBoot(boot);
    else if (::stat(paths_.summaryLog().c_str(), &status) != 0)
        summary_.writeHistory(boot);
    else if (!clockGoesOn)
        summary_.booted(boot);
}

// Once for each boot of the machine.
void SimulatedHost::recordMachinesBoot(std::int64_t boot) {
    std::string before;
    const bool known = static_cast<bool>(std::getline(std::ifstream(paths_.bootId()), before));
    const std::string now = live_->bootId();
    if (!known)
        summary_.startWith(boot);
    else if (now != before)
        summary_.booted(boot);
    writeFile(paths_.bootId(), now + "\n");
}

void SimulatedHost::publishFacts() {
    HostFacts facts{};
    facts.machineAnswers = live_ ? 1 : 0;
    for (const HostModule* module : hostModules()) module->addFacts(description_, facts);
    state_.writeFacts(facts);
}

std::int64_t SimulatedHost::wall() const {
    return live_ ? machineWall() : wallAt(clock_, machineNow());
}

std::int64_t SimulatedHost::uptime() const {
    return live_ ? machineClock(CLOCK_BOOTTIME) : uptimeAt(clock_, machineNow());
}

double SimulatedHost::speed() const {
    return static_cast<double>(clock_.speedThousandths) / 1000;
}

void SimulatedHost::jumpClock(std::int64_t nanoseconds) {
    requireDescribed();
    clock_.wallOffset += nanoseconds;
    state_.writeClock(clock_);
}

void SimulatedHost::setSpeed(double speed) {
    requireDescribed();
    changeSpeed(clock_, machineNow(), thousandths(speed));
    state_.writeClock(clock_);
}

EventLoop::Clock::duration SimulatedHost::machineTime(double seconds) const {
    return std::chrono::nanoseconds(
        machineDuration(clock_, static_cast<std::int64_t>(seconds * nanosecondsInSecond)));
}

ScsiDevice::Time SimulatedHost::time() const {
    return {[this](double seconds) { return machineTime(seconds); }, [this] { return uptime(); }};
}

void SimulatedHost::reboot(bool graceful, std::int64_t downSeconds) {
    requireDescribed();
    for (const auto& each : states_) each->hostGoesDown();
    nodes_.disconnectUsers();
    if (graceful) summary_.rebooting(wall());
    const std::int64_t machine = machineNow();
    changeSpeed(clock_, machine, clock_.speedThousandths);
    clock_.lineBase += downSeconds * nanosecondsInSecond;
    clock_.boot = clock_.lineBase;
    state_.writeClock(clock_);
    summary_.booted(wall());
}

}  // namespace simhost
