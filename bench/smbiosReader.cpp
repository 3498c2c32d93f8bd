// Reads a firmware table as the agent does at its start, in a separate process: smbiosReader HOSTROOT
// Prints the number of PCI functions that have a GeoID of four elements; exit status 1 if there are none.
#include <cstdio>
#include <string>

#include "platform/access/vokRootedHostAccess.h"
#include "platform/utils/platformCheck.h"
#include "platform/utils/vokUtils.h"

int main(int argc, char** argv) {
    std::string error = "usage: smbiosReader HOSTROOT";
    auto access = argc == 2 ? vokOpenHostRoot(argv[1], error) : nullptr;
    if (!access) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    vokSetHostAccess(std::move(access));
    platformCheck::setDirectoryPath();
    vokUtils::initializeSMBIOS();
    vokUtils::initGeoIDMap();
    std::size_t known = 0;
    for (const auto& entry : vokUtils::getGeoIDMap())
        known += vokUtils::getGeoIDInfo(entry.first).size() == 4;
    std::printf("%zu\n", known);
    return known > 0 ? 0 : 1;
}
