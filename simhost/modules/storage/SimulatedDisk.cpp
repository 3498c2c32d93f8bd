#include "modules/storage/SimulatedDisk.h"

#include <unistd.h>

#include "devices/OpenFault.h"
#include "host/SimulatedHost.h"
#include "modules/storage/ScsiAnswers.h"

namespace simhost {

namespace {

std::string nodePath(SimulatedHost& host, const Disk& disk) {
    return host.paths().root + "/dev/" + genericName(disk);
}

}  // namespace

SimulatedDisk::SimulatedDisk(SimulatedHost& host, const Disk& disk)
    : ScsiDevice(host.nodes(), nodePath(host, disk), host.time()), disk_(disk), path_(nodePath(host, disk)) {}

SimulatedDisk::~SimulatedDisk() {
    if (openFaultAt(path_) != 0) ::unlink(path_.c_str());
}

void SimulatedDisk::follow(bool present) {
    if (!present) pullOut();
    const bool opens = present && disk_.openError == 0;
    if (!opens) node().setPresent(false);
    if (openFaultAt(path_) != 0) ::unlink(path_.c_str());
    if (opens)
        node().setPresent(true);
    else if (present)
        makeOpenFault(path_, disk_.openError);
}

void SimulatedDisk::execute(const ScsiRequest& request, const Finish& finish) {
    ++commands_;
    if (!disk_.hanging) finish(answerScsi(disk_, request));
}

}  // namespace simhost
