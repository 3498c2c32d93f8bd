// What a module brings a host: the test host has one more than vok-simhost.
#include <gmock/gmock.h>

#include "host/StandIns.h"
#include "modules/Modules.h"
#include "simhost/TestHost.h"

namespace HostModuleTest {
using testing::HasSubstr;

namespace {

using HostModules = TestHost;

TEST_F(HostModules, AddTheirKeyTheirControlCommandAndTheirNamespace) {
    startTestHost({}, R"({"testDisk":{"vendor":"ACME"}})");
    EXPECT_EQ(runProgram({root() + "/bin/localcli", "test", "disk", "get"}).output, "   Vendor: ACME\n");
    EXPECT_THAT(runProgram({root() + "/bin/localcli", "--help"}).output,
                HasSubstr("   localcli test disk get\n"));
    EXPECT_THAT(hostControl({"help"}), HasSubstr("  test-disk pull|plug|hang\n"));
    EXPECT_THAT(runProgram({VOK_TESTHOST_PROGRAM, "control", "--help"}).output,
                HasSubstr("  test-disk pull|plug|hang\n"));
    EXPECT_EQ(hostState()["testDisk"]["open"].asInt(), 0);
    EXPECT_THAT(hostControl({"test-disk", "pull"}), HasSubstr("ok"));
}

TEST_F(HostModules, RefuseWhatTheirPartOfTheDescriptionDoesNotHave) {
    for (const char* description : {R"({"testDisk":{"colour":"red"}})", R"({"testDisk":{"blocks":65537}})"}) {
        directory.writeFile("odd.json", description);
        const Ran ran = runProgram(
            {VOK_TESTHOST_PROGRAM, "run", "--root", root(), "--host", directory.path() + "/odd.json"});
        EXPECT_EQ(ran.status, 1);
        EXPECT_THAT(ran.output, HasSubstr("the description.testDisk"));
    }
}

TEST(HostModuleList, HasNoNameTwice) {
    std::map<std::string, int> names;
    for (const simhost::HostModule* module : simhost::hostModules()) {
        for (const auto& each : module->controls()) ++names[std::string("control ") + each.name];
        for (const auto& each : module->standIns()) ++names[std::string("bin ") + each.name];
        for (const auto& each : module->localcli()) ++names[std::string("localcli ") + each.words];
    }
    EXPECT_GE(names.size(), 20u);
    for (const auto& [name, count] : names) EXPECT_EQ(count, 1) << name;
}

TEST(HostModuleList, HasHelpForEachControlCommandThatNamesIt) {
    for (const simhost::HostModule* module : simhost::hostModules())
        for (const auto& each : module->controls()) {
            EXPECT_THAT(each.help, HasSubstr(std::string("  ") + each.name + " "));
            EXPECT_THAT(each.help, testing::EndsWith("\n"));
        }
}

}  // namespace
}  // namespace HostModuleTest
