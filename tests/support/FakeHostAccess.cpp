#include "support/FakeHostAccess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/ipmi.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr int deviceDescriptor = 1 << 20;  // no descriptor of this process

FakeDeviceReply takeChunk(const FakeDeviceRequest& request) {
    if (request.netfn != 0x3A || request.command != 0x80 || request.data.size() != 60) return {0, 1, 0, {0}};
    const unsigned index = request.data[0] + 256u * request.data[1] + 1;
    return {0, 1, 0, {0, 0, static_cast<unsigned char>(index), static_cast<unsigned char>(index >> 8), 0}};
}

// Null for an empty text.
sockaddr* newSocketAddress(const std::string& text) {
    if (text.empty()) return nullptr;
    auto* storage = new sockaddr_storage{};
    if (text.find(':') == std::string::npos) {
        auto* address = reinterpret_cast<sockaddr_in*>(storage);
        address->sin_family = AF_INET;
        ::inet_pton(AF_INET, text.c_str(), &address->sin_addr);
    } else {
        auto* address = reinterpret_cast<sockaddr_in6*>(storage);
        address->sin6_family = AF_INET6;
        ::inet_pton(AF_INET6, text.c_str(), &address->sin6_addr);
    }
    return reinterpret_cast<sockaddr*>(storage);
}

}  // namespace

FakeHostAccess::FakeHostAccess() : onDeviceRequest(takeChunk) {}

std::vector<std::string> FakeHostAccess::remoteCommandPayloads() const {
    std::vector<std::string> payloads;
    std::size_t expected = 0;
    for (const auto& request : deviceRequests) {
        if (request.command != 0x80) continue;
        const auto& data = request.data;
        if (data[2] == 0x14) {
            payloads.emplace_back();
            expected = data[23] | data[24] << 8 | data[25] << 16 | static_cast<std::size_t>(data[26]) << 24;
            payloads.back().assign(data.begin() + 27, data.end());
        } else if (!payloads.empty()) {
            payloads.back().append(data.begin() + 3, data.end());
        }
        if (!payloads.empty() && payloads.back().size() >= expected) payloads.back().resize(expected - 1);
    }
    return payloads;
}

std::string FakeHostAccess::path(const std::string& absolute) const {
    return root.path() + (absolute.empty() || absolute.front() != '/' ? "/" : "") + absolute;
}

std::string FakeHostAccess::commandPath(const std::string& absolute) const {
    return absolute;
}

int FakeHostAccess::openDevice(const std::string& place, int flags) {
    if (place.rfind(path("/dev/"), 0) != 0) return ::open(place.c_str(), flags | O_CLOEXEC);
    const std::lock_guard<std::mutex> lock(guard);
    openedDevices.push_back(place);
    if (failingDeviceOpens > 0) {
        --failingDeviceOpens;
        errno = ENOENT;
        return -1;
    }
    ++openDevices;
    return deviceDescriptor;
}

int FakeHostAccess::ioctlDevice(int descriptor, unsigned long request, void* argument) {
    if (descriptor != deviceDescriptor) {
        errno = EBADF;
        return -1;
    }
    if (request == static_cast<unsigned long>(IPMICTL_SEND_COMMAND)) {
        const auto& sent = *static_cast<const ipmi_req*>(argument);
        FakeDeviceRequest seen;
        seen.netfn = sent.msg.netfn;
        seen.command = sent.msg.cmd;
        seen.messageId = sent.msgid;
        seen.addressLength = sent.addr_len;
        seen.dataPointerIsNull = sent.msg.data == nullptr;
        if (sent.msg.data) seen.data.assign(sent.msg.data, sent.msg.data + sent.msg.data_len);
        if (sent.addr_len >= sizeof(ipmi_system_interface_addr)) {
            ipmi_system_interface_addr address{};
            std::memcpy(&address, sent.addr, sizeof(address));
            seen.addressType = address.addr_type;
            seen.channel = address.channel;
            seen.lun = address.lun;
        }
        const FakeDeviceReply reply = onDeviceRequest(seen);
        const std::lock_guard<std::mutex> lock(guard);
        deviceRequests.push_back(seen);
        reply_ = reply;
        lastMessageId_ = seen.messageId;
        if (reply_.sendResult != 0) errno = EIO;
        return reply_.sendResult;
    }
    if (request == static_cast<unsigned long>(IPMICTL_RECEIVE_MSG_TRUNC)) {
        auto& received = *static_cast<ipmi_recv*>(argument);
        const std::lock_guard<std::mutex> lock(guard);
        addressRoom = received.addr_len;
        dataRoom = received.msg.data_len;
        received.recv_type = IPMI_RESPONSE_RECV_TYPE;
        received.msgid = lastMessageId_;
        const std::size_t count = std::min<std::size_t>(received.msg.data_len, reply_.bytes.size());
        std::copy_n(reply_.bytes.begin(), count, received.msg.data);
        received.msg.data_len = static_cast<unsigned short>(count);
        if (reply_.receiveResult < 0) errno = EMSGSIZE;
        return reply_.receiveResult;
    }
    errno = ENOTTY;
    return -1;
}

int FakeHostAccess::waitForDevice(int) {
    const std::lock_guard<std::mutex> lock(guard);
    return reply_.waitResult;
}

int FakeHostAccess::closeDevice(int descriptor) {
    if (descriptor != deviceDescriptor) return ::close(descriptor);
    const std::lock_guard<std::mutex> lock(guard);
    --openDevices;
    return 0;
}

