// Reading a full firmware table, compared with Debian's dmidecode on the same dump, as whole processes.
//
// The table has 64 KiB with 120 slots, and the memory devices of a large server in the rest. "ratio" is the
// time of our fastest process, which reads the table and builds the GeoID map, divided by that of the fastest
// dmidecode, which prints the table; the two alternate.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/SmBiosTable.h"
#include "support/TemporaryDirectory.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t fullSize = 65536;
constexpr int slotCount = 120;

// A number with at least as many digits as `width`.
std::string digits(int number, std::size_t width) {
    const std::string text = std::to_string(number);
    return std::string(width - std::min(width, text.size()), '0') + text;
}

SmBiosStructure memoryDevice(int number) {
    SmBiosStructure device(17, 40);
    device.handle(0x1000u + static_cast<unsigned>(number)).put16(4, 0x0F00).put16(8, 72).put16(10, 64);
    device.put16(12, 0x7FFF).put8(14, 9).text(16, "DIMM " + digits(number, 1)).text(17, "P0 CHANNEL A");
    device.put8(18, 26).put16(19, 0x2080).put16(21, 2933).text(23, "Samsung");
    device.text(24, "S" + digits(number, 7)).text(26, "M393A4K40CB2-CVF");
    return device.put8(27, 2).put32(28, 0x8000).put16(32, 2933).put16(34, 1200).put16(36, 1200);
}

std::string fullTable() {
    SmBiosTable table;
    table.addSystem("Maker of servers", "7711PID02020001");
    for (int i = 0; i < slotCount; ++i)
        table.addSlot("PCIe Slot r001u05p2i" + digits(i % 100, 2), digits(i, 4) + ":3b:00.0");
    int devices = 0;
    const std::size_t room =
        fullSize - SmBiosTable::entryPointLength - SmBiosStructure(127, 4).bytes().size();
    while (table.size() + memoryDevice(devices).bytes().size() <= room) table.add(memoryDevice(devices++));
    return table.addEnd().contents();
}

// Seconds from the start of a program to its end; its output is discarded.
double secondsOf(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto began = Clock::now();
    pid_t child = 0;
    int status = 0;
    const bool ran =
        ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0 &&
        ::waitpid(child, &status, 0) == child && status == 0;
    const double seconds = std::chrono::duration<double>(Clock::now() - began).count();
    ::posix_spawn_file_actions_destroy(&actions);
    if (!ran) {
        std::fprintf(stderr, "smbiosBench: %s can't be run\n", arguments[0]);
        std::exit(1);
    }
    return seconds;
}

std::string directoryOfThisProgram() {
    char path[4096];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof(path));
    const std::string program(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    return program.substr(0, program.rfind('/'));
}

void fullFirmwareTable(benchmark::State& state) {
    const TemporaryDirectory root;
    root.writeFile(SmBiosTable::deviceFile, fullTable());
    const std::vector<std::string> ours{directoryOfThisProgram() + "/smbiosReader", root.path()};
    const std::vector<std::string> theirs{"dmidecode", "--from-dump", root.path() + SmBiosTable::deviceFile};
    double oursBest = 1e9;
    double theirsBest = 1e9;
    for (auto _ : state) {
        oursBest = std::min(oursBest, secondsOf(ours));
        theirsBest = std::min(theirsBest, secondsOf(theirs));
    }
    state.counters["ours_ms"] = oursBest * 1e3;
    state.counters["dmidecode_ms"] = theirsBest * 1e3;
    state.counters["ratio"] = oursBest / theirsBest;
}

BENCHMARK(fullFirmwareTable)->Iterations(200)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
