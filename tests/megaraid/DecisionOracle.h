// What an event of a RAID controller's firmware must cause, by the rows of data/decisions.csv and
// data/consistency-checks.csv. Written apart from the agent's tables and sharing none of its code, so that
// one checks the other.
//
// The rows of an event's category are walked from the top. A row whose conditions all hold is applied, from
// left to right: it logs its line, sets state and health, does its actions and raises its event. The walk
// goes on after it, or ends, or goes through the rows of the consistency check, which may end it.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// A table of texts with a line of column names.
class DecisionData {
public:
    // Quoted cells may hold commas. A file that can't be read, or a row of another length, fails the test.
    static DecisionData read(const std::string& path);

    const std::string& cell(std::size_t row, const std::string& column) const;
    void set(std::size_t row, const std::string& column, const std::string& text);
    void removeRow(std::size_t row);
    std::size_t size() const { return rows_.size(); }

private:
    std::size_t indexOf(const std::string& column) const;

    std::vector<std::string> columns_;
    std::vector<std::vector<std::string>> rows_;
};

// What the lines of the log name.
enum DecisionWord {
    wordClass,
    wordCode,
    wordController,  // its serial number
    wordDescription,
    wordDrive,  // the number of the disk in the lines of dropped events
    wordEnclosure,
    wordFirmware,  // the state in the event
    wordLocation,  // of a new disk
    wordPlace,     // the PCI location of the controller
    wordSerial,    // of the disk, in the event
    wordSlot,
    wordTarget,
    decisionWords,
};

struct DecisionCase {
    std::string category;
    unsigned code = 0;
    int eventClass = 0;
    std::string gate;     // why a controller must not be monitored; empty if it may
    bool found = true;    // the subject of the event is in the inventory
    bool hasSlot = true;  // the event names one
    bool forwards = false;
    // That which the event tells, or that of a new disk; -1 if there is no new disk.
    int firmwareState = 0;
    std::string location;  // of the subject, as its event names it
    std::string volumeId;
    std::array<std::string, decisionWords> words;
};

struct DecisionCheck {
    int result = 0;
    bool fault = false;
    std::string message;
    std::uint64_t corrected = 0;
    std::uint64_t uncorrectable = 0;
    std::uint64_t parity = 0;
    bool tooMany = false;

    bool operator==(const DecisionCheck& other) const;
};

// The disk, volume or controller that the event is about. The numbers are those of the agent's inventory.
struct DecisionSubject {
    int state = 0;
    int health = 0;
    int eventState = 0;
    int eventHealth = 0;
    std::string text;  // of its event
    bool deleted = false;
    DecisionCheck current;
    DecisionCheck previous;

    bool operator==(const DecisionSubject& other) const;
};

std::string describe(const DecisionSubject& subject);

class DecisionOracle {
public:
    static constexpr unsigned codes = 0x221;

    // A word in the data that has no meaning fails the test.
    DecisionOracle(const DecisionData& decisions, const DecisionData& checks);

    // Changes the subject as the event must, and returns what it must cause, one line each: the lines of the
    // log ("INFO STOR_MR: text"), "push" and "refresh" for the inventory, and the event.
    std::string judge(const DecisionCase& event, DecisionSubject& subject) const;

    // "event 538 true @ [location]: text"
    static std::string eventLine(int id, bool flag, const std::string& location, const std::string& text);

private:
    enum class Then { end, goOn, check };

    struct Row {
        std::bitset<codes> codesOf;
        std::bitset<12> classes;  // -2 to 9
        std::bitset<4> healths;   // of the event health
        std::bitset<2> forwarding;
        std::string gate;
        bool mustBeFound = false;
        bool mustBeAbsent = false;
        bool mustLackSlot = false;
        std::vector<int> firmwareStates;  // empty: any
        std::string level;
        std::vector<std::string> line;  // texts and, at odd places, the numbers of words
        int state = -1;
        int health = -1;
        std::vector<std::string> actions;
        int event = 0;
        bool flag = false;
        std::string text;
        Then then = Then::end;
    };
    struct CheckRow {
        std::bitset<codes> codesOf;
        std::bitset<2> fault;
        std::string line;
        bool faultNow = false;
        std::string counter;
        bool tooMany = false;
        int result = 0;
        int event = 0;
        std::string extra;
        Then then = Then::end;
    };

    static Row rowOf(const DecisionData& data, std::size_t row);
    static CheckRow checkRowOf(const DecisionData& data, std::size_t row);
    static bool holds(const Row& row, const DecisionCase& event, int eventHealth);
    static void apply(const Row& row, const DecisionCase& event, DecisionSubject& subject,
                      std::string& journal);
    // True if the event ends here.
    bool judgeCheck(const DecisionCase& event, DecisionSubject& subject, std::string& journal) const;

    std::map<std::string, std::vector<Row>> rows_;  // by category
    std::vector<CheckRow> checks_;
};
