"""The files for the host's services: the unit, the rotation, the clean-up rule and the device rule."""

import configparser
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
DATA = PROJECT / "data"
UNIT = DATA / "vokd.service"


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, **options)


def needs(tool):
    return unittest.skipUnless(shutil.which(tool), f"{tool} is not installed")


class Unit(unittest.TestCase):
    def setUp(self):
        self.unit = configparser.ConfigParser(strict=False, interpolation=None)
        self.unit.optionxform = str
        self.unit.read_string(UNIT.read_text())
        self.service = self.unit["Service"]

    def test_it_starts_after_the_ipmi_device_and_without_it(self):
        for setting in ("Wants", "After"):
            self.assertIn("dev-ipmi0.device", self.unit["Unit"][setting].split())
        self.assertNotIn("Requires", self.unit["Unit"])
        self.assertNotIn("BindsTo", self.unit["Unit"])

    def test_a_refused_setting_does_not_keep_the_agent_from_starting(self):
        self.assertEqual(self.service["ExecStartPre"], "-/opt/mev/vok/bin/vokd --check-config")

    def test_a_stop_has_the_time_that_it_may_take(self):
        self.assertGreaterEqual(int(self.service["TimeoutStopSec"]), 60)
        self.assertNotIn("KillSignal", self.service)

    def test_reload_opens_the_logs_again(self):
        self.assertEqual(self.service["ExecReload"], "/bin/kill -HUP $MAINPID")

    def test_a_crash_is_followed_by_a_restart_and_a_wrong_command_line_is_not(self):
        self.assertEqual(self.service["Restart"], "on-failure")
        self.assertEqual(self.service["RestartPreventExitStatus"].split(), ["2", "4"])
        self.assertEqual(self.service["RestartSec"], "30")

    def test_what_the_agent_needs_is_left_open(self):
        capabilities = self.service["CapabilityBoundingSet"].split()
        for needed in ("CAP_SYS_RAWIO", "CAP_SYS_ADMIN", "CAP_SYS_MODULE", "CAP_MKNOD"):
            self.assertIn(needed, capabilities)
        self.assertIn("char-* rwm", self.service["DeviceAllow"])
        self.assertIn("@module", self.service["SystemCallFilter"].split())
        for closed in (
            "PrivateTmp",  # the startup record is in /var/tmp
            "PrivateDevices",
            "PrivateNetwork",
            "ProtectHostname",  # the name would stay the one at the start
            "ProtectKernelModules",
            "MemoryDenyWriteExecute",
            "ProcSubset",
            "User",
        ):
            self.assertNotIn(closed, self.service)

    def test_each_open_or_restricted_setting_is_explained(self):
        table = (PROJECT / "docs/operation.md").read_text().split("### What the unit leaves open")[1].split("\n## ")[0]
        for capability in self.service["CapabilityBoundingSet"].split():
            self.assertIn(f"`{capability}`", table)
        for setting in ("DeviceAllow", "PrivateTmp", "ProtectHostname", "MemoryDenyWriteExecute", "PrivateNetwork"):
            self.assertIn(f"`{setting}`", table)

    @needs("systemd-analyze")
    def test_systemd_accepts_it(self):
        with tempfile.TemporaryDirectory() as folder:
            copy = pathlib.Path(folder) / "vokd.service"
            # The programs and the manual are not installed where the test runs.
            text = re.sub(r"/opt/mev/vok/bin/vokd", "/bin/true", UNIT.read_text())
            copy.write_text(re.sub(r"^Documentation=.*\n", "", text, flags=re.MULTILINE))
            ran = run("systemd-analyze", "verify", "--recursive-errors=no", copy)
            self.assertEqual((ran.returncode, ran.stderr), (0, ""))

    @needs("systemd-analyze")
    def test_its_exposure_is_no_more_than_the_document_says(self):
        ran = run("systemd-analyze", "security", "--offline=true", "--threshold=35", UNIT)
        self.assertEqual(ran.returncode, 0, ran.stdout[-200:] + ran.stderr)


