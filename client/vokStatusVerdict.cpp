#include "vokStatusVerdict.h"

#include <algorithm>

#include "vokClientText.h"

namespace {

class Judge {
public:
    Judge(const vokStatusSnapshot& status, std::int64_t now) : status_(status), now_(now) {}

    vokVerdict verdict() {
        if (!status_.isRunning) {
            add(vokHealth::critical, whyItDoesNotRun());
        } else {
            judgePushes();
            for (const vokHangingOperation& operation : status_.hanging) judgeHanging(operation);
            for (const vokLibraryLeftOut& library : status_.leftOut) judgeLeftOut(library);
            for (const vokClassStatus& each : status_.classes)
                if (each.enabled) judgeClass(each);
            judgeDoorBell();
            for (const vokEventCount& event : status_.events) judgeEvent(event);
            if (verdict_.findings.empty()) add(vokHealth::ok, whyItIsHealthy());
        }
        std::stable_sort(
            verdict_.findings.begin(), verdict_.findings.end(),
            [](const vokFinding& left, const vokFinding& right) { return left.health > right.health; });
        verdict_.health = verdict_.findings.front().health;
        return verdict_;
    }

private:
    void add(vokHealth health, const std::string& text) {
        verdict_.findings.push_back({health, vokPrintable(text)});
    }
    bool isOlder(std::int64_t time, std::int64_t seconds) const { return now_ - time > seconds; }
    bool isLate(std::int64_t due) const { return due != 0 && isOlder(due, vokStatusGrace); }
    bool isStarting() const { return !isOlder(status_.start, vokStatusGrace); }
    std::string since(std::int64_t time) const { return "since " + vokTimeAndAge(time, now_); }

    std::string whyItDoesNotRun() const {
        if (status_.stop != 0)
            return "the agent does not run; it was stopped " + vokTimeAndAge(status_.stop, now_);
        return "the agent does not run, and was not stopped: it crashed, was killed, or lost its power";
    }

    std::string whyItIsHealthy() const {
        if (status_.push.answer == vokPushAnswer::accepted)
            return "the agent runs, and the controller accepted its last inventory";
        return "the agent is starting; it has not sent its first inventory yet";
    }

    void judgePushes() {
        const vokPushStatus& push = status_.push;
        // Not compared with the start: the clock may have been set back since. The record is no older.
        const bool wasAccepted = push.lastAccepted != 0;
        const auto interval = static_cast<std::int64_t>(status_.pushSeconds);
        if (!wasAccepted && !isStarting())
            add(vokHealth::critical, whyNoneWasAccepted());
        else if (wasAccepted && interval > 0 && isOlder(push.lastAccepted, 2 * interval + vokStatusGrace))
            add(vokHealth::critical, "the controller has accepted no inventory " + since(push.lastAccepted));
        if (!push.isRunning && isLate(push.next))
            add(vokHealth::critical, "the push of the inventory was due " + vokTimeAndAge(push.next, now_));
        if (push.isRunning && isOlder(push.begin, vokStatusGrace))
            add(vokHealth::warning, "the push of the inventory has not ended " + since(push.begin));
        if (push.answer != vokPushAnswer::none && push.answer != vokPushAnswer::accepted)
            add(vokHealth::warning, "the last push was not accepted: " + answerOf(push));
    }

    // Without records there is no document, and so no push.
    bool hasNothingToPush() const {
        return status_.push.pushes == 0 && !status_.push.isRunning &&
               std::all_of(status_.classes.begin(), status_.classes.end(), [](const vokClassStatus& each) {
                   return !each.enabled || (each.ready && each.records == 0);
               });
    }

    std::string whyNoneWasAccepted() const {
        if (hasNothingToPush()) return "there is no inventory to push: no class that is enabled has records";
        return "the controller has accepted no inventory since the agent started " +
               vokAgoWords(status_.start, now_);
    }

    static std::string answerOf(const vokPushStatus& push) {
        return push.answerText.empty() ? vokPushAnswerName(push.answer) : push.answerText;
    }

    void judgeHanging(const vokHangingOperation& operation) {
        add(vokHealth::warning, "hanging " + since(operation.begin) + ": " + operation.description);
    }

    void judgeLeftOut(const vokLibraryLeftOut& library) {
        add(vokHealth::warning, "the library " + library.name + " is " + library.reason());
    }

    void judgeClass(const vokClassStatus& each) {
        if (each.isBuilding && isOlder(each.buildBegin, vokStatusGrace))
            add(vokHealth::warning, each.name + " has been building " + since(each.buildBegin));
        else if (!each.ready && !isStarting())
            add(vokHealth::warning, each.name + " has had no inventory since the start");
        else if (!each.isBuilding && isLate(each.nextBuild))
            add(vokHealth::warning,
                "the build of " + each.name + " was due " + vokTimeAndAge(each.nextBuild, now_));
    }

    void judgeDoorBell() {
        const vokDoorBellStatus& bell = status_.doorBell;
        const std::int64_t answered = std::max(bell.lastAnswer, status_.start);
        const auto limit = static_cast<std::int64_t>(3 * status_.doorBellSeconds);
        if (bell.lastPoll - answered > limit && limit > 0)
            add(vokHealth::warning,
                bell.lastAnswer < status_.start
                    ? "the controller has answered no door-bell poll since the start"
                    : "the controller has answered no door-bell poll " + since(bell.lastAnswer));
    }

    void judgeEvent(const vokEventCount& event) {
        const std::uint64_t undelivered = event.refused + event.failed;
        if (undelivered == 0 || isOlder(event.lastRaised, vokUndeliveredEventAge)) return;
        add(vokHealth::warning, "event " + std::to_string(event.number) + " was not delivered " +
                                    vokCountOf(undelivered, "time", "times") + ", last raised " +
                                    vokTimeAndAge(event.lastRaised, now_));
    }

    const vokStatusSnapshot& status_;
    const std::int64_t now_;
    vokVerdict verdict_;
};

}  // namespace

vokVerdict vokJudgeStatus(const vokStatusSnapshot& status, std::int64_t now) {
    return Judge(status, now).verdict();
}

vokVerdict vokJudgeNoStatus(const std::string& reason) {
    return {vokHealth::critical, {{vokHealth::critical, "no status of an agent: " + vokPrintable(reason)}}};
}

const char* vokHealthName(vokHealth health) {
    switch (health) {
        case vokHealth::ok:
            return "OK";
        case vokHealth::warning:
            return "WARNING";
        case vokHealth::critical:
            break;
    }
    return "CRITICAL";
}

const char* vokPushAnswerName(vokPushAnswer answer) {
    switch (answer) {
        case vokPushAnswer::none:
            break;
        case vokPushAnswer::accepted:
            return "accepted";
        case vokPushAnswer::unconfirmed:
            return "unconfirmed";
        case vokPushAnswer::refused:
            return "refused";
        case vokPushAnswer::noAnswer:
            return "no answer";
        case vokPushAnswer::notSent:
            return "not sent";
    }
    return "none";
}
