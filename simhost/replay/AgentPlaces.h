// The places that the agent itself writes to. They work on a replayed host as on any other, whatever the
// recording holds of them.
#pragma once

#include <string>
#include <vector>

namespace simhost {

class AgentPlaces {
public:
    // `configuration`: the text of the agent's configuration file, which may name other places for its logs.
    explicit AgentPlaces(const std::string& configuration);

    bool has(const std::string& absolutePath) const;

private:
    std::vector<std::string> logs_;
};

}  // namespace simhost
