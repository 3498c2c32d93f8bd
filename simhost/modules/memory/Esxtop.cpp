// esxtop in batch mode: a header line and a line a sample, every field in double quotes, as the tool prints
// them for a performance monitor to read.
#include "modules/memory/Esxtop.h"

#include <unistd.h>
#include <ctime>

#include "common/HostState.h"
#include "common/Words.h"
#include "host/Counters.h"
#include "modules/Modules.h"
#include "modules/memory/Memory.h"

namespace simhost {

namespace {

std::string stamp(std::int64_t second) {
    const auto time = static_cast<std::time_t>(second);
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    char text[64];
    const std::size_t length = std::strftime(text, sizeof(text), "%m/%d/%Y %H:%M:%S", &parts);
    return std::string(text, length);
}

void addField(std::string& line, const std::string& field) {
    if (!line.empty()) line += ',';
    line += '"' + field + '"';
}

std::string samples(const CommandContext& context, long long count, long long delay) {
    const char* const end = context.host.part<Memory>().linesEndInComma ? ",\n" : "\n";
    std::string text;
    for (long long sample = 0; sample < count; ++sample) {
        const std::int64_t second = context.wall / nanosecondsInSecond + sample * delay;
        std::string header, values;
        addField(header, "(PDH-CSV 4.0) (UTC)(0)");
        addField(values, stamp(second));
        Counters counters(second);
        for (const HostModule* module : hostModules()) module->addCounters(context.host, counters);
        for (const auto& each : counters.all()) {
            addField(header, "\\\\" + context.host.nodeName + "\\" + each.name);
            addField(values, each.value);
        }
        if (sample == 0) text += header + end;
        text += values + end;
    }
    return text;
}

constexpr char usage[] =
    "usage: esxtop [-b] [-c FILE] [-d SECONDS] [-n SAMPLES]\n"
    "  -b  batch mode, the only one on this simulated host\n"
    "  -c  the configuration that selects the counters\n"
    "  -d  seconds between samples, 2 to 3600 (5)\n"
    "  -n  how many samples, 1 to 1000 (1)\n";

}  // namespace

void addMemoryCounters(const HostDescription& host, Counters& counters) {
    const Memory& memory = host.part<Memory>();
    if (host.onlyMeasured) {
        counters.putWhole("Memory\\Machine MBytes", memory.totalMBytes);
        counters.putWhole("Memory\\Free MBytes", memory.freeMBytes);
        return;
    }
    for (const char* average : {"1", "5", "15"})
        counters.put(std::string("Memory\\Memory Overcommit (") + average + " Minute Avg)", "0.00");
    for (const char* average : {"1", "5", "15"})
        counters.putMoving(std::string("Physical Cpu Load\\Cpu Load (") + average + " Minute Avg)", 0.4, 0.2);
    for (const char* cpu : {"0", "1", "2", "3", "_Total"})
        for (const char* counter : {"% Processor Time", "% Util Time", "% Core Util Time"})
            counters.putMoving(std::string("Physical Cpu(") + cpu + ")\\" + counter, 24.0, 16.0);
    const std::uint64_t kernel = memory.totalMBytes / 100;
    const std::uint64_t used = memory.totalMBytes - memory.freeMBytes;
    counters.putWhole("Memory\\Machine MBytes", memory.totalMBytes);
    counters.putWhole("Memory\\Kernel MBytes", kernel < used ? kernel : used);
    counters.putWhole("Memory\\NonKernel MBytes", kernel < used ? used - kernel : 0);
    counters.putWhole("Memory\\Free MBytes", memory.freeMBytes);
    for (const char* counter : {"Kernel State", "PShare Shared MBytes", "PShare Common MBytes",
                                "PShare Savings MBytes", "Swap Used MBytes", "Swap Target MBytes"})
        counters.putWhole(std::string("Memory\\") + counter, 0);
    for (const char* counter : {"Swap MBytes Read/sec", "Swap MBytes Write/sec", "Memctl Current MBytes",
                                "Memctl Target MBytes", "Memctl Max MBytes"})
        counters.put(std::string("Memory\\") + counter, "0.00");
}

CommandResult runEsxtop(const std::vector<std::string>& arguments, const CommandContext& context) {
    try {
        Words words(arguments);
        if (words.flag("-h") || words.flag("--help")) return {{0, usage, ""}, 0};
        const auto configuration = words.option("-c");
        const long long delay = words.numberOption("-d", 2, 3600).value_or(5);
        const long long count = words.numberOption("-n", 1, 1000).value_or(1);
        const bool batch = words.flag("-b");
        words.flag("-a");  // all counters: there are no others
        words.end();
        if (!batch) return {{1, "", "esxtop: there is no terminal here: give -b for batch mode\n"}, 0};
        if (configuration) {
            const bool absolute = !configuration->empty() && configuration->front() == '/';
            const std::string place =
                absolute ? *configuration : context.workingDirectory + "/" + *configuration;
            if (::access(place.c_str(), R_OK) != 0)
                return {{1, "", "esxtop: Can't open the configuration file " + *configuration + "\n"}, 0};
        }
        return {{0, samples(context, count, delay), ""}, static_cast<double>((count - 1) * delay)};
    } catch (const UsageError& error) {
        return {{1, "", std::string("esxtop: ") + error.what() + "\n" + usage}, 0};
    }
}

}  // namespace simhost
