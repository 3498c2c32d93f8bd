#include "vokStatusMetrics.h"

#include <cstdio>
#include <initializer_list>
#include <utility>

#include "events/vokEventTable.h"

namespace {

using Labels = std::initializer_list<std::pair<const char*, std::string>>;

// The value of a label: backslash, quote and newline are escaped, other control characters replaced.
std::string escaped(const std::string& value) {
    std::string text;
    for (const char each : value) {
        if (each == '\\' || each == '"')
            text += std::string("\\") + each;
        else if (each == '\n')
            text += "\\n";
        else
            text += static_cast<unsigned char>(each) < 0x20 || each == 0x7F ? '?' : each;
    }
    return text;
}

class Metrics {
public:
    // Starts a metric: its samples follow.
    void gauge(const char* name, const char* help) { start(name, "gauge", help); }
    void counter(const char* name, const char* help) { start(name, "counter", help); }

    void sample(std::uint64_t value, const Labels& labels = {}) { write(std::to_string(value), labels); }
    void sampleTime(std::int64_t seconds, const Labels& labels = {}) {
        write(std::to_string(seconds), labels);
    }
    void sampleDuration(std::uint64_t milliseconds, const Labels& labels = {}) {
        char seconds[40];
        std::snprintf(seconds, sizeof(seconds), "%llu.%03llu",
                      static_cast<unsigned long long>(milliseconds / 1000),
                      static_cast<unsigned long long>(milliseconds % 1000));
        write(seconds, labels);
    }

    std::string text;

private:
    void start(const char* name, const char* type, const char* help) {
        name_ = name;
        text += "# HELP " + name_ + " " + help + "\n# TYPE " + name_ + " " + type + "\n";
    }
    void write(const std::string& value, const Labels& labels) {
        text += name_;
        const char* separator = "{";
        for (const auto& [label, labelValue] : labels) {
            text += separator + std::string(label) + "=\"" + escaped(labelValue) + "\"";
            separator = ",";
        }
        text += (labels.size() == 0 ? " " : "} ") + value + "\n";
    }

