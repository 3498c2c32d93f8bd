// Records the commands that the agent runs, with what it reads of their output and the files that they write.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "daemon/recording/ExchangeLog.h"
#include "daemon/recording/FileRecorder.h"
#include "platform/access/vokHostAccess.h"
#include "recording/FormsCommands.h"

class CommandRecorder {
public:
    // All outlive this.
    CommandRecorder(IvokHostAccess& access, recording::HostTexts& texts, FileRecorder& files,
                    ExchangeLog& log);
    ~CommandRecorder();

    // Each as IvokHostAccess has it.
    FILE* open(const std::string& command);
    int close(FILE* stream);
    int run(const std::string& command);

private:
    struct Running;
    struct Reading;

    Running start(const std::string& command) const;
    void finish(const Running& running, bool isRead, recording::CommandAnswer answer);

    IvokHostAccess& access_;
    recording::HostTexts& texts_;
    FileRecorder& files_;
    ExchangeLog& log_;
    std::mutex mutex_;  // guards what follows
    std::map<FILE*, std::unique_ptr<Reading>> open_;
};
