#include "replay/ReplayedHost.h"

#include <json/json.h>
#include <cmath>

#include "common/Files.h"
#include "common/SimulatedClock.h"
#include "common/Words.h"
#include "recording/Forms.h"

namespace simhost {

namespace {

constexpr char ipmiDevice[] = "/dev/ipmi0";
constexpr char controlHelp[] =
    "Commands of a recorded host:\n"
    "  show                                 what was answered, and what was not\n"
    "                                       recorded, as JSON\n";

}  // namespace

ReplayedHost::ReplayedHost(EventLoop& loop, const std::string& root, const recording::Recording& recording,
                           ReplayAnswers& answers, const ReplaySettings& settings)
    : recording_(recording),
      answers_(answers),
      paths_(root),
      state_(HostState::create(paths_.state())),
      server_(loop, paths_.librarySocket()),
      nodes_(loop),
      control_(loop, paths_.controlSocket(),
               [this](const std::vector<std::string>& words, const RequestServer::Reply& reply) {
                   reply(control(words));
               }) {
    startClock(settings.speed);
    if (!answers_.asksDevice(ipmiDevice)) {
        answers_.simulate(ipmiDevice);
        ipmi_ = std::make_unique<OpenIpmiDriver>(
            nodes_, OpenIpmiDriver::Sockets{paths_.ipmiDevice(), paths_.controllerSocket()}, nodeName(),
            settings.ipmiPatience);
        ipmi_->setPresent(true);
    }
    serve();
}

std::string ReplayedHost::nodeName() const {
    for (const recording::Exchange& exchange : recording_.exchanges)
        if (exchange.kind == recording::kinds::systemName && !exchange.answers.empty())
            return recording::textOf(exchange.answers.front(), "node");
    return "";
}

void ReplayedHost::startClock(double speed) {
    const auto thousandths = static_cast<std::int64_t>(std::llround(speed * 1000));
    state_.writeClock(
        simhost::startClock(machineNow(), recording_.time * nanosecondsInSecond, 0, thousandths));
}

void ReplayedHost::serve() {
    server_.serve(static_cast<std::uint32_t>(ReplayRequest::path),
                  [this](const std::string& path, const LibraryServer::Reply& reply) {
                      reply(static_cast<std::int32_t>(answers_.path(path)), "");
                  });
    server_.serve(static_cast<std::uint32_t>(ReplayRequest::question),
                  [this](const std::string& bytes, const LibraryServer::Reply& reply) {
                      const auto asked = RecordedQuestion::decode(bytes);
                      if (!asked) return reply(static_cast<std::int32_t>(ReplayAnswer::notRecorded), "");
                      const auto [status, fields] = answers_.question(*asked);
                      reply(static_cast<std::int32_t>(status), fields ? encodeFields(*fields) : "");
                  });
}

Answer ReplayedHost::control(const std::vector<std::string>& given) {
    try {
        Words words(given);
        const std::string name = words.next("a command");
        if (name == "help") return {0, controlHelp, ""};
        if (name != "show")
            throw UsageError("a recorded host is not changed; its commands are help and show");
        words.end();
        return {0, show(), ""};
    } catch (const UsageError& error) {
        return {2, "", std::string("vok-simhost control: ") + error.what() + "\n"};
    }
}

std::string ReplayedHost::show() const {
    Json::Value shown;
    shown["recording"]["agent"] = recording_.agentVersion;
    shown["recording"]["abi"] = recording_.abi;
    shown["recording"]["time"] = Json::Int64(recording_.time);
    shown["recording"]["redacted"] = recording_.redacted;
    for (const std::string& remark : recording_.remarks) shown["recording"]["remarks"].append(remark);
    shown["answered"] = Json::UInt64(answers_.answered());
    shown["notRecorded"] = Json::objectValue;
    for (const auto& [name, count] : answers_.notRecorded()) shown["notRecorded"][name] = Json::UInt64(count);
    if (ipmi_) shown["ipmi"]["controllerAttached"] = ipmi_->controllerAttached();
    if (ipmi_) shown["ipmi"]["exchanges"] = Json::UInt64(ipmi_->exchanges());
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["enableYAMLCompatibility"] = true;
    return Json::writeString(builder, shown) + "\n";
}

std::string notRecordedReport(const ReplayAnswers& answers) {
    if (answers.notRecorded().empty()) return "";
    std::string report = "vok-simhost: not in the recording, in all:\n";
    for (const auto& [name, count] : answers.notRecorded())
        report += "vok-simhost: asked " + std::to_string(count) + (count == 1 ? " time: " : " times: ") +
                  name + "\n";
    return report;
}

}  // namespace simhost
