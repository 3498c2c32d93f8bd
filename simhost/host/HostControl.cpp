#include "host/HostControl.h"

#include <json/json.h>

#include "common/Files.h"
#include "common/Text.h"
#include "common/Words.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

std::string show(SimulatedHost& host) {
    Json::Value shown;
    for (const HostModule* module : hostModules()) module->show(host, shown);
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["enableYAMLCompatibility"] = true;
    return Json::writeString(builder, shown) + "\n";
}

}  // namespace

std::string hostControlHelp() {
    std::string help =
        "Commands:\n"
        "  show                                 the host's state as JSON\n";
    for (const HostModule* module : hostModules())
        for (const auto& command : module->controls()) help += command.help;
    return help;
}

std::vector<std::string> hostControlNames() {
    std::vector<std::string> names{"help", "show"};
    for (const HostModule* module : hostModules())
        for (const auto& command : module->controls()) names.emplace_back(command.name);
    return names;
}

HostControl::HostControl(EventLoop& loop, SimulatedHost& host)
    : host_(host),
      server_(loop, host.paths().controlSocket(),
              [this](const std::vector<std::string>& words, const RequestServer::Reply& reply) {
                  reply(run(words));
              }) {}

Answer HostControl::run(const std::vector<std::string>& given) {
    try {
        Words words(given);
        const std::string name = words.next("a command");
        if (name == "help") return {0, hostControlHelp(), ""};
        if (name == "show") {
            words.end();
            return {0, show(host_), ""};
        }
        for (const HostModule* module : hostModules()) {
            for (const auto& command : module->controls()) {
                if (name != command.name) continue;
                command.run(host_, words);
                return {0, "ok\n", ""};
            }
        }
        throw UsageError("there is no command \"" + name + "\"; the commands are " +
                         listed(hostControlNames()));
    } catch (const UsageError& error) {
        return {2, "", std::string("vok-simhost control: ") + error.what() + "\n"};
    } catch (const std::exception& error) {
        return {1, "", "vok-simhost control: " + reasonOf(error) + "\n"};
    }
}

}  // namespace simhost
