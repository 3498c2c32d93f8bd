#include "rmc/RmcControl.h"

#include <json/json.h>
#include <algorithm>
#include <stdexcept>

#include "common/Text.h"

namespace simhost {

const char rmcControlHelp[] =
    "Commands:\n"
    "  status                     what was received in this run, as JSON\n"
    "  ring [--times N] [--text T]\n"
    "                             the next N (1) door-bell polls answer T\n"
    "                             (WriteInventory)\n"
    "  ring --second [--times N]  the same for polls of the second kind\n"
    "  answer status S            the next chunk gets the transfer status S\n"
    "  answer completion CC       its reply has the completion code CC and is\n"
    "                             complete otherwise\n"
    "  answer cc-only [CC]        its reply is the completion code CC (0xC0) alone\n"
    "  answer late MS             its reply is MS real milliseconds late\n"
    "  answer never               it gets no reply\n"
    "      [--at-chunk N]         not the next chunk, but the next one that is the\n"
    "                             Nth of a command\n"
    "      [--of inventory|event|poll]\n"
    "                             only for such a command\n"
    "      [--count K]            K (1) times; 0: until cancelled\n"
    "  answer normal              cancels all of these\n"
    "  wait WHAT N [--timeout S]  waits until N of WHAT have arrived in this run:\n"
    "                             inventory, event, poll, violation, abandoned,\n"
    "                             refused, attached or request; status 4 after\n"
    "                             S (60) real seconds\n"
    "  quit                       ends vok-rmc\n";

namespace {

struct Counted {
    const char* what;
    unsigned long (*count)(const Controller& controller);
};

constexpr Counted counted[] = {
    {"inventory", [](const Controller& c) { return c.counts().inventories; }},
    {"event", [](const Controller& c) { return c.counts().events; }},
    {"poll", [](const Controller& c) { return c.counts().polls; }},
    {"violation", [](const Controller& c) { return c.counts().violations; }},
    {"abandoned", [](const Controller& c) { return static_cast<unsigned long>(c.abandonedTransfers()); }},
    {"refused", [](const Controller& c) { return c.counts().refusedChunks; }},
    {"attached", [](const Controller& c) { return c.counts().attachments; }},
    {"request", [](const Controller& c) { return c.counts().requests; }},
};

constexpr long long most = 1LL << 30;

std::vector<std::string> countedNames() {
    std::vector<std::string> names;
    for (const auto& each : counted) names.emplace_back(each.what);
    return names;
}

}  // namespace

RmcControl::RmcControl(EventLoop& loop, const std::string& socket)
    : loop_(loop),
      server_(loop, socket, [this](const std::vector<std::string>& words, const RequestServer::Reply& reply) {
          run(words, reply);
      }) {}

void RmcControl::run(const std::vector<std::string>& given, const RequestServer::Reply& reply) {
    try {
        Words words(given);
        const std::string name = words.next("a command");
        if (name == "wait") return wait(words, reply);
        if (name == "answer") {
            controller_->faults().add(words);
        } else if (name == "ring") {
            ring(words);
        } else if (name == "status") {
            words.end();
            return reply({0, status(), ""});
        } else if (name == "help") {
            return reply({0, rmcControlHelp, ""});
        } else if (name == "quit") {
            words.end();
            reply({0, "ok\n", ""});
            loop_.after(std::chrono::milliseconds(20),
                        [this] { loop_.stop(); });  // the answer goes out first
            return;
        } else {
            throw UsageError("there is no command \"" + name +
                             "\"; the commands are help, status, ring, answer, wait, quit");
        }
        reply({0, "ok\n", ""});
    } catch (const UsageError& error) {
        reply({2, "", std::string("vok-rmc control: ") + error.what() + "\n"});
    }
}

void RmcControl::ring(Words& words) {
    const auto times = static_cast<unsigned long>(words.numberOption("--times", 1, most).value_or(1));
    const bool second = words.flag("--second");
    const std::string text = words.option("--text").value_or("WriteInventory");
    words.end();
    if (text.size() > longestMessage - 1) throw UsageError("--text: too long for one message");
    if (second)
        controller_->ringSecondKind(times);
    else
        controller_->ring(text, times);
}

RmcControl::Waiter RmcControl::waiterOf(Words& words) {
    Waiter waiter;
    waiter.seconds = words.numberOption("--timeout", 0, longestWait).value_or(usualWait);
    waiter.what = words.next("what to wait for");
    const auto known = countedNames();
    if (std::find(known.begin(), known.end(), waiter.what) == known.end())
        throw UsageError("wait: \"" + waiter.what + "\" is none of " + listed(known));
    waiter.least = static_cast<unsigned long>(words.nextNumber("how many", 0, most));
    words.end();
    return waiter;
}

long long RmcControl::checkedWait(Words words) {
    words.next("a command");
    return waiterOf(words).seconds;
}

void RmcControl::wait(Words& words, const RequestServer::Reply& reply) {
    Waiter waiter = waiterOf(words);
    waiter.reply = reply;
    const long long timeout = waiter.seconds;
    const auto place = waiters_.insert(waiters_.end(), std::move(waiter));
    place->timer = loop_.after(std::chrono::seconds(timeout), [this, place] {
        place->reply({waitTimedOut, "",
                      "vok-rmc control: " + place->what + ": " + std::to_string(countOf(place->what)) +
                          " of " + std::to_string(place->least) + " when the time was over\n"});
        waiters_.erase(place);
    });
    changed();
}

void RmcControl::changed() {
    for (auto each = waiters_.begin(); each != waiters_.end();) {
        if (countOf(each->what) < each->least) {
            ++each;
            continue;
        }
        loop_.cancel(each->timer);
        each->reply({0, "ok\n", ""});
        each = waiters_.erase(each);
    }
}

unsigned long RmcControl::countOf(const std::string& what) const {
    for (const auto& each : counted)
        if (what == each.what) return each.count(*controller_);
    throw std::logic_error("nothing counts " + what);
}

std::string RmcControl::status() const {
    const ControllerCounts& counts = controller_->counts();
    Json::Value shown;
    shown["attached"] = controller_->attached();
    shown["attachments"] = Json::UInt64(counts.attachments);
    shown["inventories"] = Json::UInt64(counts.inventories);
    shown["events"] = Json::UInt64(counts.events);
    shown["shortPayloads"] = Json::UInt64(counts.shortPayloads);
    shown["violations"] = Json::UInt64(counts.violations);
    shown["polls"] = Json::UInt64(counts.polls);
    shown["pollsOfSecondKind"] = Json::UInt64(counts.pollsOfSecondKind);
    shown["refusedChunks"] = Json::UInt64(counts.refusedChunks);
    shown["abandonedTransfers"] = Json::UInt64(controller_->abandonedTransfers());
    shown["transfersInProgress"] = controller_->transferInProgress() ? 1 : 0;
    shown["requests"] = Json::UInt64(counts.requests);
    shown["notKept"] = Json::UInt64(counts.notKept);
    shown["ringsLeft"] = Json::UInt64(controller_->ringsLeft());
    shown["answersSpoiled"] = Json::UInt64(controller_->faults().size());
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["enableYAMLCompatibility"] = true;
    return Json::writeString(builder, shown) + "\n";
}

}  // namespace simhost
