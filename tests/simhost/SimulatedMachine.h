// A running simulated host for a test, with its controller when the test wants one, and the agent's end of
// the device node.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>
#include <memory>
#include <string>
#include <vector>

#include "platform/access/vokHostAccess.h"
#include "simhost/RunningProgram.h"
#include "support/TemporaryDirectory.h"

// What came back from the device node.
struct DeviceReply {
    int result = -1;
    int error = 0;
    int type = 0;
    long messageId = 0;
    int netfn = 0;
    int command = 0;
    int addressType = 0;
    int channel = 0;
    unsigned addressLength = 0;
    std::vector<unsigned char> data;  // completion code first
};

// One opening of the device node, as an agent has it.
class DeviceUser {
public:
    explicit DeviceUser(IvokHostAccess& host);
    ~DeviceUser();
    DeviceUser(const DeviceUser&) = delete;
    DeviceUser& operator=(const DeviceUser&) = delete;

    int descriptor() const { return descriptor_; }
    // IPMICTL_SEND_COMMAND: its result, with errno.
    int send(unsigned netfn, unsigned command, const std::vector<unsigned char>& data, long messageId = 0);
    // Waits and receives.
    DeviceReply receive();
    DeviceReply receiveNow(unsigned short room = 272, bool truncate = true);
    DeviceReply exchange(unsigned netfn, unsigned command, const std::vector<unsigned char>& data);
    // A whole remote command as the agent sends it. The transfer status that ended it, 0 when none did; -1
    // when an exchange failed.
    int remoteCommand(const std::string& name, const std::string& text, std::size_t mostChunks = 1u << 20);

private:
    IvokHostAccess& host_;
    int descriptor_;
};

class SimulatedMachine : public testing::Test {
protected:
    // "root" under the test's directory, with a blank and both quotes in its path.
    std::string root() const { return directory.path() + "/it's a \"host\""; }
    std::string out() const { return directory.path() + "/rmc"; }

    void startHost(const std::vector<std::string>& options = {}, const std::string& host = "rack-node");
    void startController(const std::vector<std::string>& options = {});
    // The agent's way to the host.
    std::unique_ptr<IvokHostAccess> access();
    // A control command that must succeed; what it printed.
    std::string hostControl(const std::vector<std::string>& words);
    std::string controllerControl(const std::vector<std::string>& words);
    Json::Value hostState();
    Json::Value controllerState();
    int waitFor(const std::string& what, int count) {
        return runProgram({VOK_RMC_PROGRAM, "control", "--out", out(), "wait", what, std::to_string(count),
                           "--timeout", "20"})
            .status;
    }

    TemporaryDirectory directory;
    RunningProgram hostProgram;
    RunningProgram controllerProgram;
};
