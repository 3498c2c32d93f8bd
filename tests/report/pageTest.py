"""The report of vok-rmc in headless Chromium: on the described hosts, on made-up folders, on a hostile one.

The folders of the hosts were made by the real programs. With --screenshots DIR the pages are also drawn there.
"""

import concurrent.futures
import json
import os
import pathlib
import resource
import subprocess
import sys
import tarfile
import tempfile
import time
import unittest

import browser

PROJECT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = pathlib.Path(os.environ["VOK_BUILD"]) / "bin"
CHECKS = (pathlib.Path(__file__).parent / "page_checks.js").read_text(encoding="utf-8")
# The units in the inventory of a host; the first push may come before its adapters are known.
HOSTS = {
    "rack-node": {"Drives": 19, "EthernetDevices": 4, "FibreChannelDevices": 2, "Volumes": 4},
    "blade-node": {"Drives": 2, "EthernetDevices": 4, "FibreChannelDevices": 2},
    "foreign-node": {"EthernetDevices": 1, "FibreChannelDevices": 1},
    "bare": {},
}
# A controller's folder from a run of the host "large", which takes too long to be made each time.
LARGE = pathlib.Path(__file__).parent / "large.tar.xz"
UNITS_OF_LARGE = 576 + 224 + 84 + 7 + 36  # drives, Ethernet and Fibre Channel ports, controllers, volumes
PATIENCE = 60
PULLED = "NS09M07310"
SKIPPED = 77
NAMED_ROLES = {"button", "link", "checkbox", "searchbox", "textbox", "region", "table", "img", "image", "columnheader",
               "rowheader", "navigation"}

HOSTILE = "</script><script>document.title='owned'</script><img src=x onerror=\"document.title='owned'\">'\u202e\u0007&lt;"


