#include "recording/FormsDevices.h"

#include <fcntl.h>
#include <linux/ioctl.h>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>

namespace recording {

namespace {

constexpr unsigned long csmiNumbers = 0xCC770000;
constexpr unsigned long csmiMask = 0xFFFF0000;
constexpr std::size_t csmiHeader = 20;
constexpr std::size_t csmiLengthAt = 4;
constexpr std::size_t longestCsmi = std::size_t{1} << 20;
constexpr std::size_t longestTransfer = std::size_t{16} << 20;

int fail(int error) {
    errno = error;
    return -1;
}

std::string bytesAt(const void* data, std::size_t size) {
    return data && size > 0 ? std::string(static_cast<const char*>(data), size) : std::string();
}

// --- SG_IO ---

const char* directionOf(const sg_io_hdr_t& header) {
    if (header.dxfer_direction == SG_DXFER_NONE) return "none";
    return header.dxfer_direction == SG_DXFER_TO_DEV ? "to-device" : "from-device";
}

bool readsFromDevice(const sg_io_hdr_t& header) {
    return header.dxfer_direction != SG_DXFER_NONE && header.dxfer_direction != SG_DXFER_TO_DEV &&
           header.iovec_count == 0 && header.dxferp;
}

std::size_t transferOf(const sg_io_hdr_t& header) {
    return std::min<std::size_t>(header.dxfer_len, longestTransfer);
}

void addScsiQuestion(const sg_io_hdr_t& header, Fields& fields) {
    fields["command"] = bytesAt(header.cmdp, header.cmd_len);
    fields["direction"] = directionOf(header);
    fields["length"] = std::to_string(header.dxfer_len);
    if (header.dxfer_direction == SG_DXFER_TO_DEV && header.iovec_count == 0)
        fields["data"] = bytesAt(header.dxferp, transferOf(header));
}

struct ScsiNumber {
    const char* name;
    std::int64_t (*get)(const sg_io_hdr_t&);
    void (*set)(sg_io_hdr_t&, std::int64_t);
};

// A row for a member of sg_io_hdr_t.
template <auto member>
constexpr ScsiNumber scsiNumber(const char* name) {
    return {name, [](const sg_io_hdr_t& header) { return static_cast<std::int64_t>(header.*member); },
            [](sg_io_hdr_t& header, std::int64_t value) {
                using Number = std::remove_reference_t<decltype(header.*member)>;
                header.*member = static_cast<Number>(std::clamp<std::int64_t>(
                    value, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()));
            }};
}

constexpr ScsiNumber scsiNumbers[] = {
    scsiNumber<&sg_io_hdr_t::status>("status"),
    scsiNumber<&sg_io_hdr_t::masked_status>("masked-status"),
    scsiNumber<&sg_io_hdr_t::msg_status>("message-status"),
    scsiNumber<&sg_io_hdr_t::host_status>("host-status"),
    scsiNumber<&sg_io_hdr_t::driver_status>("driver-status"),
    scsiNumber<&sg_io_hdr_t::resid>("residual"),
    scsiNumber<&sg_io_hdr_t::info>("information"),
    scsiNumber<&sg_io_hdr_t::duration>("duration"),
};

void addScsiAnswer(const sg_io_hdr_t& header, const RequestRoom& room, Fields& fields) {
    for (const ScsiNumber& number : scsiNumbers) fields[number.name] = std::to_string(number.get(header));
    fields["sense"] = bytesAt(room.sense, std::min<std::size_t>(header.sb_len_wr, room.senseLength));
    if (!room.data) return;
    const auto missing = static_cast<std::size_t>(std::max(0, header.resid));
    fields["data"] = withoutZerosAtEnd(bytesAt(room.data, room.dataLength),
                                       room.dataLength - std::min(missing, room.dataLength));
}

void playScsi(const Fields& answer, sg_io_hdr_t& header) {
    for (const ScsiNumber& number : scsiNumbers) number.set(header, numberOf(answer, number.name));
    const std::size_t sense = header.sbp ? copyOf(answer, "sense", header.sbp, header.mx_sb_len) : 0;
    header.sb_len_wr = static_cast<unsigned char>(sense);
    if (readsFromDevice(header)) copyOf(answer, "data", header.dxferp, header.dxfer_len);
}

// --- requests with a block ---

// Header and payload of a CSMI request.
std::size_t csmiLength(const void* argument) {
    std::uint32_t payload = 0;
    std::memcpy(&payload, static_cast<const char*>(argument) + csmiLengthAt, sizeof(payload));
    return csmiHeader + std::min<std::size_t>(payload, longestCsmi);
}

bool deviceReads(unsigned long request) {
    return (_IOC_DIR(request) & _IOC_WRITE) != 0;
}

bool deviceChanges(unsigned long request) {
    return (_IOC_DIR(request) & _IOC_READ) != 0;
}

void addIpmiMessage(const IpmiExchange::Message& message, Fields& fields) {
    fields["function"] = std::to_string(message.function);
    fields["command"] = std::to_string(message.command);
    fields["lun"] = std::to_string(message.lun);
    fields["data"] = message.data;
}

}  // namespace

// --- open ---

// O_NONBLOCK changes no answer, and the recorder adds it.
const int deviceFlags = O_ACCMODE | O_SYNC;

Fields openQuestion(const std::string& device, int flags) {
    return {{"device", device}, {"flags", std::to_string(flags & deviceFlags)}};
}

Fields openAnswer(int error, const std::string& content) {
    Fields fields{{"error", std::to_string(error)}};
    if (!content.empty()) fields["content"] = content;
    return fields;
}

// --- requests ---

RequestForm formOfRequest(unsigned long request) {
    request &= 0xFFFFFFFF;
    switch (request) {
        case SG_IO:
            return RequestForm::scsi;
        case IPMICTL_SEND_COMMAND:
            return RequestForm::ipmiSend;
        case IPMICTL_RECEIVE_MSG:
        case IPMICTL_RECEIVE_MSG_TRUNC:
            return RequestForm::ipmiReceive;
        default:
            break;
    }
    if ((request & csmiMask) == csmiNumbers) return RequestForm::csmi;
    const bool hasBlock = _IOC_DIR(request) != _IOC_NONE && _IOC_SIZE(request) > 0;
    return hasBlock ? RequestForm::sized : RequestForm::unknown;
}

const char* kindOfForm(RequestForm form) {
    switch (form) {
        case RequestForm::scsi:
            return kinds::scsi;
        case RequestForm::csmi:
            return kinds::csmi;
        default:
            return kinds::ioctl;
    }
}

Fields requestQuestion(const std::string& device, unsigned long request, const void* argument) {
    Fields fields{{"device", device}};
    const RequestForm form = formOfRequest(request);
    if (form != RequestForm::scsi) fields["request"] = std::to_string(request & 0xFFFFFFFF);
    if (!argument) return fields;
    if (form == RequestForm::scsi) addScsiQuestion(*static_cast<const sg_io_hdr_t*>(argument), fields);
    if (form == RequestForm::csmi)
        fields["block"] = withoutZerosAtEnd(bytesAt(argument, csmiLength(argument)));
    if (form == RequestForm::sized && deviceReads(request))
        fields["block"] = bytesAt(argument, _IOC_SIZE(request));
    return fields;
}

RequestRoom roomOfRequest(unsigned long request, const void* argument) {
    RequestRoom room;
    if (!argument) return room;
    const RequestForm form = formOfRequest(request);
    if (form == RequestForm::csmi) room.block = csmiLength(argument);
    if (form == RequestForm::sized && deviceChanges(request)) room.block = _IOC_SIZE(request);
    if (form != RequestForm::scsi) return room;
    const auto& header = *static_cast<const sg_io_hdr_t*>(argument);
    room.sense = header.sbp;
    room.senseLength = header.mx_sb_len;
    if (readsFromDevice(header)) {
        room.data = header.dxferp;
        room.dataLength = transferOf(header);
    }
    return room;
}

Fields requestAnswer(unsigned long request, const RequestRoom& room, const void* argument, int result,
                     int error) {
    Fields fields{{"result", std::to_string(result)}, {"error", std::to_string(result < 0 ? error : 0)}};
    if (!argument || result < 0) return fields;
    const RequestForm form = formOfRequest(request);
    if (form == RequestForm::scsi) addScsiAnswer(*static_cast<const sg_io_hdr_t*>(argument), room, fields);
    if (form == RequestForm::csmi) fields["block"] = withoutZerosAtEnd(bytesAt(argument, room.block));
    if (form == RequestForm::sized && room.block > 0) fields["block"] = bytesAt(argument, room.block);
    return fields;
}

int playRequestAnswer(unsigned long request, const Fields& answer, void* argument) {
    const RequestForm form = formOfRequest(request);
    if (!argument && form != RequestForm::unknown) return fail(EFAULT);
    const int result = intOf(answer, "result");
    if (result < 0) return fail(intOf(answer, "error"));
    if (form == RequestForm::scsi) playScsi(answer, *static_cast<sg_io_hdr_t*>(argument));
    if (form == RequestForm::csmi) {
        // The lengths of the request, as the answer overwrites the header.
        const std::size_t length = csmiLength(argument);
        const std::size_t count = copyOf(answer, "block", argument, length);
        std::memset(static_cast<char*>(argument) + count, 0, length - count);
    }
    if (form == RequestForm::sized && deviceChanges(request))
        copyOf(answer, "block", argument, _IOC_SIZE(request));
    return result;
}

// --- IPMI ---

Fields ipmiQuestion(const std::string& device, const ipmi_req& request) {
    IpmiExchange::Message message;
    message.function = request.msg.netfn;
    message.command = request.msg.cmd;
    if (request.addr && request.addr_len >= sizeof(ipmi_system_interface_addr)) {
        ipmi_system_interface_addr address{};
        std::memcpy(&address, request.addr, sizeof(address));
        message.lun = address.lun;
    }
    message.data = bytesAt(request.msg.data, request.msg.data_len);
    Fields fields{{"device", device}};
    addIpmiMessage(message, fields);
    return fields;
}

Fields ipmiAnswer(const IpmiExchange& exchange) {
    Fields fields{{"sent", std::to_string(exchange.sent)}};
    if (exchange.wait) {
        fields["wait"] = std::to_string(*exchange.wait);
        fields["wait-error"] = std::to_string(exchange.waitError);
    }
    if (!exchange.received) return fields;
    fields["received"] = std::to_string(*exchange.received);
    if (*exchange.received != 0 && *exchange.received != EMSGSIZE) return fields;
    fields["type"] = std::to_string(exchange.message.type);
    addIpmiMessage(exchange.message, fields);
    return fields;
}

IpmiExchange ipmiExchange(const Fields& answer) {
    IpmiExchange exchange;
    exchange.sent = intOf(answer, "sent");
    if (answer.count("wait") > 0) exchange.wait = intOf(answer, "wait");
    exchange.waitError = intOf(answer, "wait-error");
    if (answer.count("received") > 0) exchange.received = intOf(answer, "received");
    exchange.message.type = intOf(answer, "type");
    exchange.message.function = static_cast<unsigned char>(intOf(answer, "function"));
    exchange.message.command = static_cast<unsigned char>(intOf(answer, "command"));
    exchange.message.lun = static_cast<unsigned char>(intOf(answer, "lun"));
    exchange.message.data = textOf(answer, "data");
    return exchange;
}

void noteReceipt(const ipmi_recv& receive, int error, IpmiExchange& exchange) {
    exchange.received = error;
    if (error != 0 && error != EMSGSIZE) return;
    IpmiExchange::Message& message = exchange.message;
    message.type = receive.recv_type;
    message.function = receive.msg.netfn;
    message.command = receive.msg.cmd;
    message.lun = 0;
    if (receive.addr && receive.addr_len >= sizeof(ipmi_system_interface_addr)) {
        ipmi_system_interface_addr address{};
        std::memcpy(&address, receive.addr, sizeof(address));
        message.lun = address.lun;
    }
    message.data = bytesAt(receive.msg.data, receive.msg.data_len);
}

int playReceipt(unsigned long request, const IpmiExchange& exchange, long id, ipmi_recv& receive) {
    const int error = exchange.received.value_or(EAGAIN);
    if (error != 0 && error != EMSGSIZE) return fail(error);
    ipmi_system_interface_addr address{};
    if (!receive.addr || receive.addr_len < sizeof(address)) return fail(EINVAL);
    const std::string& data = exchange.message.data;
    if (!receive.msg.data && !data.empty()) return fail(EFAULT);
    const bool tooLong = data.size() > receive.msg.data_len;
    if (tooLong && (request & 0xFFFFFFFF) != IPMICTL_RECEIVE_MSG_TRUNC) return fail(EMSGSIZE);

    address.addr_type = IPMI_SYSTEM_INTERFACE_ADDR_TYPE;
    address.channel = IPMI_BMC_CHANNEL;
    address.lun = exchange.message.lun;
    std::memcpy(receive.addr, &address, sizeof(address));
    receive.addr_len = sizeof(address);
    receive.recv_type = exchange.message.type;
    receive.msgid = id;
    receive.msg.netfn = exchange.message.function;
    receive.msg.cmd = exchange.message.command;
    const std::size_t count = std::min<std::size_t>(data.size(), receive.msg.data_len);
    if (count > 0) std::memcpy(receive.msg.data, data.data(), count);
    receive.msg.data_len = static_cast<unsigned short>(count);
    return tooLong || error == EMSGSIZE ? fail(EMSGSIZE) : 0;
}

}  // namespace recording
