"""The alert rules are valid, do what their cases say, and each of them has a case and a row in the document."""

import pathlib
import re
import subprocess
import unittest

from tools import PROJECT, skip_without, tool

RULES = PROJECT / "data/vok-alerts.yml"
CASES = pathlib.Path(__file__).with_name("vok-alerts-test.yml")
DOCUMENT = PROJECT / "docs/monitoring.md"

# What an operator has to hear of.
REQUIRED = {
    "VokAgentGone",
    "VokPushOverdue",
    "VokControllerRefuses",
    "VokBuildHangs",
    "VokDriveFailed",
    "VokVolumeDegraded",
    "VokLinkLost",
}


def promtool(*arguments):
    return subprocess.run([tool("promtool"), *arguments], capture_output=True, text=True, check=False, timeout=50)


class Alerts(unittest.TestCase):
    def setUp(self):
        self.text = RULES.read_text(encoding="utf-8")
        self.names = re.findall(r"^ +- alert: (\w+)$", self.text, re.MULTILINE)

    def test_promtool_accepts_the_rules(self):
        ran = promtool("check", "rules", str(RULES))
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)
        self.assertIn(f"{len(self.names)} rules found", ran.stdout)

    def test_each_rule_fires_and_stays_silent_as_its_cases_say(self):
        ran = promtool("test", "rules", str(CASES))
        self.assertEqual(ran.returncode, 0, ran.stdout + ran.stderr)

    def test_what_has_to_be_watched_has_a_rule_and_each_rule_a_case_in_which_it_fires(self):
        self.assertEqual(REQUIRED - set(self.names), set())
        cases = CASES.read_text(encoding="utf-8")
        for name in self.names:
            fires = f'alertname="{name}",alertstate="firing"' in cases or re.search(
                rf"alertname: {name}\n +eval_time: \w+\n +exp_alerts:\n +- exp_labels", cases
            )
            self.assertTrue(fires, name)

    def test_each_rule_has_a_severity_and_texts(self):
        blocks = re.split(r"^ +- alert: ", self.text, flags=re.MULTILINE)[1:]
        for name, block in zip(self.names, blocks):
            self.assertRegex(block, r"severity: (critical|warning)\n", name)
            self.assertIn("{{ $labels.instance }}", re.search(r"summary: (.*)", block).group(1), name)
            self.assertIn("description: >-\n", block, name)

    def test_the_document_has_each_rule_and_no_other(self):
        rows = set(re.findall(r"^\| `(Vok\w+)` \|", DOCUMENT.read_text(encoding="utf-8"), re.MULTILINE))
        self.assertEqual(rows, set(self.names))


if __name__ == "__main__":
    skip_without("promtool")
    unittest.main(argv=["alertsTest"])
