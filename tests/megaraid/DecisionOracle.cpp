#include "megaraid/DecisionOracle.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <tuple>

namespace {

struct Number {
    const char* name;
    int number;
};

constexpr Number states[] = {{"Unknown", 0},
                             {"Degraded", 5},
                             {"Failed", 11},
                             {"Offline", 14},
                             {"Online", 15},
                             {"Optimal", 16},
                             {"Partially degraded", 18},
                             {"Predictive failure", 19},
                             {"Rebuild", 20},
                             {"Running", 23},
                             {"Unconfigured bad", 24}};
constexpr Number healths[] = {{"Unknown", 0}, {"Critical", 1}, {"OK", 2}, {"Warning", 3}};
constexpr Number wordNames[] = {{"class", wordClass},
                                {"code", wordCode},
                                {"controller", wordController},
                                {"description", wordDescription},
                                {"drive", wordDrive},
                                {"enclosure", wordEnclosure},
                                {"firmware", wordFirmware},
                                {"location", wordLocation},
                                {"place", wordPlace},
                                {"serial", wordSerial},
                                {"slot", wordSlot},
                                {"target", wordTarget}};

template <std::size_t Size>
int numberOf(const Number (&numbers)[Size], const std::string& name) {
    for (const Number& each : numbers)
        if (name == each.name) return each.number;
    ADD_FAILURE() << "no such word in the data: " << name;
    return 0;
}

std::vector<std::string> wordsOf(const std::string& cell) {
    std::istringstream stream(cell);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

int decimalOf(const std::string& word) {
    char* end = nullptr;
    const long number = std::strtol(word.c_str(), &end, 0);
    if (word.empty() || *end != '\0') ADD_FAILURE() << "no number in the data: " << word;
    return static_cast<int>(number);
}

// One bit for each word of the cell; all bits for "any".
template <std::size_t Size, typename BitOf>
std::bitset<Size> bitsOf(const std::string& cell, const BitOf& bitOf) {
    std::bitset<Size> bits;
    if (cell == "any") return bits.set();
    for (const std::string& word : wordsOf(cell)) bits.set(static_cast<std::size_t>(bitOf(word)));
    return bits;
}

std::vector<std::string> splitLine(const std::string& line) {
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (const char c : line) {
        if (c == '"')
            quoted = !quoted;
        else if (c == ',' && !quoted)
            cells.emplace_back();
        else
            cells.back() += c;
    }
    return cells;
}

// "PD [{serial}]" as "PD [", the number of the word, "]".
std::vector<std::string> piecesOf(const std::string& line) {
    std::vector<std::string> pieces(1);
    bool isWord = false;
    for (const char c : line) {
        if (c == '{' || c == '}') {
            if (isWord) pieces.back() = std::to_string(numberOf(wordNames, pieces.back()));
            isWord = !isWord;
            pieces.emplace_back();
        } else {
            pieces.back() += c;
        }
    }
    return pieces;
}

std::string levelOf(const std::string& name) {
    if (name == "debug") return "DEBUG";
    if (name == "info") return "INFO";
    if (name == "warning") return "WARNING";
    ADD_FAILURE() << "no level in the data: " << name;
    return name;
}

// The text of an event; `extra` with what precedes it.
std::string infoText(const DecisionCase& event, const std::string& extra) {
    char head[32];
    std::snprintf(head, sizeof(head), "[Msg # 0x%x] ", event.code);
    return head + event.words[wordDescription] + extra +
           ". Please refer to MegaRAID Software User Guide for further details.";
}

std::string countsText(const DecisionCheck& check) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "# " : "; # ") + part; };
    if (check.corrected > 0) add("Corrected medium errors = " + std::to_string(check.corrected));
    if (check.parity > 0) add("Inconsistent parity = " + std::to_string(check.parity));
    if (check.uncorrectable > 0)
        add("Uncorrectable multiple medium errors = " + std::to_string(check.uncorrectable));
    if (check.tooMany) add("Inconsistent parity > 10");
    return text;
}

std::string describe(const DecisionCheck& check) {
    return std::to_string(check.result) + (check.fault ? " fault [" : " [") + check.message + "] " +
           countsText(check);
}

std::string checkLine(const DecisionCase& event, const char* when, const DecisionCheck& check) {
    return "DEBUG LSIMR_CC_EVT_HNDLR: MegaRAID CC State [" + event.volumeId + "] - " + when + ": [" +
           std::to_string(check.result) + "], [" + (check.fault ? "true" : "false") + "], [" + check.message +
           "]\n";
}

}  // namespace

