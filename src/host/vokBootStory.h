// What the times of the startup record and of the last boot tell about the last shutdown.
#pragma once

enum class vokBootStory {
    noEarlierRun,               // nothing to compare with
    restartedInThisBoot,        // the agent was stopped and came back
    bootedAfterGracefulStop,    // the host went down after the agent had been stopped
    crashedInThisBoot,          // the agent died and came back
    bootedWithoutGracefulStop,  // the host went down under the running agent
    undecided,                  // started and stopped in the same second
};

// Seconds since the Epoch each: the previous start and the last graceful stop of the agent, 0 if not known,
// and the boot of the running system.
constexpr vokBootStory decideBootStory(long start, long stop, long boot) {
    if (start == 0) return vokBootStory::noEarlierRun;
    if (start < stop)
        return boot <= stop ? vokBootStory::restartedInThisBoot : vokBootStory::bootedAfterGracefulStop;
    if (start > stop)
        return boot <= start ? vokBootStory::crashedInThisBoot : vokBootStory::bootedWithoutGracefulStop;
    return vokBootStory::undecided;
}
