// What a scenario file may hold, each refusal with the file and the place in it, and the scenarios that come
// with the project.
#include "scenario/ScenarioReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <filesystem>

#include "support/TemporaryDirectory.h"

namespace ScenarioReaderTest {
namespace fs = std::filesystem;
using namespace simhost;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

class ScenarioReader : public testing::Test {
protected:
    std::string file(const std::string& name) const { return directory.path() + "/" + name; }
    std::string complaint(const std::string& text) const {
        directory.writeFile("scenes.json", text);
        try {
            readScenarios({file("scenes.json")});
        } catch (const std::exception& problem) {
            EXPECT_THAT(problem.what(), StartsWith(file("scenes.json") + ": "));
            return std::string(problem.what()).substr(file("scenes.json").size() + 2);
        }
        return "";
    }
    // Of a scenario with one scene that has this one step.
    std::string stepComplaint(const std::string& step) const {
        const std::string whole = complaint(R"({"scenes": [{"title": "T", "steps": [)" + step + "]}]}");
        const std::string place = "the scenario.scenes[0].steps[0]";
        EXPECT_TRUE(whole.empty() || whole.compare(0, place.size(), place) == 0) << whole;
        return whole.substr(std::min(whole.size(), place.size()));
    }
    std::string valueComplaint(const std::string& value) const {
        return complaint(R"({"values": [)" + value + R"(], "scenes": [{"title": "T"}]})");
    }

    TemporaryDirectory directory;
};

TEST_F(ScenarioReader, TakesAFileWithOneSceneWithoutSteps) {
    EXPECT_EQ(complaint(R"({"remark": "of no meaning", "scenes": [{"title": "T", "lines": ["L"]}]})"), "");
}

TEST_F(ScenarioReader, RefusesWhatIsNoScenario) {
    EXPECT_THAT(complaint("{"), StartsWith("is no JSON: "));
    EXPECT_THAT(complaint(R"({"scenes": [],})"), StartsWith("is no JSON: "));
    EXPECT_EQ(complaint("[]"), "the scenario is not an object");
}

TEST_F(ScenarioReader, RefusesAFileThatIsNotThere) {
    try {
        readScenarios({file("none.json")});
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_EQ(problem.what(), file("none.json") + ": can't be opened: No such file or directory");
    }
}

TEST_F(ScenarioReader, RefusesAScenarioWithoutScenes) {
    EXPECT_EQ(complaint("{}"), "the scenario has no scenes");
    EXPECT_EQ(complaint(R"({"scenes": []})"), "the scenario has no scenes");
    EXPECT_EQ(complaint(R"({"scenes": {}})"), "the scenario scenes is not an array");
}

TEST_F(ScenarioReader, RefusesKeysThatAreNotKnownOnEachLevel) {
    EXPECT_EQ(complaint(R"({"scene": [], "scenes": [{}]})"),
              "the scenario has a key \"scene\" that is not known");
    EXPECT_EQ(complaint(R"({"scenes": [{"name": "T"}]})"),
              "the scenario.scenes[0] has a key \"name\" that is not known");
    EXPECT_EQ(complaint(R"({"scenes": [{"needs": {"hosts": "live"}}]})"),
              "the scenario.scenes[0].needs has a key \"hosts\" that is not known");
    EXPECT_EQ(complaint(R"({"scenes": [{"takes": {"minutes": 1}}]})"),
              "the scenario.scenes[0].takes has a key \"minutes\" that is not known");
    EXPECT_EQ(stepComplaint(R"({"agent": "start", "shown": true})"),
              " has a key \"shown\" that is not known");
    EXPECT_EQ(stepComplaint(R"({"say": "this", "host": ["reboot"]})"),
              " has a key \"say\" that is not known");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "text": "b", "take": "all"})"),
              "the scenario.values[0] has a key \"take\" that is not known");
}

TEST_F(ScenarioReader, RefusesAStepThatIsNotKnown) {
    EXPECT_THAT(stepComplaint(R"({"jump": 3})"),
                StartsWith(" has the key of no step; a step has one of host, controller, "));
    EXPECT_THAT(stepComplaint("{}"), StartsWith(" has the key of no step; "));
    EXPECT_EQ(stepComplaint("3"), " is not an object");
}

