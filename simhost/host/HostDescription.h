// What a simulated host is made of, as its description file says it. The file is JSON; every key has a
// default but an unknown key is refused, so that a slip of the pen does not pass for a setting.
//
// The facts of the operating system are members; each class of hardware has a part of its own, a type that
// its module defines (modules/*).
#pragma once

#include <any>
#include <cstdint>
#include <map>
#include <string>
#include <typeindex>

namespace Json {
class Value;
}

namespace simhost {

class HostDescription {
public:
    std::string nodeName = "localhost";
    std::string systemName = "VMkernel";
    std::string release = "7.0.3";
    std::string version = "#1 SMP Release build-20036589 Jul  7 2022 01:01:01";
    std::string machine = "x86_64";

    std::string productName = "VMware ESXi";
    std::string productVersion = "7.0.3";
    std::string productBuild = "Releasebuild-20036589";
    std::string productUpdate = "3";
    std::string productPatch = "50";

    std::int64_t uptimeSeconds = 86400;
    bool onlyMeasured = false;  // esxtop has the counters of the memory alone, no made-up ones

    std::string configuration;                 // of the agent; empty for none
    std::map<std::string, std::string> files;  // by absolute path on the host, content

    // The part of a module; as its type is made by default when nothing describes it.
    template <class Part>
    const Part& part() const {
        static const Part undescribed{};
        const auto found = parts_.find(typeid(Part));
        return found == parts_.end() ? undescribed : *std::any_cast<Part>(&found->second);
    }
    template <class Part>
    Part& part() {
        std::any& kept = parts_[typeid(Part)];
        if (!kept.has_value()) kept = Part{};
        return *std::any_cast<Part>(&kept);
    }

private:
    std::map<std::type_index, std::any> parts_;
};

// Reads the description. Throws std::runtime_error with a sentence that names the file and what is wrong.
HostDescription readHostDescription(const std::string& file);
// `directory` is where the files lie that a description names.
HostDescription parseHostDescription(const Json::Value& root, const std::string& directory = ".");

}  // namespace simhost
