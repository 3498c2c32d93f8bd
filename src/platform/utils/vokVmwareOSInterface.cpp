#include "platform/utils/vokVmwareOSInterface.h"

#include <cerrno>
#include <cstdio>
#include <fstream>

#include "platform/access/vokCommandStream.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokOwnDirectory.h"
#include "platform/utils/vokCommandOutcome.h"
#include "platform/utils/vokWorkFolders.h"

vokVmwareOSInterface* vokVmwareOSInterface::getInstance() {
    static auto* const instance = new vokVmwareOSInterface;
    return instance;
}

int vokVmwareOSInterface::populateHardwarePCIDetails() {
    vokMakeOwnDirectory(vokHostAccess().path(vokDataFolder));
    // The shell writes the list; closing the stream waits for its end.
    const std::string command = "localcli hardware pci list > " + vokHostAccess().commandPath(hardwareList);
    vokCommandStream stream(command);
    const bool started = static_cast<bool>(stream);
    const int status = started ? stream.close() : -1;
    vokReportCommand("VOK_UTILS", command, vokCommandFailure(status, errno));
    return started ? 0 : -1;
}

void vokVmwareOSInterface::Initialize() {}

void vokVmwareOSInterface::UnInitialize() {
    const std::string hostPath = vokHostAccess().path(hardwareList);
    if (std::ifstream(hostPath)) std::remove(hostPath.c_str());
}

void vokVmwareOSInterface::populateNvmeInstances(std::vector<std::string>&) {}

void vokVmwareOSInterface::populateNvmeMaps() {}

int vokVmwareOSInterface::getNvmePCIAddress(std::string, std::string&) {
    return 0;
}

int vokVmwareOSInterface::getNvmeSubSystemVendorID(std::string, std::string&) {
    return 0;
}

std::map<std::string, std::string> vokVmwareOSInterface::getPciIdInfo(std::string) {
    return {};
}
