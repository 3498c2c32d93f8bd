// What the agent leaves on the host is for its own user alone, whatever the umask that it was started with.
#include <sys/stat.h>
#include <csignal>
#include <filesystem>
#include <set>

#include "system/SimulatedSystem.h"

namespace PrivateFilesTest {
namespace {

class PrivateFiles : public SimulatedSystem {
protected:
    // Everything but links and what the simulated host keeps for itself.
    std::set<std::string> places() const {
        std::set<std::string> found;
        for (auto each = std::filesystem::recursive_directory_iterator(root());
             each != std::filesystem::recursive_directory_iterator(); ++each) {
            if (each->path() == root() + "/run") each.disable_recursion_pending();
            if (!each->is_symlink()) found.insert(each->path());
        }
        return found;
    }
};

TEST_F(PrivateFiles, LogsRecordPipesAndWorkingFilesAreForTheirOwnerAlone) {
    startAll();
    const std::set<std::string> before = places();
    ::umask(0);
    startAgent();
    ::umask(0022);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const std::set<std::string> after = places();
    for (const char* made :
         {"/scratch/log/mev/vok/vok.log", "/scratch/log/mev/vok/vok-debug.log", "/var/run/mevvok",
          "/var/run/vokd.pid", "/var/tmp/mevVOKStartup.txt", "/opt/mev/vok/data/vok_hwlist.txt"})
        EXPECT_EQ(after.count(root() + made), 1u) << made;
    for (const auto& place : after) {
        struct stat status {};
        if (before.count(place) || ::lstat(place.c_str(), &status) != 0) continue;
        EXPECT_EQ(status.st_mode & 0077, 0u) << place;
    }
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
}  // namespace PrivateFilesTest
