// Plays scenarios: one scene after the other, those left out that don't fit the host or the time.
#pragma once

#include <vector>

#include "scenario/Scenario.h"
#include "scenario/Stage.h"

namespace simhost {

class Player {
public:
    // `live`: the host is the machine itself.
    Player(Stage& stage, bool live) : stage_(stage), live_(live) {}

    // Throws StepFailed, which names file, scene and step, Interrupted and OutputClosed.
    void play(const Scenario& scenario);

private:
    void leaveOut(const Scene& scene, const std::string& reason);
    bool takesPlace(const Scene& scene);
    bool fitsTheTime(const SceneDuration& takes);
    void play(const Scene& scene);

    Stage& stage_;
    bool live_;
};

}  // namespace simhost
