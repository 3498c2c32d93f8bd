// Every event that a RAID controller's firmware can send, judged by the agent and by the data of
// DecisionOracle.h: what it changes, logs and raises, in this order, must be the same.
#include <gtest/gtest.h>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "core/base/vokModules.h"
#include "megaraid/EveryEventFixture.h"

namespace vokMegaRAIDEveryEventTest {
namespace {

constexpr unsigned codes = DecisionOracle::codes;
constexpr char firstFamily[] = "7711PID02020001";
constexpr char secondFamily[] = "7711PID03020102";

std::string nameOfForwarding(const testing::TestParamInfo<bool>& forwarding) {
    return forwarding.param ? "Forwarding" : "NotForwarding";
}

JudgedHost hostThatForwards(bool forwards) {
    JudgedHost host;
    host.forwards = forwards;
    return host;
}

// With the setting that forwards critical events, and without it.
class MegaRAIDEveryEvent : public EveryEventFixture, public testing::WithParamInterface<bool> {
protected:
    MegaRAIDEveryEvent() : EveryEventFixture(hostThatForwards(GetParam())) {}
};

TEST_P(MegaRAIDEveryEvent, OfAVolume) {
    judgeAll("LD_EVENT");
    expectNoDifference(2 * allKinds * healths);
}

TEST_P(MegaRAIDEveryEvent, OfADisk) {
    buildLibraryInventory();
    judgeAll("PD_EVENT");
    const auto changes = static_cast<long>(firmwareStates.size());
    const auto insertions = static_cast<long>(2 * insertedStates.size());
    expectNoDifference((static_cast<long>(diskReferences.size()) * allKinds +
                        (changes + insertions) * static_cast<long>(std::size(classes))) *
                       healths);
}

TEST_P(MegaRAIDEveryEvent, OfAController) {
    judgeAll("CTRL_EVENT");
    expectNoDifference(allKinds * healths);
}

TEST_P(MegaRAIDEveryEvent, OfABattery) {
    judgeAll("BBU_EVENT");
    expectNoDifference(allKinds * healths);
}

TEST_P(MegaRAIDEveryEvent, OfAConsistencyCheck) {
    const DecisionOracle oracle(decisions, checks);
    for (unsigned code = 0; code < codes; ++code)
        for (const int eventClass : classes) judgeChecks(oracle, code, eventClass);
    expectNoDifference(static_cast<long>(allChecks * codes * std::size(classes)));
}

TEST_P(MegaRAIDEveryEvent, OfAnotherCategoryDoesNothing) {
    const char* const categories[] = {"",          "ENCLOSURE_EVENT",   "SAS_EVENT",
                                      "ALL_EVENT", "CONFIG_CHNG_EVENT", "CLUSTER_EVENT",
                                      "LD_EVENT ", "pd_event",          "NO_SUCH_EVENT"};
    for (int health = 0; health < healths; ++health) {
        setAll(health);
        for (const char* const category : categories)
            for (unsigned code = 0; code < codes; ++code)
                for (const int eventClass : classes)
                    ASSERT_EQ(journalOf(category, code, eventClass), "")
                        << category << " " << code << " " << eventClass;
        expectAllUnchanged(health);
    }
}

// --- the comparison itself fails if it must ---

// What a cell of a result holds instead, and what if that is right.
struct WrongCell {
    const char* column;
    const char* text;
    const char* otherText;

    std::string textFor(const std::string& right) const { return right == text ? otherText : text; }
};
constexpr WrongCell wrongDecisions[] = {{"level", "debug", "info"},       {"line", "Another line", ""},
                                        {"state", "Degraded", "Running"}, {"health", "Unknown", "OK"},
                                        {"actions", "push", ""},          {"event", "538", "540"},
                                        {"flag", "true", "false"},        {"text", "info", "none"}};
constexpr WrongCell wrongChecks[] = {
    {"line", "Another line", ""}, {"fault now", "no", ""},   {"counter", "none", ""}, {"too many", "no", ""},
    {"result", "1", "2"},         {"event", "1387", "1388"}, {"extra", "none", ""}};

// With data that are wrong in one row.
class MegaRAIDWrongData : public MegaRAIDEveryEvent {
protected:
    MegaRAIDWrongData() { buildLibraryInventory(); }

