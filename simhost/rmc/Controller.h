// The management controller at the other end of the host's IPMI interface: answers its requests, receives
// remote commands and has a door-bell. It attaches to the driver of a simulated host, and attaches again
// when the host has gone and come back.
#pragma once

#include <cstdint>
#include <functional>
#include <random>
#include <string>

#include "common/EventLoop.h"
#include "devices/IpmiPackets.h"
#include "rmc/FaultPlan.h"
#include "rmc/Keeper.h"
#include "rmc/RemoteCommandReceiver.h"
#include "rmc/Report.h"

namespace simhost {

// Which index the controller returns with each chunk; any number is its right.
struct IndexScheme {
    enum class Kind { sequential, random, constant };
    Kind kind = Kind::random;
    std::uint16_t constant = 0;
    // "sequential", "random" or "constant:N"; throws UsageError.
    static IndexScheme parse(const std::string& text);
};

struct ControllerCounts {
    unsigned long inventories = 0;
    unsigned long events = 0;
    unsigned long shortPayloads = 0;
    unsigned long violations = 0;
    unsigned long polls = 0;
    unsigned long pollsOfSecondKind = 0;
    unsigned long refusedChunks = 0;
    unsigned long requests = 0;
    unsigned long attachments = 0;
    unsigned long notKept = 0;  // arrived, but their file could not be written
};

class Controller {
public:
    struct Settings {
        std::string hostRoot;
        std::string hostSocket;  // of the driver
        IndexScheme index;
        std::size_t sizeLimit = 16u << 20;
    };
    // `changed` is called after each thing that a waiter may wait for.
    Controller(EventLoop& loop, const Settings& settings, Keeper& keeper, Report& report,
               std::function<void()> changed);
    ~Controller();
    // Attaches to the host, or waits for it. Throws std::runtime_error if the host's root can't be one.
    void start() { attach(); }
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    // The next `times` polls answer `text`; the second kind of poll answers with the number 1.
    void ring(const std::string& text, unsigned long times);
    void ringSecondKind(unsigned long times) { secondRings_ += times; }
    FaultPlan& faults() { return faults_; }

    const ControllerCounts& counts() const { return counts_; }
    bool attached() const { return static_cast<bool>(host_); }
    bool transferInProgress() const { return receiver_.inProgress(); }
    std::uint64_t abandonedTransfers() const { return receiver_.abandoned(); }
    unsigned long ringsLeft() const { return rings_; }

private:
    void attach();
    void sayWhatIsMissing(int reason);
    void retryLater();
    void detach();
    void serveHost();
    void serveRequest(const ControllerPacket& request);
    Bytes answer(const ControllerPacket& request);
    void serveChunk(const ControllerPacket& request);
    void deliver(const ControllerPacket& request, Bytes reply, const std::optional<Fault>& fault);
    void send(const ControllerPacket& request, const Bytes& reply);
    void completed(const ReceivedCommand& command);
    // With its time and faults until now.
    KeptTransfer timed(KeptTransfer transfer) const;
    void keepRefusal(const ControllerPacket& request, const ChunkOutcome& outcome);
    void keepAbandoned();
    // Calls `keep`; a failure is reported and counted, and the controller goes on.
    template <class Keep>
    void keep(Keep keep);
    void violation(const std::string& text);
    void notice(const std::string& text);
    std::uint16_t nextIndex(std::size_t chunk);

    EventLoop& loop_;
    Settings settings_;
    Keeper& keeper_;
    Report& report_;
    std::function<void()> changed_;
    std::mt19937 random_;
    RemoteCommandReceiver receiver_;
    FaultPlan faults_;
    ControllerCounts counts_;

    FileDescriptor host_;
    EventLoop::Watch hostWatch_ = 0;
    EventLoop::Timer retry_ = 0;
    bool refusalTold_ = false;
    bool waitTold_ = false;
    std::uint32_t lastChunkSequence_ = 0;
    EventLoop::Clock::time_point transferStart_;
    std::size_t transferFaults_ = 0;

    std::string ringText_ = "WriteInventory";
    unsigned long rings_ = 0;
    unsigned long secondRings_ = 0;
};

}  // namespace simhost
