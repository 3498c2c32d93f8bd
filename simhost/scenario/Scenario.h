// A scenario as it was read: values that are found when its turn comes, and scenes of steps.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "scenario/Stage.h"

namespace simhost {

struct Step {
    std::string verb;
    std::function<void(Stage&)> play;
    bool rehearsed = false;  // it changes the host, or holds steps that do
};

struct ScenarioValue {
    std::string name;
    std::function<std::vector<std::string>(Stage&)> find;
};

enum class HostKind { described, live };

// When a scene is left out: without a word, unless a value of `has` has no usable source or `program` fails.
struct SceneConditions {
    std::optional<HostKind> host;
    std::vector<std::string> has;      // values that may not be empty
    std::vector<std::string> lacks;    // values that must be
    bool kept = false;                 // the play goes on after the last scene
    std::vector<std::string> program;  // must end with status 0; else its output is the reason that is shown
};

// About how long a scene lasts.
struct SceneDuration {
    double hostSeconds = 0;
    double seconds = 0;
    std::string each;  // further seconds for each element of this value
    double secondsEach = 0;
};

struct Scene {
    std::string title;
    std::vector<std::string> lines;
    SceneConditions conditions;
    SceneDuration takes;
    std::vector<Step> steps;
};

struct Scenario {
    std::string file;
    std::vector<ScenarioValue> values;
    std::vector<Scene> scenes;
};

// Plays steps in order; in a rehearsal those alone that change the host. What fails names the step.
void playSteps(Stage& stage, const std::vector<Step>& steps);

}  // namespace simhost
