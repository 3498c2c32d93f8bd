// vokd --record and vok-simhost run --replay: a recorded host gives its inventory again, byte for byte.
#include <gmock/gmock.h>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "recording/Archive.h"
#include "recording/Forms.h"
#include "system/SimulatedSystem.h"

namespace RecordReplayTest {
namespace fs = std::filesystem;
using testing::HasSubstr;

namespace {

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class RecordReplay : public SimulatedSystem {
protected:
    std::string archive(const std::string& name) const { return directory.path() + "/" + name + ".tar"; }

    void start(const std::vector<std::string>& which) {
        std::vector<std::string> command{VOK_SIMHOST_PROGRAM, "run", "--root", root()};
        command.insert(command.end(), which.begin(), which.end());
        hostProgram = RunningProgram(directory.path(), "simhost", command, "ready");
    }
    void stop() { EXPECT_EQ(hostProgram.end(SIGTERM), 0) << hostProgram.errors(); }
    void play(const std::string& file, const std::vector<std::string>& options = {}) {
        std::vector<std::string> command{"--replay", file};
        command.insert(command.end(), options.begin(), options.end());
        start(command);
    }
    // Records the host that runs.
    void record(const std::string& name, bool plain) {
        std::vector<std::string> options{"--record", archive(name)};
        if (plain) options.emplace_back("--plain");
        const Ran ran = runAgent(options);
        ASSERT_EQ(ran.status, 0) << ran.output;
    }
    recording::Recording load(const std::string& file) const {
        std::string error;
        auto loaded = recording::loadArchive(file, error);
        if (!loaded) throw std::runtime_error(error);
        return *loaded;
    }
    // The played host prints this document, and all that the agent asked for it was recorded.
    void expectDocument(const std::string& document) {
        const Ran ran = runAgent({"--print-inventory"});
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.output, document);
        EXPECT_EQ(hostState()["notRecorded"], Json::Value(Json::objectValue));
    }
    void expectTheSameInventory(const std::string& name) {
        const std::string document = load(archive(name)).document;
        ASSERT_EQ(document.find(R"({"HostDataCollection":{)"), 0u);
        ASSERT_NO_FATAL_FAILURE(play(archive(name)));
        expectDocument(document);
        stop();
    }
    void recordAndPlay(const std::vector<std::string>& which) {
        ASSERT_NO_FATAL_FAILURE(start(which));
        ASSERT_NO_FATAL_FAILURE(record("plain", true));
        ASSERT_NO_FATAL_FAILURE(record("redacted", false));
        stop();
        EXPECT_NE(load(archive("plain")).document, load(archive("redacted")).document);
        // In a new root, and in the same one again.
        fs::remove_all(root());
        ASSERT_NO_FATAL_FAILURE(expectTheSameInventory("plain"));
        ASSERT_NO_FATAL_FAILURE(expectTheSameInventory("redacted"));
    }
};

TEST_F(RecordReplay, TheBareHostHasTheSameInventoryAgain) {
    recordAndPlay({"--host", "bare"});
}

TEST_F(RecordReplay, TheRackNodeHasTheSameInventoryAgain) {
    recordAndPlay({"--host", "rack-node"});
}

TEST_F(RecordReplay, TheBladeNodeHasTheSameInventoryAgain) {
    recordAndPlay({"--host", "blade-node"});
}

TEST_F(RecordReplay, TheSecondBladeNodeHasTheSameInventoryAgain) {
    recordAndPlay({"--host", "blade-node-b"});
}

TEST_F(RecordReplay, TheEsxi8NodeHasTheSameInventoryAgain) {
    recordAndPlay({"--host", "esxi8-node"});
}

TEST_F(RecordReplay, TheForeignNodeHasTheSameInventoryAgain) {
    recordAndPlay({"--host", "foreign-node"});
}

TEST_F(RecordReplay, TheLargeHostHasTheSameInventoryAgain) {
    ASSERT_NO_FATAL_FAILURE(start({"--host", "large"}));
    ASSERT_NO_FATAL_FAILURE(record("redacted", false));
    stop();
    ASSERT_NO_FATAL_FAILURE(expectTheSameInventory("redacted"));
}

TEST_F(RecordReplay, TheMachineOfTheTestHasTheSameInventoryAgain) {
    recordAndPlay({"--live"});
}

TEST_F(RecordReplay, ARecordingOfAPlayedRecordingIsEqualToIt) {
    ASSERT_NO_FATAL_FAILURE(start({"--host", "rack-node"}));
    ASSERT_NO_FATAL_FAILURE(record("first", true));
    stop();
    ASSERT_NO_FATAL_FAILURE(play(archive("first")));
    ASSERT_NO_FATAL_FAILURE(record("second", true));
    EXPECT_EQ(hostState()["notRecorded"], Json::Value(Json::objectValue));
    EXPECT_TRUE(contentOf(archive("first")) == contentOf(archive("second")));
}

// Removes every question of the kind from the recording of the rack node, and plays what is left.
class IncompleteRecording : public RecordReplay {
protected:
    void playWithout(const std::string& kind) {
        recording::Recording kept = load(VOK_SOURCE_DIRECTORY "/tests/recordings/rack-node.tar");
        document = kept.document;
        auto& all = kept.exchanges;
        const auto isKind = [&](const recording::Exchange& each) { return each.kind == kind; };
        const auto end = std::remove_if(all.begin(), all.end(), isKind);
        ASSERT_NE(end, all.end()) << "the recording has none";
        all.erase(end, all.end());
        std::string error;
        ASSERT_TRUE(recording::saveArchive(kept, archive("less"), error)) << error;
        ASSERT_NO_FATAL_FAILURE(play(archive("less")));
    }
    // The agent prints another inventory, and vok-simhost names what is missing.
    void expectNamed(const std::string& name) {
        const Ran ran = runAgent({"--print-inventory"});
        EXPECT_EQ(ran.status, 0);
        EXPECT_NE(ran.output, document);
        EXPECT_THAT(hostProgram.errors(), HasSubstr("vok-simhost: not in the recording: " + name));
    }

