// The rules of an Ethernet adapter: any words of the interface list give a state and a health that have
// texts, and every change of them the condition of its table. The input is four lines: link and
// administrative status, now and before.
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

struct Condition {
    VOK_RESOURCE_STATE state = VOK_STATE_UNKNOWN;
    VOK_RESOURCE_HEALTH health = VOK_HEALTH_CRITICAL;
};

Condition conditionOf(const std::string& link, const std::string& admin) {
    const int status = NICPhysicalAdapter::get_adapter_status(link.c_str(), admin.c_str());
    require(status == restatedStatus(link, admin));
    Condition condition;
    NICPhysicalAdapter::setNICStateHealthValues(status, condition.state, condition.health);
    require(vokResourceStateMap[condition.state] && vokResourceHealthMap[condition.health]);
    require((condition.health == VOK_HEALTH_CRITICAL) == (status == 3));
    return condition;
}

int restatedChange(const Condition& now, const Condition& before) {
    if (now.state == VOK_STATE_LINKDOWN) return 4;
    if (now.state == VOK_STATE_OFFLINE && now.health == VOK_HEALTH_CRITICAL) return 3;
    if (now.state != VOK_STATE_ONLINE) return -1;
    if (before.state == VOK_STATE_LINKDOWN) return 2;
    return before.state == VOK_STATE_OFFLINE && before.health == VOK_HEALTH_CRITICAL ? 1 : -1;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    vokFuzzHost::installQuiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> lines;
    for (std::string rest = textOf(data, size).c_str(); lines.size() < 4;) {
        auto [line, after] = firstLineAndRest(rest);
        lines.push_back(std::move(line));
        rest = std::move(after);
    }
    const Condition now = conditionOf(lines[0], lines[1]);
    const Condition before = conditionOf(lines[2], lines[3]);

    int condition = 0;
    NICPhysicalAdapter::fetchNICAdapterCondition(now.state, now.health, before.state, before.health, "vmnic0",
                                                 condition);
    require(condition == restatedChange(now, before));
    int eventId = -1;
    bool isService = true;
    NICPhysicalAdapter::setEventAttributes(condition, eventId, isService);
    require((eventId != 0) == (condition > 0) && isService == (condition >= 3));
    return 0;
}
