// The rules of an Ethernet adapter: any words of the interface list give a state and a health that have
// texts, and every change of texts a condition of its table. The input is six lines.
#include <cctype>
#include <vector>

#include "FuzzInput.h"
#include "nic/NICPhysicalAdapter.h"
#include "vokFuzzHost.h"

namespace {

bool isWord(const std::string& text, const std::string& word) {
    if (text.size() != word.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(text[i])) != word[i]) return false;
    return true;
}

int restatedStatus(const std::string& link, const std::string& admin) {
    if (!isWord(admin, "up")) return isWord(link, "down") ? 5 : 6;
    return isWord(link, "down") ? 4 : isWord(link, "unknown") ? 3 : 1;
}

int restatedCondition(const std::string& state, const std::string& health, const std::string& oldState,
                      const std::string& oldHealth) {
    if (state == "Linkdown") return 4;
    if (state == "Offline" && health == "Critical") return 3;
    if (state == "Online" && oldState == "Linkdown") return 2;
    if (state == "Online" && oldState == "Offline" && oldHealth == "Critical") return 1;
    return -1;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines;
    for (std::string rest = textOf(data, size).c_str(); lines.size() < 6;) {
        auto [line, after] = firstLineAndRest(rest);
        lines.push_back(std::move(line));
        rest = std::move(after);
    }
    const int status = NICPhysicalAdapter::get_adapter_status(lines[0].c_str(), lines[1].c_str());
    require(status == restatedStatus(lines[0], lines[1]));
    VOK_RESOURCE_STATE state = VOK_STATE_UNKNOWN;
    VOK_RESOURCE_HEALTH health = VOK_HEALTH_CRITICAL;
    NICPhysicalAdapter::setNICStateHealthValues(status, state, health);
    require(vokResourceStateMap[state] && vokResourceHealthMap[health]);
    require((health == VOK_HEALTH_CRITICAL) == (status == 3));

    int condition = 0;
    NICPhysicalAdapter::fetchNICAdapterCondition(lines[2], lines[3], lines[4], lines[5], "vmnic0", condition);
    require(condition == restatedCondition(lines[2], lines[3], lines[4], lines[5]));
    int eventId = -1;
    bool isService = true;
    NICPhysicalAdapter::setEventAttributes(condition, eventId, isService);
    require((eventId != 0) == (condition > 0) && isService == (condition >= 3));
    return 0;
}