    std::string document;
};

TEST_F(IncompleteRecording, AMissingCommandIsNamedAndItsFactsAreMissing) {
    ASSERT_NO_FATAL_FAILURE(playWithout(recording::kinds::commandRead));
    expectNamed("command \"localcli ");
}

TEST_F(IncompleteRecording, AMissingAnswerOfADiskIsNamedAndItsFactsAreMissing) {
    ASSERT_NO_FATAL_FAILURE(playWithout(recording::kinds::scsi));
    expectNamed("SCSI command [12 ");
}

TEST_F(IncompleteRecording, AMissingCallOfALibraryIsNamedAndItsFactsAreMissing) {
    ASSERT_NO_FATAL_FAILURE(playWithout(recording::kinds::call));
    expectNamed("call ProcessLibCommand(");
}

TEST_F(IncompleteRecording, AMissingNameOfTheSystemIsNamedAndMissing) {
    ASSERT_NO_FATAL_FAILURE(playWithout(recording::kinds::systemName));
    expectNamed("system-name");
}

// The recordings that the repository keeps: made by an agent of one ABI, played on each.
class KeptRecording : public RecordReplay {
protected:
    KeptRecording() { ::setenv("TZ", "UTC", 1); }  // in which they were made: a document has local times

    void expectGolden(const std::string& name) {
        const std::string kept = VOK_SOURCE_DIRECTORY "/tests/recordings/" + name;
        EXPECT_TRUE(load(kept + ".tar").redacted);
        ASSERT_NO_FATAL_FAILURE(play(kept + ".tar"));
        expectDocument(contentOf(kept + ".json"));
    }
};

TEST_F(KeptRecording, TheBareHostHasItsGoldenInventory) {
    expectGolden("bare");
}

TEST_F(KeptRecording, TheRackNodeHasItsGoldenInventory) {
    expectGolden("rack-node");
}

TEST_F(KeptRecording, TheBladeNodeHasItsGoldenInventory) {
    expectGolden("blade-node");
}

// A whole agent, on a clock that runs.
TEST_F(KeptRecording, AWholeAgentPushesTheRecordedInventoryToAController) {
    ASSERT_NO_FATAL_FAILURE(play(VOK_SOURCE_DIRECTORY "/tests/recordings/rack-node.tar", {"--speed", "100"}));
    startController();
    startAgent();
    ASSERT_EQ(waitFor("inventory", 1), 0);
    Json::Value pushed, recorded;
    std::istringstream(inventoryText(1)) >> pushed;
    std::istringstream(contentOf(VOK_SOURCE_DIRECTORY "/tests/recordings/rack-node.json")) >> recorded;
    for (const char* each : {"Drives", "EthernetDevices", "FibreChannelDevices", "StorageControllers"}) {
        const Json::Value& records = recorded["HostDataCollection"][each];
        EXPECT_GT(records.size(), 0u) << each;
        EXPECT_EQ(pushed["HostDataCollection"][each], records);
    }
    EXPECT_EQ(stopAgent(), 0);
    EXPECT_EQ(controllerCount("violations"), 0);
}

}  // namespace
}  // namespace RecordReplayTest
