#include "support/FakeCommands.h"

#include <cerrno>

namespace {

constexpr int statusOf(int exitCode) {
    return exitCode << 8;
}
constexpr int commandNotFound = 127;

}  // namespace

std::vector<std::string> FakeCommands::texts() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return texts_;
}

int FakeCommands::openStreams() const {
    const std::lock_guard<std::mutex> lock(guard_);
    return openStreams_;
}

std::string FakeCommands::outputOf(const std::string& command, int& status) {
    {
        const std::lock_guard<std::mutex> lock(guard_);
        texts_.push_back(command);
    }
    if (expected_.isExpecting()) {
        const auto row = expected_.take(
            command, [&command](const ExpectedCommand& expected) { return expected.command == command; });
        status = statusOf(row ? row->exitCode : commandNotFound);
        return row ? row->output : std::string();
    }
    if (onCommand) return onCommand(command, status);
    const auto found = output.find(command);
    if (found == output.end()) status = statusOf(commandNotFound);
    return found == output.end() ? std::string() : found->second;
}

bool FakeCommands::canStart() const {
    if (!failToStart && stopPhase_ != vokStopPhase::withoutCommands) return true;
    errno = failToStart ? EAGAIN : ECANCELED;
    return false;
}

FILE* FakeCommands::open(const std::string& command) {
    int status = 0;
    const std::string text = outputOf(command, status);
    if (!canStart()) return nullptr;
    FILE* stream = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), stream);
    std::rewind(stream);
    const std::lock_guard<std::mutex> lock(guard_);
    statuses_[stream] = status;
    ++openStreams_;
    return stream;
}

int FakeCommands::close(FILE* stream) {
    // Removed before the stream is closed: another thread's next stream may have the same address.
    int status = 0;
    {
        const std::lock_guard<std::mutex> lock(guard_);
        status = statuses_[stream];
        statuses_.erase(stream);
        --openStreams_;
    }
    std::fclose(stream);
    return status;
}

int FakeCommands::run(const std::string& command) {
    int status = 0;
    outputOf(command, status);
    return canStart() ? status : -1;
}
