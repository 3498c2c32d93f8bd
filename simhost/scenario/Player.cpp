#include "scenario/Player.h"

#include <algorithm>

namespace simhost {

namespace {

// Real seconds that are left for the end of a play.
constexpr double secondsForTheEnd = 3;

}  // namespace

void playSteps(Stage& stage, const std::vector<Step>& steps) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (stage.settings().rehearsal && !steps[i].rehearsed) continue;
        try {
            stage.values().set("events", std::to_string(stage.eventsExpected()));
            steps[i].play(stage);
        } catch (const StepFailed& error) {
            throw StepFailed("step " + std::to_string(i + 1) + " (" + steps[i].verb + "): " + error.what());
        }
    }
}

void Player::play(const Scenario& scenario) {
    const auto& settings = stage_.settings();
    stage_.values().set(
        "until",
        settings.limit ? ", until " + std::to_string(*settings.limit) + " s after the show began" : "");
    try {
        for (const auto& value : scenario.values) stage_.values().set(value.name, value.find(stage_));
    } catch (const StepFailed& error) {
        throw StepFailed(scenario.file + ": " + error.what());
    }
    for (const auto& scene : scenario.scenes) {
        try {
            if (takesPlace(scene)) play(scene);
        } catch (const StepFailed& error) {
            throw StepFailed(scenario.file + ", scene \"" + scene.title + "\", " + error.what());
        }
    }
}

bool Player::takesPlace(const Scene& scene) {
    const SceneConditions& needs = scene.conditions;
    const auto& settings = stage_.settings();
    Values& values = stage_.values();
    const auto isEmpty = [&values](const std::string& name) { return values.isEmpty(name); };
    if (needs.host && (*needs.host == HostKind::live) != live_) return false;
    if (!std::all_of(needs.lacks.begin(), needs.lacks.end(), isEmpty)) return false;
    if (needs.kept && !settings.keep && !settings.limit) return false;
    const auto empty = std::find_if(needs.has.begin(), needs.has.end(), isEmpty);
    if (empty != needs.has.end()) {
        if (!values.reason(*empty).empty())
            leaveOut(scene, "it needs the value \"" + *empty + "\", but " + values.reason(*empty));
        return false;
    }
    if (settings.rehearsal) return true;
    if (!fitsTheTime(scene.takes)) return false;
    if (needs.program.empty()) return true;
    const Stage::Ran ran = stage_.run(values.filledList(needs.program));
    if (ran.status == 0) return true;
    const auto reasons = linesOf(ran.output);
    leaveOut(scene, reasons.empty() ? "no reason was told" : reasons.back());
    return false;
}

void Player::leaveOut(const Scene& scene, const std::string& reason) {
    stage_.viewer().scene(
        "", {"The scene \"" + stage_.values().filled(scene.title) + "\" is left out: " + reason});
}

bool Player::fitsTheTime(const SceneDuration& takes) {
    const auto& limit = stage_.settings().limit;
    if (!limit) return true;
    const double speed = std::stod(stage_.values().filled("${speed}"));
    const auto elements = static_cast<double>(stage_.values().list(takes.each).size());
    const double seconds = takes.hostSeconds / speed + takes.seconds + elements * takes.secondsEach;
    const double elapsed = std::chrono::duration<double>(stage_.elapsed()).count();
    return elapsed + seconds + secondsForTheEnd <= *limit;
}

void Player::play(const Scene& scene) {
    if (!stage_.settings().rehearsal) {
        std::vector<std::string> lines;
        for (const auto& line : scene.lines) lines.push_back(stage_.values().filled(line));
        stage_.viewer().scene(stage_.values().filled(scene.title), lines);
    }
    playSteps(stage_, scene.steps);
    stage_.viewer().controller();
    // A cable of the machine's own may be pulled at any moment.
    if (!live_) stage_.refuseFurtherEvents();
}

}  // namespace simhost
