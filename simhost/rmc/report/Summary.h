// The head of the page: which host this is, what is wrong with it, and how many units it has.
#pragma once

#include <string>
#include <vector>

#include "rmc/report/Device.h"
#include "rmc/report/ReceivedFolder.h"
#include "rmc/report/Timeline.h"

namespace simhost {

// What the summary is made of; none of it is null except an inventory that has not come.
struct Findings {
    const ReceivedFolder& folder;
    const ReceivedInventory* inventory;
    const std::vector<Device>& devices;
    const std::vector<Entry>& timeline;
};

// A text in the head is cut at this length: what is wrong stays on the first screen.
inline constexpr std::size_t longestInSummary = 300;

// The host's name, or what stands for it.
std::string hostNameOf(const Findings& findings);
// Operating system, platform family, addresses, last inventory.
std::string hostFactsHtml(const Findings& findings);
// What is wrong, most urgent first, or that nothing is.
std::string verdictHtml(const Findings& findings);
// A tile for each section of the inventory, with its conditions.
std::string countsHtml(const std::vector<Device>& devices);

}  // namespace simhost
