#include "host/HostDescription.h"

#include <json/json.h>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "common/Files.h"
#include "common/Text.h"
#include "host/DescriptionSection.h"
#include "modules/Modules.h"

namespace simhost {

namespace {

void parseFiles(Section& root, HostDescription& host) {
    root.section("files", [&host](Section& files) {
        for (const auto& path : files.whole().getMemberNames()) {
            if (path.empty() || path[0] != '/' || path.find("/../") != std::string::npos)
                files.fail("has the path \"" + path + "\", which is not an absolute path");
            files.text(path.c_str(), host.files[path]);
        }
    });
}

}  // namespace

HostDescription parseHostDescription(const Json::Value& value, const std::string& directory) {
    HostDescription host;
    Section root(value, "the description");
    std::string remark;
    root.text("remark", remark);
    for (const HostModule* module : hostModules()) module->parse(root, directory, host);
    if (const Json::Value* configuration = root.take("configuration"))
        host.configuration = configuration->toStyledString();
    parseFiles(root, host);
    root.end();
    return host;
}

HostDescription readHostDescription(const std::string& file) {
    std::istringstream stream(readFile(file));
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value root;
    std::string errors;
    try {
        if (!Json::parseFromStream(builder, stream, &root, &errors))
            throw std::runtime_error("is no JSON: " + oneLine(errors));
        return parseHostDescription(root, std::filesystem::path(file).parent_path().string());
    } catch (const std::exception& problem) {
        throw std::runtime_error(file + ": " + problem.what());
    }
}

}  // namespace simhost
