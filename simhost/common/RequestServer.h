// Requests to a running program over a local stream socket: a list of words goes in; an exit status and the
// texts for standard output and standard error come back, at once or later. The stand-ins of commands and
// the "control" commands are such requests.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/EventLoop.h"

namespace simhost {

struct Answer {
    int status = 0;
    std::string output;
    std::string error;
};

class RequestServer {
public:
    // Answers one request, once. It may be kept and called later; when the asker is gone by then, nothing
    // happens.
    using Reply = std::function<void(const Answer&)>;
    using Handler = std::function<void(const std::vector<std::string>& words, Reply reply)>;

    // Listens at `path`; throws std::system_error.
    RequestServer(EventLoop& loop, const std::string& path, Handler handler);
    ~RequestServer();
    RequestServer(const RequestServer&) = delete;
    RequestServer& operator=(const RequestServer&) = delete;

private:
    struct Connection;
    void acceptAll();
    void serve(unsigned long id, short events);
    void readRequest(unsigned long id, Connection& connection);
    void queueAnswer(unsigned long id, const Answer& answer);
    void drop(unsigned long id);

    EventLoop& loop_;
    std::string path_;
    Handler handler_;
    FileDescriptor listener_;
    EventLoop::Watch listening_;
    unsigned long lastId_ = 0;
    std::map<unsigned long, std::unique_ptr<Connection>> connections_;
    std::shared_ptr<RequestServer*> self_;  // empty once the server is gone
};

// Asks the server at `path` and waits for its answer. Nothing with a sentence in `error` when there is no
// answer; errno is then that of the connection, or 0 when it ended early.
std::optional<Answer> askServer(const std::string& path, const std::vector<std::string>& words,
                                std::string& error);

}  // namespace simhost
