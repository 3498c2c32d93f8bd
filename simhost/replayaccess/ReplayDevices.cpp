#include "replayaccess/ReplayDevices.h"

#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>

#include "common/FileDescriptor.h"

namespace simhost {

namespace {

int fail(int reason) {
    errno = reason;
    return -1;
}

// A descriptor at the beginning of `content`; empty with errno on failure.
FileDescriptor memoryFile(const std::string& content) {
    FileDescriptor file(::memfd_create("vok-recorded-device", MFD_CLOEXEC));
    for (std::size_t at = 0; file && at < content.size();) {
        const ssize_t written = ::write(file.get(), content.data() + at, content.size() - at);
        if (written < 0 && errno != EINTR) return {};
        if (written > 0) at += static_cast<std::size_t>(written);
    }
    if (file && ::lseek(file.get(), 0, SEEK_SET) != 0) return {};
    return file;
}

}  // namespace

int ReplayDevices::open(const std::string& device, const recording::Fields& answer) {
    if (const int error = recording::intOf(answer, "error")) return fail(error);
    FileDescriptor file = memoryFile(recording::textOf(answer, "content"));
    if (!file) return -1;
    auto opened = std::make_shared<Device>();
    opened->name = device;
    const std::lock_guard<std::mutex> lock(mutex_);
    devices_[file.get()] = std::move(opened);
    return file.release();
}

bool ReplayDevices::isOpen(int descriptor) {
    return static_cast<bool>(find(descriptor));
}

std::shared_ptr<ReplayDevices::Device> ReplayDevices::find(int descriptor) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = devices_.find(descriptor);
    return found == devices_.end() ? nullptr : found->second;
}

void ReplayDevices::take(int descriptor) {
    const std::lock_guard<std::mutex> lock(mutex_);
    devices_.erase(descriptor);
}

int ReplayDevices::ioctl(int descriptor, unsigned long request, void* argument) {
    const auto device = find(descriptor);
    if (!device) return fail(EBADF);
    using recording::RequestForm;
    const RequestForm form = recording::formOfRequest(request);
    const bool isMessage = form == RequestForm::ipmiSend || form == RequestForm::ipmiReceive;
    if (isMessage && !argument) return fail(EFAULT);
    if (form == RequestForm::ipmiSend) return send(*device, *static_cast<const ipmi_req*>(argument));
    if (form == RequestForm::ipmiReceive)
        return receive(*device, request, *static_cast<ipmi_recv*>(argument));
    const auto answer = questions_.ask(recording::kindOfForm(form),
                                       recording::requestQuestion(device->name, request, argument));
    if (!answer) return fail(EIO);
    return recording::playRequestAnswer(request, answer.fields, argument);
}

int ReplayDevices::send(Device& device, const ipmi_req& request) {
    const auto answer = questions_.ask(recording::kinds::ipmi, recording::ipmiQuestion(device.name, request));
    if (!answer) return fail(EIO);
    const std::lock_guard<std::mutex> lock(device.mutex);
    device.exchange = recording::ipmiExchange(answer.fields);
    device.messageId = request.msgid;
    device.waiting = device.exchange.sent == 0;
    return device.waiting ? 0 : fail(device.exchange.sent);
}

int ReplayDevices::receive(Device& device, unsigned long request, ipmi_recv& message) {
    const std::lock_guard<std::mutex> lock(device.mutex);
    if (!device.waiting || !device.exchange.received) return fail(EAGAIN);
    device.waiting = false;
    return recording::playReceipt(request, device.exchange, device.messageId, message);
}

int ReplayDevices::wait(int descriptor) {
    const auto device = find(descriptor);
    if (!device) return fail(EBADF);
    const std::lock_guard<std::mutex> lock(device->mutex);
    if (!device->waiting || !device->exchange.wait) return fail(EIO);
    if (*device->exchange.wait < 0) errno = device->exchange.waitError;
    return *device->exchange.wait;
}

}  // namespace simhost
