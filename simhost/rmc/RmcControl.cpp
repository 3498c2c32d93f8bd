#include "rmc/RmcControl.h"

#include <json/json.h>

namespace simhost {

const char rmcControlHelp[] =
    "Commands:\n"
    "  status                     what was received so far, as JSON\n"
    "  ring [--times N] [--text T]\n"
    "                             the next N (1) door-bell polls answer T (WriteInventory)\n"
    "  ring --second [--times N]  the same for polls of the second kind\n"
    "  answer status S            the next chunk is answered with transfer status S\n"
    "  answer completion CC       ... with the completion code CC, the rest as ever\n"
    "  answer cc-only [CC]        ... with the completion code CC (0xC0) and nothing else\n"
    "  answer late MS             ... MS real milliseconds late\n"
    "  answer never               ... not at all\n"
    "      [--at-chunk N]         not the next but the next Nth chunk of a command\n"
    "      [--of inventory|event|poll]\n"
    "      [--count K]            K (1) times; 0 for ever\n"
    "  answer normal              forget all of these\n"
    "  wait inventory|event|poll|violation|abandoned|refused|attached|request N [--timeout S]\n"
    "                             until so many came in this run; status 4 when S (60) real\n"
    "                             seconds are over\n"
    "  quit                       end vok-rmc\n";

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
            throw UsageError("there is no command \"" + name + "\"");
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

void RmcControl::wait(Words& words, const RequestServer::Reply& reply) {
    const long long timeout = words.numberOption("--timeout", 0, longestWait).value_or(usualWait);
    Waiter waiter;
    waiter.what = words.next("what to wait for");
    countOf(waiter.what);
    waiter.least = static_cast<unsigned long>(words.nextNumber("how many", 0, most));
    waiter.reply = reply;
    words.end();
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
    throw UsageError("wait: \"" + what + "\" is nothing to wait for");
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
    shown["ringsLeft"] = Json::UInt64(controller_->ringsLeft());
    shown["answersSpoiled"] = Json::UInt64(controller_->faults().size());
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["enableYAMLCompatibility"] = true;
    return Json::writeString(builder, shown) + "\n";
}

}  // namespace simhost
