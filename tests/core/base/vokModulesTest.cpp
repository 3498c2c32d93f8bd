#include "core/base/vokModules.h"

#include <gtest/gtest.h>

namespace vokModulesTest {
namespace {

TEST(ModuleNames, EveryIdHasItsName) {
    const std::map<int, std::string> expected = {
        {0, "FibreChannelDevices"},    {1, "HostOSInfo"},
        {2, "StorageControllers"},     {3, "EthernetDevices"},
        {4, "NVMeControllers"},        {5, "GPUDevices"},
        {6, "InfiniBandDevices"},      {7, "TrustedPlatformModule"},
        {100, "ProcessorTelemetry"},   {101, "MemoryTelemetry"},
        {102, "NetworkTelemetry"},     {103, "StorageTelemetry"},
        {104, "FileServiceTelemetry"}, {105, "NumastatTelemetry"},
    };
    std::map<int, std::string> names;
    for (const auto& module : VOK_MODULE_NAME_MAP) names[module.first] = module.second;
    EXPECT_EQ(names, expected);
}

TEST(ResourceStates, EveryValueHasItsText) {
    const char* const expected[] = {"Unknown",
                                    "Bypassed",
                                    "Cancel",
                                    "Cancel/Recovery",
                                    "Created",
                                    "Degraded",
                                    "Deleted",
                                    "Deleted/Recovery",
                                    "Diagnostic mode",
                                    "Down",
                                    "Error",
                                    "Failed",
                                    "Linkdown",
                                    "Loopback",
                                    "Offline",
                                    "Online",
                                    "Optimal",
                                    "Other",
                                    "Partially degraded",
                                    "Predictive failure",
                                    "Rebuild",
                                    "Recovering",
                                    "Recovery",
                                    "Running",
                                    "Unconfigured bad"};
    for (int value = 0; value <= 24; ++value)
        EXPECT_STREQ(vokResourceStateMap[value], expected[value]) << value;
}

TEST(ResourceStates, TheEntriesAfterTheLastAreNull) {
    EXPECT_STREQ(vokResourceStateMap[VOK_STATE_UNCONFIGURED_BAD], "Unconfigured bad");
    for (int value = 25; value < 32; ++value) EXPECT_EQ(vokResourceStateMap[value], nullptr) << value;
}

TEST(ResourceStates, TheNamesHaveTheirValues) {
    EXPECT_EQ(VOK_STATE_DIAGNOSTIC_MODE, 8);
    EXPECT_EQ(VOK_STATE_LINKDOWN, 12);
    EXPECT_EQ(VOK_STATE_ONLINE, 15);
    EXPECT_EQ(VOK_STATE_PARTIALLY_DEGRADED, 18);
    EXPECT_EQ(VOK_STATE_UNCONFIGURED_BAD, 24);
}

TEST(ResourceHealth, EveryValueHasItsText) {
    EXPECT_STREQ(vokResourceHealthMap[VOK_HEALTH_UNKNOWN], "Unknown");
    EXPECT_STREQ(vokResourceHealthMap[VOK_HEALTH_CRITICAL], "Critical");
    EXPECT_STREQ(vokResourceHealthMap[VOK_HEALTH_OK], "OK");
    EXPECT_STREQ(vokResourceHealthMap[VOK_HEALTH_WARNING], "Warning");
    EXPECT_EQ(VOK_HEALTH_WARNING, 3);
}

}  // namespace
}  // namespace vokModulesTest
