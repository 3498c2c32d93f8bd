// A host for fuzz targets: no device, no commands, no waiting, and log lines that are formatted and then
// dropped. Its controller takes every chunk.
#pragma once

#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "platform/access/vokHostAccess.h"

class vokFuzzHost : public vokKernelHostAccess {
public:
    // Puts the host in place, or one derived from it, with a configuration that makes the agent log all it
    // can. Standard output goes nowhere from here on.
    template <typename Host = vokFuzzHost>
    static void install() {
        installWith<Host>(
            R"({"LoggingLevel": "Info", "EnableDebugLog": "true", "EnableResources": ["All"]})");
    }

    // The same with a configuration that logs errors alone, for a function that is to run without the log.
    static void installQuiet() {
        installWith<vokFuzzHost>(R"({"LoggingLevel": "Error", "EnableDebugLog": "false"})");
    }

    // Every file lies in one directory under its last name; only the configuration is there.
    std::string path(const std::string& absolute) const override {
        return root_ + "/" + absolute.substr(absolute.rfind('/') + 1);
    }
    int openDevice(const std::string&, int) override { return 1 << 20; }
    int ioctlDevice(int, unsigned long request, void* argument) override {
        if (request != static_cast<unsigned long>(IPMICTL_RECEIVE_MSG_TRUNC)) return 0;
        auto& received = *static_cast<ipmi_recv*>(argument);
        const unsigned char taken[] = {0, 0, 1, 0, 0};
        std::memcpy(received.msg.data, taken, sizeof(taken));
        received.msg.data_len = sizeof(taken);
        return 0;
    }
    int waitForDevice(int) override { return 1; }
    int closeDevice(int) override { return 0; }
    FILE* openCommand(const std::string&) override { return std::tmpfile(); }
    int closeCommand(FILE* stream) override { return std::fclose(stream); }
    int runCommand(const std::string&) override { return 0; }
    void pause(unsigned long) override {}
    void systemLog(int, const std::string&) override {}

private:
    template <typename Host>
    static void installWith(const char* settings) {
        char root[] = "/tmp/vok-fuzz-XXXXXX";
        if (!::mkdtemp(root)) std::abort();
        auto host = std::make_unique<Host>();
        host->root_ = root;
        std::ofstream(host->path("/vok.conf")) << settings;
        vokSetHostAccess(std::move(host));
        if (!std::freopen("/dev/null", "w", stdout)) std::abort();
    }

    std::string root_;
};
