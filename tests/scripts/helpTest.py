"""The help texts keep to 80 columns, and the man pages name all that the programs have."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(os.environ["VOK_BUILD"]) / "bin"
PAGES = PROJECT / "docs/man"
SUBCOMMANDS = {
    "vokd": [],
    "vokcli": ["test", "inject", "events", "status", "history"],
    "vok-simhost": ["run", "control", "play"],
    "vok-rmc": ["run", "control", "report"],
}


def help_of(program, *subcommand):
    command = [str(PROGRAMS / program), *subcommand, "--help"]
    finished = subprocess.run(command, capture_output=True, text=True, timeout=20)
    assert finished.returncode == 0 and not finished.stderr, (command, finished)
    return finished.stdout


def all_help_of(program):
    return "\n".join([help_of(program), *(help_of(program, each) for each in SUBCOMMANDS[program])])


def text_of(page):
    """Without the escapes and fonts of the source."""
    text = (PAGES / page).read_text(encoding="utf-8").replace("\\-", "-")
    return re.sub(r'\\f[A-Z]|["\s]+', " ", re.sub(r"^\.[A-Z]+\b", " ", text, flags=re.MULTILINE))


class Help(unittest.TestCase):
    def check_width(self, program):
        lines = all_help_of(program).split("\n")
        self.assertGreater(len(lines), 10)
        self.assertEqual([line for line in lines if len(line) > 80], [])

    def test_vokd_keeps_to_80_columns(self):
        self.check_width("vokd")

    def test_vokcli_keeps_to_80_columns(self):
        self.check_width("vokcli")

    def test_vok_simhost_keeps_to_80_columns(self):
        self.check_width("vok-simhost")

    def test_vok_rmc_keeps_to_80_columns(self):
        self.check_width("vok-rmc")

    def test_each_subcommand_is_listed_here(self):
        for program, names in SUBCOMMANDS.items():
            text = help_of(program)
            section = text.split("\nSubcommands:\n")[1].split("\n\n")[0] if "\nSubcommands:\n" in text else ""
            self.assertEqual(set(re.findall(r"^  (\w+)", section, re.MULTILINE)), set(names))


class ManPages(unittest.TestCase):
    def test_they_format_without_warnings(self):
        if not shutil.which("groff"):
            self.skipTest("groff is not installed")
        pages = sorted(PAGES.iterdir())
        self.assertGreaterEqual(len(pages), 5)
        for page in pages:
            finished = subprocess.run(["groff", "-man", "-ww", "-z", str(page)], capture_output=True, text=True)
            self.assertEqual((finished.returncode, finished.stderr), (0, ""), page.name)

    def test_they_name_each_option(self):
        for program, page in (("vokd", "vokd.8"), ("vokcli", "vokcli.8"), ("vok-simhost", "vok-simhost.1"),
                              ("vok-rmc", "vok-rmc.1")):
            text = text_of(page)
            options = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", all_help_of(program)))
            self.assertIn("--help", options)
            self.assertEqual({option for option in options if not re.search(rf"{option}(?![\w-])", text)}, set(), page)

    def test_they_name_each_control_command(self):
        for program, page in (("vok-simhost", "vok-simhost.1"), ("vok-rmc", "vok-rmc.1")):
            section = help_of(program, "control").split("\nCommands:\n")[1]
            names = set(re.findall(r"^  ([a-z][a-z-]*)", section, re.MULTILINE))
            self.assertGreater(len(names), 4)
            text = text_of(page)
            self.assertEqual({name for name in names if not re.search(rf"\b{name}\b", text)}, set(), page)

    def test_vok_conf_names_each_setting_of_the_agent(self):
        with tempfile.TemporaryDirectory() as root:
            command = [str(PROGRAMS / "vokd"), "--host-root", root, "--check-config"]
            output = subprocess.run(command, capture_output=True, text=True, timeout=20).stdout
        keys = {key for line in re.findall(r"^  (\S+)  ", output, re.MULTILINE) for key in line.split(".")}
        self.assertIn("EthernetDevices", keys)
        self.assertGreater(len(keys), 20)
        text = text_of("vok.conf.5")
        table = (PROJECT / "docs/configuration.md").read_text(encoding="utf-8")
        self.assertEqual({key for key in keys if key not in text}, set())
        self.assertEqual({key for key in keys if f"`{key}`" not in table}, set())

    def test_the_pages_of_what_is_installed_and_no_others_are_installed(self):
        text = (PROJECT / "cmake/VokInstall.cmake").read_text(encoding="utf-8")
        installed = {page.name for page in PAGES.iterdir() if f"docs/man/{page.name}" in text}
        self.assertEqual(installed, {"vok.conf.5", "vokcli.8", "vokd.8"})


if __name__ == "__main__":
    unittest.main()
