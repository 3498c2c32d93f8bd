// The texts of the events that a RAID controller's firmware causes.
#pragma once

#include <string>

#include "megaraid/storelib/vokSASEventDetail.h"

// 0xfb as "0xfb": lower case, without leading zeros.
std::string int_to_hex(unsigned int value);

// "[Msg # 0xfb] DESCRIPTION. Please refer to MegaRAID Software User Guide for further details."
std::string getAddEventInfo(const VOK_SAS_EVENT_DETAIL& detail);
// The same with ". EXTRA" after the description.
std::string getAddEventInfo(const VOK_SAS_EVENT_DETAIL& detail, const std::string& extra);
// The same with ", (EXTRA)" after the description unless `extra` is empty.
std::string getAddEventInfoWithOptionalDetail(const VOK_SAS_EVENT_DETAIL& detail, const std::string& extra);