    std::string name_;
};

void addAgent(Metrics& metrics, const vokStatusSnapshot& status) {
    metrics.gauge("vok_version_info", "The version of the agent, as a label.");
    metrics.sample(1, {{"version", status.version}});
    metrics.gauge("vok_start_timestamp_seconds", "When the agent started.");
    metrics.sampleTime(status.start);
    metrics.gauge("vok_stop_timestamp_seconds", "When the agent was stopped in order; 0 if it was not.");
    metrics.sampleTime(status.stop);
}

// One sample of each enabled class: `add` writes it.
template <typename Add>
void forEnabled(const vokStatusSnapshot& status, Add add) {
    for (const vokClassStatus& each : status.classes)
        if (each.enabled) add(each, Labels{{"class", each.name}});
}

void addBuilds(Metrics& metrics, const vokStatusSnapshot& status) {
    metrics.gauge("vok_class_enabled", "Whether the settings enable the class.");
    for (const vokClassStatus& each : status.classes)
        metrics.sample(each.enabled ? 1 : 0, {{"class", each.name}});
    metrics.gauge("vok_class_ready", "Whether the first build of the class has ended.");
    forEnabled(status, [&](const auto& each, const auto& labels) { metrics.sample(each.ready, labels); });
    metrics.gauge("vok_inventory_records", "Records in the inventory of the class.");
    forEnabled(status, [&](const auto& each, const auto& labels) { metrics.sample(each.records, labels); });
    metrics.gauge("vok_build_duration_seconds", "Duration of the last build.");
    forEnabled(status, [&](const auto& each, const auto& labels) {
        metrics.sampleDuration(each.lastBuildDuration, labels);
    });
    metrics.gauge("vok_build_last_timestamp_seconds", "When the last build ended; 0 for never.");
    forEnabled(status,
               [&](const auto& each, const auto& labels) { metrics.sampleTime(each.lastBuildEnd, labels); });
    metrics.gauge("vok_build_next_timestamp_seconds", "When the next build is due; 0 if none is planned.");
    forEnabled(status,
               [&](const auto& each, const auto& labels) { metrics.sampleTime(each.nextBuild, labels); });
    metrics.gauge("vok_build_begin_timestamp_seconds",
                  "When the build in progress began; 0 if there is none.");
    forEnabled(status, [&](const auto& each, const auto& labels) {
        metrics.sampleTime(status.isRunning && each.isBuilding ? each.buildBegin : 0, labels);
    });
    metrics.counter("vok_builds_total", "Builds since the start of the agent.");
    forEnabled(status, [&](const auto& each, const auto& labels) { metrics.sample(each.builds, labels); });
    metrics.counter("vok_command_failures_total", "Commands of the class that failed, since the start.");
    forEnabled(status,
               [&](const auto& each, const auto& labels) { metrics.sample(each.failedCommands, labels); });
}

void addHealth(Metrics& metrics, const vokStatusSnapshot& status) {
    metrics.gauge("vok_section_records", "Records of a section of the inventory by their health.");
    for (const vokClassStatus& each : status.classes)
        for (const vokSectionStatus& section : each.sections) {
            const auto sample = [&](const char* health, std::uint64_t count) {
                metrics.sample(count, {{"class", each.name}, {"section", section.name}, {"health", health}});
            };
            sample("ok", section.ok);
            sample("warning", section.warning);
            sample("critical", section.critical);
            sample("unknown", section.unknown);
        }
    metrics.gauge("vok_section_links_down", "Records of a section whose link is down.");
    for (const vokClassStatus& each : status.classes)
        for (const vokSectionStatus& section : each.sections)
            metrics.sample(section.linkDown, {{"class", each.name}, {"section", section.name}});
}

void addPushes(Metrics& metrics, const vokStatusSnapshot& status) {
    const vokPushStatus& push = status.push;
    metrics.gauge("vok_push_interval_seconds",
                  "The time between two pushes of the inventory, as configured.");
    metrics.sample(status.pushSeconds);
    metrics.gauge("vok_push_last_timestamp_seconds", "When the last push began; 0 for never.");
    metrics.sampleTime(push.begin);
    metrics.gauge("vok_push_last_accepted_timestamp_seconds",
                  "When the controller last accepted an inventory; 0 for never.");
    metrics.sampleTime(push.lastAccepted);
    metrics.gauge("vok_push_next_timestamp_seconds", "When the next push is due; 0 if none is planned.");
    metrics.sampleTime(push.next);
    metrics.gauge("vok_push_last_answer", "The answer to the last push: 1 for the one that was given.");
    for (const vokPushAnswer answer :
         {vokPushAnswer::accepted, vokPushAnswer::unconfirmed, vokPushAnswer::refused,
          vokPushAnswer::noAnswer, vokPushAnswer::notSent})
        metrics.sample(push.answer == answer ? 1 : 0, {{"answer", vokPushAnswerName(answer)}});
    metrics.gauge("vok_push_size_bytes", "Size of the last inventory that was sent.");
    metrics.sample(push.bytes);
    metrics.gauge("vok_push_chunks", "Requests to the controller of the last push.");
    metrics.sample(push.chunks);
    metrics.gauge("vok_push_duration_seconds", "Duration of the last push.");
    metrics.sampleDuration(push.duration);
    metrics.counter("vok_pushes_total", "Pushes since the start of the agent.");
    metrics.sample(push.pushes);
    metrics.counter("vok_push_failures_total", "Pushes that the controller did not accept, since the start.");
    metrics.sample(push.failed);
}

void addDoorBell(Metrics& metrics, const vokDoorBellStatus& bell) {
    metrics.counter("vok_doorbell_polls_total", "Polls of the controller's door-bell since the start.");
    metrics.sample(bell.polls);
    metrics.counter("vok_doorbell_answers_total", "Polls that the controller answered.");
    metrics.sample(bell.answered);
    metrics.counter("vok_doorbell_requests_total", "Answers that requested an inventory.");
    metrics.sample(bell.requests);
    metrics.gauge("vok_doorbell_last_answer_timestamp_seconds",
                  "When the last poll was answered; 0 for never.");
    metrics.sampleTime(bell.lastAnswer);
}

// Every number of the table has a sample from the start: the first event is then an increase too.
void addEvents(Metrics& metrics, const vokStatusSnapshot& status) {
    vokEventCount sum;
    for (const vokEventCount& event : status.events) {
        sum.delivered += event.delivered;
        sum.refused += event.refused;
        sum.failed += event.failed;
        sum.dropped += event.dropped;
    }
    metrics.counter("vok_events_raised_total", "Events raised since the start, by number.");
    for (const vokEventNumber& known : vokEventTable) {
        std::uint64_t raised = 0;
        for (const vokEventCount& event : status.events)
            if (event.number == known.id) raised = event.raised;
        metrics.sample(raised, {{"number", std::to_string(known.id)}});
    }
    metrics.gauge("vok_event_last_raised_timestamp_seconds", "When an event of the number was last raised.");
    for (const vokEventCount& event : status.events)
        if (event.lastRaised != 0)
            metrics.sampleTime(event.lastRaised, {{"number", std::to_string(event.number)}});
    metrics.counter("vok_event_deliveries_total", "Events since the start by what became of them.");
    metrics.sample(sum.delivered, {{"outcome", "delivered"}});
    metrics.sample(sum.refused, {{"outcome", "refused"}});
    metrics.sample(sum.failed, {{"outcome", "failed"}});
    metrics.sample(sum.dropped, {{"outcome", "dropped"}});
}

void addHanging(Metrics& metrics, const vokStatusSnapshot& status) {
    metrics.gauge("vok_hanging_operations", "Operations that have taken thirty seconds and have not ended.");
    metrics.sample(status.isRunning ? status.hanging.size() : 0);
    metrics.gauge("vok_hanging_since_timestamp_seconds",
                  "When the oldest of them began; 0 if there is none.");
    std::int64_t oldest = 0;
    for (const vokHangingOperation& operation : status.hanging)
        if (oldest == 0 || operation.begin < oldest) oldest = operation.begin;
    metrics.sampleTime(status.isRunning ? oldest : 0);
}

// Without a sample if the agent uses all of its libraries.
void addLeftOut(Metrics& metrics, const vokStatusSnapshot& status) {
    metrics.gauge("vok_library_left_out", "Libraries that the agent leaves out, as it has died in them.");
    if (!status.isRunning) return;
    for (const vokLibraryLeftOut& library : status.leftOut) metrics.sample(1, {{"library", library.name}});
}

}  // namespace

std::string vokStatusMetrics(const vokStatusSnapshot* status, const vokVerdict& verdict, std::int64_t now) {
    Metrics metrics;
    metrics.gauge("vok_up", "Whether the agent runs.");
    metrics.sample(status && status->isRunning ? 1 : 0);
    metrics.gauge("vok_health", "The verdict of vokcli status: 0 OK, 1 warning, 2 critical.");
    metrics.sample(static_cast<std::uint64_t>(verdict.health));
    metrics.gauge("vok_status_timestamp_seconds", "The time of this status by the clock of the host.");
    metrics.sampleTime(now);
    if (!status) return metrics.text;
    addAgent(metrics, *status);
    addBuilds(metrics, *status);
    addHealth(metrics, *status);
    addPushes(metrics, *status);
    addDoorBell(metrics, status->doorBell);
    addEvents(metrics, *status);
    addHanging(metrics, *status);
    addLeftOut(metrics, *status);
    return metrics.text;
}
