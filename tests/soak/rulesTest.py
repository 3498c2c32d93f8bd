"""The checks of the soak test fail where they have to."""

import pathlib
import subprocess
import unittest

import boot_verdict
import chaos
import faults
from simulated_system import Failure

WHOLE = "current_start 30\nlast_start 10\nlast_stop 20\n"


class FakeSystem:
    def __init__(self, record, now=40, boot=5):
        self.record, self.now, self.boot = record, now, boot

    def startup_record(self):
        return self.record

    def clock(self):
        return self.now, self.boot


class Records(unittest.TestCase):
    def test_a_whole_record_has_each_key_once_with_a_number(self):
        self.assertEqual(boot_verdict.parse(WHOLE), {"current_start": 30, "last_start": 10, "last_stop": 20})
        self.assertEqual(boot_verdict.parse(WHOLE + "\n")["last_stop"], 20)
        for text in ("", "current_start 30\n", WHOLE + "last_stop 3\n", WHOLE.replace("20", ""),
                     WHOLE.replace("20", "x"), WHOLE.replace("20", "-1"), WHOLE + "other 3\n"):
            with self.assertRaises(Failure, msg=text):
                boot_verdict.parse(text)

    def check(self, before, after, was_graceful, now=(40, 45)):
        run = boot_verdict.Run(FakeSystem(before, now[0]))
        run.saw_clock(now[1])
        run.check_record(after, was_graceful)

    def test_after_a_kill_only_what_the_run_has_written_may_differ(self):
        self.check(WHOLE, WHOLE, False)
        self.check(WHOLE, "current_start 41\nlast_start 10\nlast_stop 20\n", False)
        self.check(WHOLE, "current_start 41\nlast_start 41\nlast_stop 20\n", False)
        for text in ("current_start 41\nlast_start 39\nlast_stop 20\n", "current_start 41\nlast_start 10\nlast_stop 0\n",
                     "current_start 99\nlast_start 10\nlast_stop 20\n", "current_start 0\nlast_start 10\nlast_stop 20\n"):
            with self.assertRaises(Failure, msg=text):
                self.check(WHOLE, text, False)
        with self.assertRaises(Failure):
            self.check(WHOLE, None, False)
        self.check(None, None, False)

    def test_after_a_stop_the_record_is_that_of_a_graceful_one(self):
        self.check(WHOLE, "last_start 40\nlast_stop 45\ncurrent_start 0\n", True)
        for text in ("last_start 40\nlast_stop 20\ncurrent_start 0\n", "last_start 40\nlast_stop 45\ncurrent_start 40\n"):
            with self.assertRaises(Failure, msg=text):
                self.check(WHOLE, text, True)


class Verdicts(unittest.TestCase):
    def test_they_follow_from_record_and_boot(self):
        record = {"current_start": 0, "last_start": 10, "last_stop": 20}
        self.assertEqual(boot_verdict.expected_events(record, 21), [359, 356])
        self.assertEqual(boot_verdict.expected_events(record, 20), [])
        record = {"current_start": 10, "last_start": 10, "last_stop": 5}
        self.assertEqual(boot_verdict.expected_events(record, 11), [360, 356])
        self.assertEqual(boot_verdict.expected_events(record, 10), [])
        for nothing in (None, dict(record, last_start=0), dict(record, last_start=5)):
            self.assertEqual(boot_verdict.expected_events(nothing, 99), [])

    def test_a_complete_run_has_all_events_and_a_killed_one_the_first(self):
        run = boot_verdict.Run(FakeSystem(WHOLE.replace("last_stop 20", "last_stop 5"), boot=15))
        for raised, is_complete, is_lossy, is_right in (
                ([360, 356], True, False, True), ([360], False, False, True), ([], False, False, True),
                ([360], True, False, False), ([356], False, False, False), ([356], True, True, True),
                ([359, 356], True, False, False), ([356, 360], True, True, False), ([360, 356, 356], True, True, False)):
            run.raised = raised
            if is_right:
                run.check_events(is_complete, is_lossy)
            else:
                with self.assertRaises(Failure, msg=raised):
                    run.check_events(is_complete, is_lossy)


class Explanations(unittest.TestCase):
    def test_a_fault_explains_its_events_of_its_own_object(self):
        fault = faults.Fault("nic vmnic1 link down", None, None, [(faults.NIC_EVENTS, '"vmnic1"')])
        self.assertTrue(fault.explains(1384, '{"DeviceName": "vmnic1"}'))
        self.assertFalse(fault.explains(538, '{"DeviceName": "vmnic1"}'))
        self.assertFalse(fault.explains(1384, '{"DeviceName": "vmnic10"}'))

    def test_documents_that_differ_are_told_apart(self):
        self.assertEqual(chaos.differences({"a": [1, 2]}, {"a": [1, 2]}), [])
        self.assertEqual(chaos.differences({"a": [1, 2]}, {"a": [1, 3]}), ["/a/1: 3, not 2"])
        self.assertEqual(chaos.differences({"a": [1, 2]}, {"a": [1]}), ["/a: 1 elements, not 2"])
        self.assertEqual(chaos.differences({"a": 1}, {}), ["/a: None, not 1"])


class Help(unittest.TestCase):
    def test_it_keeps_to_80_columns(self):
        script = pathlib.Path(__file__).resolve().parents[2] / "scripts/soak"
        text = subprocess.run([script, "--help"], capture_output=True, text=True, check=True).stdout
        self.assertEqual([line for line in text.split("\n") if len(line) > 80], [])
        self.assertIn("--seed", text)


if __name__ == "__main__":
    unittest.main()