DecisionData DecisionData::read(const std::string& path) {
    DecisionData data;
    std::ifstream file(path);
    std::string line;
    if (std::getline(file, line)) data.columns_ = splitLine(line);
    while (std::getline(file, line)) {
        data.rows_.push_back(splitLine(line));
        EXPECT_EQ(data.rows_.back().size(), data.columns_.size()) << path << ": " << line;
    }
    EXPECT_FALSE(data.rows_.empty()) << path << " can't be read";
    return data;
}

std::size_t DecisionData::indexOf(const std::string& column) const {
    const auto found = std::find(columns_.begin(), columns_.end(), column);
    EXPECT_NE(found, columns_.end()) << "no column " << column;
    return static_cast<std::size_t>(found - columns_.begin());
}

const std::string& DecisionData::cell(std::size_t row, const std::string& column) const {
    return rows_.at(row).at(indexOf(column));
}

void DecisionData::set(std::size_t row, const std::string& column, const std::string& text) {
    rows_.at(row).at(indexOf(column)) = text;
}

void DecisionData::removeRow(std::size_t row) {
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(row));
}

bool DecisionCheck::operator==(const DecisionCheck& other) const {
    const auto fields = [](const DecisionCheck& check) {
        return std::tie(check.result, check.fault, check.message, check.corrected, check.uncorrectable,
                        check.parity, check.tooMany);
    };
    return fields(*this) == fields(other);
}

bool DecisionSubject::operator==(const DecisionSubject& other) const {
    const auto fields = [](const DecisionSubject& subject) {
        return std::tie(subject.state, subject.health, subject.eventState, subject.eventHealth, subject.text,
                        subject.deleted, subject.current, subject.previous);
    };
    return fields(*this) == fields(other);
}

std::string describe(const DecisionSubject& subject) {
    return "state " + std::to_string(subject.state) + ", health " + std::to_string(subject.health) +
           ", event state " + std::to_string(subject.eventState) + ", event health " +
           std::to_string(subject.eventHealth) + ", text [" + subject.text + "]" +
           (subject.deleted ? ", deleted" : "") + ", check " + describe(subject.current) + ", check before " +
           describe(subject.previous) + "\n";
}

DecisionOracle::DecisionOracle(const DecisionData& decisions, const DecisionData& checks) {
    for (std::size_t row = 0; row < decisions.size(); ++row)
        rows_[decisions.cell(row, "category")].push_back(rowOf(decisions, row));
    for (std::size_t row = 0; row < checks.size(); ++row) checks_.push_back(checkRowOf(checks, row));
}

DecisionOracle::Row DecisionOracle::rowOf(const DecisionData& data, std::size_t index) {
    const auto cell = [&](const char* column) -> const std::string& { return data.cell(index, column); };
    Row row;
    row.codesOf = bitsOf<codes>(cell("code"), decimalOf);
    row.classes = bitsOf<12>(cell("class"), [](const std::string& word) { return decimalOf(word) + 2; });
    row.healths =
        bitsOf<4>(cell("event health"), [](const std::string& word) { return numberOf(healths, word); });
    row.forwarding = bitsOf<2>(cell("forwarding"), [](const std::string& word) { return word == "on"; });
    row.gate = cell("gate");
    row.mustBeFound = cell("subject") == "found";
    row.mustBeAbsent = cell("subject") == "absent";
    row.mustLackSlot = cell("subject") == "no slot";
    if (cell("firmware state") == "none")
        row.firmwareStates.push_back(-1);
    else if (cell("firmware state") != "any")
        for (const std::string& word : wordsOf(cell("firmware state")))
            row.firmwareStates.push_back(decimalOf(word));
    if (!cell("line").empty()) {
        row.level = levelOf(cell("level"));
        row.line = piecesOf(cell("line"));
    }
    if (!cell("state").empty()) row.state = numberOf(states, cell("state"));
    if (!cell("health").empty()) row.health = numberOf(healths, cell("health"));
    row.actions = wordsOf(cell("actions"));
    if (!cell("event").empty()) row.event = decimalOf(cell("event"));
    row.flag = cell("flag") == "true";
    row.text = cell("text");
    row.then = cell("then") == "end" ? Then::end : cell("then") == "go on" ? Then::goOn : Then::check;
    return row;
}

