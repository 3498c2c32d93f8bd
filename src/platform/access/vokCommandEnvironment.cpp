#include "platform/access/vokCommandEnvironment.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <string_view>

namespace {

constexpr char defaultSearchPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

bool isSafe(const std::string& element) {
    struct stat status {};
    return !element.empty() && element.front() == '/' && ::stat(element.c_str(), &status) == 0 &&
           S_ISDIR(status.st_mode) && (status.st_mode & S_IWOTH) == 0;
}

}  // namespace

std::string vokSafeSearchPath(const char* searchPath) {
    const std::string all = searchPath ? searchPath : "";
    std::string safe;
    for (std::size_t from = 0; from < all.size();) {
        const std::size_t end = std::min(all.find(':', from), all.size());
        const std::string element = all.substr(from, end - from);
        if (isSafe(element)) safe += (safe.empty() ? "" : ":") + element;
        from = end + 1;
    }
    return safe.empty() ? defaultSearchPath : safe;
}

std::vector<std::string> vokCommandEnvironment(const std::string& searchPath) {
    constexpr std::string_view replaced[] = {"PATH=", "LC_ALL="};
    std::vector<std::string> environment;
    for (char** variable = ::environ; variable && *variable; ++variable) {
        const std::string_view text = *variable;
        if (std::none_of(std::begin(replaced), std::end(replaced),
                         [text](std::string_view name) { return text.substr(0, name.size()) == name; }))
            environment.emplace_back(text);
    }
    environment.push_back("PATH=" + searchPath);
    environment.emplace_back("LC_ALL=C");
    return environment;
}
