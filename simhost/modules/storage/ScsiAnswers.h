// What a described disk answers to a SCSI command (SPC-5, SBC-4; SAT-4 for a SATA disk).
#pragma once

#include <string>

#include "devices/ScsiMessage.h"
#include "modules/storage/Disks.h"

namespace simhost {

ScsiReply answerScsi(const Disk& disk, const ScsiRequest& request);

// Whole replies, which are also attributes in /sys.
std::string standardInquiry(const Disk& disk);
std::string serialNumberPage(const Disk& disk);
std::string identificationPage(const Disk& disk);

}  // namespace simhost
