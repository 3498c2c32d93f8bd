// A host with a firmware table, for tests of the facts about the platform.
#pragma once

#include <string>

#include "platform/utils/vokUtils.h"
#include "support/FakeHost.h"
#include "support/LoggedLines.h"
#include "support/SmBiosTable.h"

// The table of a machine of this family, to which the test adds slots and devices.
inline SmBiosTable tableOf(const std::string& family) {
    SmBiosTable table;
    table.addSystem("Maker of servers", family);
    return table;
}

// Installs a fake host with this table and reads the table as the agent does at its start.
inline FakeHost hostWithPlatform(const SmBiosTable& table) {
    FakeHost host;
    logEverything(host);
    host.root.writeFile(SmBiosTable::deviceFile, table.contents());
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    return host;
}
