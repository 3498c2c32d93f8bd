"""SIGKILL at random moments of the agent's life: the startup record, the status record and the history are whole each
time, and each verdict is right."""

import collections
import random as random_module
import threading
import time

import boot_verdict
import kept_state
from simulated_system import Failure, SimulatedSystem

# At this speed the verdict comes 100 ms after a start.
SPEED = 200
JOBS = 2

SETTINGS = {
    "EnableResources": ["HostOSInfo", "EthernetDevices"],
    "LoggingLevel": "Warning",
    "EnableDebugLog": "false",
    "CacheRefreshInSeconds": {"Global": "20"},
    "PushInventoryFrequencyInMinutes": "1",
    "InventoryQueryIntervalInSeconds": "1",
    "IPMIDoorBellMonitorInterval": "1",
    "VOKLogLocation": "/scratch/log/mev/vok/vok.log",
    "DebugLogLocation": "/scratch/log/mev/vok/vok-debug.log",
}


class Victim:
    """One host, whose agent is killed again and again."""

    def __init__(self, programs, directory, seed):
        self.random = random_module.Random(seed)
        self.system = SimulatedSystem(programs, directory, "rack-node", SPEED, SETTINGS)
        self.moments = collections.Counter()
        self.kept = kept_state.KeptState(self.system)
        self.inventories = 0  # that came up to the end of the last run
        self.checked = self.verdicts = 0

    def sleep(self, most_milliseconds):
        time.sleep(self.random.uniform(0, most_milliseconds) / 1000)

    def kill_in_a_start(self):
        self.sleep(120)

    def kill_in_a_push(self):
        pushes = self.system.controller.count("requests")
        limit = time.monotonic() + 5
        while self.system.controller.count("requests") == pushes and time.monotonic() < limit:
            pass
        self.sleep(15)

    def kill_in_an_event(self):
        time.sleep(0.25)
        self.system.host("nic", "vmnic3", "link", self.random.choice(["down", "up"]))
        self.sleep(150)

    def kill_in_a_stop(self):
        time.sleep(self.random.uniform(0, 300) / 1000)
        self.system.agent.terminate()
        self.sleep(30)

    def kill_at_any_moment(self):
        self.sleep(500)

    MOMENTS = {"start": kill_in_a_start, "push": kill_in_a_push, "event": kill_in_an_event, "stop": kill_in_a_stop,
               "any": kill_at_any_moment}

    def end(self, run, was_graceful):
        time.sleep(0.02)  # for an event in transit
        received = [each["ID"] for each in self.system.controller.new_events()]
        run.raised = [event for event in received if event in boot_verdict.BOOT_EVENTS]
        run.saw_clock(self.system.clock()[0])
        text = self.system.startup_record()
        run.check_record(text, was_graceful)
        is_complete = run.has_reached_its_verdict(text)
        run.check_events(is_complete)
        before, self.inventories = self.inventories, self.system.controller.count("inventories")
        self.kept.check(run, received, self.inventories - before, was_graceful)
        self.checked += 1
        self.verdicts += is_complete

    def kill(self):
        moment = self.random.choice(sorted(self.MOMENTS))
        run = boot_verdict.Run(self.system)
        self.system.start_agent()
        self.MOMENTS[moment](self)
        was_running = self.system.is_running()
        self.system.kill_agent()
        self.moments[moment if was_running else "too late"] += 1
        self.end(run, self.system.agent.returncode == 0)

    def live_to_the_verdict(self):
        """A run that is stopped in order, or killed after its verdict."""
        run = boot_verdict.Run(self.system)
        self.system.start_agent()
        if self.random.random() < 0.5:
            self.end(run, self.system.stop_agent(20) == 0)
            return
        limit = time.monotonic() + 20
        while time.monotonic() < limit:
            text = self.system.startup_record()
            record = boot_verdict.parse(text) if text else None
            if record and record["current_start"] not in (0, (run.before or {}).get("current_start")) \
                    and record["last_start"] == record["current_start"]:
                break
            time.sleep(0.005)
        self.system.kill_agent()
        self.end(run, False)

    def run(self, kills, has_failed):
        with self.system:
            while not has_failed() and sum(self.moments.values()) - self.moments["too late"] < kills:
                self.kill()
                if self.random.random() < 0.4:
                    self.system.host(self.random.choice(["power-cut", "reboot"]))
                    time.sleep(0.03)  # a host is up for some seconds before its agent starts
                if self.random.random() < 0.5:
                    self.live_to_the_verdict()
            self.system.controller.end()


class Kills:
    """Several hosts at once, since most of the time is waiting."""

    def __init__(self, programs, directory, seed, kills):
        self.victims = [Victim(programs, directory / str(job), seed * JOBS + job) for job in range(JOBS)]
        self.shares = [kills * (job + 1) // JOBS - kills * job // JOBS for job in range(JOBS)]

    @property
    def checked(self):
        return sum(victim.checked for victim in self.victims)

    @property
    def verdicts(self):
        return sum(victim.verdicts for victim in self.victims)

    @property
    def entries(self):
        return sum(victim.kept.entries[-1]["number"] for victim in self.victims if victim.kept.entries)

    def summary(self):
        moments = sum((victim.moments for victim in self.victims), collections.Counter())
        return ", ".join(f"{count} {'at any moment' if what == 'any' else what}" for what, count in
                         sorted(moments.items()))

    def soak(self, report):
        failures = []

        def work(victim, share):
            try:
                victim.run(share, lambda: bool(failures))
            except Exception as failure:  # of any kind: it must not be lost with its thread
                failures.append(failure)

        threads = [threading.Thread(target=work, args=pair) for pair in zip(self.victims, self.shares)]
        for thread in threads:
            thread.start()
        while any(thread.is_alive() for thread in threads):
            for thread in threads:
                thread.join(60 / len(threads))
            report(f"   {self.checked} runs, {self.verdicts} complete boot verdicts")
        if failures:
            raise Failure(str(failures[0])) from failures[0]
