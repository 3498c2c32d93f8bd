#include "support/FakeHost.h"

#include <unistd.h>
#include <cerrno>
#include <mutex>

#include "platform/access/vokHostAccess.h"
#include "support/FakeClock.h"
#include "support/FakeCommands.h"
#include "support/FakeDevice.h"
#include "support/FakeFiles.h"
#include "support/FakeLibraries.h"
#include "support/FakeNetwork.h"
#include "support/FakeSystem.h"
#include "support/FakeSystemLog.h"
#include "support/FakeThreads.h"

namespace {

constexpr int firstDeviceDescriptor = 1 << 20;  // not a descriptor of this process

// Forwards each operation to its part.
class ComposedHostAccess final : public IvokHostAccess {
public:
    explicit ComposedHostAccess(std::shared_ptr<FakeHostParts> parts) : parts_(std::move(parts)) {}

    std::string path(const std::string& absolute) const override { return part<FakeFiles>().path(absolute); }
    std::string commandPath(const std::string& absolute) const override { return absolute; }

    int openDevice(const std::string& hostPath, int flags) override {
        for (const auto& [path, device] : parts_->devices) {
            if (hostPath != part<FakeFiles>().path(path)) continue;
            if (!device->open()) return -1;
            const std::lock_guard<std::mutex> lock(guard_);
            descriptors_[nextDescriptor_] = device.get();
            return nextDescriptor_++;
        }
        return part<FakeFiles>().openNode(hostPath, flags);
    }
    int ioctlDevice(int descriptor, unsigned long request, void* argument) override {
        FakeDevice* const device = deviceOf(descriptor);
        if (device) return device->control(request, argument);
        errno = EBADF;
        return -1;
    }
    int waitForDevice(int descriptor) override {
        FakeDevice* const device = deviceOf(descriptor);
        if (device) return device->wait();
        errno = EBADF;
        return -1;
    }
    int closeDevice(int descriptor) override {
        FakeDevice* const device = deviceOf(descriptor);
        if (!device) return ::close(descriptor);
        device->close();
        const std::lock_guard<std::mutex> lock(guard_);
        descriptors_.erase(descriptor);
        return 0;
    }

    FILE* openCommand(const std::string& command) override { return part<FakeCommands>().open(command); }
    int closeCommand(FILE* stream) override { return part<FakeCommands>().close(stream); }
    int runCommand(const std::string& command) override { return part<FakeCommands>().run(command); }
    void requestStop() override { part<FakeCommands>().requestStop(); }
    vokStopPhase stopPhase() const override { return part<FakeCommands>().stopPhase(); }

    void* openLibrary(const std::string& name, int flags) override {
        return part<FakeLibraries>().open(name, flags);
    }
    void* librarySymbol(void* library, const char* symbol) override {
        return part<FakeLibraries>().symbol(library, symbol);
    }
    int closeLibrary(void* library) override { return part<FakeLibraries>().close(library); }
    std::string libraryError() override { return part<FakeLibraries>().error(); }
    std::string libraryFile(void* /*library*/) override { return part<FakeLibraries>().file; }

    int systemName(utsname* name) override { return part<FakeSystem>().name(name); }
    int systemInformation(struct sysinfo* information) override {
        return part<FakeSystem>().information(information);
    }
    int interfaceAddresses(ifaddrs** addresses) override { return part<FakeNetwork>().addresses(addresses); }
    void freeInterfaceAddresses(ifaddrs* addresses) override { part<FakeNetwork>().freeAddresses(addresses); }

    int wallClock(timespec* now) override { return part<FakeClock>().wallClock(now); }
    int timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) override {
        return part<FakeClock>().timedWait(condition, mutex, deadline);
    }
    int steadyClock(timespec* now) override { return part<FakeClock>().steadyClock(now); }
    int steadyWait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) override {
        return part<FakeClock>().steadyWait(condition, mutex, deadline);
    }
    void pause(unsigned long microseconds) override { part<FakeClock>().pause(microseconds); }

    int waitForSignal(const sigset_t* signals, long seconds) override {
        return part<FakeClock>().waitForSignal(signals, seconds);
    }

    int startThread(pthread_t* thread, void* (*body)(void*), void* argument) override {
        return part<FakeThreads>().start(thread, body, argument);
    }
    int joinThread(pthread_t thread) override { return part<FakeThreads>().join(thread); }

    void systemLog(int priority, const std::string& text) override {
        part<FakeSystemLog>().write(priority, text);
    }

private:
    template <typename Kind>
    Kind& part() const {
        return *std::get<std::unique_ptr<Kind>>(parts_->kinds);
    }
    FakeDevice* deviceOf(int descriptor) const {
        const std::lock_guard<std::mutex> lock(guard_);
        const auto found = descriptors_.find(descriptor);
        return found == descriptors_.end() ? nullptr : found->second;
    }

    const std::shared_ptr<FakeHostParts> parts_;
    mutable std::mutex guard_;
    std::map<int, FakeDevice*> descriptors_;
    int nextDescriptor_ = firstDeviceDescriptor;
};

}  // namespace

FakeHostParts::FakeHostParts()
    : kinds(std::make_unique<FakeFiles>(), std::make_unique<FakeClock>(), std::make_unique<FakeCommands>(),
            std::make_unique<FakeLibraries>(), std::make_unique<FakeNetwork>(),
            std::make_unique<FakeSystem>(), std::make_unique<FakeSystemLog>(),
            std::make_unique<FakeThreads>()) {}

FakeHostParts::~FakeHostParts() = default;

FakeHost::FakeHost() : parts_(std::make_shared<FakeHostParts>()), root(part<FakeFiles>().root) {
    vokSetHostAccess(std::make_unique<ComposedHostAccess>(parts_));
}

FakeHost::~FakeHost() {
    if (!parts_) return;  // moved from
    part<FakeCommands>().checkAllUsed();
    for (const auto& each : parts_->devices) each.second->checkAllUsed();
}

std::string FakeHost::path(const std::string& absolute) const {
    return part<FakeFiles>().path(absolute);
}
