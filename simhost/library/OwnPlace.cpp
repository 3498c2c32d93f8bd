#include "library/OwnPlace.h"

#include <dlfcn.h>

namespace simhost {

namespace {

const char ownSymbol = 0;

std::string ownFile() {
    Dl_info information{};
    return ::dladdr(&ownSymbol, &information) != 0 && information.dli_fname ? information.dli_fname : "";
}

}  // namespace

std::string ownHostRoot() {
    const std::string file = ownFile();
    const auto name = file.rfind('/');
    if (name == std::string::npos || name == 0) return "";
    const auto directory = file.rfind('/', name - 1);
    return directory == std::string::npos ? "" : file.substr(0, directory);
}

std::string ownLibraryName() {
    return ownHostRoot().empty() ? "" : ownFile().substr(ownFile().rfind('/') + 1);
}

}  // namespace simhost