std::string FakeHostAccess::runScripted(const std::string& command, int& exitStatus) {
    {
        const std::lock_guard<std::mutex> lock(guard);
        commands.push_back(command);
    }
    if (onCommand) return onCommand(command, exitStatus);
    const auto found = commandOutput.find(command);
    if (found == commandOutput.end()) exitStatus = 127 << 8;
    return found == commandOutput.end() ? std::string() : found->second;
}

FILE* FakeHostAccess::openCommand(const std::string& command) {
    int exitStatus = 0;
    const std::string output = runScripted(command, exitStatus);
    if (commandsFailToStart) {
        errno = EAGAIN;
        return nullptr;
    }
    FILE* stream = std::tmpfile();
    std::fwrite(output.data(), 1, output.size(), stream);
    std::rewind(stream);
    const std::lock_guard<std::mutex> lock(guard);
    exitStatuses_[stream] = exitStatus;
    ++openCommands;
    return stream;
}

int FakeHostAccess::closeCommand(FILE* stream) {
    std::fclose(stream);
    const std::lock_guard<std::mutex> lock(guard);
    const int exitStatus = exitStatuses_[stream];
    exitStatuses_.erase(stream);
    --openCommands;
    return exitStatus;
}

int FakeHostAccess::runCommand(const std::string& command) {
    int exitStatus = 0;
    runScripted(command, exitStatus);
    if (!commandsFailToStart) return exitStatus;
    errno = EAGAIN;
    return -1;
}

void* FakeHostAccess::openLibrary(const std::string& name, int flags) {
    const std::lock_guard<std::mutex> lock(guard);
    openedLibraries.emplace_back(name, flags);
    const auto found = libraries.find(name);
    if (found == libraries.end()) {
        if (!libraryFailure.empty()) lastLibraryError_ = libraryFailure;
        return nullptr;
    }
    ++openLibraries;
    return &found->second;
}

void* FakeHostAccess::librarySymbol(void* library, const char* symbol) {
    const std::lock_guard<std::mutex> lock(guard);
    const auto& symbols = *static_cast<const std::map<std::string, void*>*>(library);
    const auto found = symbols.find(symbol);
    if (found != symbols.end()) return found->second;
    if (!libraryFailure.empty()) lastLibraryError_ = libraryFailure;
    return nullptr;
}

int FakeHostAccess::closeLibrary(void*) {
    const std::lock_guard<std::mutex> lock(guard);
    --openLibraries;
    return 0;
}

std::string FakeHostAccess::libraryError() {
    const std::lock_guard<std::mutex> lock(guard);
    return std::exchange(lastLibraryError_, std::string());
}

int FakeHostAccess::systemName(struct utsname* name) {
    if (systemNameFails) {
        errno = EFAULT;
        return -1;
    }
    std::memset(name, 0, sizeof(*name));
    std::strcpy(name->sysname, "VMkernel");
    nodeName.copy(name->nodename, sizeof(name->nodename) - 1);
    std::strcpy(name->release, "7.0.3");
    std::strcpy(name->version, "#1 SMP Release build-20036589");
    std::strcpy(name->machine, "x86_64");
    return 0;
}

int FakeHostAccess::systemInformation(struct sysinfo* information) {
    if (systemInformationFails) {
        errno = EFAULT;
        return -1;
    }
    std::memset(information, 0, sizeof(*information));
    information->uptime = uptimeSeconds;
    return 0;
}

int FakeHostAccess::interfaceAddresses(struct ifaddrs** addresses) {
    if (interfaceAddressesFail) {
        errno = EMFILE;
        return -1;
    }
    *addresses = nullptr;
    for (auto each = interfaces.rbegin(); each != interfaces.rend(); ++each) {
        auto* entry = new ifaddrs{};
        entry->ifa_name = ::strdup(each->first.c_str());
        entry->ifa_addr = newSocketAddress(each->second);
        entry->ifa_next = *addresses;
        *addresses = entry;
    }
    return 0;
}

void FakeHostAccess::freeInterfaceAddresses(struct ifaddrs* addresses) {
    while (addresses) {
        ifaddrs* const next = addresses->ifa_next;
        ::free(addresses->ifa_name);
        delete reinterpret_cast<sockaddr_storage*>(addresses->ifa_addr);
        delete addresses;
        addresses = next;
    }
}

int FakeHostAccess::wallClock(struct timespec* time) {
    const std::lock_guard<std::mutex> lock(guard);
    if (failingClockReads > 0) {
        --failingClockReads;
        errno = EINVAL;
        return -1;
    }
    *time = now;
    return 0;
}

int FakeHostAccess::timedWait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                              const struct timespec* deadline) {
    {
        const std::lock_guard<std::mutex> lock(guard);
        waitedSeconds.push_back(deadline->tv_sec - now.tv_sec);
    }
    if (timedWaitsHold) return ::pthread_cond_wait(condition, mutex);
    if (onTimedWait && onTimedWait(*deadline)) return 0;
    const std::lock_guard<std::mutex> lock(guard);
    now = *deadline;
    return ETIMEDOUT;
}

void FakeHostAccess::pause(unsigned long microseconds) {
    if (onPause) onPause(microseconds);
    const std::lock_guard<std::mutex> lock(guard);
    pauses.push_back(microseconds);
    now.tv_sec += static_cast<time_t>(microseconds / 1000000);
}

void FakeHostAccess::systemLog(int priority, const std::string& text) {
    if (onSystemLog) onSystemLog(text);
    const std::lock_guard<std::mutex> lock(guard);
    systemLogLines.emplace_back(priority, text);
}

FakeHostAccess& useFakeHost() {
    auto host = std::make_unique<FakeHostAccess>();
    FakeHostAccess& reference = *host;
    vokSetHostAccess(std::move(host));
    return reference;
}
