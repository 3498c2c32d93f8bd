// The report on a folder: one HTML page that needs no network and, to be read, no script.
#pragma once

#include <string>

#include "rmc/report/ReceivedFolder.h"

namespace simhost {

// `writtenAt` is the machine's time, as text.
std::string reportPage(const ReceivedFolder& folder, const std::string& writtenAt);

}  // namespace simhost
