// Where the values of a scenario come from: the running host, the output of commands, other values.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "common/Text.h"
#include "scenario/StepReaders.h"

namespace simhost {

namespace {

using Found = std::vector<std::string>;
using Find = std::function<Found(Stage&)>;

// The source of a value can't be used, as opposed to one that has no such element.
struct SourceFailed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// What the command prints.
std::string outputOf(Stage& stage, const std::vector<std::string>& command) {
    const auto words = stage.values().filledList(command);
    const Stage::Ran ran = stage.run(words);
    if (ran.status == 0) return ran.output;
    const auto lines = linesOf(ran.output);
    throw SourceFailed(words[0] + " ended with status " + std::to_string(ran.status) +
                       (lines.empty() ? "" : ": " + lines.back()));
}

Find readText(Section& section, const ScenarioTexts& texts) {
    const std::string text = texts.text(section, "text");
    return [=](Stage& stage) { return Found{stage.values().filled(text)}; };
}

RowFilter filled(const RowFilter& filter, const Values& values) {
    RowFilter result;
    for (const auto& [column, allowed] : filter) result[column] = values.filledList(allowed);
    return result;
}

// Which cells of a table: those of one column, of the rows that fit `where`, and of these those that fit
// `prefer` if any does.
struct CellChoice {
    CellChoice(Section& section, const ScenarioTexts& texts)
        : column(texts.text(section, "column")),
          where(texts.filter(section, "where")),
          prefer(texts.filter(section, "prefer")) {
        section.text("take", take);
        if (take != "first" && take != "last" && take != "all")
            section.fail("take is none of first, last, all");
    }
    std::vector<std::string> columns() const {
        std::vector<std::string> names{column};
        for (const auto* filter : {&where, &prefer})
            for (const auto& each : *filter) names.push_back(each.first);
        return names;
    }
    Found from(const std::vector<OutputTable::Row>& rows, const Values& values) const {
        Found fitting;
        Found preferred;
        for (const auto& row : rows) {
            if (!fits(row, filled(where, values))) continue;
            fitting.push_back(row.cells.at(column));
            if (fits(row, filled(prefer, values))) preferred.push_back(row.cells.at(column));
        }
        if (!preferred.empty()) fitting = preferred;
        if (fitting.empty() || take == "all") return fitting;
        return {take == "first" ? fitting.front() : fitting.back()};
    }

