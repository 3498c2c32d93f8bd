"""Three simulated hosts, each with its controller, the real agent and the real node_exporter, watched by the real Prometheus.

Argument: the directory of the programs. All of it is on the loopback interface and below one temporary directory.
"""

import json
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse
import urllib.request

from tools import PROJECT, skip_without, tool

PROGRAMS = pathlib.Path(sys.argv[1])
SPEED = 30  # seconds of a host's time in one of ours
LIMIT = 60  # seconds of ours for any condition

SETTINGS = {
    "EnableResources": ["All"],
    "LoggingLevel": "Info",
    "CacheRefreshInSeconds": {"Global": "240"},
    "PushInventoryFrequencyInMinutes": "1440",
    "VOKLogLocation": "/scratch/log/mev/vok/vok.log",
    "IPMIDoorBellMonitorInterval": "1",
    "InventoryQueryIntervalInSeconds": "5",
}

PROMETHEUS = """
global: {{scrape_interval: 500ms, scrape_timeout: 500ms, evaluation_interval: 500ms}}
rule_files: [alerts.yml]
scrape_configs:
  - job_name: node
    static_configs:
{targets}
"""
TARGET = "      - {{targets: ['127.0.0.1:{port}'], labels: {{instance: '{name}'}}}}"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def hurried(rules):
    """The rules as they are installed, but for the time that a condition has to hold."""
    changed, count = re.subn(r"^( +for:) \d+m$", r"\1 1s", rules, flags=re.MULTILINE)
    assert count > 5, "the rules have another form"
    return changed


class Processes:
    """What a test has started; each is ended by its id."""

    def __init__(self, folder):
        self.folder = folder
        self.started = []

    def start(self, name, *command):
        log = open(self.folder / f"{name}.log", "wb")
        with log:
            process = subprocess.Popen([str(each) for each in command], stdout=log, stderr=log, stdin=subprocess.DEVNULL)
        self.started.append(process)
        return process

    def end_all(self):
        for process in reversed(self.started):
            process.send_signal(signal.SIGTERM)
        limit = time.monotonic() + 15
        for process in reversed(self.started):
            try:
                process.wait(max(0.1, limit - time.monotonic()))
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


class Host:
    """A simulated host with its controller, its agent and its node_exporter."""

    def __init__(self, name, folder, processes):
        self.name = name
        self.folder = folder / name
        self.folder.mkdir()
        self.root, self.rmc, self.collected = (self.folder / each for each in ("host", "rmc", "textfile"))
        self.collected.mkdir()
        settings = self.folder / "settings.json"
        settings.write_text(json.dumps(SETTINGS))
        self.port = free_port()
        start = processes.start
        start(f"{name}-host", PROGRAMS / "vok-simhost", "run", "--host", "rack-node", "--root", self.root,
              "--speed", SPEED, "--config", settings)
        start(f"{name}-rmc", PROGRAMS / "vok-rmc", "run", "--root", self.root, "--out", self.rmc, "--quiet")
        start(f"{name}-exporter", tool("prometheus-node-exporter"), "--collector.disable-defaults",
              "--collector.textfile", f"--collector.textfile.directory={self.collected}",
              f"--web.listen-address=127.0.0.1:{self.port}")
        self.control("vok-rmc", "--out", self.rmc, "wait", "attached", 1)
        self.agent = start(f"{name}-agent", PROGRAMS / "vokd", "--host-root", self.root)

    def control(self, program, *words):
        command = [str(each) for each in (PROGRAMS / program, "control", *words)]
        subprocess.run(command, check=True, timeout=LIMIT, stdout=subprocess.DEVNULL)

    def change(self, *words):
        self.control("vok-simhost", "--root", self.root, *words)

    def client(self, *words):
        command = [str(each) for each in (PROGRAMS / "vokcli", "--host-root", self.root, *words)]
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=LIMIT)

    def collect(self):
        """What vok-metrics.timer does each minute."""
        ran = self.client("status", "--prometheus", "--output", self.collected / "vok.prom")
        assert ran.returncode in (0, 1, 2), ran.stderr


