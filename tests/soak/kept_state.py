"""What the status record and the history have to hold after a run of the agent, by what the controller received."""

import collections

import boot_verdict
from simulated_system import Failure, wait_until

RING = 818  # the entries that a history keeps


def raiser(event_id):
    """Events of one raiser are delivered one after another."""
    return "boot" if event_id in boot_verdict.BOOT_EVENTS else "link"


def new_entries(before, after):
    """The entries that were added; those that were there have to be there still, but for the oldest of a full ring."""
    numbers = [entry["number"] for entry in after]
    if any(number != numbers[0] + place for place, number in enumerate(numbers)):
        raise Failure(f"the numbers of the history have a gap: {numbers}")
    last = before[-1]["number"] if before else 0
    added = [entry for entry in after if entry["number"] > last]
    kept = after[:len(after) - len(added)]
    gone = len(before) - len(kept)
    if before[max(gone, 0):] != kept or (gone > 0 and len(after) < RING) or (added and added[0]["number"] != last + 1):
        raise Failure(f"the history has lost or changed entries: from {before[:1]}...{before[-1:]} to {after[:1]}...")
    return added


def check_order(entries, was_graceful):
    """A run has one start, which comes first, and a stop at most as the last entry."""
    kinds = [entry["kind"] for entry in entries]
    if kinds.count("start") != (1 if kinds else 0) or (kinds and kinds[0] != "start") or "stop" in kinds[:-1]:
        raise Failure(f"the history of a run is {kinds}")
    if was_graceful and kinds and kinds[-1] != "stop":
        raise Failure(f"the history of a run that was stopped ends with {kinds[-1]}")


# The controller has not received what ended so. Without an answer, as when a stop ends the wait for it, either may be.
NOT_RECEIVED = ("refused", "dropped", "invalid")


def outcomes(entries, kind):
    """Those that the controller has received for certain, and those that it may have received."""
    of_kind = [entry for entry in entries if entry["kind"] == kind]
    return ([entry for entry in of_kind if entry["outcome"] == "accepted"],
            [entry for entry in of_kind if entry["outcome"] not in NOT_RECEIVED])


def check_events(entries, received, was_graceful):
    """Each received event has an entry, but for the one that each raiser had in progress at a kill."""
    certain, possible = ([each["event"] for each in found] for found in outcomes(entries, "event"))
    for name in {raiser(event) for event in received + certain}:
        came, accepted, noted = ([event for event in events if raiser(event) == name]
                                 for events in (received, certain, possible))
        needs_entry = came if was_graceful else came[:-1]
        if not boot_verdict.is_subsequence(accepted, came) or not boot_verdict.is_subsequence(needs_entry, noted):
            raise Failure(f"the controller has received the events {came}, the history has {noted}")


def check_pushes(entries, received, was_graceful):
    certain, possible = map(len, outcomes(entries, "push"))
    if not certain <= received <= possible + (0 if was_graceful else 1):
        raise Failure(f"the controller has received {received} inventories, the history has {certain}")


def check_counts(status, entries, run):
    """The counts of the status record against the history of the same run: each may be one ahead of it."""
    if not run.is_of_this_run(status["startSeconds"]):
        raise Failure(f"the status is of {status['startSeconds']}, the run within {run.clock_range}")
    pushes = len([entry for entry in entries if entry["kind"] == "push"])
    push, bell = status["push"], status["doorBell"]
    good = push["pushes"] - pushes in (0, 1) and push["failed"] <= push["pushes"]
    good &= bell["requests"] <= bell["answered"] <= bell["polls"]
    noted = collections.Counter(entry["event"] for entry in entries if entry["kind"] == "event")
    for event in status["events"]:
        ended = sum(event[fate] for fate in ("delivered", "refused", "failed", "dropped"))
        good &= ended - noted.pop(event["number"], 0) in (0, 1) and event["raised"] - ended in (0, 1)
    good &= not noted
    for each in status["classes"]:
        good &= each["ready"] == (each["builds"] > 0) and (each["enabled"] or not each["ready"])
        good &= each["lastBuildEndSeconds"] is None or run.is_of_this_run(each["lastBuildEndSeconds"])
    if not good:
        raise Failure(f"the counts of the status don't fit the history {entries}: {status}")


class KeptState:
    """The status record and the history of one host, looked at after each run of the agent."""

    def __init__(self, system):
        self.system = system
        self.entries = []

    def history(self):
        if not self.entries and not (self.system.root / "opt/mev/vok/data/vokHistory.bin").exists():
            return []
        return self.system.client("history", str(RING), "--json", statuses=(0,))

    def status(self):
        return self.system.client("status", "--json", statuses=(0, 1, 2))

    def check(self, run, received, inventories, was_graceful):
        """`received`: the numbers of the events of this run; `inventories`: how many came."""
        entries = self.history()
        added = new_entries(self.entries, entries)
        self.entries = entries
        check_order(added, was_graceful)
        check_events(added, received, was_graceful)
        check_pushes(added, inventories, was_graceful)
        if not added:
            return
        # A command that is just being started may hold the record's lock a moment longer than the agent.
        wait_until(lambda: not self.status()["running"], 5, "the status says that the agent has ended")
        status = self.status()
        if status["exitStatus"] != 2:
            raise Failure(f"the status of an agent that has ended is {status['verdict']}")
        if (status["stop"] is None) != (added[-1]["kind"] != "stop") and (was_graceful or status["stop"] is None):
            raise Failure(f"the stop of the status is {status['stop']}, the history ends with {added[-1]['kind']}")
        check_counts(status, added, run)
