#include "fc/hbaapi/hbaapitables.h"

// Never destroyed: the libraries are closed through the host access, which may be gone at the process's end.
std::array<HBALibrary, hbaMostLibraries>& librarytable() {
    static auto* const table = new std::array<HBALibrary, hbaMostLibraries>;
    return *table;
}

std::vector<HBAAdapter>& adaptertable() {
    static auto* const table = new std::vector<HBAAdapter>;
    return *table;
}
