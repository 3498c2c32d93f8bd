// Steps that wait: for the controller, for an event that must be the right one, for a command of the agent's.
#include <algorithm>

#include "common/Text.h"
#include "scenario/StepReaders.h"

namespace simhost {

namespace {

constexpr std::chrono::milliseconds betweenLooks{100};

Step readAwait(Section& section, const ScenarioTexts& texts) {
    const std::string what = texts.text(section, "await");
    const double hostSeconds = fraction(section, "hostSeconds");
    if (what != "controller" && what != "inventory") section.fail("await is none of controller, inventory");
    const auto isSo = [what](Stage& stage) {
        const Json::Value status = stage.controllerStatus();
        return what == "controller" ? status["attached"].asBool()
                                    : status["inventories"].asUInt64() > stage.inventoriesAtChange();
    };
    return {"await " + what, [=](Stage& stage) {
                if (!stage.waitFor(hostSeconds, [&] { return isSo(stage); }))
                    throw StepFailed(
                        formatText("no %s came within %g s of the host's time", what.c_str(), hostSeconds));
                stage.viewer().controller();
            }};
}

// The members that an event must have, at any depth.
using EventMembers = std::map<std::string, std::string>;

bool hasMember(const Json::Value& value, const std::string& name, const std::string& text) {
    if (!value.isObject() && !value.isArray()) return false;
    if (value.isObject() && value.isMember(name) && value[name].isConvertibleTo(Json::stringValue) &&
        value[name].asString() == text)
        return true;
    return std::any_of(value.begin(), value.end(),
                       [&](const Json::Value& member) { return hasMember(member, name, text); });
}

std::string shown(const EventMembers& members) {
    std::string text;
    for (const auto& [name, value] : members) text += (text.empty() ? "" : ", ") + name + " " + value;
    return text;
}

// The members filled; an event one of whose texts is a value of several elements becomes one for each.
std::vector<EventMembers> filledEvents(const std::vector<EventMembers>& events, const Values& values) {
    std::vector<EventMembers> filled;
    for (const auto& members : events) {
        std::vector<EventMembers> variants{{}};
        for (const auto& [name, text] : members) {
            std::vector<EventMembers> longer;
            for (const auto& each : values.filledList({text}))
                for (const auto& variant : variants) (longer.emplace_back(variant))[name] = each;
            variants = longer;
        }
        filled.insert(filled.end(), variants.begin(), variants.end());
    }
    return filled;
}

// The events that came since those that were expected before must be these.
void compareEvents(Stage& stage, const std::vector<EventMembers>& wanted, double hostSeconds) {
    const auto events = stage.events();
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const std::size_t number = stage.eventsExpected() + i;
        if (number >= events.size())
            throw StepFailed(
                formatText("no event came within %g s of the host's time; expected: ", hostSeconds) +
                shown(wanted[i]));
        for (const auto& [name, text] : wanted[i])
            if (!hasMember(events[number], name, text))
                throw StepFailed("expected an event with " + shown(wanted[i]) + ", and got " +
                                 compactJson(events[number]));
    }
}

Step readExpect(Section& section, const ScenarioTexts& texts) {
    std::vector<EventMembers> wanted;
    section.list("expect", [&](const Json::Value& value, const std::string& name) {
        Json::Value holder;
        Json::Value& members = holder["members"];
        if (value.isObject())
            members = value;
        else
            members["ID"] = value;
        for (auto& member : members)
            if (member.isInt()) member = member.asString();
        Section element(holder, name);
        wanted.push_back(texts.texts(element, "members"));
        if (wanted.back().count("ID") == 0) throw std::runtime_error(name + " has no ID");
    });
    if (wanted.empty()) section.fail("expect has no event");
    const double hostSeconds = fraction(section, "hostSeconds");
    ScenarioTexts timedTexts = texts;
    timedTexts.add("took");
    timedTexts.add("tookHost");
    const std::string timed = timedTexts.text(section, "timed");
    return {"expect", [=](Stage& stage) {
                const std::vector<EventMembers> filled = filledEvents(wanted, stage.values());
                const std::size_t all = stage.eventsExpected() + filled.size();
                stage.waitFor(hostSeconds, [&] { return stage.eventsCounted() >= all; });
                compareEvents(stage, filled, hostSeconds);
                stage.expectEvents(filled.size());
                stage.viewer().controller();
                if (timed.empty()) return;
                const Stage::Delay delay = stage.delayOfLastEvent();
                stage.values().set("took", formatText("%.1f", delay.real));
                stage.values().set("tookHost", formatText("%.1f", delay.ofTheHost));
                stage.viewer().line(stage.values().filled(timed));
            }};
}

Step readExpectNoEvent(Section& section, const ScenarioTexts&) {
    bool none = false;
    section.truth("expectNoEvent", none);
    if (!none) section.fail("expectNoEvent is not true");
    return {"expectNoEvent", [](Stage& stage) { stage.refuseFurtherEvents(); }};
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Until the agent has run the command; false when it runs none of `among` for so long by the host's clock.
bool awaitCommand(Stage& stage, const std::string& command, const std::string& among, double hostSeconds) {
    const auto hostTime = [&stage] { return stage.hostState()["epochNanoseconds"].asDouble() / 1e9; };
    double quietSince = hostTime();
    for (;;) {
        while (const auto line = stage.nextCommand()) {
            if (endsWith(*line, " " + command)) return true;
            if (line->find(among) != std::string::npos) quietSince = hostTime();
        }
        if (hostTime() - quietSince >= hostSeconds) return false;
        stage.pause(betweenLooks);
    }
}

Step readAwaitCommand(Section& section, const ScenarioTexts& texts) {
    const std::string command = texts.text(section, "awaitCommand");
    std::string among = texts.text(section, "among");
    if (among.empty()) among = command;
    const double hostSeconds = fraction(section, "hostSeconds");
    const bool hasOtherwise = section.has("otherwise");
    const auto otherwise = readSteps(section, "otherwise", texts);
    return {"awaitCommand",
            [=](Stage& stage) {
                if (stage.settings().rehearsal) return playSteps(stage, otherwise);
                const std::string wanted = stage.values().filled(command);
                if (awaitCommand(stage, wanted, stage.values().filled(among), hostSeconds)) return;
                if (!hasOtherwise)
                    throw StepFailed(formatText("the agent has not run \"%s\" for %g s of the host's time",
                                                wanted.c_str(), hostSeconds));
                playSteps(stage, otherwise);
            },
            true};
}

Step readPause(Section& section, const ScenarioTexts&) {
    std::int64_t milliseconds = 0;
    section.number("pause", milliseconds, 60000);
    return {"pause", [=](Stage& stage) { stage.pause(std::chrono::milliseconds(milliseconds)); }};
}

}  // namespace

const StepKind waitSteps[] = {
    {"await", readAwait},
    {"expect", readExpect},
    {"expectNoEvent", readExpectNoEvent},
    {"awaitCommand", readAwaitCommand},
    {"pause", readPause},
    {nullptr, nullptr},
};

}  // namespace simhost
