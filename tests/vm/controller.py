"""vok-rmc as the management controller of the guest, and what it received."""

import json
import re
import signal
import subprocess
import time


class ControllerError(RuntimeError):
    pass


class Controller:
    def __init__(self, program, work):
        self.socket = work / "controller.sock"
        self.received = work / "rmc"
        self.log = work / "vok-rmc.log"
        self._program = program
        self._process = None

    def start(self):
        with self.log.open("ab") as log:
            self._process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", self._program, "run", "--guest", self.socket, "--out", self.received],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True,
            )  # fmt: skip

    def control(self, *words):
        ran = subprocess.run(
            [self._program, "control", "--out", self.received, *words], capture_output=True, text=True, check=False
        )
        if ran.returncode != 0:
            raise ControllerError(f"vok-rmc control {' '.join(words)}: {ran.stderr.strip()}")
        return ran.stdout

    def wait(self, what, count, seconds):
        self.control("wait", what, str(count), "--timeout", str(seconds))

    def status(self):
        return json.loads(self.control("status"))

    def quit(self):
        """Returns the exit status: 3 if the protocol was violated."""
        self.control("quit")
        return self._ended()

    def pause(self):
        self._process.send_signal(signal.SIGSTOP)

    def resume(self):
        self._process.send_signal(signal.SIGCONT)

    def end(self):
        if self._process is not None:
            self._process.kill()
            self._ended()

    def _ended(self):
        status = self._process.wait(20)
        self._process = None
        return status

    def events(self):
        file = self.received / "events.jsonl"
        return [json.loads(line) for line in file.read_text().splitlines()] if file.exists() else []

    def wait_for_event(self, known, number, seconds):
        """The first event with this number after the first `known` ones."""
        deadline = time.monotonic() + seconds
        while True:
            for event in self.events()[known:]:
                if event.get("ID") == number:
                    return event
            if time.monotonic() > deadline:
                came = [event.get("ID") for event in self.events()[known:]]
                raise ControllerError(f"event {number} did not come in {seconds} s; came: {came}")
            time.sleep(0.1)

    def inventories(self):
        return sorted(self.received.glob("inventory-*.json"))

    def wait_for_inventory(self, known, seconds):
        """The text of the first inventory after the first `known` ones."""
        deadline = time.monotonic() + seconds
        while len(self.inventories()) <= known:
            if time.monotonic() > deadline:
                raise ControllerError(f"no inventory came in {seconds} s")
            time.sleep(0.1)
        return self.inventories()[known].read_text()

    def wait_for_collection(self, known, holds, seconds):
        """The content of the first inventory after the first `known` ones for which `holds` is true; otherwise of the last
        one, after the time."""
        deadline = time.monotonic() + seconds
        while True:
            collection = {}
            for file in self.inventories()[known:]:
                collection = json.loads(file.read_text())["HostDataCollection"]
                if holds(collection):
                    return collection
            if time.monotonic() > deadline:
                return collection
            time.sleep(0.1)

    def violations(self):
        file = self.received / "violations.log"
        return file.read_text().splitlines() if file.exists() else []

    def transfers(self):
        """Bytes, chunks and seconds of each inventory."""
        found = re.findall(r"^inventory \d+: (\d+) bytes in (\d+) chunks, ([\d.]+) s", self.log.read_text(), re.MULTILINE)
        return [(int(size), int(chunks), float(seconds)) for size, chunks, seconds in found]
