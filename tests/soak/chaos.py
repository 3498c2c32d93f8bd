"""Faults without end on one host, and at last none: the agent must then be as one that has never seen a fault."""

import collections
import json
import random as random_module
import signal
import time

import boot_verdict
import faults
from simulated_system import SECOND_SIGNAL, Failure, SimulatedSystem, wait_until

SETTINGS = {
    "EnableResources": ["All"],
    "LoggingLevel": "Info",
    "EnableDebugLog": "false",
    "CliMode": "test",
    "CacheRefreshInSeconds": {"Global": "120"},
    "PushInventoryFrequencyInMinutes": "10",
    "InventoryQueryIntervalInSeconds": "5",
    "IPMIDoorBellMonitorInterval": "1",
    "VOKLogLocation": "/scratch/log/mev/vok/vok.log",
    "DebugLogLocation": "/scratch/log/mev/vok/vok-debug.log",
}
# How much the least memory of an agent that has lived through faults may be above the most of an untouched one.
MEMORY_BOUND_KIB = 3072
MOST_ACTIVE = 8
# Host seconds after the end of a fault in which an event may still follow from it: a refresh, and what delays it.
EVENTS_FOLLOW_FOR = 900
CONTROLLER_FAULTS = ("answer", "ipmi", "the controller")


def comparable(inventory):
    """The document without the time at which it was made."""
    document = json.loads(json.dumps(inventory))
    document["HostDataCollection"]["Oem"]["CollectionInfo"].pop("LastCollection")
    return document


def differences(expected, actual, path=""):
    """The places where two documents differ, at most ten."""
    if isinstance(expected, dict) and isinstance(actual, dict):
        found = []
        for key in sorted(set(expected) | set(actual)):
            found += differences(expected.get(key), actual.get(key), f"{path}/{key}")
    elif isinstance(expected, list) and isinstance(actual, list) and len(expected) == len(actual):
        found = [each for i, pair in enumerate(zip(expected, actual)) for each in differences(*pair, f"{path}/{i}")]
    elif isinstance(expected, list) and isinstance(actual, list):
        found = [f"{path}: {len(actual)} elements, not {len(expected)}"]
    else:
        found = [] if expected == actual else [f"{path}: {str(actual)[:80]}, not {str(expected)[:80]}"]
    return found[:10]


class ChaosSystem(SimulatedSystem):
    """A simulated system of which the controller may be taken away."""

    memory = None

    def take_controller_away(self):
        if self.controller is None:
            raise Failure("it is gone already")
        controller, self.controller = self.controller, None
        self.events_left += controller.new_events()
        controller.end()
        self.events_left += controller.new_events()

    def bring_controller_back(self):
        if self.controller is None:
            self.start_controller()

    events_left = []

    def new_events(self):
        events, self.events_left = self.events_left, []
        return events + (self.controller.new_events() if self.controller else [])

    @property
    def crash_record(self):
        return self.root / "opt/mev/vok/data/vok_library_crashes.txt"

    def has_crash_record(self):
        return self.crash_record.exists()

    def forget_crashes(self):
        """As an operator does it who has mended the library."""
        self.crash_record.unlink(missing_ok=True)

    def restore_memory(self):
        self.host("memory", "free", self.memory)


