// What a replayed host answers, and what it was asked for in vain.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "recording/Recording.h"
#include "replay/AgentPlaces.h"
#include "replay/RecordedFiles.h"
#include "replay/ReplayMessage.h"

namespace simhost {

class ReplayAnswers {
public:
    // `report` gets the name of each question that is not recorded, once. `recording` outlives this.
    ReplayAnswers(const recording::Recording& recording, const AgentPlaces& places,
                  std::function<void(const std::string& name)> report);

    const RecordedFiles& files() const { return files_; }
    // True if the recording has a question to this device node.
    bool asksDevice(const std::string& device) const;
    // From now on the opening of this node is answered with ReplayAnswer::simulated.
    void simulate(const std::string& device) { simulated_ = device; }

    ReplayPath path(const std::string& path);
    // The fields are those of one that is recorded; null otherwise.
    std::pair<ReplayAnswer, const recording::Fields*> question(const RecordedQuestion& asked);

    // How often each question that is not recorded was asked, by name.
    const std::map<std::string, unsigned long>& notRecorded() const { return notRecorded_; }
    unsigned long answered() const { return answered_; }

private:
    void noteNotRecorded(const std::string& name);

    const recording::Recording& recording_;
    AgentPlaces places_;
    std::function<void(const std::string&)> report_;
    RecordedFiles files_;
    std::map<std::pair<std::string, recording::Fields>, const recording::Exchange*> exchanges_;
    std::string simulated_;
    std::map<std::string, unsigned long> notRecorded_;
    unsigned long answered_ = 0;
};

}  // namespace simhost