class Program:
    """A program that runs during a `with` block."""

    def __init__(self, *command):
        self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL)

    def __enter__(self):
        return self._process

    def __exit__(self, *_):
        self._process.terminate()
        try:
            self._process.wait(10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()


def processor_seconds():
    """Of the programs that have ended, also on a busy machine."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def run(*command):
    return subprocess.run(command, capture_output=True, timeout=PATIENCE, check=True).stdout


def await_inventory(out, is_wanted):
    """Waits until the last inventory of a controller is wanted; `is_wanted` gets its HostDataCollection."""
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        files = sorted(pathlib.Path(out).glob("inventory-*.json"))
        if files and is_wanted(json.loads(files[-1].read_text())["HostDataCollection"]):
            return
        time.sleep(0.05)
    raise AssertionError(f"the inventory has not come: {out}")


def receive_from(host, work):
    """The folder of a controller that has received what the agent of a described host sends; of a rack node also events."""
    root, out = str(work / "host"), str(work / "received")
    control = (PROGRAMS / "vok-rmc", "control", "--out", out)
    with Program(PROGRAMS / "vok-simhost", "run", "--host", host, "--root", root, "--speed", "100"), \
            Program(PROGRAMS / "vok-rmc", "run", "--root", root, "--out", out, "--quiet"):
        run(*control, "wait", "attached", "1")
        with Program(PROGRAMS / "vokd", "--host-root", root):
            await_inventory(out, lambda document: all(
                len(document.get(key, [])) == count for key, count in HOSTS[host].items()))
            if host == "rack-node":
                run(PROGRAMS / "vok-simhost", "control", "--root", root, "disk", PULLED, "pull")
                await_inventory(out, lambda document: PULLED not in json.dumps(document))
                run(*control, "wait", "event", "1")
    return out


def hostile_folder(folder):
    folder.mkdir()
    unit = {key: HOSTILE for key in ("Model", "Manufacturer", "PartNumber", "FirmwareVersion", "SerialNumber", "Odd")}
    unit["Oem"] = {"Description": HOSTILE, "DeviceName": HOSTILE, "PhysicalLocation": HOSTILE, "Slot": HOSTILE}
    unit["Status"] = {"Health": "Critical", "State": HOSTILE}
    unit[HOSTILE] = HOSTILE
    placed = {**unit, "Oem": {**unit["Oem"], "Description": "PCI 0000:86:00.0 r001u05p2i03"}}
    system = {"HostName": HOSTILE, "OSName": HOSTILE, "IPv4Addresses": [{"Address": HOSTILE}]}
    document = {"Drives": [unit], "EthernetDevices": [placed], HOSTILE: [unit], "Oem": {"HostOSInfo": system}}
    (folder / "inventory-0001.json").write_text(json.dumps({"HostDataCollection": document}))
    event = {"EventTime": HOSTILE, "HostName": HOSTILE, "ID": 538, "PhysicalLocation": HOSTILE, "Source": HOSTILE,
             "VariableData": {"Data": unit, "EventInfo": HOSTILE, "Type": "Drive"}}
    (folder / "events.jsonl").write_text(json.dumps(event) + "\n" + json.dumps(event)[:50])
    transfer = {"at": HOSTILE, "command": HOSTILE, "outcome": "abandoned", "reason": HOSTILE, "seconds": 0.1}
    (folder / "transfers.jsonl").write_text(json.dumps(transfer) + "\n")
    (folder / "violations.log").write_bytes(HOSTILE.encode() + b"\xff\xc3\n")
    return str(folder)


def states_folder(folder):
    """Units in each condition, and a refused transfer."""
    folder.mkdir()
    states = (("OK", "Online"), ("OK", "Offline"), ("Unknown", "Unknown"), ("Warning", "Degraded"), ("Critical", "Failed"))
    drives = [{"CapacityBytes": 1000 ** 4 * (5 - i), "MediaType": "SSD", "SerialNumber": f"S{i}",
               "Oem": {"PhysicalLocation": f"256A001B05C20{i + 1}00", "Slot": str(i + 1)},
               "Status": {"Health": health, "State": state}} for i, (health, state) in enumerate(states)]
    ports = [{"Oem": {"DeviceName": f"vmnic{i}", "Description": f"PCI 0000:86:00.{i} r001u05p2i06"},
              "MACAddress": f"02:00:00:00:00:0{i}", "Status": {"Health": health, "State": state}}
             for i, (health, state) in enumerate(states)]
    document = {"HostDataCollection": {"Drives": drives * 3, "EthernetDevices": ports}}
    (folder / "inventory-0001.json").write_text(json.dumps(document))
    (folder / "transfers.jsonl").write_text('{"command":"WriteInventory","outcome":"refused","status":8}\n')
    (folder / "violations.log").write_text("a chunk of 59 bytes, not 60\n")
    return str(folder)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.TemporaryDirectory(prefix="vok-report-")
        cls.addClassCleanup(cls.work.cleanup)
        work = pathlib.Path(cls.work.name)
        with concurrent.futures.ThreadPoolExecutor(len(HOSTS) + 1) as workers:
            started = workers.submit(browser.Browser)
            for host in HOSTS:
                (work / host).mkdir()
            folders = dict(zip(HOSTS, workers.map(lambda host: receive_from(host, work / host), HOSTS)))
            cls.browser = started.result()
            cls.addClassCleanup(cls.browser.close)
        with tarfile.open(LARGE) as kept:
            kept.extractall(work / "large")  # of our own making
        folders["large"] = work / "large"
        folders["hostile"] = hostile_folder(work / "hostile-folder")
        folders["states"] = states_folder(work / "states-folder")
        cls.folders = {name: pathlib.Path(folder) for name, folder in folders.items()}
        cls.seconds, cls.pages = {}, {}
        for name, folder in folders.items():
            began = processor_seconds()
            page = work / f"{name}.html"
            page.write_bytes(run(PROGRAMS / "vok-rmc", "report", folder))
            cls.seconds[name] = processor_seconds() - began
            cls.pages[name] = page
        cls.seen = {name: cls.look_at(name) for name in cls.pages}

    @classmethod
    def look_at(cls, name):
        """What is asked of every page, from one loading of it: each check's findings."""
        cls.browser.open(cls.pages[name].as_uri(), width=1600)
        seen = {"requests": cls.browser.requests(), "complaints": cls.browser.complaints(),
                "chassis": cls.browser.value("document.querySelectorAll('.chassis').length"),
                "rows": cls.browser.value("document.querySelectorAll('tr[id]').length"),
                "structure": cls.wrong("headings") + cls.wrong("identifiers"), "wide": cls.wrong("overflowing")}
        if name != "large":  # whose 700 rows are like those of the others
            seen["accessibility"] = cls.browser.accessibility()
            seen["faint"], seen["ground"] = cls.wrong("faint"), cls.ground()
            cls.browser.resize(width=1600, dark=True)
            seen["faint in the dark"], seen["dark ground"] = cls.wrong("faint"), cls.ground()
        cls.browser.resize(width=360)
        seen["narrow"] = cls.wrong("overflowing")
        return seen

    @classmethod
    def wrong(cls, check):
        return cls.browser.value(f"{CHECKS}.{check}()")

    @classmethod
    def ground(cls):
        return cls.browser.value("getComputedStyle(document.body).backgroundColor")

    def open(self, name, **options):
        self.browser.open(self.pages[name].as_uri(), **options)

    def texts(self, selector):
        return self.browser.value(f"[...document.querySelectorAll({json.dumps(selector)})].map((each) => each.textContent)")

    def visible(self, selector):
        return self.browser.value(f"[...document.querySelectorAll({json.dumps(selector)})].filter((each) => "
                                  "each.getClientRects().length > 0).map((each) => each.textContent)")

    def test_each_page_loads_nothing_and_the_console_stays_empty(self):
        for name, seen in self.seen.items():
            with self.subTest(name):
                self.assertEqual(seen["requests"], [self.pages[name].as_uri()])
                self.assertEqual(seen["complaints"], [])

    def test_no_page_is_wider_than_the_window(self):
        for name, seen in self.seen.items():
            with self.subTest(name):
                self.assertEqual(seen["wide"], [])
                self.assertEqual(seen["narrow"], [])

    def test_a_wide_window_is_used(self):
        self.open("rack-node", width=1600)
        self.assertGreater(self.browser.value("document.querySelector('.chassis').getBoundingClientRect().width"), 1450)

    def test_texts_and_symbols_have_contrast_in_both_themes(self):
        for name, seen in self.seen.items():
            if "faint" not in seen:
                continue
            with self.subTest(name):
                self.assertEqual(seen["faint"], [])
                self.assertEqual(seen["faint in the dark"], [])
                self.assertNotEqual(seen["ground"], seen["dark ground"])

    def test_everything_that_needs_a_name_has_one_for_a_screen_reader(self):
        for name, seen in self.seen.items():
            with self.subTest(name):
                self.assertEqual(seen["structure"], [])
                if "accessibility" not in seen:
                    continue
                roles = [node["role"]["value"] for node in seen["accessibility"]]
                nameless = [node["role"]["value"] for node in seen["accessibility"]
                            if node["role"]["value"] in NAMED_ROLES and not node.get("name", {}).get("value", "").strip()]
                self.assertEqual(nameless, [])
                for landmark in ("banner", "navigation", "main", "contentinfo"):
                    self.assertEqual(roles.count(landmark), 1, landmark)

    def test_the_slots_of_a_rack_node_show_what_sits_in_them(self):
        self.open("rack-node")
        self.assertEqual(self.texts("h1"), ["rack42-node07"])
        slots = self.browser.value(
            "Object.fromEntries([...document.querySelectorAll('.bank[data-group=\"Slots, partition 2\"] svg')].map((svg) => "
            "[svg.querySelector('title').textContent, [svg.querySelector('desc').textContent, "
            "...[...svg.querySelectorAll('a .name')].map((each) => each.textContent)]]))")
        self.assertEqual(slots["Slot 06"], [
            "2 units, GeoID r001u05p2i06, location code 203A001B05C20600", "vmnic2", "vmnic3"])
        self.assertEqual(slots["Slot 05"], [
            "1 storage controller, GeoID r001u05p2i05, location code 203A001B05C20500", "controller"])
        self.assertEqual(slots["Slot 01"], ["no unit reported"])

    def test_a_pulled_disk_is_in_the_verdict_and_in_the_time_line(self):
        self.open("rack-node")
        self.assertIn("538 drive has failed or is gone: NS09M07310", self.browser.value(
            "document.querySelector('.findings').textContent"))
        self.assertIn("drive NS09M07310 is gone", self.texts(".changes li"))
        events = [json.loads(line) for line in (self.folders["rack-node"] / "events.jsonl").read_text().splitlines()]
        reasons = [event["VariableData"]["EventInfo"] for event in events if event["ID"] == 538]
        self.assertEqual(len(reasons), 1)
        self.assertIn(reasons[0], self.texts(".entry.fault .text"))

    def test_the_transfers_of_a_rack_node_are_there(self):
        self.open("rack-node")
        rows = self.texts("#table-transfers tbody tr")
        self.assertGreaterEqual(len(rows), 3)
        self.assertTrue(any("inventory-0001.json" in row and "complete" in row for row in rows))

    def test_a_host_without_places_lists_its_units(self):
        self.open("foreign-node")
        self.assertEqual(self.texts(".chassis h3 .fine"), [
            "2 units with neither a GeoID nor a location code that can be read"])
        self.assertIn("vmnic0", self.texts(".chips a > span:first-of-type"))

    def test_a_host_without_units_says_so(self):
        self.open("bare")
        self.assertIn("The inventory has no unit to draw.", self.texts("#picture p"))

    def test_a_large_host_has_a_small_page_that_is_written_quickly(self):
        self.assertLess(self.pages["large"].stat().st_size, 2_000_000)
        self.assertLess(self.seconds["large"], 1)
        self.assertGreater(self.seen["large"]["chassis"], 8)
        self.assertEqual(self.seen["large"]["rows"], UNITS_OF_LARGE)

    def test_hostile_texts_are_shown_as_texts(self):
        self.open("hostile")
        self.assertEqual(self.browser.value("document.querySelectorAll('img').length"), 0)
        self.assertEqual(self.browser.value("document.querySelectorAll('script').length"), 1)
        self.assertTrue(self.browser.value("document.title").startswith("</script><script>document.title='owned'"))
        shown = HOSTILE.replace("\u202e", "[U+202E]").replace("\u0007", "[U+0007]")
        self.assertEqual(self.texts("h1"), [shown])
        self.assertIn(shown, self.texts("td"))
        self.assertIn(shown + "[0xFF][0xC3]", self.texts(".violations li"))
        self.assertEqual(self.browser.complaints(), [])

    def test_the_policy_stops_what_is_not_of_the_page(self):
        self.open("states")
        self.browser.value("document.body.append(Object.assign(document.createElement('img'), {src: 'other.png'}), "
                           "Object.assign(document.createElement('script'), {textContent: 'document.title = 1'}))")
        self.assertEqual(self.browser.value("document.title"), "Host without a name: hardware report")
        deadline = time.monotonic() + 10
        while len(self.browser.complaints()) < 2 and time.monotonic() < deadline:
            time.sleep(0.05)
        complaints = json.dumps(self.browser.complaints())
        self.assertIn("other.png", complaints)
        self.assertIn("script-src", complaints)

    def test_a_table_is_sorted_by_the_keyboard(self):
        self.open("states")
        first = "document.querySelector('table tbody tr th').textContent"
        self.assertEqual(self.browser.value(first), "S0")
        self.browser.value("document.querySelector('.scroll').focus()")
        self.browser.press("Tab")
        self.assertEqual(self.browser.value("document.activeElement.textContent"), "State")
        self.browser.press("Enter")
        header = "document.querySelector('table th').getAttribute('aria-sort')"
        self.assertEqual(self.browser.value(header), "ascending")
        self.browser.press("Enter")
        self.assertEqual(self.browser.value(header), "descending")
        self.assertEqual(self.browser.value(first), "S4")
        self.assertEqual(self.texts("#announcement"), ["Sorted by State, descending"])

    def test_a_capacity_is_sorted_by_its_size(self):
        self.open("states")
        self.browser.value("[...document.querySelectorAll('table')][0].querySelectorAll('thead button')[3].click()")
        self.assertEqual(self.texts("[aria-sort]"), ["Capacity"])
        self.assertEqual(self.texts("#table-1 tbody tr th")[:4], ["S4", "S4", "S4", "S3"])

    def test_a_filter_shows_the_rows_with_its_words(self):
        self.open("states")
        self.browser.value("document.querySelector('.filter input').focus()")
        self.browser.type("failed s4")
        self.assertEqual(self.visible("#table-1 tbody th"), ["S4", "S4", "S4"])
        self.assertEqual(self.texts("#announcement"), ["3 of 15 rows"])

    def test_the_time_line_is_filtered_by_kind(self):
        self.open("rack-node")
        everything = len(self.texts(".entry"))
        self.browser.value("document.querySelector('#timeline-tools input[value=push]').click()")
        shown = self.visible(".entry .kind")
        self.assertTrue(0 < len(shown) < everything)
        self.assertNotIn("Push", shown)

    def test_the_first_tab_leads_past_the_navigation(self):
        self.open("states")
        self.browser.press("Tab")
        self.assertEqual(self.browser.value("document.activeElement.textContent"), "Skip to the report")
        self.browser.press("Enter")
        self.assertEqual(self.browser.value("document.activeElement.id"), "main")

    def test_arrow_keys_move_within_a_group_and_a_unit_leads_to_its_row(self):
        self.open("states")
        self.browser.value("document.querySelector('a.unit').focus()")
        name = "document.activeElement.querySelector('.name').textContent"
        self.assertEqual(self.browser.value(name), "vmnic0")
        self.browser.press("ArrowRight")
        self.assertEqual(self.browser.value(name), "vmnic1")
        self.browser.press("End")
        self.assertEqual(self.browser.value(name), "vmnic4")
        self.assertNotEqual(self.browser.value("getComputedStyle(document.activeElement.querySelector('.box')).strokeWidth"),
                            self.browser.value("getComputedStyle(document.querySelector('.ok .box')).strokeWidth"))
        self.browser.press("Enter")
        self.assertIn("vmnic4", self.browser.value("document.activeElement.cells[1].textContent"))

    def test_the_page_can_be_read_without_scripts(self):
        self.browser.call("Emulation.setScriptExecutionDisabled", value=True)
        try:
            self.open("states")
            self.assertEqual(self.browser.value("document.querySelectorAll('button, input').length"), 0)
            self.assertEqual(len(self.texts("tr[id]")), 20)
            self.assertEqual(len(self.texts(".bank[data-group='Drive bays, partition 2'] a.unit")), 15)
        finally:
            self.browser.call("Emulation.setScriptExecutionDisabled", value=False)

    def test_screenshots(self):
        if SCREENSHOTS is None:
            self.skipTest("only with --screenshots DIR")
        for name in self.pages:
            for width in (360, 1600):
                for dark in (False, True):
                    self.open(name, width=width, dark=dark)
                    self.browser.screenshot(SCREENSHOTS / f"{name}-{width}-{'dark' if dark else 'light'}.png")


SCREENSHOTS = None

if __name__ == "__main__":
    if browser.find() is None:
        print("SKIPPED: chromium is not installed (scripts/setup test installs it)")
        sys.exit(SKIPPED)
    if "--screenshots" in sys.argv:
        at = sys.argv.index("--screenshots")
        SCREENSHOTS = pathlib.Path(sys.argv[at + 1])
        SCREENSHOTS.mkdir(parents=True, exist_ok=True)
        del sys.argv[at:at + 2]
    unittest.main(verbosity=2)
