// A program that a test starts and ends. Its output goes to files in a directory of the test's.
#pragma once

#include <sys/types.h>
#include <string>
#include <vector>

class RunningProgram {
public:
    RunningProgram() = default;
    // Starts it and waits until its standard output holds `ready`; throws when it ends before or takes
    // longer than 20 s.
    RunningProgram(const std::string& directory, const std::string& name,
                   const std::vector<std::string>& command, const std::string& ready);
    ~RunningProgram();
    RunningProgram(RunningProgram&& other) noexcept;
    RunningProgram& operator=(RunningProgram&& other) noexcept;
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    pid_t process() const { return process_; }
    std::string output() const;
    std::string errors() const;
    // Sends the signal and waits for the end: the exit status, or 128 and the signal's number.
    int end(int signal);

private:
    pid_t process_ = 0;
    std::string place_;
};

struct Ran {
    int status = -1;
    std::string output;  // standard output and standard error together
};
// Runs a program to its end.
Ran runProgram(const std::vector<std::string>& command);
