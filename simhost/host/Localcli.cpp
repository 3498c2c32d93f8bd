// localcli: reads the host's hardware and software facts by namespace.
#include <algorithm>

#include "host/StandIns.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

std::vector<LocalcliCommand> namespaces() {
    std::vector<LocalcliCommand> all;
    for (const HostModule* module : hostModules())
        for (const auto& each : module->localcli()) all.push_back(each);
    return all;
}

// In order, those with an argument last.
std::string usage() {
    std::vector<std::string> plain, withArgument;
    for (const auto& each : namespaces()) {
        const std::string words = std::string("   localcli ") + each.words;
        if (each.argument)
            withArgument.push_back(words + " " + each.argument + "\n");
        else
            plain.push_back(words + "\n");
    }
    std::sort(plain.begin(), plain.end());
    std::sort(withArgument.begin(), withArgument.end());
    std::string text = "Usage: localcli NAMESPACE... COMMAND\n\nOn this simulated host:\n";
    for (const auto& line : plain) text += line;
    for (const auto& line : withArgument) text += line;
    return text;
}

}  // namespace

Answer runLocalcli(const std::vector<std::string>& arguments, const HostDescription& host) {
    std::string words;
    for (const auto& argument : arguments) words += (words.empty() ? "" : " ") + argument;
    if (words == "--help" || words == "-h") return {0, usage(), ""};
    for (const auto& each : namespaces()) {
        if (!each.argument && words == each.words) return each.run(host, "");
        const std::string beginning = std::string(each.words) + " ";
        if (each.argument && words.rfind(beginning, 0) == 0)
            return each.run(host, words.substr(beginning.size()));
    }
    if (words.empty()) return {1, usage(), ""};
    return {1, "", "Error: Unknown command or namespace " + words + "\n\n" + usage()};
}

}  // namespace simhost