class Metrics(unittest.TestCase):
    def setUp(self):
        self.service, self.timer = (self.read(name) for name in ("vok-metrics.service", "vok-metrics.timer"))

    def read(self, name):
        unit = configparser.ConfigParser(strict=False, interpolation=None)
        unit.optionxform = str
        unit.read_string((DATA / name).read_text())
        return unit

    def test_they_are_written_once_a_minute_to_the_folder_that_node_exporter_reads(self):
        service = self.service["Service"]
        folder = "/var/lib/prometheus/node-exporter"
        self.assertEqual(self.timer["Timer"]["OnUnitActiveSec"], "1min")
        self.assertEqual(
            service["ExecStart"], f"/opt/mev/vok/bin/vokcli status --prometheus --output {folder}/vok.prom"
        )
        self.assertEqual(service["ReadWritePaths"], f"-{folder}")
        self.assertEqual(self.service["Unit"]["ConditionPathIsDirectory"], folder)

    def test_a_verdict_on_the_agent_is_no_failure_of_the_unit(self):
        self.assertEqual(self.service["Service"]["SuccessExitStatus"].split(), ["1", "2"])

    def test_it_is_closed_to_what_it_does_not_need(self):
        for setting in ("NoNewPrivileges", "PrivateNetwork", "PrivateDevices", "MemoryDenyWriteExecute"):
            self.assertEqual(self.service["Service"][setting], "yes")
        self.assertEqual(self.service["Service"]["ProtectSystem"], "strict")

    @needs("systemd-analyze")
    def test_systemd_accepts_them(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("vok-metrics.service", "vok-metrics.timer"):
                text = (DATA / name).read_text().replace("/opt/mev/vok/bin/vokcli", "/bin/true")
                text = re.sub(r"^Documentation=.*\n", "", text, flags=re.MULTILINE)
                (pathlib.Path(folder) / name).write_text(text)
            ran = run("systemd-analyze", "verify", "--recursive-errors=no", pathlib.Path(folder) / "vok-metrics.timer")
            self.assertEqual((ran.returncode, ran.stderr), (0, ""))

    @needs("systemd-analyze")
    def test_its_exposure_is_no_more_than_the_document_says(self):
        ran = run("systemd-analyze", "security", "--offline=true", "--threshold=16", DATA / "vok-metrics.service")
        self.assertEqual(ran.returncode, 0, ran.stdout[-200:] + ran.stderr)


class Rotation(unittest.TestCase):
    def setUp(self):
        text = (DATA / "vokd.logrotate").read_text()
        self.logs = re.search(r"^(/[^{]*)\{", text, re.MULTILINE).group(1).split()
        self.script = re.search(r"postrotate\n(.*?)\n *endscript", text, re.DOTALL).group(1)
        self.words = text.split()

    def test_it_names_the_logs_of_the_settings_that_come_with_it(self):
        settings = (DATA / "vok.conf").read_text()
        for log in self.logs:
            self.assertIn(f'"{log}"', settings)
        self.assertEqual(len(self.logs), 2)

    def test_the_agent_makes_the_new_files_and_the_last_copy_stays_plain(self):
        for word in ("nocreate", "delaycompress", "missingok", "sharedscripts"):
            self.assertIn(word, self.words)
        self.assertNotIn("copytruncate", self.words)

    def postrotate(self, pid):
        with tempfile.TemporaryDirectory() as folder:
            lock = pathlib.Path(folder) / "vokd.pid"
            if pid is not None:
                lock.write_text(f"{pid}\n")
            return run("sh", "-c", self.script.replace("/var/run/vokd.pid", str(lock)))

    def test_it_succeeds_without_an_agent(self):
        ran = self.postrotate(None)
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))

    def test_a_left_over_number_that_another_program_has_now_gets_no_signal(self):
        with subprocess.Popen(["sleep", "100"]) as other:
            try:
                self.assertEqual(self.postrotate(other.pid).returncode, 0)
                self.assertIsNone(other.poll())
            finally:
                other.kill()

    def test_the_agent_gets_sighup(self):
        with tempfile.TemporaryDirectory() as folder:
            # The kernel names a process after its file, which has to be a program: busy waiting for a line.
            agent = pathlib.Path(folder) / "vokd"
            shutil.copy(os.path.realpath("/bin/cat"), agent)
            with subprocess.Popen([agent], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as process:
                self.assertEqual(self.postrotate(process.pid).returncode, 0)
                self.assertEqual(process.wait(timeout=20), -1, "ended by SIGHUP")

    @needs("logrotate")
    def test_logrotate_accepts_it(self):
        with tempfile.TemporaryDirectory() as folder:
            ran = run("logrotate", "--debug", "--state", f"{folder}/state", DATA / "vokd.logrotate")
            self.assertEqual(ran.returncode, 0, ran.stderr)
            self.assertNotIn("error:", ran.stderr)


class CleanUp(unittest.TestCase):
    @needs("systemd-tmpfiles")
    def test_the_startup_record_is_spared_and_its_neighbours_are_not(self):
        with tempfile.TemporaryDirectory() as folder:
            names = ("mevVOKStartup.txt", "mevVOKOther.txt")
            for name in names:
                (pathlib.Path(folder) / name).write_text("")
                os.utime(pathlib.Path(folder) / name, (1000000, 1000000))
            rules = pathlib.Path(folder) / "rules.conf"
            # The ages of the other times can't be set.
            own = (DATA / "vokd.tmpfiles.conf").read_text().replace("/var/tmp/", f"{folder}/")
            rules.write_text(f"d {folder} - - - m:30d\n{own}")
            ran = run("systemd-tmpfiles", "--clean", rules)
            self.assertEqual(ran.returncode, 0, ran.stderr)
            left = {name for name in names if (pathlib.Path(folder) / name).exists()}
            self.assertEqual(left, {"mevVOKStartup.txt"})

    def test_the_rule_names_the_record(self):
        lines = [line for line in (DATA / "vokd.tmpfiles.conf").read_text().splitlines() if not line.startswith("#")]
        self.assertEqual(lines, ["x /var/tmp/mevVOKStartup.txt"])


class DeviceRule(unittest.TestCase):
    def test_the_node_that_the_unit_waits_for_becomes_a_device_unit(self):
        lines = [line for line in (DATA / "vokd.rules").read_text().splitlines() if not line.startswith("#")]
        self.assertEqual(lines, ['SUBSYSTEM=="ipmi", KERNEL=="ipmi0", TAG+="systemd"'])

    def test_a_machine_without_the_node_does_not_wait_long(self):
        self.assertIn("\nJobRunningTimeoutSec=20\n", (DATA / "dev-ipmi0.conf").read_text())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
