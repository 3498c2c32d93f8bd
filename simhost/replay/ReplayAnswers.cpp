#include "replay/ReplayAnswers.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "recording/Forms.h"
#include "replay/QuestionName.h"
#include "replay/ReplayLayout.h"

namespace simhost {

namespace {

using Kind = recording::FileEntry::Kind;

// With these an attribute of /sys or a file can't even be opened.
constexpr int errorsOfOpening[] = {EACCES, EPERM, ENOENT, ENOTDIR, ELOOP, ENXIO, ENODEV, ENAMETOOLONG};

ReplayPath failureOf(const RecordedFiles::Answer& answer) {
    const bool isOpened = answer.type == Kind::file &&
                          std::find(std::begin(errorsOfOpening), std::end(errorsOfOpening), answer.error) ==
                              std::end(errorsOfOpening);
    return isOpened ? ReplayPath::notRead : ReplayPath::notOpened;
}

}  // namespace

ReplayAnswers::ReplayAnswers(const recording::Recording& recording, const AgentPlaces& places,
                             std::function<void(const std::string&)> report)
    : recording_(recording), places_(places), report_(std::move(report)), files_(recording.files) {
    for (const recording::Exchange& exchange : recording_.exchanges)
        if (!exchange.answers.empty()) exchanges_[{exchange.kind, exchange.question}] = &exchange;
}

bool ReplayAnswers::asksDevice(const std::string& device) const {
    return std::any_of(recording_.exchanges.begin(), recording_.exchanges.end(), [&](const auto& exchange) {
        return recording::textOf(exchange.question, "device") == device;
    });
}

ReplayPath ReplayAnswers::path(const std::string& path) {
    const RecordedFiles::Answer answer = files_.ask(path);
    using Answer = RecordedFiles::Answer::Kind;
    const bool isServed = places_.has(path) || path == simulated_;
    const bool isKnown = answer.kind == Answer::known || (isServed && !answer.location.empty());
    if (isKnown && !isReserved(files_, answer.location)) {
        ++answered_;
        return ReplayPath::known;
    }
    if (answer.kind == Answer::fails) {
        ++answered_;
        return failureOf(answer);
    }
    noteNotRecorded(pathName(path));
    return ReplayPath::notRecorded;
}

std::pair<ReplayAnswer, const recording::Fields*> ReplayAnswers::question(const RecordedQuestion& asked) {
    const auto found = exchanges_.find({asked.kind, asked.fields});
    if (found != exchanges_.end()) {
        ++answered_;
        const auto& answers = found->second->answers;
        return {ReplayAnswer::recorded, &answers[std::min<std::size_t>(asked.ordinal, answers.size() - 1)]};
    }
    const bool isSimulated = !simulated_.empty() && asked.kind == recording::kinds::open &&
                             recording::textOf(asked.fields, "device") == simulated_;
    if (isSimulated) return {ReplayAnswer::simulated, nullptr};
    noteNotRecorded(questionName(asked.kind, asked.fields));
    return {ReplayAnswer::notRecorded, nullptr};
}

void ReplayAnswers::noteNotRecorded(const std::string& name) {
    constexpr std::size_t mostNames = 10000;
    const auto found = notRecorded_.find(name);
    if (found != notRecorded_.end()) {
        ++found->second;
        return;
    }
    if (notRecorded_.size() >= mostNames) return;
    notRecorded_[name] = 1;
    report_(name);
}

}  // namespace simhost
