"""What "cmake --install" brings, with which modes.

Arguments: cmake, the build directory.
"""

import os
import pathlib
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD = sys.argv[1:3]

# Everything below the prefix: programs, then files, then directories for the agent alone.
PROGRAMS = {"bin/vokd", "bin/vokcli"}
FILES = {
    "lib/libvok.so",
    "share/man/man5/vok.conf.5",
    "share/man/man8/vokd.8",
    "share/man/man8/vokcli.8",
    "share/vok/vok.conf",
    "share/vok/vok-alerts.yml",
    "share/vok/schema/event.md",
    "share/vok/schema/event.schema.json",
    "share/vok/schema/inventory.md",
    "share/vok/schema/inventory.schema.json",
    "etc/systemd/system/vokd.service",
    "etc/systemd/system/vok-metrics.service",
    "etc/systemd/system/vok-metrics.timer",
    "etc/systemd/system/dev-ipmi0.device.d/vokd.conf",
    "etc/udev/rules.d/60-vokd.rules",
    "etc/tmpfiles.d/vokd.conf",
    "etc/logrotate.d/vokd",
    "data/esxtopconf",
}
PRIVATE_DIRECTORIES = {"data", "log"}


class Install(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.stage = pathlib.Path(folder.name) / "stage"
        self.prefix = self.stage / "opt/mev/vok"

    def install(self, umask=0o022):
        # All rules are of this component; naming it leaves the build's install_manifest.txt as it is.
        subprocess.run(
            [CMAKE, "--install", BUILD, "--prefix", "/opt/mev/vok", "--component", "Unspecified"],
            env={**os.environ, "DESTDIR": str(self.stage)},
            umask=umask,
            check=True,
            stdout=subprocess.DEVNULL,
        )

    def modes(self):
        """Mode by path below the prefix."""
        return {
            str(path.relative_to(self.prefix)): stat.S_IMODE(path.lstat().st_mode) for path in self.prefix.rglob("*")
        }

    def test_all_that_is_needed_is_installed_with_modes_that_do_not_depend_on_the_umask(self):
        for umask in (0o000, 0o022, 0o077):
            with self.subTest(umask=oct(umask)):
                self.install(umask)
                modes = self.modes()
                directories = {path for path in modes if (self.prefix / path).is_dir()}
                self.assertEqual(set(modes) - directories, PROGRAMS | FILES)
                for path, mode in modes.items():
                    expected = 0o644
                    if path in PROGRAMS or path in directories:
                        expected = 0o755
                    if path in PRIVATE_DIRECTORIES:
                        expected = 0o700
                    self.assertEqual(oct(mode), oct(expected), path)
                for parent in ("opt", "opt/mev", "opt/mev/vok"):
                    self.assertEqual(oct(stat.S_IMODE((self.stage / parent).stat().st_mode)), "0o755", parent)
                shutil.rmtree(self.stage)

    def test_nothing_is_installed_outside_the_prefix(self):
        self.install()
        outside = [
            path
            for path in self.stage.rglob("*")
            if not path.is_relative_to(self.prefix) and not self.prefix.is_relative_to(path)
        ]
        self.assertEqual(outside, [])

    def test_directories_that_are_there_keep_their_modes(self):
        (self.prefix / "share").mkdir(parents=True)
        (self.prefix / "share").chmod(0o750)
        (self.stage / "opt").chmod(0o711)
        self.install()
        self.assertEqual(stat.S_IMODE((self.prefix / "share").stat().st_mode), 0o750)
        self.assertEqual(stat.S_IMODE((self.stage / "opt").stat().st_mode), 0o711)

    def test_an_upgrade_keeps_what_the_agent_has_written(self):
        self.install()
        (self.prefix / "log/vokd-crash-1.txt").write_text("trace")
        self.install()
        self.assertEqual((self.prefix / "log/vokd-crash-1.txt").read_text(), "trace")

    def test_an_upgrade_replaces_the_library_and_does_not_write_into_the_one_in_use(self):
        self.install()
        library = self.prefix / "lib/libvok.so"
        with open(library, "rb") as in_use:
            os.utime(library, (0, 0))  # otherwise it counts as up to date
            self.install()
            self.assertNotEqual(os.fstat(in_use.fileno()).st_ino, library.stat().st_ino)

    def test_installed_programs_run_and_find_their_library(self):
        self.install()
        for program in PROGRAMS:
            ran = subprocess.run([self.prefix / program, "--version"], capture_output=True, text=True, check=False)
            self.assertEqual(ran.returncode, 0, ran.stderr)
            self.assertEqual(ran.stdout, f"{pathlib.Path(program).name} 3.3.2.1\n")
            binary = subprocess.run(["ldd", self.prefix / program], capture_output=True, text=True, check=True).stdout
            self.assertIn(f"{self.prefix}/bin/../lib/libvok.so", binary)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
