#include "common/ProgramPaths.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace simhost {

namespace {

fs::path programDirectory() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace

std::string siblingProgram(const std::string& name) {
    return (programDirectory() / name).string();
}

std::string hostAccessModule() {
    return (programDirectory().parent_path() / "lib/libvok-hostaccess.so").string();
}

std::string replayAccessModule() {
    return (programDirectory().parent_path() / "lib/libvok-replayaccess.so").string();
}

std::string hostDescriptions() {
    return (programDirectory().parent_path() / "share/vok-simhost/hosts").string();
}

std::string shippedScenarios() {
    return (programDirectory().parent_path() / "share/vok-simhost/scenarios").string();
}

}  // namespace simhost