TEST_F(ScenarioReader, RefusesStepsWithAWrongWord) {
    EXPECT_EQ(stepComplaint(R"({"host": []})"), " host has no words");
    EXPECT_EQ(stepComplaint(R"({"host": "reboot"})"), " host is not an array");
    EXPECT_EQ(stepComplaint(R"({"host": [1]})"), ".host[0] is not a text");
    EXPECT_EQ(stepComplaint(R"({"host": ["reboot"], "shown": 1})"), " shown is not true or false");
    EXPECT_EQ(stepComplaint(R"({"controller": []})"), " controller has no words");
    EXPECT_EQ(stepComplaint(R"({"run": []})"), " run has no words");
    EXPECT_EQ(stepComplaint(R"({"run": ["x"], "table": {"rows": 3}})"), ".table has no rows, or no where");
    EXPECT_EQ(stepComplaint(R"({"perform": []})"), " perform has no words");
    EXPECT_EQ(stepComplaint(R"({"agent": "pause"})"), " agent is none of start, stop, kill");
    EXPECT_EQ(stepComplaint(R"({"await": "event"})"), " await is none of controller, inventory");
    EXPECT_EQ(stepComplaint(R"({"pause": -1})"), " pause is not a whole number of 0 or more");
    EXPECT_EQ(stepComplaint(R"({"pause": 60001})"), " pause is more than 60000");
    EXPECT_EQ(stepComplaint(R"({"await": "inventory", "hostSeconds": -1})"),
              " hostSeconds is not a number of 0 or more");
    EXPECT_EQ(stepComplaint(R"({"keep": false})"), " keep is not true");
    EXPECT_EQ(stepComplaint(R"({"expectNoEvent": false})"), " expectNoEvent is not true");
    EXPECT_EQ(stepComplaint(R"({"inventoryHolds": {}})"), " inventoryHolds has no member to look for");
    EXPECT_EQ(stepComplaint(R"({"write": "a/b", "json": {}})"), " write is not a file's name");
    EXPECT_EQ(stepComplaint(R"({"write": "b"})"), " has no json to write");
}

TEST_F(ScenarioReader, RefusesAHostCommandThatThereIsNot) {
    EXPECT_THAT(
        stepComplaint(R"({"host": ["nik", "vmnic0", "remove"]})"),
        StartsWith(" host names the command \"nik\", which there is not; there are help, show, clock, "));
    EXPECT_EQ(complaint(R"({"values": [{"name": "a", "text": "nic"}],
                            "scenes": [{"steps": [{"host": ["${a}", "vmnic0", "remove"]}]}]})"),
              "");
}

TEST_F(ScenarioReader, RefusesAnExpectationThatCannotFail) {
    EXPECT_EQ(stepComplaint(R"({"expect": []})"), " expect has no event");
    EXPECT_EQ(stepComplaint(R"({"expect": [{"DeviceName": "vmnic0"}]})"), ".expect[0] has no ID");
    EXPECT_EQ(stepComplaint(R"({"expect": [true]})"), ".expect[0].members ID is not a text");
}

TEST_F(ScenarioReader, RefusesAValueThatNothingSetsBefore) {
    EXPECT_EQ(complaint(R"({"scenes": [{"title": "of ${x}"}]})"),
              "the scenario.scenes[0] title uses ${x}, which nothing sets before");
    EXPECT_EQ(complaint(R"({"scenes": [{"lines": ["a", "${x}"]}]})"),
              "the scenario.scenes[0].lines[1] uses ${x}, which nothing sets before");
    EXPECT_EQ(stepComplaint(R"({"host": ["nic", "${x}", "remove"]})"),
              ".host[1] uses ${x}, which nothing sets before");
    EXPECT_EQ(stepComplaint(R"({"say": "${x"})"), " say has a ${ without a }");
    EXPECT_EQ(stepComplaint(R"({"expect": [{"ID": "${x}"}]})"),
              ".expect[0].members ID uses ${x}, which nothing sets before");
    EXPECT_EQ(stepComplaint(R"({"run": ["x"], "table": {"rows": 1, "where": {"A": ["${x}"]}}})"),
              ".table.where.A[0] uses ${x}, which nothing sets before");
    EXPECT_EQ(stepComplaint(R"({"write": "a", "json": {"b": [{"c": "${x}"}]}})"),
              " json uses ${x}, which nothing sets before");
    EXPECT_EQ(complaint(R"({"scenes": [{"needs": {"has": ["x"]}}]})"),
              "the scenario.scenes[0].needs.has[0] is \"x\", a value that nothing sets before");
    EXPECT_EQ(complaint(R"({"scenes": [{"takes": {"each": {"of": "x"}}}]})"),
              "the scenario.scenes[0].takes.each of is \"x\", a value that nothing sets before");
    EXPECT_EQ(complaint(R"({"values": [{"name": "a", "text": "${b}"}, {"name": "b", "text": ""}],
                            "scenes": [{"title": "T"}]})"),
              "the scenario.values[0] text uses ${b}, which nothing sets before");
}

