"""The checks of the soak test fail where they have to."""

import pathlib
import subprocess
import unittest

import boot_verdict
import chaos
import faults
import kept_state
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

    def test_a_stop_before_anything_had_started_leaves_the_record_of_the_run_before(self):
        run = boot_verdict.Run(FakeSystem(WHOLE, 40))
        run._began -= 100
        with self.assertRaises(Failure):
            run.check_record(WHOLE, True)
        run.is_held_up = True
        run.check_record(WHOLE, True)
        with self.assertRaises(Failure):
            run.check_record("last_start 40\nlast_stop 20\ncurrent_start 40\n", True)


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


def entry(number, kind, **members):
    return dict({"number": number, "kind": kind, "outcome": "accepted"}, **members)


class Histories(unittest.TestCase):
    FIRST = [entry(1, "start"), entry(2, "event", event=356), entry(3, "push")]

    def test_a_run_adds_entries_with_the_next_numbers_and_changes_none(self):
        self.assertEqual(kept_state.new_entries([], self.FIRST), self.FIRST)
        self.assertEqual(kept_state.new_entries(self.FIRST, self.FIRST), [])
        more = self.FIRST + [entry(4, "start")]
        self.assertEqual(kept_state.new_entries(self.FIRST, more), more[3:])
        changed = [self.FIRST[0], entry(2, "event", event=360), self.FIRST[2]]
        for after in (self.FIRST[:2], self.FIRST + [entry(5, "start")], self.FIRST[:1] + self.FIRST[2:], changed,
                      self.FIRST[1:], []):
            with self.assertRaises(Failure, msg=after):
                kept_state.new_entries(self.FIRST, after)
        with self.assertRaises(Failure):
            kept_state.new_entries([], self.FIRST[1:])

    def test_a_full_ring_loses_its_oldest_entries(self):
        ring = [entry(number, "push") for number in range(1, kept_state.RING + 3)]
        full, after = ring[:kept_state.RING], ring[2:]
        self.assertEqual(kept_state.new_entries(full, after), ring[-2:])
        with self.assertRaises(Failure):
            kept_state.new_entries(full, after[1:])

    def test_a_run_begins_with_its_start_and_ends_with_its_stop(self):
        stopped = self.FIRST + [entry(4, "stop")]
        kept_state.check_order([], True)
        kept_state.check_order(self.FIRST, False)
        kept_state.check_order(stopped, False)
        kept_state.check_order(stopped, True)
        for entries, was_graceful in ((self.FIRST, True), (self.FIRST[1:], False), (self.FIRST * 2, False),
                                      (stopped + [entry(5, "push")], False)):
            with self.assertRaises(Failure, msg=entries):
                kept_state.check_order(entries, was_graceful)

    def test_each_event_that_came_has_an_entry_but_for_the_one_in_progress_at_a_kill(self):
        both = [entry(2, "event", event=360), entry(3, "event", event=1384), entry(4, "event", event=356)]
        kept_state.check_events(both, [360, 1384, 356], True)
        kept_state.check_events(both[:1], [1384, 360, 356], False)
        kept_state.check_events([dict(both[0], outcome="dropped")], [], True)
        unconfirmed = [both[0], dict(both[2], outcome="unconfirmed")]
        kept_state.check_events(unconfirmed, [360], True)
        kept_state.check_events(unconfirmed, [360, 356], True)
        dropped = [dict(both[0], outcome="dropped")]
        for entries, received, was_graceful in ((dropped, [360], True), (unconfirmed, [356], True),
                                                (both[:2], [360, 1384, 356], True), (both[2:], [360, 356], False),
                                                (both[:1], [], False), ([], [360, 356], False),
                                                (both, [356, 1384, 360], False)):
            with self.assertRaises(Failure, msg=entries):
                kept_state.check_events(entries, received, was_graceful)

    def test_each_inventory_that_came_has_an_entry_but_for_the_one_in_progress_at_a_kill(self):
        kept_state.check_pushes(self.FIRST, 1, True)
        kept_state.check_pushes(self.FIRST, 2, False)
        kept_state.check_pushes(self.FIRST + [entry(4, "push") | {"outcome": "unconfirmed"}], 2, True)
        for received, was_graceful in ((2, True), (3, False), (0, False)):
            with self.assertRaises(Failure, msg=received):
                kept_state.check_pushes(self.FIRST, received, was_graceful)


class Counts(unittest.TestCase):
    ENTRIES = [entry(1, "start"), entry(2, "event", event=356), entry(3, "push")]

    def check(self, **changes):
        run = boot_verdict.Run(FakeSystem(WHOLE))
        event = {"number": 356, "raised": 1, "delivered": 1, "refused": 0, "failed": 0, "dropped": 0}
        each = {"ready": True, "enabled": True, "builds": 1, "lastBuildEndSeconds": 41}
        status = {"startSeconds": 40, "push": {"pushes": 1, "failed": 0}, "events": [event],
                  "doorBell": {"polls": 2, "answered": 1, "requests": 0}, "classes": [each]}
        for name, change in changes.items():
            (status[name][0] if isinstance(status[name], list) else status[name]).update(change)
        kept_state.check_counts(status, self.ENTRIES, run)

    def test_each_may_be_one_ahead_of_the_history(self):
        self.check()
        self.check(push={"pushes": 2}, events={"raised": 2})
        self.check(events={"raised": 2, "dropped": 1})

    def test_others_do_not_fit(self):
        for changes in ({"push": {"pushes": 0}}, {"push": {"pushes": 3}}, {"push": {"failed": 2}},
                        {"events": {"raised": 0}}, {"events": {"raised": 3}}, {"events": {"delivered": 0}},
                        {"events": {"raised": 4, "delivered": 3}}, {"events": {"number": 360}},
                        {"doorBell": {"polls": 0}}, {"doorBell": {"requests": 2}}, {"classes": {"builds": 0}},
                        {"classes": {"enabled": False}}, {"classes": {"lastBuildEndSeconds": 99}}):
            with self.assertRaises(Failure, msg=changes):
                self.check(**changes)

    def test_the_status_is_of_this_run(self):
        run = boot_verdict.Run(FakeSystem(WHOLE))
        with self.assertRaises(Failure):
            kept_state.check_counts({"startSeconds": 30}, self.ENTRIES, run)


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
