// The commands of a fake host: each prints the output that the test set for it and exits. A test sets outputs
// by the command's text, by a function, or by a list of the commands that it expects.
#pragma once

#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "support/ExpectedRows.h"

struct ExpectedCommand {
    std::string command;
    std::string output = {};
    int exitCode = 0;
};

class FakeCommands {
public:
    virtual ~FakeCommands() = default;

    // --- what a test sets ---
    // Output of a command by its exact text; any other command prints nothing and exits 127.
    std::map<std::string, std::string> output;
    // If set, called for each command instead of the map: returns the output, may set the wait status.
    std::function<std::string(const std::string& command, int& status)> onCommand;
    // From now on exactly these commands are expected, in this order.
    void expect(std::vector<ExpectedCommand> rows) { expected_.expect(std::move(rows)); }
    bool failToStart = false;  // popen() and system() fail with EAGAIN

    // --- what a test reads ---
    std::vector<std::string> texts() const;  // of all commands, including those that failed to start
    int openStreams() const;                 // opened by popen() and not yet closed
    void checkAllUsed() const { expected_.checkAllUsed("commands"); }

    // --- the operations of the seam ---
    virtual FILE* open(const std::string& command);
    virtual int close(FILE* stream);
    int run(const std::string& command);
    // From now on commands fail with ECANCELED, unless they have some time left.
    void requestStop(vokStopPhase phase = vokStopPhase::withoutCommands) { stopPhase_ = phase; }
    vokStopPhase stopPhase() const { return stopPhase_; }

private:
    // False with errno.
    bool canStart() const;
    std::string outputOf(const std::string& command, int& status);

    mutable std::mutex guard_;
    std::vector<std::string> texts_;
    std::map<FILE*, int> statuses_;
    int openStreams_ = 0;
    std::atomic<vokStopPhase> stopPhase_{vokStopPhase::none};
    ExpectedRows<ExpectedCommand> expected_;
};