    std::string column;
    RowFilter where;
    RowFilter prefer;
    std::string take = "first";
};

// The objects of an array as the rows of a table.
std::vector<OutputTable::Row> rowsOf(const Json::Value& array, const std::vector<std::string>& columns) {
    std::vector<OutputTable::Row> rows;
    for (const auto& element : array) {
        OutputTable::Row row;
        for (const auto& column : columns) {
            if (!element.isObject() || !element.isMember(column) ||
                !element[column].isConvertibleTo(Json::stringValue))
                throw SourceFailed("its elements have no text \"" + column + "\"");
            row.cells[column] = element[column].asString();
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

Find readFact(Section& section, const ScenarioTexts& texts) {
    std::string name;
    section.text("fact", name);
    std::optional<CellChoice> choice;
    if (section.has("column")) choice.emplace(section, texts);
    return [=](Stage& stage) {
        const Json::Value state = stage.hostState();
        if (!state.isMember(name)) throw SourceFailed("the host's state has no member \"" + name + "\"");
        const Json::Value& fact = state[name];
        if (choice && fact.isArray()) return choice->from(rowsOf(fact, choice->columns()), stage.values());
        if (!choice && fact.isConvertibleTo(Json::stringValue)) return Found{fact.asString()};
        const char* const kind = fact.isArray() ? "an array" : fact.isObject() ? "an object" : "a text";
        throw SourceFailed("the member \"" + name + "\" of the host's state is " + kind + ", not " +
                           (choice ? "an array" : "a text"));
    };
}

// The host's wall clock, in the zone of this process, which is the agent's as well.
Find readHostTime(Section& section, const ScenarioTexts&) {
    bool wanted = false;
    section.truth("hostTime", wanted);
    if (!wanted) section.fail("hostTime is not true");
    return [](Stage& stage) {
        const auto seconds = static_cast<std::time_t>(stage.hostState()["epoch"].asInt64());
        std::tm parts{};
        ::localtime_r(&seconds, &parts);
        char text[100];
        return Found{std::string(text, std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts))};
    };
}

Find readLeast(Section& section, const ScenarioTexts& texts) {
    const auto numbers = texts.list(section, "least");
    return [=](Stage& stage) {
        const auto filled = stage.values().filledList(numbers);
        const auto least =
            std::min_element(filled.begin(), filled.end(), [](const auto& one, const auto& other) {
                return std::atof(one.c_str()) < std::atof(other.c_str());
            });
        return least == filled.end() ? Found{} : Found{*least};
    };
}

// The first of PREFIX0, PREFIX1 and so on that a list does not have.
Find readFree(Section& section, const ScenarioTexts& texts) {
    const std::string prefix = texts.text(section, "free");
    const auto taken = texts.list(section, "among");
    return [=](Stage& stage) {
        const auto names = stage.values().filledList(taken);
        for (unsigned number = 0;; ++number) {
            const std::string name = prefix + std::to_string(number);
            if (std::find(names.begin(), names.end(), name) == names.end()) return Found{name};
        }
    };
}

// One field of a command's output, without its unit, and only if one of `matching` stands in it.
Find readOutputField(Section& section, const ScenarioTexts& texts, const std::vector<std::string>& command) {
    const std::string field = texts.text(section, "field");
    const std::string unit = texts.text(section, "unit");
    const auto matching = texts.list(section, "matching");
    return [=](Stage& stage) -> Found {
        const auto value = readField(outputOf(stage, command), field);
        if (!value) return {};
        const bool matches =
            matching.empty() || std::any_of(matching.begin(), matching.end(), [&](const std::string& text) {
                return value->find(text) != std::string::npos;
            });
        if (!matches) return {};
        if (unit.empty()) return {*value};
        const std::size_t at = value->rfind(" " + unit);
        return at == std::string::npos ? Found{} : Found{value->substr(0, at)};
    };
}

Find readOutputColumn(Section& section, const ScenarioTexts& texts, const std::vector<std::string>& command) {
    const CellChoice choice(section, texts);
    return [=](Stage& stage) -> Found {
        const auto table = readTable(outputOf(stage, command), choice.columns());
        return table ? choice.from(table->rows, stage.values()) : Found{};
    };
}

Find readOutput(Section& section, const ScenarioTexts& texts) {
    const auto command = texts.list(section, "output");
    if (command.empty()) section.fail("output has no words");
    if (section.has("field") == section.has("column"))
        section.fail("wants a field or a column of the output");
    return section.has("field") ? readOutputField(section, texts, command)
                                : readOutputColumn(section, texts, command);
}

struct Source {
    const char* key;
    Find (*read)(Section& section, const ScenarioTexts& texts);
};

constexpr Source sources[] = {
    {"text", readText},   {"fact", readFact}, {"hostTime", readHostTime},
    {"least", readLeast}, {"free", readFree}, {"output", readOutput},
};

}  // namespace

ScenarioValue readValue(const Json::Value& value, const std::string& place, ScenarioTexts& texts) {
    Section section(value, place);
    std::string name;
    section.text("name", name);
    if (name.empty()) section.fail("has no name");
    if (texts.knows(name)) section.fail("is named \"" + name + "\", which is set before");
    Find find;
    for (const auto& source : sources) {
        if (!section.has(source.key)) continue;
        if (find) section.fail(std::string("has a second source, ") + source.key);
        find = source.read(section, texts);
    }
    if (!find) section.fail("has no source: text, fact, hostTime, least, free or output");
    const bool hasOtherwise = section.has("otherwise");
    const std::string otherwise = texts.text(section, "otherwise");
    section.end();
    texts.add(name);
    return {name, [=](Stage& stage) {
                std::string reason;
                try {
                    Found found = find(stage);
                    if (!found.empty()) return found;
                } catch (const SourceFailed& failure) {
                    reason = failure.what();
                }
                if (!hasOtherwise)
                    throw StepFailed("the value \"" + name + "\" is not to be found" +
                                     (reason.empty() ? "" : ": " + reason));
                stage.values().setReason(name, reason);
                return Found{stage.values().filled(otherwise)};
            }};
}

}  // namespace simhost
