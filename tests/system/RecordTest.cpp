// --record on simulated hosts: the same inventory as --print-inventory, and everything that it came from.
#include <filesystem>
#include <set>

#include "recording/Archive.h"
#include "recording/Forms.h"
#include "system/SimulatedSystem.h"

namespace RecordTest {
namespace {

class Record : public SimulatedSystem {
protected:
    static Json::Value allResources() {
        Json::Value settings = usualSettings();
        settings["EnableResources"][0] = "All";
        return settings;
    }
    recording::Recording record() {
        const std::string file = directory.path() + "/host.tar";
        const Ran ran = runAgent({"--record", file, "--plain"});
        EXPECT_EQ(ran.status, 0) << ran.output;
        std::string error;
        auto loaded = recording::loadArchive(file, error);
        EXPECT_TRUE(loaded) << error;
        return loaded.value_or(recording::Recording());
    }
    // Without the time of the collection, which differs between two runs.
    static std::string withoutTime(std::string document) {
        const std::string key = "\"LastCollection\":\"";
        const std::size_t at = document.find(key);
        EXPECT_NE(at, std::string::npos);
        const std::size_t begin = at + key.size();
        return document.erase(begin, document.find('"', begin) - begin);
    }
    // The files of the host with their sizes, without those that every run of a program writes: logs, the
    // lock with its process id, and vok-simhost's own, among them the log of commands.
    std::map<std::string, std::uintmax_t> filesOfTheHost() const {
        std::map<std::string, std::uintmax_t> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root())) {
            const std::string path = entry.path().string();
            if (entry.is_regular_file() && path.find("/log/") == std::string::npos &&
                path.find("/run/simhost/") == std::string::npos && path != root() + "/var/run/vokd.pid")
                files[path] = entry.file_size();
        }
        return files;
    }
};

TEST_F(Record, HasTheInventoryThatIsPrintedAndEveryKindOfQuestion) {
    startHostAlone(allResources());
    const Ran printed = runAgent({"--print-inventory"});
    const recording::Recording recorded = record();
    EXPECT_EQ(withoutTime(recorded.document), withoutTime(printed.output));
    std::set<std::string> kinds;
    for (const auto& exchange : recorded.exchanges) kinds.insert(exchange.kind);
    namespace names = recording::kinds;
    for (const char* kind : {names::commandRead, names::commandRun, names::open, names::scsi, names::library,
                             names::symbol, names::call, names::systemName, names::interfaceAddresses})
        EXPECT_EQ(kinds.count(kind), 1u) << kind;
    EXPECT_EQ(recorded.remarks, std::vector<std::string>());
}

TEST_F(Record, HoldsNoPathOfTheHostRoot) {
    startHostAlone(allResources());
    const recording::Recording recorded = record();
    for (const auto& exchange : recorded.exchanges)
        for (const auto& [name, value] : exchange.question)
            EXPECT_EQ(value.find("it's a"), std::string::npos) << exchange.kind << ": " << value;
    for (const auto& [path, entry] : recorded.files)
        EXPECT_EQ(path.find("it's a"), std::string::npos) << path;
}

TEST_F(Record, ChangesNothingOnTheHostAndSendsNothing) {
    startAll(allResources());
    EXPECT_EQ(runAgent({"--print-inventory"}).status, 0);  // makes the lock and the folders
    const auto before = filesOfTheHost();
    record();
    EXPECT_EQ(filesOfTheHost(), before);
    EXPECT_EQ(controllerCount("requests"), 0);
    EXPECT_EQ(hostDirectory("/var/tmp"), std::vector<std::string>());
}

}  // namespace
}  // namespace RecordTest