    bool isJudged(std::size_t row) const {
        const std::string& gate = decisions.cell(row, "gate");
        return gate == "any" && decisions.cell(row, "forwarding") != (GetParam() ? "off" : "on");
    }
};

TEST_P(MegaRAIDWrongData, AMissingRowIsFound) {
    for (std::size_t row = 0; row < decisions.size(); ++row) {
        if (!isJudged(row)) continue;
        DecisionData wrong = decisions;
        wrong.removeRow(row);
        EXPECT_TRUE(isFound(wrong, row)) << "decisions.csv, line " << row + 2;
    }
    for (std::size_t row = 0; row < checks.size(); ++row) {
        DecisionData wrong = checks;
        wrong.removeRow(row);
        EXPECT_TRUE(isFoundInChecks(wrong, row)) << "consistency-checks.csv, line " << row + 2;
    }
}

TEST_P(MegaRAIDWrongData, AWrongDecisionIsFound) {
    for (std::size_t row = 0; row < decisions.size(); ++row)
        for (const WrongCell& cell : wrongDecisions) {
            const std::string& right = decisions.cell(row, cell.column);
            if (!isJudged(row) || right.empty()) continue;
            DecisionData wrong = decisions;
            wrong.set(row, cell.column, cell.textFor(right));
            EXPECT_TRUE(isFound(wrong, row)) << "decisions.csv, line " << row + 2 << ": " << cell.column;
        }
}

TEST_P(MegaRAIDWrongData, AWrongCheckIsFound) {
    for (std::size_t row = 0; row < checks.size(); ++row)
        for (const WrongCell& cell : wrongChecks) {
            const std::string& right = checks.cell(row, cell.column);
            if (right.empty()) continue;
            DecisionData wrong = checks;
            wrong.set(row, cell.column, cell.textFor(right));
            EXPECT_TRUE(isFoundInChecks(wrong, row))
                << "consistency-checks.csv, line " << row + 2 << ": " << cell.column;
        }
}

INSTANTIATE_TEST_SUITE_P(Setting, MegaRAIDEveryEvent, testing::Bool(), nameOfForwarding);
INSTANTIATE_TEST_SUITE_P(Setting, MegaRAIDWrongData, testing::Bool(), nameOfForwarding);

// --- a 9560 ---

struct Host9560 {
    const char* name;
    JudgedHost host;
};
std::ostream& operator<<(std::ostream& out, const Host9560& host) {
    return out << host.name;
}

JudgedHost hostOf9560(const char* gate, const char* maker, const char* family = firstFamily,
                      unsigned board = 0x40101000) {
    JudgedHost host;
    host.gate = gate;
    host.onlyHealth = VOK_HEALTH_OK;
    host.maker = maker;
    host.family = family;
    host.chipset = 0x10E21000;
    host.board = board;
    return host;
}

JudgedHost hostWithoutInspection() {
    JudgedHost host = hostOf9560("inspection off", "MEV");
    host.inspectionDisabled = "true";
    return host;
}

class MegaRAIDEventOf9560 : public EveryEventFixture, public testing::WithParamInterface<Host9560> {
protected:
    MegaRAIDEventOf9560() : EveryEventFixture(GetParam().host) {}
};

TEST_P(MegaRAIDEventOf9560, OfAVolume) {
    judgeAll("LD_EVENT");
    expectNoDifference(2 * allKinds);
}

TEST_P(MegaRAIDEventOf9560, OfADisk) {
    judgeAll("PD_EVENT");
    expectNoDifference(static_cast<long>(diskReferences.size()) * allKinds +
                       static_cast<long>(firmwareStates.size() * std::size(classes)));
}

TEST_P(MegaRAIDEventOf9560, OfTheControllerIsNeverDropped) {
    judgeAll("CTRL_EVENT");
    judgeAll("BBU_EVENT");
    expectNoDifference(2 * allKinds);
}

class MegaRAIDUnmonitored9560 : public MegaRAIDEventOf9560 {};

// Volumes and disks have a row each for the reason of this host.
TEST_P(MegaRAIDUnmonitored9560, AWrongReasonIsFound) {
    int rows = 0;
    for (std::size_t row = 0; row < decisions.size(); ++row) {
        if (decisions.cell(row, "gate") != GetParam().host.gate) continue;
        ++rows;
        DecisionData wrong = decisions;
        wrong.removeRow(row);
        EXPECT_TRUE(isFound(wrong, row)) << "decisions.csv, line " << row + 2;
        if (decisions.cell(row, "line").empty()) continue;
        wrong = decisions;
        wrong.set(row, "line", decisions.cell(row, "line") + ".");
        EXPECT_TRUE(isFound(wrong, row)) << "decisions.csv, line " << row + 2 << ": line";
    }
    EXPECT_EQ(rows, 2);
}

std::string nameOfHost(const testing::TestParamInfo<Host9560>& host) {
    return host.param.name;
}

// No card of any chassis follows the loading rules, as no discovery has found one.
const Host9560 unmonitored[] = {
    {"WithoutInspection", hostWithoutInspection()},
    {"OfAnotherMaker", hostOf9560("other maker", "Another")},
    {"AgainstTheRules", hostOf9560("rules broken", "MEV")},
    {"AgainstTheRulesWith16Ports", hostOf9560("rules broken", "MEV", firstFamily, 0x40001000)}};
const Host9560 monitored[] = {{"OfAnotherFamily", hostOf9560("", "Another", secondFamily)},
                              {"WithAnotherBoard", hostOf9560("", "Another", firstFamily, 0x40201000)}};
INSTANTIATE_TEST_SUITE_P(Dropped, MegaRAIDEventOf9560, testing::ValuesIn(unmonitored), nameOfHost);
INSTANTIATE_TEST_SUITE_P(Judged, MegaRAIDEventOf9560, testing::ValuesIn(monitored), nameOfHost);
INSTANTIATE_TEST_SUITE_P(Dropped, MegaRAIDUnmonitored9560, testing::ValuesIn(unmonitored), nameOfHost);

}  // namespace
}  // namespace vokMegaRAIDEveryEventTest
