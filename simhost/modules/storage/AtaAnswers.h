// What a described SATA disk answers to an ATA command within ATA PASS-THROUGH (12) or (16) (SAT-4, ACS-4).
#pragma once

#include <string>

#include "devices/ScsiMessage.h"
#include "modules/storage/Disks.h"

namespace simhost {

bool isAtaPassThrough(const std::string& command);
ScsiReply answerAta(const Disk& disk, const ScsiRequest& request);

// The 512 bytes of IDENTIFY DEVICE.
std::string identifyData(const Disk& disk);

}  // namespace simhost
