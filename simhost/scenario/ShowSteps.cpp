// Steps that show and check what there is, and those that let the play go on.
#include <fstream>
#include <sstream>

#include "scenario/StepReaders.h"

namespace simhost {

namespace {

constexpr std::chrono::milliseconds betweenLooks{300};
constexpr std::size_t longestLine = 200;

std::string contentOf(const std::string& file) {
    std::ifstream stream(file);
    if (!stream) throw StepFailed(file + " can't be read");
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

Step readSay(Section& section, const ScenarioTexts& texts) {
    const std::string text = texts.text(section, "say");
    return {"say", [=](Stage& stage) { stage.viewer().line(stage.values().filled(text)); }};
}

Step readPrint(Section& section, const ScenarioTexts& texts) {
    const std::string file = texts.text(section, "print");
    const std::string line = texts.text(section, "holds");
    return {"print", [=](Stage& stage) {
                const std::string name = stage.values().filled(file);
                const std::string wanted = stage.values().filled(line);
                bool found = wanted.empty();
                for (const auto& each : linesOf(contentOf(name))) {
                    stage.viewer().line(each);
                    found = found || each == wanted;
                }
                if (!found) throw StepFailed(name + " has no line \"" + wanted + "\"");
            }};
}

// The innermost object that has all these members; null when there is none.
const Json::Value* find(const Json::Value& value, const std::map<std::string, std::string>& members) {
    if (!value.isObject() && !value.isArray()) return nullptr;
    for (const auto& member : value)
        if (const Json::Value* found = find(member, members)) return found;
    if (!value.isObject()) return nullptr;
    for (const auto& [name, text] : members)
        if (!value.isMember(name) || !value[name].isConvertibleTo(Json::stringValue) ||
            value[name].asString() != text)
            return nullptr;
    return &value;
}

// What the last inventory must hold, which is shown, or must not.
Step readInventory(Section& section, const ScenarioTexts& texts, const char* verb, bool holds) {
    const auto members = texts.texts(section, verb);
    if (members.empty()) section.fail(std::string(verb) + " has no member to look for");
    return {verb, [=](Stage& stage) {
                auto wanted = members;
                std::string shown;
                for (auto& member : wanted)
                    shown +=
                        (shown.empty() ? "" : "  ") + (member.second = stage.values().filled(member.second));
                const std::string file = stage.inventoryFile();
                Json::Value document;
                std::istringstream(contentOf(file)) >> document;
                const Json::Value* const found = find(document, wanted);
                if ((found != nullptr) != holds)
                    throw StepFailed(shown + (holds ? " is not in " : " is still in ") + file);
                if (found == nullptr) return;
                stage.viewer().line(shown + "  " + compactJson(*found));
            }};
}

Step readInventoryHolds(Section& section, const ScenarioTexts& texts) {
    return readInventory(section, texts, "inventoryHolds", true);
}

Step readInventoryLacks(Section& section, const ScenarioTexts& texts) {
    return readInventory(section, texts, "inventoryLacks", false);
}

// `seconds` is for a play without --for and --keep; those say themselves when it is to end.
void goOn(Stage& stage, double seconds, const std::function<void()>& look) {
    const auto& settings = stage.settings();
    const std::chrono::duration<double> spoken(settings.limit ? *settings.limit : seconds);
    const auto begin = settings.limit ? Stage::Clock::duration::zero() : stage.elapsed();
    const bool endless = settings.keep && !settings.limit;
    stage.interruption().expectEnd(true);
    while (!stage.interruption().endCame() && (endless || stage.elapsed() - begin < spoken)) {
        look();
        stage.pause(betweenLooks);
    }
    stage.interruption().expectEnd(false);
}

Step readKeep(Section& section, const ScenarioTexts&) {
    bool keep = false;
    section.truth("keep", keep);
    if (!keep) section.fail("keep is not true");
    return {"keep", [](Stage& stage) {
                goOn(stage, 0, [&stage] {
                    stage.hostState();
                    if (!stage.settings().controller.empty()) stage.controllerStatus();
                    stage.viewer().controller();
                });
                // The viewer may have caused any.
                if (!stage.settings().controller.empty()) stage.expectEvents(stage.eventsUnexpected());
            }};
}

Step readFollow(Section& section, const ScenarioTexts& texts) {
    const std::string file = texts.text(section, "follow");
    const std::string prefix = texts.text(section, "prefix");
    const double seconds = fraction(section, "seconds");
    return {"follow", [=](Stage& stage) {
                const std::string name = stage.values().filled(file);
                std::size_t shown = 0;
                goOn(stage, seconds, [&] {
                    std::ifstream stream(name);
                    std::size_t number = 0;
                    for (std::string line; std::getline(stream, line) && !stream.eof(); ++number) {
                        if (number < shown) continue;
                        stage.viewer().line(prefix + line.substr(0, longestLine));
                        shown = number + 1;
                    }
                });
            }};
}

}  // namespace

const StepKind showSteps[] = {
    {"say", readSay},
    {"print", readPrint},
    {"inventoryHolds", readInventoryHolds},
    {"inventoryLacks", readInventoryLacks},
    {"keep", readKeep},
    {"follow", readFollow},
    {nullptr, nullptr},
};

}  // namespace simhost
