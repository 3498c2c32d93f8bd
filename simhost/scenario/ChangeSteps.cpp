// Steps that change something: the host, the controller, the agent, or whatever a program changes.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "common/Files.h"
#include "common/Text.h"
#include "host/HostControl.h"
#include "scenario/StepReaders.h"

namespace simhost {

namespace {

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

std::vector<std::string> commandWords(Section& section, const char* key, const ScenarioTexts& texts) {
    auto words = texts.list(section, key);
    if (words.empty()) section.fail(std::string(key) + " has no words");
    return words;
}

bool isShown(Section& section) {
    bool shown = true;
    section.truth("shown", shown);
    return shown;
}

// A misspelt command is refused before the first scene is played.
void requireHostCommand(Section& section, const std::string& name) {
    const auto known = hostControlNames();
    if (valueNames(name).empty() && std::find(known.begin(), known.end(), name) == known.end())
        section.fail("host names the command \"" + name + "\", which there is not; there are " +
                     listed(known));
}

Step readHost(Section& section, const ScenarioTexts& texts) {
    const auto command = commandWords(section, "host", texts);
    requireHostCommand(section, command[0]);
    const bool shown = isShown(section);
    return {"host",
            [=](Stage& stage) {
                const auto words = stage.values().filledList(command);
                stage.noteChange();
                if (shown) stage.viewer().line("vok-simhost control " + joined(words));
                stage.hostControl(words);
            },
            true};
}

// What the agent has begun at the faster clock ends in this time, and it notices the change.
constexpr std::chrono::milliseconds untilASlowerClockIsNoticed{300};

Step readClockSpeed(Section& section, const ScenarioTexts& texts) {
    const std::string speed = texts.text(section, "clockSpeed");
    return {"clockSpeed",
            [=](Stage& stage) {
                const double before = stage.hostState()["speed"].asDouble();
                const std::string now = stage.values().filled(speed);
                stage.hostControl({"clock", "speed", now});
                if (!stage.settings().rehearsal && std::atof(now.c_str()) < before)
                    stage.pause(untilASlowerClockIsNoticed);
            },
            true};
}

Step readController(Section& section, const ScenarioTexts& texts) {
    const auto command = commandWords(section, "controller", texts);
    const bool shown = isShown(section);
    return {"controller", [=](Stage& stage) {
                const auto words = stage.values().filledList(command);
                stage.noteChange();
                if (shown) stage.viewer().line("vok-rmc control " + joined(words));
                stage.controllerControl(words);
            }};
}

Step readAgent(Section& section, const ScenarioTexts& texts) {
    const std::string what = texts.text(section, "agent");
    if (what == "start")
        return {"agent start", [](Stage& stage) {
                    stage.noteChange();
                    stage.startAgent();
                }};
    if (what == "stop") return {"agent stop", [](Stage& stage) { stage.stopAgent(); }};
    if (what == "kill") return {"agent kill", [](Stage& stage) { stage.killAgent(); }};
    section.fail("agent is none of start, stop, kill");
}

// What is shown of a program's output.
struct OutputView {
    bool printed = true;
    std::size_t width = 1000;
    std::size_t rows = 0;  // of its table; 0: the whole output
    RowFilter where;
};

std::vector<std::string> viewOf(const OutputView& view, Stage& stage, const std::string& output) {
    if (view.rows == 0) return linesOf(output);
    std::vector<std::string> columns;
    RowFilter filter;
    for (const auto& [column, allowed] : view.where) {
        columns.push_back(column);
        filter[column] = stage.values().filledList(allowed);
    }
    const auto table = readTable(output, columns);
    if (!table) throw StepFailed("there is no table with these columns in: " + output);
    std::vector<std::string> lines = table->before;
    lines.push_back(table->heading);
    std::size_t fitting = 0;
    for (const auto& row : table->rows)
        if (fits(row, filter) && ++fitting <= view.rows) lines.push_back(row.line);
    if (fitting > view.rows) lines.push_back("... and " + std::to_string(fitting - view.rows) + " more");
    return lines;
}

Step readRun(Section& section, const ScenarioTexts& texts) {
    const auto command = commandWords(section, "run", texts);
    const bool shown = isShown(section);
    OutputView view;
    section.truth("printed", view.printed);
    section.number("width", view.width, 1000);
    section.section("table", [&](Section& table) {
        table.number("rows", view.rows, 1000);
        view.where = texts.filter(table, "where");
        if (view.rows == 0 || view.where.empty()) table.fail("has no rows, or no where");
    });
    return {"run", [=](Stage& stage) {
                const auto words = stage.values().filledList(command);
                stage.noteChange();
                if (shown) stage.viewer().line(joined(words));
                const Stage::Ran ran = stage.run(words);
                if (ran.status != 0)
                    throw StepFailed(joined(words) + " ended with status " + std::to_string(ran.status) +
                                     ": " + ran.output);
                if (!view.printed) return;
                for (const auto& line : viewOf(view, stage, ran.output))
                    stage.viewer().line(line.substr(0, view.width));
            }};
}

Step readPerform(Section& section, const ScenarioTexts& texts) {
    const auto command = commandWords(section, "perform", texts);
    return {"perform", [=](Stage& stage) {
                const auto words = stage.values().filledList(command);
                const int status = stage.perform(words);
                if (status != 0)
                    throw StepFailed(joined(words) + " ended with status " + std::to_string(status));
            }};
}

// Fills each text in a document.
void fill(Json::Value& value, const Values& values) {
    if (value.isString()) value = values.filled(value.asString());
    if (value.isObject() || value.isArray())
        for (auto& member : value) fill(member, values);
}

// What is wrong with the first text of a document that is not in order; nothing: "".
std::string complaintOf(const Json::Value& value, const ScenarioTexts& texts) {
    if (value.isString()) return texts.complaint(value.asString());
    if (value.isObject() || value.isArray())
        for (const auto& member : value)
            if (std::string wrong = complaintOf(member, texts); !wrong.empty()) return wrong;
    return "";
}

Step readWrite(Section& section, const ScenarioTexts& texts) {
    std::string name;
    section.text("write", name);
    if (name.empty() || name.find('/') != std::string::npos) section.fail("write is not a file's name");
    const Json::Value* const found = section.take("json");
    if (found == nullptr) section.fail("has no json to write");
    const std::string wrong = complaintOf(*found, texts);
    if (!wrong.empty()) section.fail("json " + wrong);
    return {"write", [name, document = *found](Stage& stage) {
                Json::Value filled = document;
                fill(filled, stage.values());
                std::ostringstream text;
                text << filled;
                writeFile(stage.fileOfPlay(name), text.str());
            }};
}

}  // namespace

const StepKind changeSteps[] = {
    {"host", readHost},
    {"controller", readController},
    {"agent", readAgent},
    {"run", readRun},
    {"perform", readPerform},
    {"write", readWrite},
    {"clockSpeed", readClockSpeed},
    {nullptr, nullptr},
};

}  // namespace simhost
