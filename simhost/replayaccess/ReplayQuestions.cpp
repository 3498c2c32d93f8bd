#include "replayaccess/ReplayQuestions.h"

namespace simhost {

ReplayPath ReplayQuestions::path(const std::string& absolute) {
    const LibraryReply reply = client_.request(static_cast<std::uint32_t>(ReplayRequest::path), absolute);
    return reply.status < 0 ? ReplayPath::notRecorded : static_cast<ReplayPath>(reply.status);
}

ReplayQuestions::Answer ReplayQuestions::ask(const std::string& kind, const recording::Fields& question) {
    const RecordedQuestion asked{kind, question, nextOrdinal(kind, question)};
    const LibraryReply reply =
        client_.request(static_cast<std::uint32_t>(ReplayRequest::question), asked.encode());
    Answer answer;
    if (reply.status == static_cast<std::int32_t>(ReplayAnswer::simulated))
        answer.status = ReplayAnswer::simulated;
    if (reply.status != static_cast<std::int32_t>(ReplayAnswer::recorded)) return answer;
    auto fields = decodeFields(reply.bytes);
    if (fields) answer = {ReplayAnswer::recorded, std::move(*fields)};
    return answer;
}

std::uint32_t ReplayQuestions::nextOrdinal(const std::string& kind, const recording::Fields& question) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return asked_[{kind, question}]++;
}

}  // namespace simhost
