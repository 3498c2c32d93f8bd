"""The maintainer scripts of the package of the agent."""

import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "packaging"
STUB = '#!/bin/sh\necho "${0##*/} $*" >>"$CALLS"\n'


class MaintainerScripts(unittest.TestCase):
    """Run with DPKG_ROOT, as dpkg does for a root directory that it has not changed into."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)
        self.root = self.work / "root"
        self.stubs = self.work / "stubs"
        for directory in (self.root / "run", self.root / "etc", self.stubs):
            directory.mkdir(parents=True)
        for name in ("systemctl", "deb-systemd-helper", "deb-systemd-invoke", "udevadm", "systemd-tmpfiles"):
            self.stub(name, STUB)
        self.in_container(False)
        self.calls = self.work / "calls"

    def stub(self, name, text):
        (self.stubs / name).write_text(text)
        (self.stubs / name).chmod(0o755)

    def in_container(self, inside):
        self.stub("systemd-detect-virt", f"#!/bin/sh\nexit {0 if inside else 1}\n")

    def with_systemd(self):
        (self.root / "run/systemd/system").mkdir(parents=True)

    def with_udev(self):
        (self.root / "run/udev").mkdir(parents=True)
        control = socket.socket(socket.AF_UNIX)
        self.addCleanup(control.close)
        control.bind(str(self.root / "run/udev/control"))

    def run_anyhow(self, name, *arguments):
        self.calls.write_text("")
        environment = {"DPKG_ROOT": str(self.root), "PATH": f"{self.stubs}:/usr/bin:/bin", "CALLS": str(self.calls)}
        return subprocess.run(["/bin/sh", str(SCRIPTS / name), *arguments], env=environment, capture_output=True, text=True,
                              timeout=60, check=False)

    def run_script(self, name, *arguments):
        ran = self.run_anyhow(name, *arguments)
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))
        return ran.stdout

    def called(self, program):
        return [line for line in self.calls.read_text().splitlines() if line.startswith(f"{program} ")]

    def put(self, path, text="x"):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text)

    def test_they_are_of_the_plain_shell(self):
        for name in ("preinst", "postinst", "prerm", "postrm"):
            text = (SCRIPTS / name).read_text()
            self.assertTrue(text.startswith("#!/bin/sh\nset -e\n"))
            if shutil.which("dash"):
                subprocess.run(["dash", "-n", str(SCRIPTS / name)], check=True)

    def test_an_installation_starts_the_agent_also_in_the_place_of_one_that_was_installed_from_source(self):
        self.with_systemd()
        self.run_script("postinst", "configure", "")
        self.assertEqual(self.called("systemctl"), ["systemctl daemon-reload"])
        self.assertEqual(self.called("deb-systemd-invoke"), ["deb-systemd-invoke restart vokd.service"])
        self.assertIn("deb-systemd-helper enable vokd.service", self.called("deb-systemd-helper"))

    def test_an_installation_applies_the_rules_for_devices_and_for_temporary_files(self):
        self.with_udev()
        self.run_script("postinst", "configure", "")
        self.assertEqual(self.called("udevadm"), ["udevadm control --reload", "udevadm trigger --subsystem-match=ipmi"])
        self.assertEqual(self.called("systemd-tmpfiles"), [f"systemd-tmpfiles --root={self.root} --create vokd.conf"])

    def test_the_choice_to_enable_the_unit_is_kept_from_a_removal_to_the_next_installation(self):
        self.run_script("postinst", "configure", "")
        self.assertEqual(self.called("deb-systemd-helper")[-1], "deb-systemd-helper update-state vokd.service")
        self.run_script("postrm", "remove")
        self.assertEqual(self.called("deb-systemd-helper"), ["deb-systemd-helper mask vokd.service"])
        self.run_script("postrm", "purge")
        self.assertEqual(self.called("deb-systemd-helper"),
                         ["deb-systemd-helper purge vokd.service", "deb-systemd-helper unmask vokd.service"])

    def test_an_upgrade_restarts_the_agent(self):
        self.with_systemd()
        self.run_script("postinst", "configure", "3.3.2.1-1")
        self.assertEqual(self.called("deb-systemd-invoke"), ["deb-systemd-invoke restart vokd.service"])

    def test_a_unit_that_was_disabled_stays_so(self):
        self.stub("deb-systemd-helper", STUB + 'case "$*" in *was-enabled*) exit 1 ;; esac\n')
        self.run_script("postinst", "configure", "3.3.2.1-1")
        self.assertNotIn("deb-systemd-helper enable vokd.service", self.called("deb-systemd-helper"))

    def test_nothing_is_started_in_a_container_and_without_systemd(self):
        self.assertEqual(self.run_script("postinst", "configure", ""), "")
        self.assertEqual(self.called("deb-systemd-invoke") + self.called("systemctl"), [])
        self.with_systemd()
        self.in_container(True)
        self.assertIn("not started", self.run_script("postinst", "configure", ""))
        self.assertEqual(self.called("deb-systemd-invoke"), [])

    SOURCE = {"logrotate.d/vokd": "/opt/mev/vok/etc/./logrotate.d/vokd",
              "systemd/system/vokd.service": "/opt/mev/vok/etc/./systemd/system/vokd.service",
              "systemd/system/multi-user.target.wants/vokd.service": "/opt/mev/vok/etc/systemd/system/vokd.service"}

    def installed_from_source(self):
        for name, target in {**self.SOURCE, "other": "/opt/mev/vok/share/vok"}.items():
            (self.root / "etc" / name).parent.mkdir(parents=True, exist_ok=True)
            (self.root / "etc" / name).symlink_to(target)
        self.put("opt/mev/vok/etc/logrotate.d/vokd")

    def links(self):
        return {str(path.relative_to(self.root / "etc")) for path in (self.root / "etc").rglob("*") if path.is_symlink()}

    def test_the_links_of_an_installation_from_source_make_way_when_the_files_of_the_package_are_there(self):
        self.installed_from_source()
        self.run_script("preinst", "install")
        self.assertEqual(self.links(), {*self.SOURCE, "other"} - {"logrotate.d/vokd"}, "dpkg would follow it")
        self.assertIn("removing the links", self.run_script("postinst", "configure", ""))
        self.assertEqual(self.links(), {"other"})
        self.assertEqual(self.run_script("preinst", "install"), "")

    def test_an_installation_that_fails_leaves_that_from_source_as_it_was(self):
        self.installed_from_source()
        self.run_script("preinst", "install")
        self.run_script("postrm", "abort-install")
        self.assertEqual(self.links(), {*self.SOURCE, "other"})
        (self.root / "etc/logrotate.d/vokd").unlink()
        self.run_script("postrm", "remove")
        self.assertFalse((self.root / "etc/logrotate.d/vokd").is_symlink(), "only a failure")
        self.assertTrue((self.root / "opt/mev/vok/etc/logrotate.d/vokd").exists())

    def test_a_failed_installation_links_nothing_on_a_host_that_had_none_from_source(self):
        self.run_script("preinst", "install")
        self.run_script("postrm", "abort-install")
        self.assertEqual(self.links(), set())

    def test_a_link_of_the_administrators_own_stays(self):
        self.put("etc/logrotate.d/vokd")
        self.run_script("preinst", "install")
        self.assertTrue((self.root / "etc/logrotate.d/vokd").exists())
        (self.root / "etc/logrotate.d/vokd").unlink()
        (self.root / "etc/logrotate.d/vokd").symlink_to("/etc/rotation/vokd")
        self.run_script("preinst", "install")
        self.assertTrue((self.root / "etc/logrotate.d/vokd").is_symlink())

    def agent(self, **options):
        """A process that is called vokd, whose number the lock names."""
        program = self.work / "vokd"
        shutil.copy(os.path.realpath("/bin/cat"), program)
        process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, **options)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.addCleanup(process.stdin.close)
        self.put("run/vokd.pid", f"{process.pid}\n")
        return process

    def test_a_removal_stops_an_agent_that_systemd_has_not_started(self):
        process = self.agent()
        # This test is its parent, and has to wait for it, so that it is gone.
        script = subprocess.Popen(["/bin/sh", str(SCRIPTS / "prerm"), "remove"], env={"DPKG_ROOT": str(self.root), "PATH":
                                  "/usr/bin:/bin"}, stdout=subprocess.PIPE, text=True)
        self.assertEqual(process.wait(timeout=20), -signal.SIGTERM)
        self.assertIn(f"process {process.pid}", script.communicate(timeout=20)[0])
        self.assertEqual(script.returncode, 0)

    def test_a_removal_fails_if_the_agent_does_not_end(self):
        self.stub("sleep", "#!/bin/sh\n")
        process = self.agent(preexec_fn=lambda: signal.signal(signal.SIGTERM, signal.SIG_IGN))
        ran = self.run_anyhow("prerm", "remove")
        self.assertEqual((ran.returncode, ran.stderr), (1, f"vok: process {process.pid} has not ended within 90 s\n"))

    def test_a_removal_stops_the_units_that_there_are(self):
        self.with_systemd()
        self.put("lib/systemd/system/vokd.service")
        self.run_script("prerm", "remove")
        self.assertEqual(self.called("deb-systemd-invoke"), ["deb-systemd-invoke stop vokd.service"])
        self.put("lib/systemd/system/vok-metrics.timer")
        self.run_script("prerm", "deconfigure", "in-favour", "other")
        self.assertEqual(self.called("deb-systemd-invoke"),
                         ["deb-systemd-invoke stop vok-metrics.timer", "deb-systemd-invoke stop vokd.service"])

    def test_an_upgrade_stops_nothing_before_the_new_files_are_there(self):
        process = self.agent()
        self.with_systemd()
        self.assertEqual(self.run_script("prerm", "upgrade", "3.3.2.1-2"), "")
        self.assertEqual(self.calls.read_text(), "")
        self.assertIsNone(process.poll())

    def test_an_agent_whose_files_were_replaced_is_named(self):
        process = self.agent()
        self.assertEqual(self.run_script("postinst", "configure", "3.3.2.1-1"), "")
        (self.work / "vokd").unlink()
        expected = f"vok: process {process.pid} still is the previous version of the agent: restart it\n"
        self.assertEqual(self.run_script("postinst", "configure", "3.3.2.1-1"), expected)
        self.assertEqual(self.run_script("postinst", "configure", ""), expected, "also one that was installed from source")
        self.assertIsNone(process.poll())

    def test_a_left_over_number_that_another_program_has_now_gets_no_signal(self):
        with subprocess.Popen(["sleep", "100"]) as other:
            try:
                self.put("run/vokd.pid", f"{other.pid}\n")
                self.assertEqual(self.run_script("prerm", "remove"), "")
                self.assertIsNone(other.poll())
            finally:
                other.kill()

    STATE = ("opt/mev/vok/data/vokHistory.bin", "opt/mev/vok/log/vokd-crash-1.txt", "scratch/log/mev/vok/vok.log",
             "var/tmp/mevVOKStartup.txt", "var/lib/prometheus/node-exporter/vok.prom", "run/vokd.pid", "run/vokStatus.bin",
             "run/mevvok", "run/mevvokcli123")

    def files(self):
        return {str(path.relative_to(self.root)) for path in self.root.rglob("*") if not path.is_dir()}

    def test_a_removal_keeps_what_the_agent_has_written(self):
        for path in self.STATE:
            self.put(path)
        self.assertEqual(self.run_script("postrm", "remove"), "")
        self.assertEqual(self.files(), set(self.STATE))

    def test_a_purge_removes_what_the_agent_has_written_and_says_so(self):
        for path in self.STATE:
            self.put(path)
        (self.root / "etc/config/mev/vok").mkdir(parents=True)
        printed = self.run_script("postrm", "purge")
        self.assertEqual(self.files(), set())
        for directory in ("scratch", "opt/mev", "etc/config"):
            self.assertFalse((self.root / directory).exists(), directory)
        for path in ("opt/mev/vok/data", "opt/mev/vok/log", "scratch/log/mev/vok", "var/tmp/mevVOKStartup.txt"):
            self.assertIn(f"vok: removing {self.root}/{path}\n", printed)

    def test_a_purge_removes_the_links_of_enabled_units(self):
        wants = self.root / "etc/systemd/system/timers.target.wants"
        wants.mkdir(parents=True)
        (wants / "vok-metrics.timer").symlink_to("/lib/systemd/system/vok-metrics.timer")
        (wants / "other.timer").symlink_to("/lib/systemd/system/other.timer")
        self.run_script("postrm", "purge")
        self.assertEqual(os.listdir(wants), ["other.timer"])

    def test_a_purge_keeps_what_is_not_the_agents(self):
        others = {"etc/config/mev/vok/hba.conf", "scratch/log/other.log", "var/tmp/mevVOKStartup.txt.moved-abc/file",
                  "opt/mev/other/file"}
        for path in others:
            self.put(path)
        self.run_script("postrm", "purge")
        self.assertEqual(self.files(), others)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
