"""The command blocks of the documents work as pasted.

Each fenced block of a document has a row in BLOCKS: it runs, its commands are checked without running them, or it shows
something else than commands. A block without a row and a row without a block are failures. The programs are those of the
build that is tested; a view of the project is made of links in which this build is build/native and build/i386.
"""

import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["VOK_BUILD"])
FENCE = re.compile(r"^```[a-z]*\n(.*?)^```$", re.MULTILINE | re.DOTALL)

RUNS = "runs as pasted"
CHECKED = "programs, options and files are checked"
SHOWN = "no commands"
SCENES = "output of the demo: its scenes are checked"

# Document, first line of the block, what is done with it, why it does not run.
BLOCKS = [
    ("README.md", "scripts/demo", CHECKED, "installs packages and builds: minutes"),
    ("README.md", "1. A simulated host", SCENES, "output"),
    ("README.md", "3. The agent starts", SCENES, "output"),
    ("README.md", "vokd --record", CHECKED, "records the machine itself, as root"),
    ("README.md", "Recorded to", SHOWN, "output"),
    ("README.md", "scripts/check_documents.py", CHECKED, "needs the documents of a whole test run"),
    ("README.md", "scripts/package", CHECKED, "builds packages and a Debian: minutes"),
    ("README.md", "seed ", SHOWN, "output"),
    ("README.md", "OK: the agent runs", SHOWN, "output"),
    ("README.md", "20", SHOWN, "output"),
    ("README.md", "vokd ", CHECKED, "acts on the machine itself, as root"),
    ("README.md", "src/ ", SHOWN, "the folders"),
    ("CONTRIBUTING.md", "scripts/setup", CHECKED, "installs packages and builds: minutes"),
    ("docs/architecture.md", " vokd (daemon/)", SHOWN, "a diagram"),
    ("docs/configuration.md", "vokd: /etc/config", SHOWN, "output"),
    ("docs/events.md", '{"EventTime"', SHOWN, "an event"),
    ("docs/events.md", '{"EventTime"', SHOWN, "an event"),
    ("docs/events.md", '{"EventTime"', SHOWN, "an event"),
    ("docs/events.md", "vokcli test 708", CHECKED, "acts on the machine's own agent"),
    ("docs/events.md", "Delivered: the controller", SHOWN, "output"),
    # Every block of this page: it is about the machine itself. Lines that begin with no program are output.
    ("docs/monitoring.md", "vokcli status", CHECKED, "reads the state of the machine's own agent"),
    ("docs/monitoring.md", "systemctl enable", CHECKED, "acts on the machine itself"),
    ("docs/monitoring.md", "[Unit]", SHOWN, "settings of a unit"),
    ("docs/monitoring.md", "sed -E", SHOWN, "a substitution that the test of the alerts makes too"),
    ("docs/operation.md", "*", CHECKED, "installs to the machine, as root"),
    ("docs/recording.md", "tar tvf", CHECKED, "needs an archive of a host"),
    ("docs/simhost.md", "   vokd --host-root", SHOWN, "a diagram"),
    ("docs/simhost.md", "export PATH", RUNS, ""),
    ("docs/simhost.md", "vokd --record", CHECKED, "records the machine itself, as root"),
    ("docs/simhost.md", "vok-simhost: not in the recording", SHOWN, "output"),
    ("docs/simhost.md", "  P KK A", SHOWN, "a form of digits"),
    ("docs/simhost.md", '"storageControllers"', SHOWN, "part of a description"),
    ("docs/simhost.md", '"raidControllers"', SHOWN, "part of a description"),
    ("docs/simhost.md", '"fibreChannelAdapters"', SHOWN, "part of a description"),
    ("docs/recording.md", "vok-simhost run --replay", CHECKED, "needs an archive of a host"),
    ("docs/vmtest.md", "scripts/vmtest", CHECKED, "boots a virtual machine: minutes"),
    ("docs/simhost.md", "vok-rmc run --guest", CHECKED, "needs a virtual machine"),
]
PROGRAMS = ("vokd", "vokcli", "vok-simhost", "vok-rmc")
# Of the system: that they exist is not for this test to say, as a machine that only tests may lack them.
FOREIGN = {"export", "kill", "wait", "ls", "cmake", "ctest", "install", "systemctl", "ln", "cat", "udevadm",
           "systemd-tmpfiles", "mkdir", "cp", "sudo", "rm", "logrotate"}


def documents():
    return [page for folder in ("", "data", "docs") for page in sorted((PROJECT / folder).glob("*.md"))]


def blocks_of(document):
    return FENCE.findall(document.read_text(encoding="utf-8"))


def row_of(name, block, rows):
    return next((row for row in rows if row[0] == name and (row[1] == "*" or block.startswith(row[1]))), None)


def blocks(kind):
    for document in documents():
        name = str(document.relative_to(PROJECT))
        for block in blocks_of(document):
            row = row_of(name, block, BLOCKS)
            if row and row[2] == kind:
                yield name, block


def help_of(*command):
    return subprocess.run([*command, "--help"], capture_output=True, text=True, timeout=20).stdout


