// vok-simcmd: runs a command of a simulated host. The scripts in the host's bin call it; it asks the
// vok-simhost that serves the root and hands on what that prints and its exit status.
#include <unistd.h>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "common/HostPaths.h"
#include "common/RequestServer.h"

namespace {

constexpr char usage[] =
    "usage: vok-simcmd --root DIR COMMAND [ARGUMENT...]\n"
    "Runs COMMAND as the simulated host under DIR has it. Its exit status is the command's; 127 when\n"
    "no vok-simhost serves DIR.\n";

void print(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::strcmp(arguments[1], "--help") == 0) {
        print(stdout, usage);
        return 0;
    }
    if (count < 4 || std::strcmp(arguments[1], "--root") != 0) {
        print(stderr, usage);
        return 2;
    }
    std::error_code ignored;
    std::vector<std::string> words{std::filesystem::current_path(ignored).string()};
    words.insert(words.end(), arguments + 3, arguments + count);
    std::string error;
    const auto answer = simhost::askServer(simhost::HostPaths(arguments[2]).commandSocket(), words, error);
    if (!answer) {
        print(stderr, std::string(arguments[3]) + ": no simulated host answers: " + error + "\n");
        return 127;
    }
    print(stdout, answer->output);
    print(stderr, answer->error);
    return answer->status;
}
