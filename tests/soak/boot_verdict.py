"""What the startup record and the events of a boot have to be, by the starts and ends of the agent."""

import time

from simulated_system import Failure

KEYS = ("current_start", "last_start", "last_stop")
BOOT_EVENTS = (356, 359, 360)
SHORT_RUN = 1  # real seconds


def parse(text):
    """The three values of a record, which has to be whole: each key once, each with a number."""
    values = {}
    for line in text.splitlines():
        if not line:
            continue
        key, _, number = line.partition(" ")
        if key not in KEYS or key in values or not number.isdigit():
            raise Failure(f"the startup record is not whole: {text!r}")
        values[key] = int(number)
    if len(values) != len(KEYS):
        raise Failure(f"the startup record is not whole: {text!r}")
    return values


def expected_events(record, boot):
    """The events that a start raises which finds this record (None: none) on a host that booted then."""
    if record is None or record["last_start"] == 0 or record["last_start"] == record["last_stop"]:
        return []
    if record["last_start"] < record["last_stop"]:
        return [359, 356] if boot > record["last_stop"] else []
    return [360, 356] if boot > record["last_start"] else []


def is_subsequence(part, whole):
    rest = iter(whole)
    return all(each in rest for each in part)


class Run:
    """One run of the agent, from its start to its end."""

    def __init__(self, system):
        text = system.startup_record()
        self.before = parse(text) if text else None
        now, boot = system.clock()
        self.clock_range = [now, now]
        # The boot time is whole seconds of the clock less whole seconds of uptime: it may be one off.
        self.allowed = [expected_events(self.before, boot + off) for off in (-1, 0, 1)]
        self.raised = []
        self.is_held_up = False  # by a command that hangs while the tables of the platform are read
        self._began = time.monotonic()

    def may_end_before_it_starts(self):
        """Whether a signal may have come before anything of the agent had started."""
        return self.is_held_up or time.monotonic() - self._began < SHORT_RUN

    def saw_clock(self, now):
        """Call it before and after each step of the clock, and at the end."""
        self.clock_range = [min(now, *self.clock_range), max(now, *self.clock_range)]

    def has_reached_its_verdict(self, text):
        """By the record that the run has left: the last step of the verdict makes its start the last one."""
        record = parse(text) if text else None
        if record is None or record == self.before:
            return False
        return record["current_start"] in (0, record["last_start"])

    def check_events(self, is_complete, is_lossy=False):
        """`is_complete`: the run has reached its verdict. `is_lossy`: the controller was not always there."""
        for expected in self.allowed:
            if is_lossy and is_subsequence(self.raised, expected):
                return
            if self.raised == (expected if is_complete else expected[:len(self.raised)]):
                return
        raise Failure(f"the boot verdict is {self.raised}, not {self.allowed[1]}; record {self.before}")

    def is_of_this_run(self, time):
        return self.clock_range[0] - 2 <= time <= self.clock_range[1] + 2

    def check_record(self, text, was_graceful):
        """The record after the run against that before it."""
        if text is None:
            if self.before is None and (self.may_end_before_it_starts() or not was_graceful):
                return
            raise Failure("the startup record is missing")
        after = parse(text)
        before = self.before or {"current_start": 0, "last_start": 0, "last_stop": 0}
        if was_graceful and after == before and not self.raised and self.may_end_before_it_starts():
            return  # it was stopped while it read the tables of the platform: nothing had started
        if was_graceful:
            good = after["current_start"] == 0 and all(
                self.is_of_this_run(after[key]) for key in ("last_start", "last_stop"))
        else:
            # A signal at the end of a stop may come after the record of the graceful stop was written.
            stopped = after["current_start"] == 0 and self.is_of_this_run(after["last_stop"])
            current = after["current_start"] == before["current_start"] or self.is_of_this_run(after["current_start"])
            started = after["last_start"] in (before["last_start"], after["current_start"])
            good = (stopped and self.is_of_this_run(after["last_start"])) or (
                current and started and after["last_stop"] == before["last_stop"])
        if not good:
            raise Failure(f"the startup record was {before} and is {after} after a run within {self.clock_range}"
                          f" that {'was stopped' if was_graceful else 'was killed'}")
