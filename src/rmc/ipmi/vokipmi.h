// The transport to the management controller: IPMI requests over the OpenIPMI character device, and on top
// of them the OEM remote command, a name with a payload of any length cut into 60-byte requests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

#include "platform/access/vokDevice.h"
#include "rmc/ipmi/vokIpmiExchange.h"
#include "rmc/ipmi/vokRmcOutcome.h"

namespace ipmi {

// Get Device ID response after the completion code (IPMI 2.0, section 20.1).
struct __attribute__((packed)) _GET_DEVICE_ID {
    std::uint8_t deviceId;
    std::uint8_t deviceRevision;
    std::uint8_t firmwareRevision1;
    std::uint8_t firmwareRevision2;
    std::uint8_t ipmiVersion;
    std::uint8_t additionalDeviceSupport;
    std::uint8_t manufacturerId[3];
    std::uint8_t productId[2];
    std::uint8_t auxiliaryFirmwareRevision[4];
};
static_assert(sizeof(_GET_DEVICE_ID) == 15);

// Returned as received.
struct __attribute__((packed)) _GET_BMC_CAPABILITIES {
    std::uint8_t bytes[5];
};
static_assert(sizeof(_GET_BMC_CAPABILITIES) == 5);

class IPMIUtils {
public:
    // Opens the device; loads the driver stack if that fails, at most twice.
    IPMIUtils();
    virtual ~IPMIUtils();
    IPMIUtils(const IPMIUtils&) = delete;
    IPMIUtils& operator=(const IPMIUtils&) = delete;

    // One exchange. `respLen` is the capacity of `resp`; the completion code is neither stored nor checked.
    // False when there is no device or the exchange failed.
    bool execute(unsigned char netfn, unsigned char cmd, unsigned char lun, const unsigned char* data,
                 const unsigned char& dataLen, unsigned char* resp, unsigned char& respLen);
    // Sends one remote command. Returns 0 if an exchange failed; 1 if the command was refused, with the
    // statuses stored, or sent in full, with the statuses unchanged; -1 if out of memory.
    int RMC_CLI_Exec(std::string cmd, std::string args, unsigned char* transferStatus,
                     unsigned char* cmdExitStatus);
    // The same, serialised with all other commands and with failures logged. Returns 0 on success, 1 on
    // failure.
    int RMC_CLI_Cmd_Execution(std::string cmd, std::string args);

    // One poll of the door-bell: true if an inventory is requested.
    bool checkIPMIDBRequest();
    // One poll of the door-bell of type 1 or 2: the result of checkIPMIBuffer(), or 0 on failure.
    int checkIPMIDBGenericRequest(int type);
    // Evaluates a polled buffer of 254 bytes. Type 1: 1 if it requests an inventory, otherwise 0. Type 2: 1
    // or 2. Other types: 0.
    int checkIPMIBuffer(int type, unsigned char* buffer);

    bool GetDeviceIdInfo(_GET_DEVICE_ID* info);
    bool GetCapabilities(_GET_BMC_CAPABILITIES* capabilities);
    // True when bit 0 of the first response byte is set.
    bool GetPartitionId(unsigned char* response);

    // The outcome of the last execute().
    const Exchange& lastExchange() const { return lastExchange_; }
    // The outcome of the last remote command.
    const RemoteCommandOutcome& lastCommand() const { return lastCommand_; }

private:
    // Records the failed step of an exchange, with errno if `hasReason`. Returns false.
    bool fail(ExchangeStep step, bool hasReason);
    // One poll into a cleared buffer of at least 254 bytes, serialised with remote commands. Logs a change of
    // its outcome.
    bool pollDoorBell(unsigned char command, unsigned char* buffer);

    static std::mutex mlock;  // one remote command or door-bell poll at a time

    vokDevice device_;
    int openError_ = 0;  // of the last attempt
    Exchange lastExchange_;
    RemoteCommandOutcome lastCommand_;
};

}  // namespace ipmi
