// The scenes of the demo, played from first to last with the real agent.
#include <gmock/gmock.h>
#include <filesystem>

#include "system/SimulatedSystem.h"

namespace ScenarioTest {
using testing::HasSubstr;

namespace {

class DemoScenes : public SimulatedSystem {
protected:
    Ran play(const std::string& scenario) const {
        return runProgram({VOK_SIMHOST_PROGRAM, "play", scenario, "--root", root(), "--work",
                           directory.path(), "--controller", out(), "--controller-log",
                           directory.path() + "/rmc.out"});
    }
};

// All but the Ethernet scenes, which need half a minute.
TEST_F(DemoScenes, ArePlayedToTheEndOnAHostWithoutAdapters) {
    startHost({"--speed", "300"}, "bare");
    startController();
    const Ran ran = play("demo");
    EXPECT_EQ(ran.status, 0) << ran.output;
    for (const char* line :
         {"\n1. A simulated host and its management controller\n",
          "\n2. What the agent takes this machine for\n",
          "   rmc | inventory 1: ", "   rmc | inventory 2: ", "   vokcli test 708\n",
          "   rmc | event 1: 538 ", "   rmc | event 2: 708 ", "   rmc | event 3: 359 ",
          "   rmc | event 4: 356 ", "   rmc | inventory 3: ", "   rmc | event 5: 360 ",
          "   rmc | event 6: 356 ", "   rmc | inventory 4: ",
          "\n8. The Ethernet adapters\n   This host has none: their scenes are left out.\n",
          "\n9. The disks of the SATA RAID\n   This host has none that wear out: their scenes are left "
          "out.\n",
          "\n10. The RAID controllers behind their vendor's library\n   This host has none with a volume "
          "that "
          "survives the loss of a disk: their scenes are left out.\n",
          "\n11. The Fibre Channel adapters\n   None of this host's has a link: their scenes are left out.\n",
          "\n12. The agent stops gracefully, and leaves its record for the next start\n",
          "   current_start 0\n"})
        EXPECT_THAT(ran.output, HasSubstr(line));
    EXPECT_EQ(controllerCount("violations"), 0);
    EXPECT_EQ(startupRecord()["current_start"], 0);
}

}  // namespace
}  // namespace ScenarioTest
