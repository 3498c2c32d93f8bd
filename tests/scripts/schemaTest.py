"""The schemas of the documents know every key, and reject what is not in them; pages and examples are as they say."""

import copy
import json
import pathlib
import re
import subprocess
import sys
import tarfile
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
    return list(check_documents.Checker(name).differences(document))


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

    def test_their_names_have_the_version_of_the_agent(self):
        header = (PROJECT / "src/core/base/vokVersion.h").read_text()
        version = re.search(r' VOK_VERSION\[\] = "([0-9.]+)"', header).group(1)
        for name in check_documents.NAMES:
            self.assertEqual(check_documents.load(name)["$id"],
                             f"https://vok.example.com/schema/{version}/{name}.schema.json")

    def test_each_is_complete_in_one_file(self):
        for name in check_documents.NAMES:
            references = re.findall(r'"\$ref": "(.*)"', (PROJECT / f"docs/schema/{name}.schema.json").read_text())
            self.assertGreater(len(references), 4)
            self.assertEqual([each for each in references if not each.startswith("#/$defs/")], [])

    def test_the_subject_of_an_event_is_as_in_the_inventory_without_status(self):
        listed, subjects = (check_documents.load(name)["$defs"] for name in check_documents.NAMES)
        for subject, item in (("ethernet", "ethernetPort"), ("fibreChannel", "fibreChannelAdapter"),
                              ("controller", "controller"), ("drive", "drive"), ("volume", "volume")):
            expected = copy.deepcopy(listed[item])
            data = subjects[subject]["properties"]["Data"]
            del expected["properties"]["Status"]
            expected["required"].remove("Status")
            expected["description"] = data["description"]
            if item == "volume":
                expected["properties"]["Drives"] = data["properties"]["Drives"]
            self.assertEqual(data, expected, subject)
        for shared in ("location", "address"):
            self.assertEqual(subjects[shared], listed[shared])

    def test_states_and_health_are_those_of_the_agent(self):
        source = (PROJECT / "src/core/base/vokModules.cpp").read_text()
        status = check_documents.load("inventory")["$defs"]["status"]["properties"]
        for key, table in (("State", "vokResourceStateMap"), ("Health", "vokResourceHealthMap")):
            texts = re.search(rf"{table}\[\d+\] = {{(.*?)}};", source, re.DOTALL).group(1)
            self.assertEqual(status[key]["enum"], re.findall(r'"(.*?)"', texts))

    def test_each_key_has_a_description_and_each_number_a_unit(self):
        for name in check_documents.NAMES:
            for key, member in members({k: v for k, v in check_documents.load(name).items() if k != "if"}):
                self.assertTrue(member.get("description"), f"{name}: {key}")
                if member.get("type") in ("integer", "number") and key not in COUNTS:
                    self.assertTrue(member.get("unit"), f"{name}: {key}")

    def test_a_drive_is_accepted(self):
        self.assertEqual(differences("inventory", inventory(Drives=[DRIVE])), [])

    def test_a_location_has_sixteen_digits(self):
        for location, expected in (("256A001B05C20100", 0), ("256a001b05c20100", 1), ("256A001B05C2010", 1), ("", 1)):
            drive = {**DRIVE, "Oem": {**DRIVE["Oem"], "PhysicalLocation": location}}
            self.assertEqual(len(differences("inventory", inventory(Drives=[drive]))), expected, location)
            self.assertEqual(len(differences("event", {**EVENT, "PhysicalLocation": location})), expected, location)

    def test_an_event_has_the_primary_address_alone(self):
        for count, expected in ((1, 0), (0, 1), (2, 1)):
            event = {**EVENT, "IPv4Addresses": [{"Address": "10.1.2.3"}] * count}
            self.assertEqual(len(differences("event", event)), expected, count)

    def test_an_unknown_key_is_a_difference(self):
        document = inventory(Drives=[DRIVE])
        document["HostDataCollection"]["Drives"][0]["Oem"]["Rack"] = "1"
        self.assertEqual(len(differences("inventory", document)), 1)
        self.assertIn("Rack", differences("inventory", document)[0])
        self.assertEqual(len(differences("inventory", inventory(Tapes=[], Drives=[]))), 1)
        self.assertEqual(len(differences("inventory", inventory())), 1, "without sections nothing is sent")
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

    def test_members_of_a_volume_in_an_event_are_serial_numbers_or_drives(self):
        drive = {key: value for key, value in DRIVE.items() if key != "Status"}
        volume = {"DurableName": "600605B0", "VolumeType": "RAID1", "CapacityBytes": 1, "Drives": [],
                  "Oem": {"DeviceName": "/dev/sde", "HostControllerPhysicalLocation": "F" * 16}}
        for drives, expected in (([], 0), (["NS09M07310"], 0), ([drive], 0), ([DRIVE], 1), ([1], 1)):
            data = {"Type": "Volume", "EventInfo": "", "Data": {**volume, "Drives": drives}}
            self.assertEqual(len(differences("event", {**EVENT, "VariableData": data})), expected, drives)

    def test_a_test_event_is_checked_as_the_agents_others(self):
        event = {**EVENT, "Source": "VOK-CLI"}
        self.assertEqual(differences("event", event), [])
        self.assertEqual(len(differences("event", {**event, "Severity": 3})), 1)
        for text, expected in (("VOK Test Event", 1), ("Injected Event", 1), ("A drill", 0)):
            data = {"Type": "Drive", "EventInfo": text}
            self.assertEqual(len(differences("event", {**event, "VariableData": data})), expected, text)

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
            (path / "events.jsonl").write_bytes(b'{"Source": "VOK-CLI", "Text": "\xff"}\n')
            self.assertIn("events.jsonl:1: not JSON", self.run_on(folder).stdout)

    def test_it_checks_recordings_and_the_inventories_beside_them(self):
        def record(document):
            (path / "inventory.json").write_text(json.dumps(document))
            with tarfile.open(path / "host.tar", "w") as archive:
                archive.add(path / "inventory.json", "inventory.json")
            (path / "inventory.json").unlink()

        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder)
            record(inventory(Drives=[DRIVE]))
            (path / "host.json").write_text(json.dumps(inventory(Drives=[DRIVE]), indent=2))
            (path / "settings.json").write_text("{}")  # beside no recording
            ran = self.run_on(folder)
            self.assertEqual((ran.returncode, ran.stdout), (0, "2 inventories, 0 events, 0 differences\n"))
            record(inventory(Tapes=[]))
            (path / "host.json").write_text(json.dumps(inventory(Racks=[])))
            ran = self.run_on(folder)
            self.assertEqual(ran.returncode, 1)
            self.assertIn("host.json: HostDataCollection: Additional properties", ran.stdout)
            self.assertIn("host.tar: inventory.json: HostDataCollection: Additional properties", ran.stdout)
            with tarfile.open(path / "host.tar", "w"):
                pass
            self.assertIn("host.tar: inventory.json: not JSON", self.run_on(path / "host.tar").stdout)

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