class Chaos:
    """One soak of a host, from a seed."""

    def __init__(self, programs, directory, host, description, seed, minutes, speed):
        self.random = random_module.Random(seed)
        self.programs, self.directory = programs, directory
        self.host, self.description = host, description
        self.minutes, self.speed = minutes, speed
        self.active, self.past = [], []
        self.counts = collections.Counter()
        self.checked = collections.Counter()
        self.run = None

    # --- the untouched host ---

    def measure_untouched(self):
        with ChaosSystem(self.programs, self.directory / "untouched", self.host, self.speed, SETTINGS) as system:
            state = system.show()
            self.simulated = faults.Host(state, self.description)
            ChaosSystem.memory = str(state["memory"]["freeMBytes"])
            system.start_agent()
            system.controller.control("wait", "inventory", "1")
            most_memory = 0
            for number in range(2, 8):  # some builds and pushes, as the other agent will have had
                system.controller.control("ring")
                system.controller.control("wait", "inventory", str(number))
                most_memory = max(most_memory, system.footprint()["resident"])
            self.untouched = comparable(system.controller.last_inventory())
            self.footprint = dict(self.quiet_footprint(system), resident=most_memory)
            status = system.stop_agent(30)
            if status != 0:
                raise Failure(f"the untouched agent ended with status {status}")
            if system.new_events():
                raise Failure("the untouched host has raised events")
            system.controller.end()

    @staticmethod
    def quiet_footprint(system):
        """The least of what the agent holds within two seconds: a poll or a build may be in progress at any time."""
        samples = []
        limit = time.monotonic() + 2
        while time.monotonic() < limit:
            samples.append(system.footprint())
            time.sleep(0.05)
        return {key: min(sample[key] for sample in samples) for key in samples[0]}

    # --- the agent ---

    def start_agent(self):
        self.run = boot_verdict.Run(self.system)
        self.run.is_lossy = False
        self.run.needs_restart = False
        self.run.deaths = set()
        self.note_active()
        self.system.start_agent()
        self.counts["starts"] += 1

    def note_active(self):
        """What is active while the agent runs counts for the whole run."""
        if not self.run:
            return
        for fault in self.active:
            self.run.is_lossy |= fault.name.startswith(CONTROLLER_FAULTS)
            self.run.needs_restart |= fault.needs_restart
            self.run.deaths |= fault.deaths
            self.run.is_held_up |= fault.name.startswith("command ") and " hang " in fault.name

    def end_run(self, was_graceful):
        time.sleep(0.1)  # for an event in transit
        self.collect_events()
        self.run.saw_clock(self.system.clock()[0])
        text = self.system.startup_record()
        self.run.check_record(text, was_graceful)
        self.run.check_events(self.run.has_reached_its_verdict(text), self.run.is_lossy)
        self.checked["boot verdicts"] += 1
        self.run = None

    def kill_agent(self):
        self.system.kill_agent()
        self.counts["SIGKILL"] += 1
        self.end_run(False)

    def stop_agent(self):
        status = self.system.stop_agent(30)
        if status in self.run.deaths:
            self.counts["deaths in a library"] += 1
        elif status == SECOND_SIGNAL and any(fault.hangs for fault in self.active):
            self.counts["SIGTERM while a library hangs"] += 1
        elif status == 0 or (status == -signal.SIGTERM and self.run.may_end_before_it_starts()):
            self.counts["SIGTERM"] += 1  # the second: before the program had begun
        else:
            raise Failure(f"after SIGTERM vokd ended with status {status}")
        self.end_run(status == 0)

    def start_after_a_death(self):
        """The agent has ended by itself: in a library, as a fault made it."""
        status = self.system.agent.returncode
        if status not in self.run.deaths or not self.system.has_crash_record():
            raise Failure(f"vokd has ended by itself with status {status}")
        self.counts["deaths in a library"] += 1
        self.journal(f"the agent has died in a library: {status}")
        self.end_run(False)
        self.start_agent()

    def restart_or_boot(self):
        """The agent ends in some way and starts again, perhaps after a boot of the host."""
        (self.kill_agent if self.random.random() < 0.6 else self.stop_agent)()
        if self.random.random() < 0.5:
            how = self.random.choice(["reboot", "power-cut"])
            self.system.host(how, "--down", str(self.random.randint(30, 900)))
            self.counts[how] += 1
        self.pause(0, 1)
        self.start_agent()

    # --- faults ---

    def inject(self):
        fault = faults.draw(self.random, self.simulated)
        subject = fault.name.split()[:2]
        if len(self.active) >= MOST_ACTIVE or any(each.name.split()[:2] == subject for each in self.active):
            return
        fault.began = time.monotonic()
        try:
            fault.inject(self.system)
        except Failure:
            return  # what it is about is gone by another fault
        self.active.append(fault)
        self.counts[fault.kind] += 1
        self.journal(f"+ {fault.name}")
        self.note_active()

    def lift(self, fault):
        """False if another fault has to be lifted first."""
        try:
            fault.lift(self.system)
        except Failure:
            return False
        fault.ended = time.monotonic()
        self.active.remove(fault)
        self.past.append(fault)
        self.journal(f"- {fault.name}")
        return True

    def lift_all(self):
        for _ in range(len(self.active) + 1):
            for fault in list(self.active):
                self.lift(fault)
        if self.active:
            raise Failure("can't be lifted: " + ", ".join(fault.name for fault in self.active))

    def step_clock(self):
        self.run.saw_clock(self.system.clock()[0])
        step = self.random.choice([-1, 1]) * self.random.choice([1, 7, 60, 600, 4000])
        self.system.host("clock", "jump", f"{step:+d}")
        self.run.saw_clock(self.system.clock()[0])
        self.counts["clock"] += 1
        self.journal(f"clock jump {step:+d}")

    def journal(self, text):
        with open(self.directory / "journal.txt", "a", encoding="utf-8") as file:
            file.write(f"{time.monotonic() - self.began:8.2f} {text}\n")

    # --- events ---

    def collect_events(self):
        now = time.monotonic()
        slack = EVENTS_FOLLOW_FOR / self.speed + 5
        for event in self.system.new_events():
            text = json.dumps(event)
            self.journal(f"  event {event['ID']} {text[:400]}")
            self.checked["events"] += 1
            if event["ID"] in boot_verdict.BOOT_EVENTS:
                self.run.raised.append(event["ID"])
                continue
            if not any(fault.explains(event["ID"], text) and (fault.ended is None or now - fault.ended < slack)
                       for fault in self.active + self.past):
                raise Failure(f"no fault explains the event {text}")

    # --- the whole ---

    def pause(self, least, most):
        time.sleep(self.random.uniform(least, most))

    def step(self, may_restart):
        if not self.system.is_running():
            self.start_after_a_death()
        choice = self.random.random()
        if choice < 0.50:
            self.inject()
        elif choice < 0.85 and self.active:
            self.lift(self.random.choice(self.active))
        elif choice < 0.88:
            self.step_clock()
        elif choice < 0.93 and self.system.controller:
            self.system.controller.control("ring")
        elif choice < 0.98 and may_restart:
            self.restart_or_boot()
        self.collect_events()
        self.pause(0, 0.6)

    def torment(self, report):
        real_seconds = self.minutes * 60 / self.speed
        reported = 0
        while (passed := time.monotonic() - self.began) < real_seconds:
            if passed * 10 // real_seconds > reported:
                reported = passed * 10 // real_seconds
                report(f"   {passed * self.speed / 60:.0f} min: {sum(self.counts.values())} faults and restarts, "
                       f"{self.checked['events']} events, {self.checked['boot verdicts']} boot verdicts")
            # At the end one agent lives on, as what leaks needs time.
            self.step(may_restart=passed < real_seconds * 2 / 3)

    def check_footprint(self):
        """The agent that has lived through faults against the untouched one."""
        most = dict(self.footprint, resident=self.footprint["resident"] + MEMORY_BOUND_KIB)

        def is_clean():
            self.final = self.quiet_footprint(self.system)
            return all(self.final[key] <= most[key] for key in most)
        try:
            wait_until(is_clean, 60, "")
        except Failure:
            raise Failure(f"the agent holds {self.final}, an untouched one {self.footprint}") from None

    def check_inventory(self):
        """The host is whole: within two refreshes the agent's document is that of the untouched host."""
        limit = time.monotonic() + 60 + 600 / self.speed
        while True:
            before = self.system.controller.count("inventories")
            self.system.controller.control("ring")
            self.system.controller.control("wait", "inventory", str(before + 1), "--timeout", "60")
            self.collect_events()
            found = differences(self.untouched, comparable(self.system.controller.last_inventory()))
            if not found:
                self.checked["inventory"] += 1
                return
            if time.monotonic() > limit:
                raise Failure("the inventory differs from that of the untouched host: " + "; ".join(found))

    def check_the_end(self):
        self.lift_all()
        if not self.system.is_running():
            self.start_after_a_death()
        self.check_footprint()
        if self.run.needs_restart or self.system.has_crash_record():
            # A library or a list that is read once was not there, or events of the firmware were lost.
            self.stop_agent()
            self.system.forget_crashes()
            self.start_agent()
        self.check_inventory()
        self.stop_agent()
        self.system.controller.end()

    def soak(self, report):
        self.began = time.monotonic()
        report(f"   untouched: {self.host}, as a measure")
        self.measure_untouched()
        with ChaosSystem(self.programs, self.directory / "chaos", self.host, self.speed, SETTINGS) as system:
            self.system = system
            self.began = time.monotonic()
            self.start_agent()
            self.torment(report)
            self.check_the_end()
