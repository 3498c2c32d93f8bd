// Records the calls of the vendors' libraries: their entry points are replaced by thunks.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "daemon/recording/ExchangeLog.h"
#include "platform/access/vokHostAccess.h"
#include "recording/FormsCommands.h"
#include "recording/FormsLibraries.h"

class LibraryRecorder final : private recording::LibraryCallee {
public:
    // All outlive this.
    LibraryRecorder(IvokHostAccess& access, const recording::HostTexts& texts, ExchangeLog& log)
        : access_(access), texts_(texts), log_(log) {}
    ~LibraryRecorder() override;
    LibraryRecorder(const LibraryRecorder&) = delete;
    LibraryRecorder& operator=(const LibraryRecorder&) = delete;

    // Each as IvokHostAccess has it; `library` is the name, or the absolute path on the host.
    void* open(const std::string& library, const std::string& name, int flags);
    void* symbol(void* handle, const char* symbol);
    int close(void* handle);
    std::string error();

private:
    void called(recording::LibraryCall& call) override;
    std::string nameOf(void* handle);
    // The thunk in the place of a symbol of a library, or what was found if there is none.
    void* replaced(const std::string& library, const char* symbol, void* found);
    // The reason of a failure, which the agent asks for later on.
    std::string takeError();

    IvokHostAccess& access_;
    const recording::HostTexts& texts_;
    ExchangeLog& log_;
    std::mutex mutex_;  // guards what follows
    std::map<void*, std::string> names_;
};