DecisionOracle::CheckRow DecisionOracle::checkRowOf(const DecisionData& data, std::size_t index) {
    const auto cell = [&](const char* column) -> const std::string& { return data.cell(index, column); };
    CheckRow row;
    row.codesOf = bitsOf<codes>(cell("code"), decimalOf);
    row.fault = bitsOf<2>(cell("fault"), [](const std::string& word) { return word == "yes"; });
    row.line = cell("line");
    row.faultNow = cell("fault now") == "yes";
    row.counter = cell("counter");
    row.tooMany = cell("too many") == "yes";
    if (!cell("result").empty()) row.result = decimalOf(cell("result"));
    if (!cell("event").empty()) row.event = decimalOf(cell("event"));
    row.extra = cell("extra");
    row.then = cell("then") == "end" ? Then::end : Then::goOn;
    return row;
}

bool DecisionOracle::holds(const Row& row, const DecisionCase& event, int eventHealth) {
    if (!row.codesOf[event.code]) return false;
    if (!row.classes[static_cast<std::size_t>(event.eventClass + 2)]) return false;
    if (!row.healths[static_cast<std::size_t>(eventHealth)]) return false;
    if (!row.forwarding[event.forwards ? 1 : 0]) return false;
    if (row.gate != "any" && row.gate != event.gate) return false;
    if (row.mustBeFound && !event.found) return false;
    if (row.mustBeAbsent && event.found) return false;
    if (row.mustLackSlot && event.hasSlot) return false;
    const auto& states = row.firmwareStates;
    return states.empty() || std::find(states.begin(), states.end(), event.firmwareState) != states.end();
}

void DecisionOracle::apply(const Row& row, const DecisionCase& event, DecisionSubject& subject,
                           std::string& journal) {
    if (!row.line.empty()) {
        journal += row.level;
        journal += " STOR_MR: ";
        for (std::size_t i = 0; i < row.line.size(); ++i)
            journal += i % 2 == 0 ? row.line[i] : event.words.at(std::stoul(row.line[i]));
        journal += '\n';
    }
    if (row.state >= 0) subject.state = subject.eventState = row.state;
    if (row.health >= 0) subject.health = subject.eventHealth = row.health;
    for (const std::string& action : row.actions) {
        if (action == "deleted")
            subject.deleted = true;
        else
            journal += action + '\n';
    }
    if (row.event == 0) return;
    if (row.text == "none")
        subject.text.clear();
    else
        subject.text = infoText(event, row.text == "info" ? "" : ". " + row.text);
    journal += eventLine(row.event, row.flag, event.location, subject.text);
}

std::string DecisionOracle::eventLine(int id, bool flag, const std::string& location,
                                      const std::string& text) {
    return "event " + std::to_string(id) + (flag ? " true @ [" : " false @ [") + location + "]: " + text +
           '\n';
}

bool DecisionOracle::judgeCheck(const DecisionCase& event, DecisionSubject& subject,
                                std::string& journal) const {
    DecisionCheck& check = subject.current;
    for (const CheckRow& row : checks_) {
        if (!row.codesOf[event.code] || !row.fault[check.fault ? 1 : 0]) continue;
        journal += "DEBUG LSIMR_CC_EVT_HNDLR: " + row.line + '\n';
        if (row.faultNow && !check.fault) {
            check.fault = true;
            check.message = event.words[wordDescription];
        }
        if (row.counter == "corrected") ++check.corrected;
        if (row.counter == "uncorrectable") ++check.uncorrectable;
        if (row.counter == "parity") ++check.parity;
        if (row.tooMany) check.tooMany = true;
        if (row.result != 0) {
            const std::string extra = row.extra == "counts"    ? countsText(check)
                                      : row.extra == "message" ? check.message
                                                               : "";
            journal += checkLine(event, "Old", subject.previous);
            const bool tooManyBefore = subject.previous.tooMany;
            check.result = row.result;
            subject.previous = check;
            subject.previous.tooMany = tooManyBefore;
            check = DecisionCheck();
            journal += checkLine(event, "New", subject.previous);
            subject.text = infoText(event, extra.empty() ? "" : ", (" + extra + ")");
            journal += eventLine(row.event, false, "", subject.text);
        }
        return row.then == Then::end;
    }
    return false;
}

std::string DecisionOracle::judge(const DecisionCase& event, DecisionSubject& subject) const {
    std::string journal;
    const auto rows = rows_.find(event.category);
    if (rows == rows_.end()) return journal;
    const int eventHealth = subject.eventHealth;
    for (const Row& row : rows->second) {
        if (!holds(row, event, eventHealth)) continue;
        if (row.then == Then::check && judgeCheck(event, subject, journal)) break;
        apply(row, event, subject, journal);
        if (row.then == Then::end) break;
    }
    return journal;
}
