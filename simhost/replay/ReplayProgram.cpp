#include "replay/ReplayProgram.h"

#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>
#include <iostream>
#include <stdexcept>

#include "common/Files.h"
#include "common/ProgramPaths.h"
#include "common/Text.h"
#include "host/ClaimedRoot.h"
#include "recording/Archive.h"
#include "replay/ReplayLayout.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

recording::Recording readRecording(const std::string& archive) {
    std::string error;
    auto recording = recording::loadArchive(archive, error);
    if (!recording) throw std::runtime_error(error);
    return std::move(*recording);
}

std::string moduleFile(const std::string& given) {
    const std::string file = given.empty() ? replayAccessModule() : given;
    if (!fs::exists(file))
        throw std::runtime_error(file + ": the host-access module of recorded hosts (--module) is not there");
    return fs::canonical(file).string();
}

std::string recordedConfiguration(const recording::Recording& recording) {
    const auto found = recording.files.find(agentConfiguration);
    return found == recording.files.end() ? "" : found->second.content;
}

}  // namespace

void runReplay(const ReplayOptions& options) {
    const recording::Recording recording = readRecording(options.archive);
    ReplaySources sources;
    sources.module = moduleFile(options.module);
    if (options.configuration) sources.configuration = readFile(*options.configuration);
    ::umask(077);
    const AgentPlaces places(sources.configuration.value_or(recordedConfiguration(recording)));
    ReplayAnswers answers(recording, places, [](const std::string& name) {
        std::cerr << "vok-simhost: not in the recording: " << name << "\n";
    });
    ClaimedRoot root(options.root);
    layOutReplay(root.path(), answers.files(), sources);

    EventLoop loop;
    loop.stopOnSignals();
    const ReplayedHost host(loop, root.path(), recording, answers, options.settings);
    printOut("vok-simhost: ready: recorded host " + host.nodeName() + " under " + root.path() +
             formatText(", process %d, ", static_cast<int>(::getpid())) +
             (options.settings.speed > 0 ? formatText("speed %g\n", options.settings.speed)
                                         : std::string("its clock stands\n")));
    root.keep();
    loop.run();
    std::cerr << notRecordedReport(answers);
}

}  // namespace simhost
