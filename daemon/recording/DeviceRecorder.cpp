#include "daemon/recording/DeviceRecorder.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

namespace {

constexpr std::size_t longestContent = std::size_t{1} << 20;

int withErrno(int result, int reason) {
    errno = reason;
    return result;
}

}  // namespace

int DeviceRecorder::open(const std::string& device, const std::string& hostPath, int flags) {
    const int descriptor = access_.openDevice(hostPath, flags);
    const int reason = errno;
    const bool isOpen = descriptor >= 0;
    const std::string content =
        isOpen && (flags & O_ACCMODE) == O_RDONLY ? contentOf(hostPath, flags) : std::string();
    log_.add(recording::kinds::open, recording::openQuestion(device, flags),
             recording::openAnswer(isOpen ? 0 : reason, content));
    if (isOpen) {
        const std::lock_guard<std::mutex> lock(mutex_);
        devices_[descriptor] = {device, {}};
    }
    return withErrno(descriptor, reason);
}

// Through a descriptor of its own: the agent's stays at the beginning.
std::string DeviceRecorder::contentOf(const std::string& hostPath, int flags) {
    const int descriptor = access_.openDevice(hostPath, flags | O_NONBLOCK);
    std::string content;
    if (descriptor < 0) return content;
    std::array<char, 65536> buffer;
    for (ssize_t count = 1; count > 0 && content.size() < longestContent;) {
        count = ::read(descriptor, buffer.data(), buffer.size());
        if (count > 0) content.append(buffer.data(), static_cast<std::size_t>(count));
    }
    access_.closeDevice(descriptor);
    return content;
}

std::string DeviceRecorder::pathOf(int descriptor) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = devices_.find(descriptor);
    return found == devices_.end() ? std::string() : found->second.path;
}

int DeviceRecorder::ioctl(int descriptor, unsigned long request, void* argument) {
    const recording::RequestForm form = recording::formOfRequest(request);
    if (form == recording::RequestForm::ipmiSend) return sendIpmi(descriptor, request, argument);
    if (form == recording::RequestForm::ipmiReceive) return receiveIpmi(descriptor, request, argument);
    const recording::Fields question = recording::requestQuestion(pathOf(descriptor), request, argument);
    const recording::RequestRoom room = recording::roomOfRequest(request, argument);
    const int result = access_.ioctlDevice(descriptor, request, argument);
    const int reason = errno;
    log_.add(recording::kindOfForm(form), question,
             recording::requestAnswer(request, room, argument, result, reason));
    if (form == recording::RequestForm::unknown) {
        char text[64];
        std::snprintf(text, sizeof(text), "of device request 0x%lX only the result is recorded", request);
        log_.remark(text);
    }
    return withErrno(result, reason);
}

int DeviceRecorder::sendIpmi(int descriptor, unsigned long request, void* argument) {
    Sent sent;
    if (argument) {
        const auto& message = *static_cast<const ipmi_req*>(argument);
        sent.id = message.msgid;
        sent.question = recording::ipmiQuestion(pathOf(descriptor), message);
    }
    const int result = access_.ioctlDevice(descriptor, request, argument);
    const int reason = errno;
    sent.exchange.sent = result < 0 ? reason : 0;
    if (argument) keepSent(descriptor, std::move(sent));
    return withErrno(result, reason);
}

void DeviceRecorder::keepSent(int descriptor, Sent sent) {
    if (sent.exchange.sent != 0) {
        log_.add(recording::kinds::ipmi, sent.question, recording::ipmiAnswer(sent.exchange));
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    devices_[descriptor].sent.push_back(std::move(sent));
}

int DeviceRecorder::wait(int descriptor) {
    const int result = access_.waitForDevice(descriptor);
    const int reason = errno;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = devices_.find(descriptor);
    if (found != devices_.end()) {
        for (Sent& sent : found->second.sent) {
            sent.exchange.wait = result;
            sent.exchange.waitError = result < 0 ? reason : 0;
        }
    }
    return withErrno(result, reason);
}

int DeviceRecorder::receiveIpmi(int descriptor, unsigned long request, void* argument) {
    const int result = access_.ioctlDevice(descriptor, request, argument);
    const int reason = errno;
    keepReceipt(descriptor, static_cast<const ipmi_recv*>(argument), result < 0 ? reason : 0);
    return withErrno(result, reason);
}

// The message that is answered has the receipt's number; a receipt without a message is that of the first.
void DeviceRecorder::keepReceipt(int descriptor, const ipmi_recv* receive, int error) {
    Sent answered;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = devices_.find(descriptor);
        if (!receive || found == devices_.end()) return;
        auto& sent = found->second.sent;
        const bool hasMessage = error == 0 || error == EMSGSIZE;
        const auto answers = std::find_if(sent.begin(), sent.end(), [&](const Sent& each) {
            return !hasMessage || each.id == receive->msgid;
        });
        if (answers == sent.end()) return;
        answered = std::move(*answers);
        sent.erase(answers);
    }
    recording::noteReceipt(*receive, error, answered.exchange);
    log_.add(recording::kinds::ipmi, answered.question, recording::ipmiAnswer(answered.exchange));
}

int DeviceRecorder::close(int descriptor) {
    Device closed;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = devices_.find(descriptor);
        if (found != devices_.end()) {
            closed = std::move(found->second);
            devices_.erase(found);
        }
    }
    flush(closed);
    return access_.closeDevice(descriptor);
}

void DeviceRecorder::flush(const Device& device) {
    for (const Sent& sent : device.sent)
        log_.add(recording::kinds::ipmi, sent.question, recording::ipmiAnswer(sent.exchange));
}

void DeviceRecorder::finish() {
    std::map<int, Device> open;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        open = devices_;
        for (auto& [descriptor, device] : devices_) device.sent.clear();
    }
    for (const auto& [descriptor, device] : open) flush(device);
}
