"""The checker of the house rules, run on small checkouts that break one rule each."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "house_rules.py"
HEADER = "// What it is for.\n#pragma once\n"


class HouseRules(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        subprocess.run(["git", "init", "-q", str(self.root)], check=True)

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text)

    def violations(self):
        ran = subprocess.run(
            [sys.executable, str(CHECKER), "--root", str(self.root)], capture_output=True, text=True, check=False
        )
        self.assertEqual(ran.stderr, "")
        lines = ran.stdout.splitlines()
        self.assertEqual(ran.returncode, 1 if lines else 0)
        return lines

    def test_a_folder_may_include_itself_and_earlier_ones(self):
        self.write("src/platform/access/seam.h", HEADER)
        self.write("src/core/base/log.h", HEADER + '#include "platform/access/seam.h"\n')
        self.write("src/core/base/settings.h", HEADER + '#include "core/base/log.h"\n')
        self.assertEqual(self.violations(), [])

    def test_an_include_upwards_is_refused(self):
        self.write("src/core/base/log.h", HEADER)
        self.write("src/platform/access/seam.cpp", '#include "core/base/log.h"\n')
        self.assertEqual(
            self.violations(),
            ["src/platform/access/seam.cpp:1: platform/access includes src/core/base/log.h, which is not below it"],
        )

    def test_resource_classes_may_not_include_each_other(self):
        self.write("src/nic/adapter.h", HEADER)
        self.write("src/fc/port.cpp", '#include "nic/adapter.h"\n')
        self.assertEqual(
            self.violations(), ["src/fc/port.cpp:1: fc includes src/nic/adapter.h, which is not below it"]
        )

    def test_a_class_based_on_another_may_include_it(self):
        self.write("src/storage/disk.h", HEADER)
        self.write("src/megaraid/raid.cpp", '#include "storage/disk.h"\n')
        self.assertEqual(self.violations(), [])

    def test_a_folder_without_a_floor_is_refused(self):
        self.write("src/platform/bag.h", HEADER)
        self.assertEqual(self.violations(), ["src/platform/bag.h: the folder platform is not on any floor"])

    def test_the_agent_may_not_include_the_tests(self):
        self.write("tests/support/fake.h", HEADER)
        self.write("src/core/job.cpp", '#include "support/fake.h"\n')
        self.assertEqual(
            self.violations(), ["src/core/job.cpp:1: the agent includes tests/support/fake.h, which is not part of it"]
        )

    def test_a_circle_within_a_folder_is_refused_even_through_sources(self):
        self.write("src/rmc/one.h", HEADER)
        self.write("src/rmc/one.cpp", '#include "rmc/one.h"\n#include "rmc/two.h"\n')
        self.write("src/rmc/two.h", HEADER)
        self.write("src/rmc/two.cpp", '#include "rmc/one.h"\n')
        self.assertEqual(self.violations(), ["a circle of files: src/rmc/one -> src/rmc/two -> src/rmc/one"])

    def test_a_long_file_a_left_over_and_a_header_without_a_purpose_are_refused(self):
        self.write("daemon/main.cpp", "\n" * 600)
        self.write("client/main.cpp", "// TO" + "DO: later\n")
        self.write("simhost/one.h", "#pragma once\n")
        self.assertEqual(
            self.violations(),
            [
                "client/main.cpp:1: left-over: // TO" + "DO: later",
                "daemon/main.cpp: 601 lines, more than 600: split the file",
                "simhost/one.h:1: a header starts with a comment on its purpose",
            ],
        )


if __name__ == "__main__":
    unittest.main()
