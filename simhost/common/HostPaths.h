// The paths of the parts of a simulated host under its root.
#pragma once

#include <string>

namespace simhost {

struct HostPaths {
    explicit HostPaths(const std::string& hostRoot) : root(hostRoot) {}

    std::string root;
    std::string run() const { return root + "/run/simhost"; }
    std::string state() const { return run() + "/state"; }
    std::string lock() const { return run() + "/lock"; }
    std::string commandSocket() const { return run() + "/command.sock"; }
    std::string controlSocket() const { return run() + "/control.sock"; }
    std::string controllerSocket() const { return run() + "/controller.sock"; }
    std::string librarySocket() const { return run() + "/library.sock"; }
    std::string locationViolations() const { return run() + "/physloc-violations.log"; }
    std::string raidViolations() const { return run() + "/raid-violations.log"; }
    // What a call of the stand-in of this library does, see library/LibraryFault.h.
    std::string libraryFault(const std::string& name) const { return run() + "/fault-of-" + name; }
    std::string bootId() const { return run() + "/boot-id"; }
    std::string commandLog() const { return run() + "/commands.log"; }
    // On a live host a link to the machine's own directory of device nodes.
    std::string machineDevices() const { return run() + "/machine-dev"; }
    std::string ipmiDevice() const { return root + "/dev/ipmi0"; }
    std::string summaryLog() const { return root + "/var/log/vmksummary.log"; }
};

}  // namespace simhost
