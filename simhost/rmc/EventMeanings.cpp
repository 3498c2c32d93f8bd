#include "rmc/EventMeanings.h"

#include "events/vokEventTable.h"

namespace simhost {

namespace {

struct Meaning {
    int id;
    const char* text;
};

// Shorter than the agent's own. A number that has no row here keeps the agent's.
constexpr Meaning meanings[] = {
    {356, "operating system has booted"},
    {359, "last shutdown was graceful"},
    {360, "last shutdown was not graceful"},
    {383, "Fibre Channel event"},
    {384, "Fibre Channel port is online"},
    {385, "Fibre Channel port has gone offline"},
    {386, "Fibre Channel link is down"},
    {388, "Fibre Channel port has failed"},
    {390, "Fibre Channel event"},
    {397, "storage controller is healthy again"},
    {398, "storage controller has failed"},
    {434, "host event"},
    {435, "host event"},
    {538, "drive has failed or is gone"},
    {539, "drive is about to fail"},
    {540, "drive is in service again"},
    {678, "Ethernet adapter has failed"},
    {680, "Ethernet adapter is in service again"},
    {681, "volume is degraded or offline"},
    {683, "volume is optimal again"},
    {708, "test event of the agent"},
    {1179, "storage controller battery: fault"},
    {1180, "storage controller battery: event"},
    {1181, "storage controller battery: event"},
    {1182, "storage controller battery: event"},
    {1183, "storage controller battery: event"},
    {1384, "Ethernet link is lost"},
    {1385, "volume check has failed"},
    {1387, "volume check found or left errors"},
    {1388, "volume check found no errors"},
    {1390, "Ethernet link is back"},
    {1391, "Fibre Channel link is back"},
};

}  // namespace

const char* eventMeaning(long long id) {
    for (const auto& meaning : meanings)
        if (meaning.id == id) return meaning.text;
    for (const auto& number : vokEventTable)
        if (number.id == id) return number.meaning;
    return "unknown event";
}

}  // namespace simhost
