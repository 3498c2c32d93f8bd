// The metrics, in the text form of Prometheus.
#include "client/vokStatusMetrics.h"

#include <gmock/gmock.h>
#include <set>
#include <sstream>

#include "client/StatusExamples.h"

namespace vokStatusMetricsTest {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::string metricsOf(const vokStatusSnapshot& status) {
    return vokStatusMetrics(&status, vokJudgeStatus(status, exampleNow), exampleNow);
}

TEST(vokStatusMetricsTest, WithoutARecordTheAgentIsDown) {
    EXPECT_EQ(vokStatusMetrics(nullptr, vokJudgeNoStatus("there is no record"), exampleNow),
              R"(# HELP vok_up Whether the agent runs.
# TYPE vok_up gauge
vok_up 0
# HELP vok_health The verdict of vokcli status: 0 OK, 1 warning, 2 critical.
# TYPE vok_health gauge
vok_health 2
# HELP vok_status_timestamp_seconds The time of this status by the clock of the host.
# TYPE vok_status_timestamp_seconds gauge
vok_status_timestamp_seconds 1795348800
)");
}

TEST(vokStatusMetricsTest, TheAgentAndItsPushes) {
    const std::string metrics = metricsOf(eventfulStatus());
    for (const char* sample :
         {"\nvok_up 1\n", "\nvok_health 1\n", "\nvok_version_info{version=\"3.3.2.1\"} 1\n",
          "\nvok_start_timestamp_seconds 1795262400\n", "\nvok_stop_timestamp_seconds 0\n",
          "\nvok_push_interval_seconds 86400\n", "\nvok_push_last_timestamp_seconds 1795341600\n",
          "\nvok_push_last_accepted_timestamp_seconds 1795341600\n",
          "\nvok_push_next_timestamp_seconds 1795428000\n", "\nvok_push_size_bytes 10756\n",
          "\nvok_push_chunks 190\n", "\nvok_push_duration_seconds 0.040\n",
          "\n# TYPE vok_pushes_total counter\nvok_pushes_total 2\n", "\nvok_push_failures_total 0\n",
          "\nvok_doorbell_polls_total 144\n", "\nvok_doorbell_answers_total 144\n",
          "\nvok_doorbell_requests_total 1\n", "\nvok_doorbell_last_answer_timestamp_seconds 1795348770\n"})
        EXPECT_THAT(metrics, HasSubstr(sample));
    EXPECT_THAT(metrics, HasSubstr(R"(
vok_push_last_answer{answer="accepted"} 1
vok_push_last_answer{answer="unconfirmed"} 0
vok_push_last_answer{answer="refused"} 0
vok_push_last_answer{answer="no answer"} 0
vok_push_last_answer{answer="not sent"} 0
)"));
}

TEST(vokStatusMetricsTest, TheClassesThatAreEnabled) {
    const std::string metrics = metricsOf(eventfulStatus());
    EXPECT_THAT(metrics, HasSubstr(R"(
vok_class_enabled{class="FibreChannelDevices"} 0
vok_class_enabled{class="StorageControllers"} 1
vok_class_enabled{class="EthernetDevices"} 1
)"));
    for (const char* sample :
         {"\nvok_class_ready{class=\"StorageControllers\"} 1\n",
          "\nvok_inventory_records{class=\"StorageControllers\"} 4\n",
          "\nvok_build_duration_seconds{class=\"StorageControllers\"} 0.842\n",
          "\nvok_build_last_timestamp_seconds{class=\"StorageControllers\"} 1795348620\n",
          "\nvok_build_next_timestamp_seconds{class=\"StorageControllers\"} 1795352220\n",
          "\nvok_build_begin_timestamp_seconds{class=\"StorageControllers\"} 0\n",
          "\nvok_build_begin_timestamp_seconds{class=\"EthernetDevices\"} 1795348710\n",
          "\nvok_builds_total{class=\"StorageControllers\"} 2\n",
          "\nvok_command_failures_total{class=\"StorageControllers\"} 1\n"})
        EXPECT_THAT(metrics, HasSubstr(sample));
    EXPECT_THAT(metrics, Not(HasSubstr("vok_class_ready{class=\"FibreChannelDevices\"}")));
}

TEST(vokStatusMetricsTest, TheHealthOfTheHardware) {
    const std::string metrics = metricsOf(eventfulStatus());
    EXPECT_THAT(metrics, HasSubstr(R"(
vok_section_records{class="StorageControllers",section="Drives",health="ok"} 17
vok_section_records{class="StorageControllers",section="Drives",health="warning"} 1
vok_section_records{class="StorageControllers",section="Drives",health="critical"} 1
vok_section_records{class="StorageControllers",section="Drives",health="unknown"} 0
vok_section_records{class="StorageControllers",section="Volumes",health="ok"} 4
)"));
    EXPECT_THAT(metrics, HasSubstr(R"(
vok_section_links_down{class="StorageControllers",section="Drives"} 0
vok_section_links_down{class="StorageControllers",section="Volumes"} 0
vok_section_links_down{class="EthernetDevices",section="EthernetDevices"} 2
)"));
}

TEST(vokStatusMetricsTest, EachNumberOfAnEventHasASampleAndTheOthersHaveNone) {
    const std::string metrics = metricsOf(eventfulStatus());
    EXPECT_THAT(metrics, HasSubstr("\nvok_events_raised_total{number=\"538\"} 5\n"
                                   "vok_events_raised_total{number=\"539\"} 0\n"));
    EXPECT_THAT(metrics, Not(HasSubstr("4711")));
    EXPECT_THAT(metrics, HasSubstr("\nvok_event_last_raised_timestamp_seconds{number=\"538\"} 1795341600\n"));
    EXPECT_THAT(metrics, HasSubstr(R"(
vok_event_deliveries_total{outcome="delivered"} 2
vok_event_deliveries_total{outcome="refused"} 1
vok_event_deliveries_total{outcome="failed"} 2
vok_event_deliveries_total{outcome="dropped"} 1
)"));
}

TEST(vokStatusMetricsTest, WhatHangs) {
    vokStatusSnapshot status = eventfulStatus();
    status.hanging.push_back({"esxtop", exampleNow - 300, -1});
    EXPECT_THAT(metricsOf(status), HasSubstr("\nvok_hanging_operations 2\n"));
    EXPECT_THAT(metricsOf(status), HasSubstr("\nvok_hanging_since_timestamp_seconds 1795348500\n"));
    EXPECT_THAT(metricsOf(healthyStatus()), HasSubstr("\nvok_hanging_operations 0\n"));
    EXPECT_THAT(metricsOf(healthyStatus()), HasSubstr("\nvok_hanging_since_timestamp_seconds 0\n"));
}

TEST(vokStatusMetricsTest, ALibraryThatIsLeftOutOfARunningAgent) {
    vokStatusSnapshot status = eventfulStatus();
    EXPECT_THAT(metricsOf(status), HasSubstr("\nvok_library_left_out{library=\"libstorelib.so\"} 1\n"));
    EXPECT_THAT(metricsOf(healthyStatus()), Not(HasSubstr("\nvok_library_left_out{")));
    status.isRunning = false;
    EXPECT_THAT(metricsOf(status), Not(HasSubstr("\nvok_library_left_out{")));
}

TEST(vokStatusMetricsTest, OfAnAgentThatDoesNotRunNothingHangsOrBuilds) {
    vokStatusSnapshot status = eventfulStatus();
    status.isRunning = false;
    const std::string metrics = metricsOf(status);
    for (const char* sample :
         {"\nvok_up 0\n", "\nvok_health 2\n", "\nvok_hanging_operations 0\n",
          "\nvok_hanging_since_timestamp_seconds 0\n",
          "\nvok_build_begin_timestamp_seconds{class=\"EthernetDevices\"} 0\n",
          "\nvok_section_records{class=\"StorageControllers\",section=\"Drives\",health=\"critical\"} 1\n"})
        EXPECT_THAT("\n" + metrics, HasSubstr(sample));
}

TEST(vokStatusMetricsTest, TheValueOfALabelIsEscaped) {
    vokStatusSnapshot status = healthyStatus();
    status.version = "a\"b\\c\nd\x1b";
    EXPECT_THAT(metricsOf(status), HasSubstr(R"(vok_version_info{version="a\"b\\c\nd?"} 1)"));
}

TEST(vokStatusMetricsTest, EachMetricHasOneHelpAndOneTypeThatFitsItsName) {
    std::istringstream lines(metricsOf(eventfulStatus()));
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("# TYPE ", 0) != 0) continue;
        const std::size_t blank = line.find(' ', 7);
        const std::string name = line.substr(7, blank - 7);
        EXPECT_TRUE(names.insert(name).second) << name;
        const bool isTotal = name.size() > 6 && name.substr(name.size() - 6) == "_total";
        EXPECT_EQ(line.substr(blank + 1), isTotal ? "counter" : "gauge") << name;
    }
    EXPECT_GT(names.size(), 30U);
}

}  // namespace
}  // namespace vokStatusMetricsTest
