#include "vokClientOutput.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vokClientCommands.h"

bool vokClientPrint(const std::string& text) {
    errno = 0;
    const bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fputc('\n', stdout) != EOF;
    if (std::fflush(stdout) == 0 && written) return true;
    vokClientComplain(std::string("standard output: ") + std::strerror(errno));
    return false;
}

void vokClientComplain(const std::string& text) {
    std::fprintf(stderr, "vokcli: %s\n", text.c_str());
}

int vokClientEnd(int exitStatus) {
    return exitStatus == vokExitDone && std::ferror(stderr) != 0 ? vokExitFailed : exitStatus;
}
