// Where a stand-in of a vendor's library lies that this is linked into, as it was opened.
#pragma once

#include <string>

namespace simhost {

// The root of the host in whose lib it lies: "ROOT" of "ROOT/lib/NAME". Empty when it lies in no such place.
std::string ownHostRoot();
// "NAME"; empty in the same case.
std::string ownLibraryName();

}  // namespace simhost
