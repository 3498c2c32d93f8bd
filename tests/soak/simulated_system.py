"""A simulated host with its controller and the agent between them, each a process of its own."""

import json
import os
import pathlib
import signal
import subprocess
import time

SECOND_SIGNAL = 5  # vokd's exit status when a second signal has ended it


class Failure(Exception):
    """A rule does not hold, or a program does not do what it is asked to."""


def wait_until(condition, seconds, what):
    limit = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > limit:
            raise Failure(f"not within {seconds} s: {what}")
        time.sleep(0.01)


class Controller:
    """One run of vok-rmc. A host has one after another when it is taken away and returns."""

    def __init__(self, programs, root, out):
        self.programs, self.out = programs, out
        self.log = open(f"{out}.log", "w", encoding="utf-8")
        self.process = subprocess.Popen([programs / "vok-rmc", "run", "--root", root, "--out", out, "--quiet"],
                                        stdout=self.log, stderr=subprocess.STDOUT)
        self.control("wait", "attached", "1", "--timeout", "30")
        self.events_read = 0

    def control(self, *words):
        finished = subprocess.run([self.programs / "vok-rmc", "control", "--out", self.out, *words],
                                  capture_output=True, text=True, timeout=60)
        if finished.returncode != 0:
            raise Failure(f"vok-rmc control {' '.join(words)}: {finished.stderr.strip()}")
        return finished.stdout

    def count(self, what):
        return json.loads(self.control("status"))[what]

    def new_events(self):
        """The events that have arrived since the last call. A line that is not complete yet is left."""
        path = self.out / "events.jsonl"
        if not path.exists():
            return []
        with open(path, "rb") as file:
            file.seek(self.events_read)
            text = file.read()
        text = text[:text.rfind(b"\n") + 1]
        self.events_read += len(text)
        return [json.loads(line) for line in text.splitlines()]

    def last_inventory(self):
        files = sorted(self.out.glob("inventory-*.json"))
        return json.loads(files[-1].read_text(encoding="utf-8")) if files else None

    def end(self):
        """Ends it; a violation of the protocol, or anything else that it complained of, is a failure."""
        if self.process.poll() is None:
            self.control("quit")
        status = self.process.wait(30)
        self.log.close()
        violations = self.out / "violations.log"
        if status != 0 or (violations.exists() and violations.read_text(encoding="utf-8")):
            detail = violations.read_text(encoding="utf-8") if violations.exists() else ""
            raise Failure(f"vok-rmc ended with status {status}: {detail.strip()}")


class SimulatedSystem:
    """Owns the processes: used in a `with` statement, which ends those that are left."""

    def __init__(self, programs, directory, host, speed, settings):
        self.programs = pathlib.Path(programs)
        self.directory = pathlib.Path(directory)
        self.root = self.directory / "host"
        self.host_name, self.speed = host, speed
        self.agent = self.controller = self.host_process = None
        self.controllers = 0
        self.output = None
        self.directory.mkdir(parents=True, exist_ok=True)
        (self.directory / "settings.json").write_text(json.dumps(settings), encoding="utf-8")

    def __enter__(self):
        self.start_host()
        self.start_controller()
        return self

    def __exit__(self, *failure):
        for process in (self.agent, self.controller and self.controller.process, self.host_process):
            if process and process.poll() is None:
                process.kill()
                process.wait()
        if self.output:
            self.output.close()

    # --- host and controller ---

    def start_host(self):
        log = open(self.directory / "simhost.log", "a", encoding="utf-8")
        with log:
            self.host_process = subprocess.Popen(
                [self.programs / "vok-simhost", "run", "--host", self.host_name, "--root", self.root, "--speed",
                 str(self.speed), "--config", self.directory / "settings.json"], stdout=log, stderr=log)
        socket = self.root / "run/simhost/control.sock"
        wait_until(lambda: socket.exists() or self.host_process.poll() is not None, 30, "vok-simhost is ready")
        if self.host_process.poll() is not None:
            raise Failure((self.directory / "simhost.log").read_text(encoding="utf-8").strip())

    def host(self, *words):
        finished = subprocess.run(
            [self.programs / "vok-simhost", "control", "--root", self.root, *map(str, words)],
            capture_output=True, text=True, timeout=60)
        if finished.returncode != 0:
            raise Failure(f"vok-simhost control {' '.join(map(str, words))}: {finished.stderr.strip()}")
        return finished.stdout

    def show(self):
        return json.loads(self.host("show"))

    def clock(self):
        """The host's wall clock and the time of its boot, in seconds since 1970."""
        state = self.show()
        return state["epoch"], state["epoch"] - state["uptimeSeconds"]

    def start_controller(self):
        self.controllers += 1
        self.controller = Controller(self.programs, self.root, self.directory / f"rmc-{self.controllers}")

    # --- agent ---

    def is_running(self):
        return self.agent is not None and self.agent.poll() is None

    def start_agent(self):
        if self.output:
            self.output.close()
        self.output = open(self.directory / "vokd.log", "a", encoding="utf-8")
        self.agent = subprocess.Popen([self.programs / "vokd", "--host-root", self.root], stdout=self.output,
                                      stderr=subprocess.STDOUT)

    def kill_agent(self):
        self.agent.send_signal(signal.SIGKILL)
        self.agent.wait()

    def stop_agent(self, seconds):
        """SIGTERM, and after these seconds, at least three, a second one. Returns the exit status."""
        self.agent.send_signal(signal.SIGTERM)
        try:
            return self.agent.wait(seconds)
        except subprocess.TimeoutExpired:
            self.agent.send_signal(signal.SIGTERM)
        try:
            return self.agent.wait(20)
        except subprocess.TimeoutExpired:
            raise Failure("a second SIGTERM has not ended vokd within 20 s") from None

    def client(self, *words, statuses):
        """The JSON that vokcli prints; one of the exit statuses is expected."""
        finished = subprocess.run([self.programs / "vokcli", "--host-root", self.root, *words], capture_output=True,
                                  text=True, timeout=60)
        try:
            result = json.loads(finished.stdout)
        except json.JSONDecodeError:
            result = None
        if result is None or finished.returncode not in statuses:
            raise Failure(f"vokcli {' '.join(words)} ended with {finished.returncode}: "
                          f"{(finished.stderr or finished.stdout).strip()[:400]}")
        return result

    def startup_record(self):
        """The text of the startup record; None if there is none."""
        try:
            return (self.root / "var/tmp/mevVOKStartup.txt").read_text(encoding="utf-8")
        except FileNotFoundError:
            return None

    def footprint(self):
        """What the agent holds of the system: descriptors, threads, children, resident KiB."""
        process = pathlib.Path(f"/proc/{self.agent.pid}")
        children = (process / f"task/{self.agent.pid}/children").read_text().split()
        for task in (process / "task").iterdir():
            if task.name != str(self.agent.pid):
                try:
                    children += (task / "children").read_text().split()
                except OSError:
                    pass  # the thread has ended
        resident = next(line for line in (process / "status").read_text().splitlines() if line.startswith("VmRSS"))
        return {"descriptors": len(os.listdir(process / "fd")), "threads": len(os.listdir(process / "task")),
                "children": len(children), "resident": int(resident.split()[1])}