TEST_F(ScenarioReader, RefusesAValueWithoutNameOrSource) {
    EXPECT_EQ(valueComplaint(R"({"text": "b"})"), "the scenario.values[0] has no name");
    EXPECT_EQ(valueComplaint(R"({"name": "a"})"),
              "the scenario.values[0] has no source: text, fact, hostTime, least, free or output");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "text": "b", "fact": "c"})"),
              "the scenario.values[0] has a second source, fact");
    EXPECT_EQ(valueComplaint(R"({"name": "root", "text": "b"})"),
              "the scenario.values[0] is named \"root\", which is set before");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "hostTime": false})"),
              "the scenario.values[0] hostTime is not true");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "output": [], "field": "F"})"),
              "the scenario.values[0] output has no words");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "output": ["x"]})"),
              "the scenario.values[0] wants a field or a column of the output");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "output": ["x"], "field": "F", "column": "C"})"),
              "the scenario.values[0] wants a field or a column of the output");
    EXPECT_EQ(valueComplaint(R"({"name": "a", "output": ["x"], "column": "C", "take": "second"})"),
              "the scenario.values[0] take is none of first, last, all");
}

TEST_F(ScenarioReader, RefusesAHostThatIsNoKindOfHost) {
    EXPECT_EQ(complaint(R"({"scenes": [{"needs": {"host": "large"}}]})"),
              "the scenario.scenes[0].needs host is none of described, live");
}

TEST_F(ScenarioReader, RowsOfAForSetTheSameValuesForItsStepsAlone) {
    EXPECT_EQ(stepComplaint(R"({"for": [{"a": "1"}, {"a": "2"}], "steps": [{"say": "${a}"}]})"), "");
    EXPECT_EQ(stepComplaint(R"({"for": [{"a": "1"}, {"b": "2"}], "steps": [{"say": "${a}"}]})"),
              ".for[1] has not the values of the first row");
    EXPECT_EQ(stepComplaint(R"({"for": [], "steps": [{"say": "x"}]})"), " for has no row");
    EXPECT_EQ(stepComplaint(R"({"for": [{"a": "1"}]})"), " for has no steps");
    EXPECT_EQ(stepComplaint(R"({"for": [{"a": "1"}], "steps": [{"say": "${b}"}]})"),
              ".steps[0] say uses ${b}, which nothing sets before");
    EXPECT_EQ(complaint(R"({"scenes": [{"steps": [{"for": [{"a": "1"}], "steps": [{"say": "${a}"}]},
                                                  {"say": "${a}"}]}]})"),
              "the scenario.scenes[0].steps[1] say uses ${a}, which nothing sets before");
}

TEST_F(ScenarioReader, FilesOfOnePlayShareTheirValues) {
    directory.writeFile("1.json", R"({"values": [{"name": "a", "text": "b"}], "scenes": [{"title": "T"}]})");
    directory.writeFile("2.json", R"({"scenes": [{"title": "${a}"}]})");
    EXPECT_EQ(readScenarios({file("1.json"), file("2.json")}).size(), 2u);
    EXPECT_THROW(readScenarios({file("2.json"), file("1.json")}), std::runtime_error);
}

TEST_F(ScenarioReader, ADirectoryIsPlayedInTheOrderOfItsFileNames) {
    for (const char* name :
         {"plays/b/2.json", "plays/b/10.json", "plays/b/1.json", "plays/b/notes.txt", "plays/a.json"})
        directory.writeFile(name, "{}");
    const auto plays = file("plays");
    const std::vector<std::string> inOrder{plays + "/b/1.json", plays + "/b/10.json", plays + "/b/2.json"};
    EXPECT_EQ(scenarioFiles("b", plays), inOrder);
    EXPECT_EQ(scenarioFiles(plays + "/b", "/nowhere"), inOrder);
    EXPECT_THAT(scenarioFiles("a", plays), ElementsAre(plays + "/a.json"));
    EXPECT_THAT(scenarioFiles(plays + "/a.json", "/nowhere"), ElementsAre(plays + "/a.json"));
}

TEST_F(ScenarioReader, SaysWhichScenarioThereIsNot) {
    try {
        scenarioFiles("opera", directory.path());
        FAIL();
    } catch (const std::runtime_error& problem) {
        EXPECT_STREQ(problem.what(), "there is no scenario \"opera\"");
    }
}

TEST(ShippedScenarios, AreAllInOrder) {
    std::size_t plays = 0;
    for (const auto& entry : fs::directory_iterator(VOK_SCENARIOS)) {
        ++plays;
        for (const auto& scenario : readScenarios(scenarioFiles(entry.path().string(), "")))
            EXPECT_FALSE(scenario.scenes.empty()) << scenario.file;
    }
    EXPECT_GE(plays, 3u);
}

}  // namespace
}  // namespace ScenarioReaderTest
