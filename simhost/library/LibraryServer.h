// The host's end of the stand-ins of vendors' libraries: modules register the kinds of request that they
// serve and post events, which every subscriber gets in order.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "common/EventLoop.h"
#include "common/PacketQueue.h"
#include "library/LibraryMessage.h"

namespace simhost {

class LibraryServer {
public:
    // Answers one request, once; it may be kept and called later. When the asker is gone by then nothing
    // happens. A status of a module is 0 or more.
    using Reply = std::function<void(std::int32_t status, const std::string& bytes)>;
    using Handler = std::function<void(const std::string& bytes, const Reply& reply)>;

    // Listens at `path`; throws std::system_error.
    LibraryServer(EventLoop& loop, std::string path);
    ~LibraryServer();
    LibraryServer(const LibraryServer&) = delete;
    LibraryServer& operator=(const LibraryServer&) = delete;

    // Throws std::logic_error when the kind is served already.
    void serve(std::uint32_t kind, Handler handler);
    // To all that subscribe to this kind now. A subscriber that takes nothing in is disconnected when too
    // much waits for it.
    void post(std::uint32_t kind, const std::string& bytes);

    std::size_t connections() const { return connections_.size(); }

private:
    static constexpr std::size_t mostBytesWaiting = 16u << 20;

    struct Connection {
        FileDescriptor socket;
        EventLoop::Watch watch = 0;
        PacketQueue waiting{mostBytesWaiting};
        bool asked = false;  // a request without its reply yet
        bool subscribed = false;
        std::set<std::uint32_t> kinds;  // empty: all
    };

    void acceptAll();
    void readFrom(std::uint64_t id, short events);
    bool handle(std::uint64_t id, Connection& connection, const LibraryMessage& message);
    bool subscribe(std::uint64_t id, Connection& connection, const LibraryMessage& message);
    void send(std::uint64_t id, const LibraryMessage& message);
    void flush(Connection& connection);
    void drop(std::uint64_t id);

    EventLoop& loop_;
    std::string path_;
    FileDescriptor listener_;
    EventLoop::Watch listening_ = 0;
    std::map<std::uint32_t, Handler> handlers_;
    std::uint64_t lastId_ = 0;
    std::map<std::uint64_t, std::unique_ptr<Connection>> connections_;
    std::shared_ptr<LibraryServer*> self_;  // empty once the server is gone
};

}  // namespace simhost
