#include "rmc/report/EventKinds.h"

namespace simhost {

namespace {

constexpr EventKind fault(int id, Matter matter, Condition condition) {
    return {id, EntryKind::fault, matter, condition};
}

constexpr EventKind recovery(int id, Matter matter) {
    return {id, EntryKind::recovery, matter, Condition::ok};
}

constexpr EventKind eventKinds[] = {
    fault(360, Matter::none, Condition::warning),
    recovery(384, Matter::fibreChannel),
    fault(385, Matter::fibreChannel, Condition::warning),
    fault(386, Matter::fibreChannel, Condition::critical),
    fault(388, Matter::fibreChannel, Condition::critical),
    recovery(397, Matter::controller),
    fault(398, Matter::controller, Condition::critical),
    fault(538, Matter::drive, Condition::critical),
    fault(539, Matter::drive, Condition::warning),
    recovery(540, Matter::drive),
    fault(678, Matter::ethernet, Condition::critical),
    recovery(680, Matter::ethernet),
    fault(681, Matter::volume, Condition::critical),  // degraded or offline; only the text differs
    recovery(683, Matter::volume),
    fault(1179, Matter::battery, Condition::warning),
    fault(1181, Matter::battery, Condition::warning),
    fault(1182, Matter::battery, Condition::warning),
    fault(1183, Matter::battery, Condition::warning),
    fault(1384, Matter::ethernet, Condition::warning),  // the port itself works
    fault(1385, Matter::consistency, Condition::warning),
    fault(1387, Matter::consistency, Condition::warning),
    recovery(1388, Matter::consistency),
    recovery(1390, Matter::ethernet),
    recovery(1391, Matter::fibreChannel),
};

struct SectionMatter {
    const char* key;
    Matter matter;
};

constexpr SectionMatter sectionMatters[] = {
    {"StorageControllers", Matter::controller},
    {"Volumes", Matter::volume},
    {"Drives", Matter::drive},
    {"EthernetDevices", Matter::ethernet},
    {"FibreChannelDevices", Matter::fibreChannel},
};

}  // namespace

const char* nameOf(EntryKind kind) {
    switch (kind) {
        case EntryKind::fault:
            return "fault";
        case EntryKind::recovery:
            return "recovery";
        case EntryKind::push:
            return "push";
        case EntryKind::trouble:
            return "trouble";
        case EntryKind::notice:
            break;
    }
    return "notice";
}

Matter matterOf(const std::string& sectionKey) {
    for (const SectionMatter& each : sectionMatters)
        if (sectionKey == each.key) return each.matter;
    return Matter::none;
}

EventKind eventKindOf(const Json::Value& id) {
    for (const EventKind& each : eventKinds)
        if (id.isInt() && id.asInt() == each.id) return each;
    return {0, EntryKind::notice, Matter::none, Condition::unknown};
}

}  // namespace simhost
