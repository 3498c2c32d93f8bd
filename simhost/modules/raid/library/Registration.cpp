#include <unistd.h>
#include <algorithm>
#include <cstring>
#include <mutex>

#include "common/ByteCodec.h"
#include "modules/raid/library/StandIn.h"

namespace raid {

namespace {

// The one registration of this process. The mutex is never held while a callback is waited for.
struct Registration {
    std::mutex mutex;
    bool stands = false;
    std::uint32_t uniqueId = 0;
    std::uint32_t count = 0;  // of registrations so far
    simhost::LibraryEvents events;
};

Registration& registration() {
    static Registration made;
    return made;
}

void deliver(Callback callback, std::uint64_t token, const std::string& bytes) {
    simhost::ByteReader reader(bytes.data(), bytes.size());
    if (reader.number<std::uint64_t>() != token) return;  // of another process, or of an earlier registration
    EventDetail detail{};
    detail.status = reader.number<std::uint16_t>();
    detail.controller = reader.number<std::uint32_t>();
    const simhost::Bytes record = reader.rest();
    if (!reader.good()) return;
    std::memcpy(detail.record, record.data(), std::min(record.size(), sizeof(detail.record)));
    callback(&detail);
}

std::string registrationBytes(const AenInput& input, std::uint64_t token) {
    simhost::ByteWriter bytes;
    bytes.number(token).number(input.count);
    for (std::uint32_t i = 0; i < input.count; ++i) {
        const AenEntry& entry = input.entries[i];
        bytes.number(entry.controller).number(entry.locale).number(entry.eventClass).number(entry.sequence);
    }
    return bytes.bytes();
}

}  // namespace

std::uint32_t registerForEvents(const Block& block) {
    const auto& input = *static_cast<const AenInput*>(block.input);
    if (const std::uint32_t wrong = checkRegistration(block, input)) return wrong;
    Registration& own = registration();
    std::uint64_t token = 0;
    {
        const std::lock_guard<std::mutex> lock(own.mutex);
        if (own.stands) return violation(block, "a registration stands already");
        own.stands = true;
        token = std::uint64_t{static_cast<std::uint32_t>(::getpid())} << 32 | ++own.count;
    }
    own.events.stop();  // the thread of a registration that ended in its callback
    const auto call = [callback = input.callback, token](std::uint32_t, const std::string& bytes) {
        deliver(callback, token, bytes);
    };
    std::string reply;
    std::uint32_t status = simhost::raidFailed;
    if (own.events.start(simhost::ownHostRoot(), {simhost::raidEvent}, call))
        status = ask(block, registrationBytes(input, token), reply);
    if (status != simhost::raidSuccess) own.events.stop();
    const std::lock_guard<std::mutex> lock(own.mutex);
    own.stands = status == simhost::raidSuccess;
    if (!own.stands) return status;
    own.uniqueId = simhost::ByteReader(reply.data(), reply.size()).number<std::uint32_t>();
    std::memset(block.data, 0, sizeof(AenOutput));
    static_cast<AenOutput*>(block.data)->uniqueId = own.uniqueId;
    return status;
}

std::uint32_t unregisterFromEvents(const Block& block) {
    Registration& own = registration();
    {
        const std::lock_guard<std::mutex> lock(own.mutex);
        if (!own.stands || own.uniqueId != block.uniqueId)
            return violation(block, "no registration has the unique id " + std::to_string(block.uniqueId));
    }
    std::string reply;
    const std::uint32_t status = ask(block, simhost::ByteWriter().number(block.uniqueId).bytes(), reply);
    if (status == simhost::raidSuccess) stopEvents();
    return status;
}

void stopEvents() {
    Registration& own = registration();
    own.events.stop();  // waits for the callback in progress
    const std::lock_guard<std::mutex> lock(own.mutex);
    own.stands = false;
}

}  // namespace raid
