#include "scenario/ScenarioReader.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "common/Files.h"
#include "common/Text.h"
#include "scenario/StepReaders.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

// What the player itself sets.
const std::set<std::string> valuesOfThePlayer = {"root",  "controller", "work",  "programs",
                                                 "speed", "until",      "events"};

const StepKind* findKind(const Section& section) {
    for (const StepKind* kinds : {changeSteps, waitSteps, showSteps, groupSteps})
        for (const StepKind* kind = kinds; kind->verb != nullptr; ++kind)
            if (section.has(kind->verb)) return kind;
    return nullptr;
}

std::vector<std::string> stepVerbs() {
    std::vector<std::string> verbs;
    for (const StepKind* kinds : {changeSteps, waitSteps, showSteps, groupSteps})
        for (const StepKind* kind = kinds; kind->verb != nullptr; ++kind) verbs.emplace_back(kind->verb);
    return verbs;
}

Step readStep(const Json::Value& value, const std::string& name, const ScenarioTexts& texts) {
    Section section(value, name);
    const StepKind* const kind = findKind(section);
    if (kind == nullptr) section.fail("has the key of no step; a step has one of " + listed(stepVerbs()));
    Step step = kind->read(section, texts);
    section.end();
    return step;
}

// "for": rows of values; the steps are played once for each row.
Step readFor(Section& section, const ScenarioTexts& texts) {
    std::vector<std::map<std::string, std::string>> rows;
    section.list("for", [&](const Json::Value& value, const std::string& name) {
        Json::Value holder;
        holder["values"] = value;
        Section row(holder, name);
        rows.push_back(texts.texts(row, "values"));
        const auto sameName = [](const auto& one, const auto& other) { return one.first == other.first; };
        if (!std::equal(rows[0].begin(), rows[0].end(), rows.back().begin(), rows.back().end(), sameName))
            throw std::runtime_error(name + " has not the values of the first row");
    });
    if (rows.empty()) section.fail("for has no row");
    ScenarioTexts inner = texts;
    for (const auto& value : rows[0]) inner.add(value.first);
    const auto steps = readSteps(section, "steps", inner);
    if (steps.empty()) section.fail("for has no steps");
    return {"for",
            [=](Stage& stage) {
                for (const auto& row : rows) {
                    for (const auto& [name, text] : row)
                        stage.values().set(name, stage.values().filled(text));
                    playSteps(stage, steps);
                }
            },
            true};
}

SceneConditions readConditions(Section& section, const ScenarioTexts& texts) {
    SceneConditions conditions;
    std::string host;
    section.text("host", host);
    if (host == "described")
        conditions.host = HostKind::described;
    else if (host == "live")
        conditions.host = HostKind::live;
    else if (section.has("host"))
        section.fail("host is none of described, live");
    conditions.has = texts.names(section, "has");
    conditions.lacks = texts.names(section, "lacks");
    section.truth("kept", conditions.kept);
    conditions.program = texts.list(section, "program");
    return conditions;
}

SceneDuration readDuration(Section& section, const ScenarioTexts& texts) {
    SceneDuration takes;
    takes.hostSeconds = fraction(section, "hostSeconds");
    takes.seconds = fraction(section, "seconds");
    section.section("each", [&](Section& each) {
        each.text("of", takes.each);
        if (!texts.knows(takes.each))
            each.fail("of is \"" + takes.each + "\", a value that nothing sets before");
        takes.secondsEach = fraction(each, "seconds");
    });
    return takes;
}

Scene readScene(const Json::Value& value, const std::string& name, const ScenarioTexts& texts) {
    Section section(value, name);
    Scene scene;
    scene.title = texts.text(section, "title");
    scene.lines = texts.list(section, "lines");
    section.section("needs", [&](Section& needs) { scene.conditions = readConditions(needs, texts); });
    section.section("takes", [&](Section& takes) { scene.takes = readDuration(takes, texts); });
    scene.steps = readSteps(section, "steps", texts);
    section.end();
    return scene;
}

Scenario readScenario(const std::string& file, ScenarioTexts& texts) {
    std::istringstream stream(readFile(file));
    try {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        Json::Value root;
        std::string errors;
        if (!Json::parseFromStream(builder, stream, &root, &errors))
            throw std::runtime_error("is no JSON: " + oneLine(errors));
        Section section(root, "the scenario");
        std::string remark;
        section.text("remark", remark);
        Scenario scenario;
        scenario.file = fs::path(file).filename().string();
        section.list("values", [&](const Json::Value& value, const std::string& name) {
            scenario.values.push_back(readValue(value, name, texts));
        });
        section.list("scenes", [&](const Json::Value& value, const std::string& name) {
            scenario.scenes.push_back(readScene(value, name, texts));
        });
        section.end();
        if (scenario.scenes.empty()) section.fail("has no scenes");
        return scenario;
    } catch (const std::exception& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

}  // namespace

const StepKind groupSteps[] = {{"for", readFor}, {nullptr, nullptr}};

std::vector<Step> readSteps(Section& section, const char* key, const ScenarioTexts& texts) {
    std::vector<Step> steps;
    section.list(key, [&](const Json::Value& value, const std::string& name) {
        steps.push_back(readStep(value, name, texts));
    });
    return steps;
}

std::vector<Scenario> readScenarios(const std::vector<std::string>& files) {
    ScenarioTexts texts(valuesOfThePlayer);
    std::vector<Scenario> scenarios;
    scenarios.reserve(files.size());
    for (const auto& file : files) scenarios.push_back(readScenario(file, texts));
    return scenarios;
}

std::vector<std::string> scenarioFiles(const std::string& scenario, const std::string& directory) {
    const bool isPath = scenario.find('/') != std::string::npos || fs::path(scenario).extension() == ".json";
    const std::string path = isPath ? scenario : directory + "/" + scenario;
    if (!isPath && fs::is_regular_file(path + ".json")) return {path + ".json"};
    if (fs::is_regular_file(path)) return {path};
    std::vector<std::string> files;
    if (fs::is_directory(path))
        for (const auto& entry : fs::directory_iterator(path))
            if (entry.path().extension() == ".json") files.push_back(entry.path().string());
    if (files.empty()) {
        const auto known = isPath ? std::vector<std::string>{} : jsonNamesIn(directory);
        throw std::runtime_error("there is no scenario \"" + scenario + "\"" +
                                 (known.empty() ? "" : "; those that come with it: " + listed(known)));
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace simhost
