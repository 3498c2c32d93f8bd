#include "replay/AgentPlaces.h"

#include <json/json.h>
#include <algorithm>
#include <iterator>
#include <memory>

namespace simhost {

namespace {

// What lies at one of these or below it.
constexpr const char* directories[] = {"/opt/mev/vok/data", "/opt/mev/vok/log", "/scratch/log/mev/vok"};
// Files whose name begins so.
constexpr const char* beginnings[] = {"/tmp/vokboot.log", "/var/log/syslog.log",    "/var/run/mevvok",
                                      "/var/run/vokd.",   "/var/run/vokStatus.bin", "/var/tmp/mev"};
// Parent directories, which it creates and does not read.
constexpr const char* onTheWay[] = {"/var", "/var/log"};
constexpr const char* logSettings[] = {"VOKLogLocation", "DebugLogLocation"};

bool beginsWith(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

}  // namespace

AgentPlaces::AgentPlaces(const std::string& configuration) {
    Json::Value settings;
    std::string ignored;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    const char* const text = configuration.data();
    if (!reader->parse(text, text + configuration.size(), &settings, &ignored) || !settings.isObject())
        return;
    for (const char* setting : logSettings)
        if (settings[setting].isString()) logs_.push_back(settings[setting].asString());
}

bool AgentPlaces::has(const std::string& path) const {
    const auto isDirectory = [&](const std::string& directory) {
        return path == directory || beginsWith(path, directory + "/");
    };
    const auto isBeginning = [&](const std::string& beginning) { return beginsWith(path, beginning); };
    return std::any_of(std::begin(directories), std::end(directories), isDirectory) ||
           std::find(std::begin(onTheWay), std::end(onTheWay), path) != std::end(onTheWay) ||
           std::any_of(std::begin(beginnings), std::end(beginnings), isBeginning) ||
           std::find(logs_.begin(), logs_.end(), path) != logs_.end();
}

}  // namespace simhost
