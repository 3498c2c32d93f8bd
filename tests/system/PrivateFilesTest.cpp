// The files that the agent creates on the host are accessible to its own user only, whatever its umask at the
// start.
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
    std::set<std::string> paths() const {
        std::set<std::string> found;
        for (auto each = std::filesystem::recursive_directory_iterator(root());
             each != std::filesystem::recursive_directory_iterator(); ++each) {
            if (each->path() == root() + "/run") each.disable_recursion_pending();
            if (!each->is_symlink()) found.insert(each->path());
        }
        return found;
    }
};

TEST_F(PrivateFiles, LogsRecordPipesAndWorkingFilesAreAccessibleToTheirOwnerOnly) {
    startAll();
    const std::set<std::string> before = paths();
    ::umask(0);
    startAgent();
    ::umask(0022);
    ASSERT_EQ(waitFor("inventory", 1), 0);
    const std::set<std::string> after = paths();
    for (const char* made :
         {"/scratch/log/mev/vok/vok.log", "/scratch/log/mev/vok/vok-debug.log", "/var/run/mevvok",
          "/var/run/vokd.pid", "/var/run/vokStatus.bin", "/var/tmp/mevVOKStartup.txt",
          "/opt/mev/vok/data/vokHistory.bin", "/opt/mev/vok/data/vok_hwlist.txt"})
        EXPECT_EQ(after.count(root() + made), 1u) << made;
    for (const auto& path : after) {
        struct stat status {};
        if (before.count(path) || ::lstat(path.c_str(), &status) != 0) continue;
        EXPECT_EQ(status.st_mode & 0077, 0u) << path;
    }
    EXPECT_EQ(stopAgent(), 0);
}

}  // namespace
}  // namespace PrivateFilesTest
