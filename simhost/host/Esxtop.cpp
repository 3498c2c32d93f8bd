// esxtop in batch mode: a header line and a line a sample, every field in double quotes, as the tool prints
// them for a performance monitor to read.
#include <unistd.h>
#include <cstdio>
#include <ctime>

#include "common/HostState.h"
#include "common/Words.h"
#include "host/StandIns.h"

namespace simhost {

namespace {

struct Column {
    std::string name;  // behind the two backslashes and the host's name
    std::string value;
};

std::string fraction(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f", value);
    return text;
}

// A value that moves a little from sample to sample and repeats for the same second and column.
double wobble(std::int64_t second, std::size_t column, double middle, double swing) {
    auto mixed = static_cast<std::uint64_t>(second) * 0x9E3779B97F4A7C15u + column;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9u;
    return middle + swing * (static_cast<double>(mixed >> 40 & 0xFFFF) / 65535.0 - 0.5);
}

std::vector<Column> columnsAt(const HostDescription& host, std::int64_t second) {
    std::vector<Column> columns;
    const auto put = [&columns, second](const std::string& name, double middle, double swing) {
        columns.push_back({name, fraction(wobble(second, columns.size(), middle, swing))});
    };
    const auto putWhole = [&columns](const std::string& name, std::uint64_t value) {
        columns.push_back({name, std::to_string(value)});
    };
    if (host.onlyMeasured) {
        putWhole("Memory\\Machine MBytes", host.totalMBytes);
        putWhole("Memory\\Free MBytes", host.freeMBytes);
        return columns;
    }
    for (const char* average : {"1", "5", "15"})
        columns.push_back({std::string("Memory\\Memory Overcommit (") + average + " Minute Avg)", "0.00"});
    for (const char* average : {"1", "5", "15"})
        put(std::string("Physical Cpu Load\\Cpu Load (") + average + " Minute Avg)", 0.4, 0.2);
    for (const char* cpu : {"0", "1", "2", "3", "_Total"})
        for (const char* counter : {"% Processor Time", "% Util Time", "% Core Util Time"})
            put(std::string("Physical Cpu(") + cpu + ")\\" + counter, 24.0, 16.0);
    const std::uint64_t kernel = host.totalMBytes / 100;
    const std::uint64_t used = host.totalMBytes - host.freeMBytes;
    putWhole("Memory\\Machine MBytes", host.totalMBytes);
    putWhole("Memory\\Kernel MBytes", kernel < used ? kernel : used);
    putWhole("Memory\\NonKernel MBytes", kernel < used ? used - kernel : 0);
    putWhole("Memory\\Free MBytes", host.freeMBytes);
    for (const char* counter : {"Kernel State", "PShare Shared MBytes", "PShare Common MBytes",
                                "PShare Savings MBytes", "Swap Used MBytes", "Swap Target MBytes"})
        putWhole(std::string("Memory\\") + counter, 0);
    for (const char* counter : {"Swap MBytes Read/sec", "Swap MBytes Write/sec", "Memctl Current MBytes",
                                "Memctl Target MBytes", "Memctl Max MBytes"})
        columns.push_back({std::string("Memory\\") + counter, "0.00"});
    for (const auto& adapter : host.storageAdapters)
        for (const char* counter :
             {"Commands/sec", "Reads/sec", "Writes/sec", "MBytes Read/sec", "MBytes Written/sec"})
            put("Physical Disk Adapter(" + adapter.name + ")\\" + counter, 8.0, 6.0);
    for (const auto& interface : host.interfaces)
        for (const char* counter : {"Packets Transmitted/sec", "MBits Transmitted/sec",
                                    "Packets Received/sec", "MBits Received/sec"})
            put("Network Port(" + interface.name + ")\\" + counter, 5.0, 4.0);
    return columns;
}

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
    const char* const end = context.host.memoryLinesEndInComma ? ",\n" : "\n";
    std::string text;
    for (long long sample = 0; sample < count; ++sample) {
        const std::int64_t second = context.wall / nanosecondsInSecond + sample * delay;
        std::string header, values;
        addField(header, "(PDH-CSV 4.0) (UTC)(0)");
        addField(values, stamp(second));
        for (const auto& column : columnsAt(context.host, second)) {
            addField(header, "\\\\" + context.host.nodeName + "\\" + column.name);
            addField(values, column.value);
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
