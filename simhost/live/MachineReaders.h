// The readers of a Linux machine's own files, for the modules of a live host.
#pragma once

#include <string>

#include "live/MachineFiles.h"
#include "live/NetworkReader.h"
#include "live/PciNames.h"
#include "live/PciReader.h"

namespace simhost {

struct MachineReaders {
    MachineReaders(const std::string& root, AskDriver askDriver)
        : files(root),
          names(files),
          network(files, names, std::move(askDriver)),
          pci(files, names, network) {}

    MachineFiles files;
    PciNames names;
    NetworkReader network;
    PciReader pci;
};

}  // namespace simhost
