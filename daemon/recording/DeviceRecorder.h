// Records the requests to device nodes and their answers.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "daemon/recording/ExchangeLog.h"
#include "platform/access/vokHostAccess.h"
#include "recording/FormsDevices.h"

class DeviceRecorder {
public:
    // Both outlive this.
    DeviceRecorder(IvokHostAccess& access, ExchangeLog& log) : access_(access), log_(log) {}

    // Each as IvokHostAccess has it; `device` is the absolute path on the host.
    int open(const std::string& device, const std::string& hostPath, int flags);
    int ioctl(int descriptor, unsigned long request, void* argument);
    int wait(int descriptor);
    int close(int descriptor);
    // Records messages to the controller whose answers did not come.
    void finish();

private:
    // A message to the controller that was sent, or should have been.
    struct Sent {
        long id = 0;
        recording::Fields question;
        recording::IpmiExchange exchange;
    };
    struct Device {
        std::string path;
        std::vector<Sent> sent;
    };

    std::string contentOf(const std::string& hostPath, int flags);
    std::string pathOf(int descriptor);
    void keepSent(int descriptor, Sent sent);
    void keepReceipt(int descriptor, const ipmi_recv* receive, int error);
    int sendIpmi(int descriptor, unsigned long request, void* argument);
    int receiveIpmi(int descriptor, unsigned long request, void* argument);
    void flush(const Device& device);

    IvokHostAccess& access_;
    ExchangeLog& log_;
    std::mutex mutex_;  // guards what follows
    std::map<int, Device> devices_;
};
