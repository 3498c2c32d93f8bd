"""The schemas of the documents know every key, and reject what is not in them; pages and examples are as they say."""

import copy
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = PROJECT / "scripts"
sys.path.insert(0, str(SCRIPTS))
import check_documents  # noqa: E402

EVENT = {"EventTime": "2026-11-15 08:38:22", "HostName": "esx01", "ID": 359, "OSType": 104, "OSVersion": "7.0.3",
         "Source": "VOK"}
DRIVE = {"CapacityBytes": 900185481216, "Manufacturer": "MEV", "MediaType": "SSD", "Model": "MEV0900NS6M",
         "Oem": {"PhysicalLocation": "256A001B05C20100", "Slot": "1"}, "PartNumber": "MEV-3000-153A",
         "Protocol": "SATA", "Revision": "MV010203", "SerialNumber": "NS09M07310",
         "Status": {"Health": "OK", "State": "Running"}}
# Keys whose number is of a thing that has no unit.
COUNTS = {"ID", "OSType", "Box", "BayCount", "SegmentCount"}


def inventory(**sections):
    return {"HostDataCollection": copy.deepcopy(sections)}


def differences(name, document):
    return list(check_documents.differences(check_documents.validator(name), document))


def members(schema):
    """Each member of each object in a schema, with its key."""
    if isinstance(schema, dict):
        yield from schema.get("properties", {}).items()
        for value in schema.values():
            yield from members(value)
    elif isinstance(schema, list):
        for value in schema:
            yield from members(value)


class Schemas(unittest.TestCase):
    def test_they_are_schemas_of_the_draft_that_they_name(self):
        for name in check_documents.NAMES:
            schema = check_documents.load(name)
            self.assertEqual(schema["$schema"], "https://json-schema.org/draft/2020-12/schema")
            jsonschema.Draft202012Validator.check_schema(schema)

    def test_each_key_has_a_description_and_each_number_a_unit(self):
        for name in check_documents.NAMES:
            for key, member in members({k: v for k, v in check_documents.load(name).items() if k != "if"}):
                self.assertTrue(member.get("description"), f"{name}: {key}")
                if member.get("type") in ("integer", "number") and key not in COUNTS:
                    self.assertTrue(member.get("unit"), f"{name}: {key}")

    def test_a_drive_is_accepted(self):
        self.assertEqual(differences("inventory", inventory(Drives=[DRIVE])), [])

    def test_an_unknown_key_is_a_difference(self):
        document = inventory(Drives=[DRIVE])
        document["HostDataCollection"]["Drives"][0]["Oem"]["Rack"] = "1"
        self.assertEqual(len(differences("inventory", document)), 1)
        self.assertIn("Rack", differences("inventory", document)[0])
        self.assertEqual(len(differences("inventory", inventory(Tapes=[]))), 1)
        self.assertEqual(len(differences("inventory", {**inventory(Drives=[]), "Version": 1})), 1)

    def test_a_missing_key_is_a_difference(self):
        for key in DRIVE:
            document = inventory(Drives=[{k: v for k, v in DRIVE.items() if k != key}])
            self.assertEqual(len(differences("inventory", document)), 1, key)

    def test_a_number_as_text_and_an_unknown_state_are_differences(self):
        self.assertEqual(len(differences("inventory", inventory(Drives=[{**DRIVE, "CapacityBytes": "1"}]))), 1)
        status = {"Health": "Fine", "State": "Running"}
        self.assertEqual(len(differences("inventory", inventory(Drives=[{**DRIVE, "Status": status}]))), 1)

    def test_an_event_of_the_agent_is_accepted_and_one_with_an_unknown_key_is_not(self):
        self.assertEqual(differences("event", EVENT), [])
        self.assertEqual(len(differences("event", {**EVENT, "Severity": 3})), 1)
        data = {"Type": "Drive", "EventInfo": "", "Data": {k: v for k, v in DRIVE.items() if k != "Status"}}
        self.assertEqual(differences("event", {**EVENT, "VariableData": data}), [])
        data["Data"]["Status"] = DRIVE["Status"]
        self.assertEqual(len(differences("event", {**EVENT, "VariableData": data})), 1)

    def test_an_event_of_a_user_may_have_any_members(self):
        self.assertEqual(differences("event", {"Source": "VOK-CLI", "ID": "mine"}), [])
        self.assertEqual(len(differences("event", {"Source": "Other", "ID": 1})), 1)


class Checker(unittest.TestCase):
    def run_on(self, *arguments):
        return subprocess.run([sys.executable, SCRIPTS / "check_documents.py", *arguments], capture_output=True,
                              text=True, check=False)

    def test_it_checks_the_files_of_a_controllers_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder)
            (path / "inventory-0001.json").write_text(json.dumps(inventory(Drives=[DRIVE])))
            (path / "events.jsonl").write_text(json.dumps(EVENT) + "\n" + json.dumps(EVENT) + "\n")
            ran = self.run_on(folder)
            self.assertEqual((ran.returncode, ran.stdout), (0, "1 inventories, 2 events, 0 differences\n"))
            (path / "events.jsonl").write_text(json.dumps({**EVENT, "Rack": 1}) + "\n{\n")
            ran = self.run_on(folder)
            self.assertEqual(ran.returncode, 1)
            self.assertIn("events.jsonl:1: the document: Additional properties", ran.stdout)
            self.assertIn("events.jsonl:2: not JSON", ran.stdout)

    def test_nothing_to_check_is_a_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(self.run_on(folder).returncode, 2)
        self.assertEqual(self.run_on("/no/such/folder").returncode, 2)


class Pages(unittest.TestCase):
    def test_they_are_made_from_the_schemas(self):
        ran = subprocess.run([sys.executable, SCRIPTS / "schema_pages.py", "--check"], capture_output=True, text=True,
                             check=False)
        self.assertEqual(ran.stdout, "")
        self.assertEqual(ran.returncode, 0)

    def test_the_events_in_the_documents_are_events(self):
        examples = [line for page in (PROJECT / "docs").glob("*.md")
                    for line in re.findall(r'^\{"EventTime".*\}$', page.read_text(encoding="utf-8"), re.MULTILINE)]
        self.assertGreater(len(examples), 0)
        for example in examples:
            self.assertEqual(differences("event", json.loads(example)), [], example)


if __name__ == "__main__":
    unittest.main()
