"""The library and the programs as built: what an attacker who finds an error in them can't use.

Arguments: the library, the daemon, the client, the compile commands of the build.
"""

import json
import pathlib
import re
import subprocess
import sys
import unittest

LIBRARY, DAEMON, CLIENT, COMMANDS = sys.argv[1:5]
PROGRAMS = (DAEMON, CLIENT)
ALL = (LIBRARY, *PROGRAMS)


def readelf(option, path):
    return subprocess.run(["readelf", "-W", option, path], capture_output=True, text=True, check=True).stdout


class Hardening(unittest.TestCase):
    def for_each(self, paths):
        for path in paths:
            with self.subTest(pathlib.Path(path).name):
                yield path

    def test_relocations_are_resolved_at_the_start_and_read_only_from_then(self):
        for path in self.for_each(ALL):
            self.assertRegex(readelf("-d", path), r"\(FLAGS\).*BIND_NOW")
            self.assertRegex(readelf("-l", path), r"\n *GNU_RELRO ")

    def test_the_stack_is_not_executable(self):
        for path in self.for_each(ALL):
            self.assertEqual(re.findall(r"\n *GNU_STACK(?: +0x\w+){5} +(\S+)", readelf("-l", path)), ["RW"])

    def test_no_text_is_relocated_and_no_segment_is_both_writable_and_executable(self):
        for path in self.for_each(ALL):
            self.assertNotIn("TEXTREL", readelf("-d", path))
            self.assertEqual(re.findall(r"\n *LOAD .* RWE ", readelf("-l", path)), [])

    def test_programs_are_position_independent(self):
        for path in self.for_each(PROGRAMS):
            self.assertRegex(readelf("-h", path), r"Type: +DYN")
            self.assertRegex(readelf("-d", path), r"\(FLAGS_1\).*\bPIE\b")

    def test_the_stack_is_guarded(self):
        for path in self.for_each(ALL):
            self.assertRegex(readelf("--dyn-syms", path), r"UND __stack_chk_fail\b")

    def test_library_functions_check_the_size_of_their_buffers(self):
        for path in self.for_each(ALL):
            checked = set(re.findall(r"UND (__\w+_chk)\b", readelf("--dyn-syms", path))) - {"__stack_chk_fail"}
            self.assertTrue(checked, "no checked function is used")

    def test_programs_search_the_library_next_to_themselves_and_nowhere_else(self):
        for path in self.for_each(PROGRAMS):
            self.assertEqual(re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", readelf("-d", path)), ["$ORIGIN/../lib"])

    def test_the_library_adds_no_search_path(self):
        self.assertNotRegex(readelf("-d", LIBRARY), r"\(RUNPATH\)|\(RPATH\)")

    def test_what_leaves_no_trace_in_the_file_is_asked_of_the_compiler(self):
        commands = json.loads(pathlib.Path(COMMANDS).read_text())
        checked = 0
        for entry in commands:
            if not re.search(r" -o (src/CMakeFiles/vok|daemon/CMakeFiles/vokd|client/CMakeFiles/vokcli)\.dir/", entry["command"]):
                continue
            checked += 1
            for option in ("-fstack-clash-protection", "-fcf-protection", "-fstack-protector-strong"):
                self.assertIn(option, entry["command"], entry["file"])
        self.assertGreater(checked, 100)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
