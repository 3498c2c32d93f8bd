#include "devices/ScsiMessage.h"

#include "common/ByteCodec.h"
#include "devices/DeviceMessage.h"

namespace simhost {

namespace {

constexpr std::uint8_t checkCondition = 0x02;
constexpr std::uint16_t driverSense = 0x08;

std::int32_t wholeTransfer(const ScsiRequest& request) {
    return static_cast<std::int32_t>(request.direction == ScsiDirection::toDevice ? request.data.size()
                                                                                  : request.room);
}

}  // namespace

std::string ScsiRequest::encode() const {
    ByteWriter writer;
    writer.text(command).number(static_cast<std::uint8_t>(direction)).number(timeout).number(room);
    return writer.number(senseRoom).text(data).bytes();
}

std::optional<ScsiRequest> ScsiRequest::decode(const std::string& bytes) {
    ByteReader reader(bytes.data(), bytes.size());
    ScsiRequest request;
    request.command = reader.text();
    const auto direction = reader.number<std::uint8_t>();
    request.direction = static_cast<ScsiDirection>(direction);
    request.timeout = reader.number<std::uint32_t>();
    request.room = reader.number<std::uint32_t>();
    request.senseRoom = reader.number<std::uint8_t>();
    request.data = reader.text();
    if (!reader.good() || !reader.atEnd() || direction > static_cast<std::uint8_t>(ScsiDirection::toDevice) ||
        request.command.size() < shortestScsiCommand || request.command.size() > longestScsiCommand ||
        request.room > longestTransfer || request.data.size() > longestTransfer)
        return std::nullopt;
    return request;
}

ScsiReply ScsiReply::good(const ScsiRequest& request, std::string data) {
    ScsiReply reply;
    if (request.direction == ScsiDirection::fromDevice) {
        if (data.size() > request.room) data.resize(request.room);
        reply.residual = static_cast<std::int32_t>(request.room - data.size());
        reply.data = std::move(data);
    }
    return reply;
}

ScsiReply ScsiReply::check(const ScsiRequest& request, std::string sense) {
    ScsiReply reply;
    reply.status = checkCondition;
    reply.driverStatus = driverSense;
    reply.sense = std::move(sense);
    reply.residual = wholeTransfer(request);
    return reply;
}

ScsiReply ScsiReply::failed(const ScsiRequest& request, std::uint16_t hostStatus,
                            std::uint16_t driverStatus) {
    ScsiReply reply;
    reply.hostStatus = hostStatus;
    reply.driverStatus = driverStatus;
    reply.residual = wholeTransfer(request);
    return reply;
}

std::string ScsiReply::encode() const {
    ByteWriter writer;
    writer.number(status).number(hostStatus).number(driverStatus).number(duration).number(residual);
    return writer.text(sense).text(data).bytes();
}

std::optional<ScsiReply> ScsiReply::decode(const std::string& bytes) {
    ByteReader reader(bytes.data(), bytes.size());
    ScsiReply reply;
    reply.status = reader.number<std::uint8_t>();
    reply.hostStatus = reader.number<std::uint16_t>();
    reply.driverStatus = reader.number<std::uint16_t>();
    reply.duration = reader.number<std::uint32_t>();
    reply.residual = reader.number<std::int32_t>();
    reply.sense = reader.text();
    reply.data = reader.text();
    if (!reader.good() || !reader.atEnd()) return std::nullopt;
    return reply;
}

}  // namespace simhost
