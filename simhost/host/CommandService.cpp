#include "host/CommandService.h"

#include <iostream>
#include <utility>

#include "common/Files.h"
#include "host/SummaryLog.h"
#include "platform/access/vokShell.h"

namespace simhost {

namespace {

// Bytes of every kind, the NUL and newlines among them, and one very long line.
std::string garbage() {
    std::string text;
    for (std::uint32_t i = 0; i < 2000; ++i) text += static_cast<char>(i * 2654435761u >> 24);
    return text + "\n" + std::string(5000, ':') + "\n   Vendor ID\n,,,,\"\n";
}

}  // namespace

CommandService::CommandService(EventLoop& loop, Surroundings surroundings)
    : loop_(loop),
      surroundings_(std::move(surroundings)),
      server_(loop, surroundings_.socket,
              [this](const std::vector<std::string>& words, const RequestServer::Reply& reply) {
                  serve(words, reply);
              }) {}

// The first word is the asker's working directory, the second the command's name.
void CommandService::serve(const std::vector<std::string>& words, const RequestServer::Reply& reply) {
    if (words.size() < 2) return reply({127, "", "no command\n"});
    const std::vector<std::string> command(words.begin() + 1, words.end());
    CommandContext context = surroundings_.context(command);
    context.workingDirectory = words[0];
    CommandResult result = runStandIn(command, context);
    applyFault(command[0], result);
    ++runs_[command[0]];
    log(context.wall, command, result);
    if (result.seconds > 0) {
        const Answer answer = result.answer;
        loop_.after(surroundings_.toMachineTime(result.seconds), [reply, answer] { reply(answer); });
    } else {
        reply(result.answer);
    }
    surroundings_.ran(command[0]);
}

void CommandService::applyFault(const std::string& name, CommandResult& result) {
    const auto found = faults_.find(name);
    if (found == faults_.end()) return;
    CommandFault& fault = found->second;
    switch (fault.kind) {
        case CommandFault::Kind::fail:
            result = {{fault.status, "", name + ": failed on request\n"}, 0};
            break;
        case CommandFault::Kind::hang:
            result.seconds += fault.seconds;
            break;
        case CommandFault::Kind::garbage:
            result = {{0, garbage(), ""}, 0};
            break;
    }
    if (fault.left > 0 && --fault.left == 0) faults_.erase(found);
}

void CommandService::log(std::int64_t wall, const std::vector<std::string>& command,
                         const CommandResult& result) {
    std::string line = summaryStamp(wall) + " status " + std::to_string(result.answer.status) + ":";
    for (const auto& word : command) line += " " + vokShellQuote(word);
    try {
        appendLine(surroundings_.log, line);
        logFails_ = false;
    } catch (const std::runtime_error& error) {
        // The host goes on without its record; once is enough to say so.
        if (!std::exchange(logFails_, true)) std::cerr << "vok-simhost: " << error.what() << std::endl;
    }
}

}  // namespace simhost
