// The commands of a fake host: each prints what the test wrote down for it and exits. A test answers by the
// command's text, by a function, or by a list of the commands that it expects.
#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

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
    // Output of a command by its exact text; a command that is not here prints nothing and exits 127.
    std::map<std::string, std::string> output;
    // Called for each command instead of the map when set: returns the output, may set the wait status.
    std::function<std::string(const std::string& command, int& status)> onCommand;
    // From here on exactly these commands are run, in this order.
    void expect(std::vector<ExpectedCommand> rows) { expected_.expect(std::move(rows)); }
    bool failToStart = false;  // popen() and system() fail with EAGAIN

    // --- what a test reads ---
    std::vector<std::string> texts() const;  // of all commands, also of those that failed to start
    int openStreams() const;                 // of popen() without pclose()
    void checkAllUsed() const { expected_.checkAllUsed("commands"); }

    // --- the operations of the seam ---
    virtual FILE* open(const std::string& command);
    virtual int close(FILE* stream);
    int run(const std::string& command);

private:
    std::string outputOf(const std::string& command, int& status);

    mutable std::mutex guard_;
    std::vector<std::string> texts_;
    std::map<FILE*, int> statuses_;
    int openStreams_ = 0;
    ExpectedRows<ExpectedCommand> expected_;
};
