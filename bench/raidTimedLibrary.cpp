// The stand-in of the RAID controllers' library with a clock in front of the agent's callback: passes every
// command on to lib/libstorelib-stand-in.so of the host's root.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cstdlib>

#include "RaidCallbackTimes.h"
#include "library/LibraryClient.h"
#include "modules/raid/library/StandIn.h"

namespace {

using ProcessLibCommandFunction = std::uint32_t (*)(void*);

ProcessLibCommandFunction standIn() {
    static const auto function = [] {
        const std::string path = simhost::ownHostRoot() + "/lib/libstorelib-stand-in.so";
        void* const library = ::dlopen(path.c_str(), RTLD_NOW);
        void* const symbol = library ? ::dlsym(library, "ProcessLibCommand") : nullptr;
        if (!symbol) std::abort();
        return reinterpret_cast<ProcessLibCommandFunction>(symbol);
    }();
    return function;
}

RaidCallbackTimes& times() {
    static RaidCallbackTimes& mapped = *[] {
        const std::string path = simhost::ownHostRoot() + raidCallbackTimesPath;
        const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        void* const memory =
            ::mmap(nullptr, sizeof(RaidCallbackTimes), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (file < 0 || memory == MAP_FAILED) std::abort();
        ::close(file);
        return static_cast<RaidCallbackTimes*>(memory);
    }();
    return mapped;
}

raid::Callback agent = nullptr;
thread_local bool isInCallback = false;

std::uint32_t callAgent(void* event) {
    times().libraryTime = 0;
    times().libraryCommands = 0;
    isInCallback = true;
    times().entered = steadyNanoseconds();
    ++times().count;
    const std::uint32_t result = agent(event);
    isInCallback = false;
    return result;
}

std::uint32_t passOn(raid::Block& block) {
    if (!isInCallback) return standIn()(&block);
    const std::int64_t began = steadyNanoseconds();
    const std::uint32_t status = standIn()(&block);
    times().libraryTime += steadyNanoseconds() - began;
    ++times().libraryCommands;
    return status;
}

}  // namespace

VOK_ENTRY_POINT std::uint32_t ProcessLibCommand(void* parameter) {
    auto& block = *static_cast<raid::Block*>(parameter);
    if (block.type != simhost::raidRegister.type || block.command != simhost::raidRegister.command)
        return passOn(block);
    raid::AenInput input = *static_cast<const raid::AenInput*>(block.input);
    agent = input.callback;
    input.callback = &callAgent;
    raid::Block timed = block;
    timed.input = &input;
    return passOn(timed);
}