class Commands:
    """Checks the commands of a block against the programs, without running them."""

    def __init__(self):
        self.help = {}

    def help_text(self, *command):
        if command not in self.help:
            self.help[command] = help_of(*command)
        return self.help[command]

    def errors(self, line):
        line = re.split(r"\s+# |\s{5,}", line.strip())[0]
        for command in re.split(r"&&|;|\|", line):
            try:
                words = shlex.split(command)
            except ValueError:
                continue
            if words and words[0] in PROGRAMS:
                yield from self.errors_of_program(words)
            elif words and words[0].startswith("scripts/"):
                yield from self.errors_of_script(words)
            elif words and words[0] in FOREIGN:
                yield from errors_of_foreign(words)

    def is_command(self, line):
        words = line.split()
        return bool(words) and (words[0] in PROGRAMS or words[0] in FOREIGN or words[0].startswith("scripts/"))

    def errors_of_program(self, words):
        program = str(BUILD / "bin" / words[0])
        text = self.help_text(program)
        subcommand = next((word for word in words[1:] if not word.startswith("-")), None)
        if subcommand and re.search(rf"^  {re.escape(subcommand)}\b", text, re.MULTILINE):
            text += self.help_text(program, subcommand)
        elif subcommand and "SUBCOMMAND" in text:
            yield f"{words[0]} has no command {subcommand}"
        for word in words[1:]:
            if word.startswith("--") and not re.search(rf"{re.escape(word.partition('=')[0])}\b", text):
                yield f"{words[0]} has no option {word}"

    def errors_of_script(self, words):
        script = PROJECT / words[0]
        if not os.access(script, os.X_OK):
            yield f"there is no {words[0]}"
            return
        text = self.help_text(str(script))
        for word in words[1:]:
            if word.startswith("--") and word not in text:
                yield f"{words[0]} has no option {word}"


def errors_of_foreign(words):
    presets = {each["name"] for each in json.loads((PROJECT / "CMakePresets.json").read_text())["configurePresets"]}
    for option, value in zip(words, words[1:]):
        if option in ("--preset", "--build", "--install", "--test-dir") and value.removeprefix("build/") not in presets:
            yield f"there is no preset {value}"
    for word in words[1:]:
        if word.startswith("data/") and not (PROJECT / word).exists():
            yield f"there is no {word}"


class Classification(unittest.TestCase):
    def test_each_block_has_one_row_and_each_row_a_block(self):
        found, without = [], []
        for document in documents():
            name = str(document.relative_to(PROJECT))
            rows = [row for row in BLOCKS if row[0] == name]
            for block in blocks_of(document):
                row = row_of(name, block, rows)
                if row is None:
                    without.append((name, block.split("\n")[0]))
                    continue
                found.append(row)
                if row[1] != "*":
                    rows.remove(row)
        self.assertEqual(without, [])
        self.assertEqual([row for row in BLOCKS if row not in found], [])

    def test_what_does_not_run_has_a_reason(self):
        self.assertEqual([row for row in BLOCKS if row[2] != RUNS and not row[3]], [])


class Checked(unittest.TestCase):
    def test_programs_options_and_files_exist(self):
        commands, count = Commands(), 0
        for name, block in blocks(CHECKED):
            for line in block.splitlines():
                count += commands.is_command(line)
                self.assertEqual(list(commands.errors(line)), [], (name, line))
        self.assertGreater(count, 15)

    def test_what_does_not_exist_is_reported(self):
        commands = Commands()
        for line, error in (("vokd --dance   # it", "vokd has no option --dance"),
                            ("vok-rmc sing", "vok-rmc has no command sing"),
                            ("vok-simhost run --hosts x", "vok-simhost has no option --hosts"),
                            ("scripts/demo --dance", "scripts/demo has no option --dance"),
                            ("scripts/dance", "there is no scripts/dance"),
                            ("cmake --preset amiga && cmake --build build/native", "there is no preset amiga"),
                            ("install -D -m 0600 data/none.conf /etc/x", "there is no data/none.conf")):
            self.assertEqual(list(commands.errors(line)), [error])
        self.assertEqual(list(commands.errors("vok-simhost run --live --root x --config=y # --z")), [])

    def test_the_scenes_of_shown_output_are_those_of_the_demo(self):
        scenarios = (PROJECT / "simhost/scenarios/demo").glob("*.json")
        titles = {scene["title"] for file in scenarios for scene in json.loads(file.read_text())["scenes"]}
        shown = [title for _, block in blocks(SCENES) for title in re.findall(r"^\d+\. (.*)$", block, re.MULTILINE)]
        self.assertGreater(len(shown), 10)
        self.assertEqual([title for title in shown if title not in titles], [])


class Runs(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vok-documents.")
        self.addCleanup(folder.cleanup)
        self.work = pathlib.Path(folder.name)
        self.view = self.work / "project"
        (self.view / "build").mkdir(parents=True)
        for entry in PROJECT.iterdir():
            if entry.name != "build":
                (self.view / entry.name).symlink_to(entry)
        for preset in ("native", "i386"):
            (self.view / "build" / preset).symlink_to(BUILD)
        (self.work / "tmp").mkdir()

    def run_block(self, block):
        """In a session of its own, whose processes are killed at the end if any are left."""
        environment = {**os.environ, "TMPDIR": str(self.work / "tmp")}
        with open(self.work / "output", "w+", encoding="utf-8") as output:
            shell = subprocess.Popen(["bash", "-e", "-c", block], cwd=self.view, env=environment, stdout=output,
                                     stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, start_new_session=True)
            try:
                status = shell.wait(timeout=90)
            finally:
                try:
                    os.killpg(shell.pid, signal.SIGKILL)
                    left = True
                except ProcessLookupError:
                    left = False
            output.seek(0)
            return status, output.read(), left

    def test_each_block_that_is_to_run_runs(self):
        count = 0
        for name, block in blocks(RUNS):
            with self.subTest(document=name, block=block.split("\n")[0]):
                status, output, left = self.run_block(block)
                self.assertEqual(status, 0, output)
                self.assertFalse(left, "processes are left: " + output)
                files = ["inventory-0001.json", "inventory-0002.json", "transfers.jsonl"]
                self.assertEqual(output.split("\n")[-4:], [*files, ""], output)
                self.assertIn("2 inventories, 0 events, 0 violations\n", output)
                count += 1
        self.assertEqual(count, 1)


if __name__ == "__main__":
    unittest.main()
