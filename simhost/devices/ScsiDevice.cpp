#include "devices/ScsiDevice.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace simhost {

namespace {

constexpr std::uint16_t didTimeOut = 3;
constexpr std::uint16_t driverTimeOut = 6;
constexpr std::uint32_t usualTimeout = 60000;  // of a request that has none
constexpr std::uint32_t noTimeout = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t mostPending = 256;  // of all users; the host-access module has one each
constexpr std::int64_t nanosecondsInMillisecond = 1000000;

}  // namespace

ScsiDevice::ScsiDevice(DeviceNodes& nodes, const std::string& path, Time time)
    : loop_(nodes.loop()),
      time_(std::move(time)),
      node_(nodes, path, *this),
      self_(std::make_shared<ScsiDevice*>(this)) {
    node_.setPresent(true);
}

ScsiDevice::~ScsiDevice() {
    for (const auto& [number, each] : pending_) loop_.cancel(each.timer);
}

void ScsiDevice::pullOut() {
    node_.setPresent(false);
    node_.disconnectUsers();
}

void ScsiDevice::request(std::uint32_t user, const DeviceMessage& message) {
    if (message.kind == DeviceKind::scsi) {
        const auto request = ScsiRequest::decode(message.content);
        if (!request) return node_.refuse(user, message, EINVAL);
        if (pending_.size() >= mostPending) return node_.refuse(user, message, EBUSY);
        return begin(user, message, *request);
    }
    const auto request =
        message.kind == DeviceKind::block ? BlockRequest::decode(message.content) : std::nullopt;
    const auto reply = request ? control(*request) : std::nullopt;
    if (!reply) return node_.refuse(user, message, ENOTTY);
    node_.reply(user, message, reply->encode());
}

void ScsiDevice::begin(std::uint32_t user, const DeviceMessage& message, const ScsiRequest& request) {
    const std::uint64_t number = ++lastNumber_;
    Pending& pending = pending_[number];
    pending = {user, {message.id, message.kind, 0, ""}, time_.nanoseconds(), 0};
    const std::uint32_t timeout = request.timeout == 0 ? usualTimeout : request.timeout;
    if (timeout != noTimeout) {
        ScsiReply expired = ScsiReply::failed(request, didTimeOut, driverTimeOut);
        pending.timer = loop_.after(time_.onMachine(timeout / 1000.0),
                                    [this, number, expired] { finish(number, expired); });
    }
    const std::weak_ptr<ScsiDevice*> self = self_;
    execute(request, [self, number](ScsiReply reply) {
        if (const auto device = self.lock()) (*device)->finish(number, std::move(reply));
    });
}

void ScsiDevice::finish(std::uint64_t number, ScsiReply reply) {
    const auto found = pending_.find(number);
    if (found == pending_.end()) return;
    const Pending pending = std::move(found->second);
    pending_.erase(found);
    loop_.cancel(pending.timer);
    const std::int64_t taken = (time_.nanoseconds() - pending.begin) / nanosecondsInMillisecond;
    reply.duration = static_cast<std::uint32_t>(
        std::clamp<std::int64_t>(taken, 0, std::numeric_limits<std::uint32_t>::max()));
    node_.reply(pending.user, pending.request, reply.encode());
}

void ScsiDevice::closed(std::uint32_t user) {
    for (auto each = pending_.begin(); each != pending_.end();) {
        if (each->second.user != user) {
            ++each;
            continue;
        }
        loop_.cancel(each->second.timer);
        each = pending_.erase(each);
    }
}

}  // namespace simhost
