"""What bash offers for the programs: options, commands, events, hosts, scenarios and files."""

import os
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

from helpTest import SUBCOMMANDS, help_of

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(os.environ["VOK_BUILD"]) / "bin"
FILE = PROJECT / "data/completions/vok.bash"


def offered(line, folder=None):
    """For a line as typed, whose last word is completed; a blank at its end begins a new word."""
    words = [part for word in shlex.split(line) for part in (re.split("(=)", word) if word.startswith("--") else [word])]
    words += [""] if line.endswith(" ") else []
    script = f"""
        . {shlex.quote(str(FILE))}
        COMP_WORDS=({shlex.join(words)})
        COMP_CWORD={len(words) - 1}
        _vok {shlex.join([words[0], words[-1], words[-2]])}
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    environment = {**os.environ, "PATH": f"{PROGRAMS}:{os.environ['PATH']}"}
    ran = subprocess.run(["bash", "--norc", "-c", script], env=environment, cwd=folder, capture_output=True, text=True,
                         timeout=60, check=True)
    assert not ran.stderr, ran.stderr
    return set(ran.stdout.split("\n")) - {""}


class Completion(unittest.TestCase):
    def test_it_is_for_all_four_programs(self):
        command = f". {shlex.quote(str(FILE))}; complete -p vokd vokcli vok-simhost vok-rmc"
        printed = subprocess.run(["bash", "--norc", "-c", command], capture_output=True, text=True, check=True).stdout
        self.assertEqual(printed.count("complete -F _vok "), 4)

    def test_each_option_of_the_help_is_offered(self):
        for program, subcommands in SUBCOMMANDS.items():
            for words in [(program,), *((program, each) for each in subcommands)]:
                text = help_of(*words).split("\nCommands:\n")[0].split("\nExit status")[0]
                options = set(re.findall(r"^ +(?:-\w,)?(--[a-z][a-z-]*)", text, re.MULTILINE))
                self.assertIn("--help", options)
                self.assertEqual(offered(" ".join(words) + " --"), options, words)

    def test_an_option_is_completed_from_its_beginning(self):
        self.assertEqual(offered("vokd --print"), {"--print-inventory"})
        self.assertEqual(offered("vok-simhost play --contr"), {"--controller", "--controller-log"})

    def test_each_subcommand_is_offered(self):
        for program in ("vokcli", "vok-simhost", "vok-rmc"):
            self.assertEqual(offered(f"{program} "), set(SUBCOMMANDS[program]), program)
        self.assertEqual(offered("vokcli --timeout 5 te"), {"test"})

    def test_the_value_of_an_option_is_not_taken_for_a_command(self):
        self.assertEqual(offered("vokcli --host-root test ev"), {"events"})

    def test_a_value_after_an_equals_sign_is_completed_and_passed_over(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "here").mkdir()
            self.assertEqual(offered("vokd --host-root=", folder), {"here"})
            self.assertEqual(offered("vokd --host-root=he", folder), {"here"})
        self.assertEqual(offered("vokcli --timeout=5 te"), {"test"})
        self.assertEqual(offered("vokcli --timeout=5 test 70"), {"708"})

    def test_event_numbers_are_those_of_the_agent(self):
        events = offered("vokcli test ")
        self.assertLessEqual({"356", "708", "1391"}, events)
        self.assertTrue(all(number.isdigit() for number in events), events)
        self.assertEqual(offered("vokcli test 70"), {"708"})
        self.assertEqual(offered("vokcli test 708 "), set())

    def test_hosts_are_the_described_ones_and_files(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "mine.json").touch()
            hosts = offered("vok-simhost run --host ", folder)
        self.assertEqual(hosts, {each.stem for each in (PROJECT / "simhost/hosts").glob("*.json")} | {"mine.json"})

    def test_scenarios_are_the_shipped_ones_and_files(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertLessEqual({"demo", "lost-link"}, offered("vok-simhost play --root x ", folder))
            self.assertEqual(offered("vok-simhost play de", folder), {"demo"})

    def test_files_and_directories_are_offered_where_they_are_asked_for(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "event.json").touch()
            (pathlib.Path(folder) / "here").mkdir()
            self.assertEqual(offered("vokcli inject ", folder), {"event.json", "here"})
            self.assertEqual(offered("vokd --host-root ", folder), {"here"})
            self.assertEqual(offered("vok-rmc run --out h", folder), {"here"})

    def test_the_first_word_of_each_control_command_is_offered(self):
        for program in ("vok-simhost", "vok-rmc"):
            section = help_of(program, "control").split("\nCommands:\n")[1]
            names = set(re.findall(r"^  ([a-z][a-z-]*)", section, re.MULTILINE))
            self.assertGreater(len(names), 4)
            self.assertEqual(offered(f"{program} control --{'root' if 'sim' in program else 'out'} x "), names)

    def test_the_words_of_a_control_command_are_offered(self):
        for line, words in (("clock ", {"jump", "set", "speed"}),
                            ("nic vmnic3 link ", {"up", "down", "unknown"}),
                            ("disk sg4 p", {"page", "pull"}),
                            ("reboot ", {"--down"}),
                            ("scsi-host 2 ", {"remove", "return", "state"}),
                            ("storage-controller x re", {"remove", "return"}),
                            ("raid check 1 0 done", {"done", "done-inconsistent"}),
                            ("clock jump ", set())):
            self.assertEqual(offered(f"vok-simhost control --root x {line}"), words, line)
        self.assertEqual(offered("vok-rmc control --out x answer completion 0 "), set())
        self.assertEqual(offered("vok-rmc control --out x answer "),
                         {"status", "completion", "cc-only", "late", "never", "normal"})


if __name__ == "__main__":
    unittest.main()
