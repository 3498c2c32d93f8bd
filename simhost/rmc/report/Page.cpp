#include "rmc/report/Page.h"

#include "rmc/report/Assets.h"
#include "rmc/report/Html.h"
#include "rmc/report/Layout.h"
#include "rmc/report/Picture.h"
#include "rmc/report/Summary.h"
#include "rmc/report/Tables.h"
#include "rmc/report/Timeline.h"
#include "rmc/report/Transfers.h"

namespace simhost {

namespace {

// Only this page's own style and script, known by their hashes.
std::string contentPolicy() {
    return std::string("default-src 'none'; style-src '") + pageStyleHash + "'; script-src '" +
           pageScriptHash + "'; base-uri 'none'; form-action 'none'";
}

}  // namespace

std::string reportPage(const ReceivedFolder& folder, const std::string& writtenAt) {
    const ReceivedInventory* const inventory = folder.newest();
    std::vector<Device> devices;
    if (inventory != nullptr) devices = devicesOf(inventory->document);
    const std::vector<Entry> timeline = timelineOf(folder);
    const Findings findings{folder, inventory, devices, timeline};
    const std::string host = escaped(hostNameOf(findings), longestInSummary);
    return filled(pageTemplate, {{"policy", contentPolicy()},
                                 {"style", pageStyle},
                                 {"script", pageScript},
                                 {"host", host},
                                 {"facts", hostFactsHtml(findings)},
                                 {"verdict", verdictHtml(findings)},
                                 {"counts", countsHtml(devices)},
                                 {"picture", pictureHtml(layOutDevices(devices))},
                                 {"timeline", timelineHtml(timeline)},
                                 {"tables", inventoryTablesHtml(devices)},
                                 {"transfers", transfersHtml(folder)},
                                 {"folder", escaped(folder.path)},
                                 {"written", escaped(writtenAt)}});
}

}  // namespace simhost