class Fleet(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vok-fleet-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        processes = Processes(self.folder)
        self.addCleanup(processes.end_all)
        self.hosts = [Host(name, self.folder, processes) for name in ("one", "two", "three")]
        self.start_prometheus(processes)

    def start_prometheus(self, processes):
        targets = "\n".join(TARGET.format(port=host.port, name=host.name) for host in self.hosts)
        (self.folder / "prometheus.yml").write_text(PROMETHEUS.format(targets=targets))
        rules = (PROJECT / "data/vok-alerts.yml").read_text(encoding="utf-8")
        (self.folder / "alerts.yml").write_text(hurried(rules))
        self.port = free_port()
        processes.start("prometheus", tool("prometheus"), f"--config.file={self.folder}/prometheus.yml",
                        f"--storage.tsdb.path={self.folder}/data", f"--web.listen-address=127.0.0.1:{self.port}")

    def ask(self, path, **parameters):
        """The data of an answer; null while Prometheus starts."""
        url = f"http://127.0.0.1:{self.port}/api/v1/{path}?{urllib.parse.urlencode(parameters)}"
        try:
            with urllib.request.urlopen(url, timeout=5) as answer:
                return json.load(answer)["data"]
        except OSError:
            return None

    def values(self, query):
        """The value of each host; empty while there is none."""
        data = self.ask("query", query=query) or {"result": []}
        return {each["metric"].get("instance"): float(each["value"][1]) for each in data["result"]}

    def firing(self):
        data = self.ask("alerts") or {"alerts": []}
        return {(each["labels"]["alertname"], each["labels"].get("instance")) for each in data["alerts"]
                if each["state"] == "firing"}

    def wait_until(self, condition, what):
        limit = time.monotonic() + LIMIT
        while not condition():
            if time.monotonic() > limit:
                shown = "".join(host.client("status").stdout for host in self.hosts)
                self.fail(f"{what} within {LIMIT} s; firing: {self.firing()}\n{shown}")
            for host in self.hosts:
                host.collect()
            time.sleep(0.2)

    def check_form(self, metrics):
        checked = subprocess.run([tool("promtool"), "check", "metrics"], input=metrics, capture_output=True, text=True,
                                 check=False)
        self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))
        samples = [line.rsplit(" ", 1)[0] for line in metrics.splitlines() if not line.startswith("#")]
        self.assertEqual({each for each in samples if samples.count(each) > 1}, set())

    def test_faults_of_a_fleet_become_alerts_and_healthy_hosts_have_none(self):
        one, two, three = self.hosts
        every = {host.name: 1.0 for host in self.hosts}
        self.wait_until(lambda: self.values('vok_push_last_answer{answer="accepted"} == 1') == every, "accepted pushes")
        self.assertEqual(self.values("vok_up"), every)
        self.assertEqual(self.values('vok_section_records{section="Volumes",health="ok"}'),
                         {host.name: 4.0 for host in self.hosts})
        self.assertEqual(self.firing(), set())
        self.check_form((one.collected / "vok.prom").read_text())

        one.agent.kill()
        one.agent.wait()
        two.control("vok-rmc", "--out", two.rmc, "answer", "status", 5, "--of", "inventory", "--count", 0)
        two.control("vok-rmc", "--out", two.rmc, "ring")
        three.change("raid", "disk", "SK71620581", "252:1", "fail")
        three.change("nic", "vmnic3", "link", "down")
        expected = {("VokAgentGone", "one"), ("VokControllerRefuses", "two"), ("VokDriveFailed", "three"),
                    ("VokDriveMissing", "three"), ("VokVolumeDegraded", "three"), ("VokLinkLost", "three")}
        self.wait_until(lambda: expected <= self.firing(), f"firing: {expected}")
        self.assertEqual(self.firing(), expected)


if __name__ == "__main__":
    skip_without("prometheus", "promtool", "prometheus-node-exporter")
    unittest.main(argv=["fleetTest"])
