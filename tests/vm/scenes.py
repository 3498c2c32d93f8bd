"""What the test of the agent on a real kernel does, and what it expects. Each scene is a boot of the guest."""

import json
import re
import time

from guest import AHCI_DISKS, FAMILY, SCSI_DISKS, STATE_DISK, Guest

LOG = "/scratch/log/mev/vok/vok.log"
DEBUG_LOG = "/scratch/log/mev/vok/vok-debug.log"
RECORD = "/var/tmp/mevVOKStartup.txt"
AGENT = "/opt/mev/vok/bin/vokd"
IPMI_MODULES = ["ipmi_devintf", "ipmi_msghandler", "ipmi_si", "ipmi_ssif", "ipmi_watchdog"]
MEMORY_LIMIT = 12 * 1024  # KiB
# The directories of the two controllers' ids; those of a virtio adapter are the ids of the virtio device.
SATA_RAID, SMART_RAID = "0000:00:07.0", "0000:00:06.0/virtio*"
SET_IDS = {
    SATA_RAID: {"vendor": "0x8086", "device": "0x2826"},
    SMART_RAID: {"vendor": "0x9005", "device": "0x028f"},
}
DISKS = [STATE_DISK, *AHCI_DISKS, *SCSI_DISKS]
BOOT_EVENTS = [356, 359, 360]
# Errors that the agent logs once, as the guest has neither.
MISSED_AT_START = (
    "LSI_INTERF: Failed to load library for monitoring MegaRAID devices.",
    "VOK_UTILS: Error occurred in gathering localcli storage SAN information",
)
FIRST_INVENTORY = 120  # seconds; the agent waits 20 s before its first build
SHORT_INTERVALS = r"""sed -i -e 's/"Global": "3600"/"Global": "10"/' """ + " ".join(
    f"""-e 's/"{key}": "[a-z0-9]*"/"{key}": "{value}"/'"""
    for key, value in {
        "IPMIDoorBellMonitorInterval": 1, "InventoryQueryIntervalInSeconds": 5, "EnableDebugLog": "true",
    }.items()  # fmt: skip
)
EVENT = {
    "ID": 538, "EventTime": "2026-11-22 10:00:00", "HostName": "vok-guest", "OSVersion": "12", "OSType": 104,
    "VariableData": {"Type": "Drive", "EventInfo": "A drill: no drive has failed"},
}  # fmt: skip


def chunks_of(size):
    """The first chunk has 33 bytes of the payload, each later one 57; the payload ends in a NUL."""
    return 1 + -(-(size + 1 - 33) // 57)


def serials_of(collection):
    return {drive["SerialNumber"] for drive in collection.get("Drives", [])}


def facts_of(drive):
    return [drive["MediaType"], drive["Protocol"], drive["Oem"]["Slot"], drive["Oem"]["PhysicalLocation"]]


class Scenes:
    def __init__(self, report, work, kernel, initial, controller):
        self.report, self.work, self.controller = report, work, controller
        self.kernel, self.initial = kernel, initial
        self.guest = None
        self.warnings = []

    def check(self, good, text, detail=""):
        self.report.check(good, text, detail)

    # Disks of the guest.

    def node_of(self, serial):
        """The SCSI generic node of a disk, by the serial number in its VPD page 80h."""
        found = self.guest.run(f"grep -l {serial} /sys/class/scsi_generic/*/device/vpd_pg80 | cut -d / -f 5")
        return f"/dev/{found}"

    def set_ids(self, place):
        """Shows the agent other ids of a storage controller, as QEMU has none that it claims: a file over each attribute in
        /sys. Nothing else of the controller is changed."""
        for attribute, value in SET_IDS[place].items():
            file = f"/run/ids/{value}"
            self.guest.run(
                f"mkdir -p /run/ids; echo {value} >{file}; mount -o bind {file} /sys/bus/pci/devices/{place}/{attribute}"
            )

    def probe(self, node, options=""):
        """The exit status of --probe-disk, its rows by name and source, and all of its output."""
        output, _, status = self.guest.run(f"{AGENT} {options} --probe-disk {node} 2>&1; echo $?").rpartition("\n")
        rows = {}
        for line in output.splitlines():
            if line.startswith("  "):
                rows[line[2:35].strip(), line[35:55].strip()] = line[55:]
        return int(status), rows, output

    # The guest and the agent in it.

    def boot(self, name, title, interrupt):
        self.report.scene(title)
        self.guest = Guest(self.work, name, self.kernel, self.initial, self.controller.socket, interrupt)
        seconds = self.guest.wait_until_up()
        self.report.say(f"the kernel and the host below the agent were up after {seconds:.0f} s")
        self.guest.run(SHORT_INTERVALS + " /etc/config/mev/vok/vok.conf")
        for address in SET_IDS:
            self.set_ids(address)

    def start_agent(self):
        # The directory is that of the stand-in for the closed location library.
        self.guest.run(
            f"rm -f /run/vokd.status {DEBUG_LOG}; "
            f"(LD_LIBRARY_PATH=/machine/lib {AGENT} >>/var/log/vokd.out 2>&1; echo $? >/run/vokd.status) >/dev/null 2>&1 & sleep 1"
        )

    def start_agent_and_wait(self):
        """Until its first inventory has been pushed, which is when it delivers any event. Returns the inventory and the
        numbers of the boot events that came."""
        known, inventories = len(self.controller.events()), len(self.controller.inventories())
        self.start_agent()
        text = self.controller.wait_for_inventory(inventories, FIRST_INVENTORY)
        delivered = "JSON_AGGR: Success in delivering inventory string to RMC!"
        self.guest.run(f"until tail -n 3000 {DEBUG_LOG} | grep -qF '{delivered}'; do sleep 0.2; done")
        came = [event["ID"] for event in self.controller.events()[known:]]
        return text, [number for number in came if number in BOOT_EVENTS]

    def record(self):
        lines = self.guest.run(f"cat {RECORD}").splitlines()
        return {key: int(value) for key, value in (line.split() for line in lines if line)}

    def wait_for_record(self, holds, seconds):
        deadline = time.monotonic() + seconds
        while not holds(self.record()) and time.monotonic() < deadline:
            time.sleep(0.5)
        return self.record()

    def wait_for_end(self, seconds):
        """The agent's exit status, or None if it does not end in time, and the seconds it took."""
        began = time.monotonic()
        tries = int(seconds * 5)
        status = self.guest.run(
            f"n=0; until [ -s /run/vokd.status ] || [ $n = {tries} ]; do sleep 0.2; n=$((n+1)); done; "
            "cat /run/vokd.status 2>/dev/null",
            seconds=2 * seconds + 30,
            status=None,
        )
        return (int(status) if status.isdigit() else None), time.monotonic() - began

    def stop_gracefully(self, seconds):
        before = self.record()
        self.guest.run(f"kill -TERM $(pidof {AGENT})")
        status, took = self.wait_for_end(seconds)
        self.check(status == 0, f"SIGTERM ended it after {took:.1f} s with status 0", f"status {status}")
        record = self.record()
        good = record["current_start"] == 0 and record["last_stop"] >= record["last_start"] == before["current_start"]
        self.check(good, "the startup record tells of a graceful stop", f"{record}")

    def test_event(self):
        """A test event through the client; the event as it arrived."""
        known = len(self.controller.events())
        self.guest.run("vokcli test 708", seconds=120)
        return self.controller.wait_for_event(known, 708, 60)

    def keep_logs(self):
        """The agent's logs of this boot, beside those of the guest."""
        for log in (LOG, DEBUG_LOG, "/var/log/vokd.out", "/var/log/vok-simhost.log"):
            text = self.guest.run(f"cat {log}", status=None)
            (self.work / f"{self.guest.name}.{log.rpartition('/')[2]}").write_text(text)

    # What a boot ends with.

    def check_memory(self):
        resident = int(self.guest.run(f"sed -n 's/VmRSS:[^0-9]*//p' /proc/$(pidof {AGENT})/status").split()[0])
        self.check(resident < MEMORY_LIMIT, f"its resident memory is {resident / 1024:.1f} MiB, below 12 MiB")
        huge = self.guest.run(f"sed -n 's/AnonHugePages:[^0-9]*//p' /proc/$(pidof {AGENT})/smaps_rollup")
        enabled = self.guest.run("cat /sys/kernel/mm/transparent_hugepage/enabled")
        good = huge == "0 kB" and "[always]" in enabled
        self.check(good, "none of it in huge pages, which this kernel gives to any process", f"{huge}, {enabled}")

    def kernel_warnings(self):
        levels = "emerg,alert,crit,err,warn"
        return self.guest.run(f"dmesg --level {levels}").splitlines()

    def check_kernel(self, before, pulled=0):
        """`pulled`: the number of AHCI disks that were pulled, of each of which the kernel warns."""
        new = self.kernel_warnings()[len(before) :]
        others = [line for line in new if not re.search(r"ata\d+\.00: disable device$", line)]
        but = " but those of the pulled disks" if pulled else ""
        good = not others and len(new) == pulled
        self.check(good, f"the kernel gave no warning since the agent's start{but}", "\n".join(new))

    def debug_has(self, text):
        return self.guest.run(f"grep -cF '{text}' {DEBUG_LOG} || true") != "0"

    def log_lines(self, text):
        return self.guest.run(f"grep -F '{text}' {LOG} || true").splitlines()

    def check_agent_errors(self, expected=(), starts=1):
        """`starts`: how often the agent was started with this log; each start misses the RAID library and localcli."""
        lines = self.log_lines("[ERROR]")
        texts = [line.split(maxsplit=5)[-1] for line in lines]
        missed = [sum(text.startswith(line) for text in texts) for line in MISSED_AT_START]
        good = missed == [starts] * len(MISSED_AT_START)
        self.check(good, "each start missed the RAID library and localcli, once", "\n".join(lines))
        others = [text for text in texts if not text.startswith(MISSED_AT_START)]
        but = " but those of the event that the stop gave up" if expected else ""
        self.check(others == list(expected), f"its log has no further error{but}", "\n".join(lines))

    def check_places(self):
        found = self.guest.run("cat /machine/run/simhost/physloc-violations.log 2>/dev/null || true")
        self.check(not found, "the location library got no wrong record", found)

    def report_transfers(self, first, how):
        transfers = self.controller.transfers()[first:]
        seconds = sum(each[2] for each in transfers)
        chunks = sum(each[1] - 1 for each in transfers)
        self.report.say(
            f"{how}: {len(transfers)} inventories, {chunks} exchanges after their first in {seconds:.2f} s, "
            f"{1000 * seconds / chunks:.1f} ms each"
        )

    # The scenes.

    def first_boot(self):
        self.boot("first", "A host boots for the first time, with a KCS interface that has an interrupt", interrupt=5)
        guest, controller = self.guest, self.controller
        loaded = guest.run("grep -c ^ipmi /proc/modules || true")
        self.check(loaded == "0", "no IPMI module is loaded, and there is no /dev/ipmi0", loaded)
        guest.run("test ! -e /dev/ipmi0")
        self.check_disks()
        self.check_probe()
        self.check_platform()
        self.check_recording()

        before = self.kernel_warnings()
        text, came = self.start_agent_and_wait()
        self.check_driver()
        self.check_inventory(text)
        self.check_storage(text)
        self.check(not came, "no boot event came at the first start of all", f"{came}")
        record = self.record()
        good = record["last_start"] == record["current_start"] != 0 and record["last_stop"] == 0
        self.check(good, "the startup record has its start, and no stop", f"{record}")

        self.check_pulled_disk()
        self.check_pulled_controller()
        known = len(controller.inventories())
        controller.control("ring")
        rung = time.monotonic()
        self.check_client()
        self.check_links()
        self.check_lost_node()
        controller.wait_for_inventory(known, max(5, 100 - (time.monotonic() - rung)))
        self.check(True, "the door-bell brought a fresh inventory, at the next poll")

        self.report_transfers(0, "the driver with an interrupt")
        self.check_memory()
        self.check_places()
        self.check_agent_errors()
        self.check_kernel(before, pulled=3)
        self.stop_gracefully(15)
        self.keep_logs()
        guest.power_off()

    def second_boot(self):
        self.boot("second", "The host was shut down in order and boots again; the interface has no interrupt", interrupt=0)
        guest, controller = self.guest, self.controller
        before = self.kernel_warnings()
        transfers = len(controller.transfers())
        _, came = self.start_agent_and_wait()
        self.check(came == [359, 356], "events 359 (graceful) and 356 (boot) came, in this order", f"{came}")
        self.report_transfers(transfers, "the driver without an interrupt")

        self.check_controller_gone()
        self.check_stop_with_silent_controller()

        self.guest.run("sleep 2")  # a start in the second of the stop leaves a record from which no event follows
        _, came = self.start_agent_and_wait()
        self.check(came == [], "a second start in the same boot raises no event", f"{came}")
        self.check_memory()
        self.check_agent_errors(
            ["IPMI: Error occurred while executing RMC_CLI_Exec", "EVT_HANDLER: FAILURE in logging event to RMC"],
            starts=2,
        )
        self.check_kernel(before)

        guest.run(f"kill -KILL $(pidof {AGENT})")
        status, _ = self.wait_for_end(5)
        self.check(status == 137, "the agent is killed with SIGKILL", f"status {status}")
        guest.run("sync")
        self.keep_logs()
        guest.cut_power()

    def third_boot(self):
        self.boot("third", "The power was cut after the agent had been killed", interrupt=5)
        guest, controller = self.guest, self.controller
        before = self.kernel_warnings()
        _, came = self.start_agent_and_wait()
        self.check(came == [360, 356], "events 360 (not graceful) and 356 (boot) came, in this order", f"{came}")
        self.check_memory()
        self.check_agent_errors()
        self.check_kernel(before)
        self.stop_gracefully(15)
        self.keep_logs()
        guest.power_off()

    # Their parts.

    def check_disks(self):
        """The agent has no storage class yet; the disks are there for it."""
        shown = self.guest.run("cat /sys/block/sd*/device/vpd_pg80 | tr -c 'A-Z0-9-' '\\n'; cat /sys/block/sd*/device/model")
        lacking = [disk.serial for disk in DISKS if disk.serial not in shown.split()]
        if "scsi_debug" not in shown:
            lacking.append("scsi_debug")
        nodes = int(self.guest.run("ls /dev/sg* | grep -c ."))
        wanted = len(DISKS) + 1
        self.check(not lacking and nodes == wanted, f"{wanted} disks are there, with an sg node each", f"{lacking} {nodes}")

    def check_recording(self):
        """The host is recorded, and played back in the guest itself."""
        guest = self.guest
        guest.run(f"LD_LIBRARY_PATH=/machine/lib {AGENT} --record /run/host.tar", seconds=120)
        guest.run(
            "(LD_LIBRARY_PATH=/opt/mev/vok/lib vok-simhost run --replay /run/host.tar --root /run/replay </dev/null >/run/replay.log 2>&1 & echo $! >/run/replay.pid); "
            "until grep -qs ': ready: ' /run/replay.log; do sleep 0.1; done"
        )
        guest.run(f"{AGENT} --host-root /run/replay --print-inventory >/run/played.json", seconds=120)
        difference = guest.run("tar -xOf /run/host.tar inventory.json | cmp - /run/played.json 2>&1 || true")
        size = int(guest.run("wc -c </run/played.json"))
        good = not difference and size > 100
        self.check(good, f"it was recorded, and the recording gives the same inventory of {size} bytes", difference)
        lacking = guest.run("grep 'not in the recording' /run/replay.log || true")
        self.check(not lacking, "nothing that the agent asked was missing in the recording", lacking)
        # The agent's log is counted from its own start.
        guest.run(f"kill $(cat /run/replay.pid); rm -rf {LOG} {DEBUG_LOG} /run/replay /run/host.tar /run/played.json")

    def check_probe(self):
        """--probe-disk on disks of three kinds, each through its driver."""
        refused = "- VOK_SCSI_ILLEGAL_REQUEST: sense key 5h (ILLEGAL REQUEST), ASC/ASCQ 20h/00h"
        self.check_answers("an AHCI disk", self.node_of("AHCI-HDD-2"), {
            ("Vendor", "vendor"): "ATA",
            ("State", "state"): "running",
            ("Serial number", "vpd_pg80"): "AHCI-HDD-2",
            ("Size", "block/*/size"): "49152 blocks of 512 bytes (0.025 GB)",
            ("Size, by the path of the device", "/sys/devices"): "49152 blocks of 512 bytes (0.025 GB)",
            ("Product", "INQUIRY"): "QEMU HARDDISK",
            ("Serial number", "VPD page 80h"): "AHCI-HDD-2",
            ("Rotation rate", "VPD page B1h"): "7200 per minute",
            ("Last block address", "READ CAPACITY"): "block 49151",
            ("Temperature", "log page 0Dh"): refused,
            ("Model", "IDENTIFY DEVICE"): "QEMU HARDDISK",
            ("Serial number", "IDENTIFY DEVICE"): "AHCI-HDD-2",
            ("Rotation rate", "IDENTIFY DEVICE"): "7200 per minute",
            ("Index of the error log", "log 03h"):
                "- VOK_SCSI_ABORTED_COMMAND: sense key Bh (ABORTED COMMAND), ASC/ASCQ 00h/00h",
        })  # fmt: skip
        self.check_answers("a SCSI disk", self.node_of("SCSI-SSD-2"), {
            ("Vendor", "vendor"): "QEMU",
            ("Serial number", "vpd_pg80"): "SCSI-SSD-2",
            ("Serial number", "VPD page 80h"): "SCSI-SSD-2",
            ("Solid state", "VPD page B1h"): "yes",
            ("Last block address", "READ CAPACITY"): "block 49151",
            ("Informational exception", "log page 2Fh"): refused,
            ("Model", "IDENTIFY DEVICE"): refused,
        })  # fmt: skip
        debug = f"/dev/{self.guest.run('ls /sys/bus/pseudo/devices/adapter0/host*/target*/*/scsi_generic')}"
        self.check_answers("a scsi_debug disk", debug, {
            ("Model", "model"): "scsi_debug",
            ("Transport protocol", "mode page 19h"): "6: SAS",
            ("Temperature", "log page 0Dh"): "38 degrees Celsius",
            ("Reference temperature", "log page 0Dh"): "65 degrees Celsius",
            ("Informational exception", "log page 2Fh"): "0000h: none",
            ("Model", "IDENTIFY DEVICE"): refused,
        })  # fmt: skip
        _, _, direct = self.probe(debug)
        _, _, live = self.probe(debug, "--host-root /machine")
        self.check(live == direct, "the live host has the same disk", live)
        ran = self.guest.run(f"setpriv --reuid 65534 --regid 65534 --clear-groups {AGENT} --probe-disk {debug}; echo $?")
        good = ran.endswith("CAP_SYS_RAWIO and the right to the node\n12")
        self.check(good, "without root's rights it is refused, and says what is needed", ran)
        entry = self.guest.run(f"ls -d /sys/class/scsi_generic/{debug[5:]}/device/.")
        self.guest.run(f"echo 1 >{entry}/delete; until [ ! -e {debug} ]; do sleep 0.1; done")
        status, _, output = self.probe(debug)
        self.check(status == 10, "pulled, it is missing", output)

    def check_answers(self, what, node, expected):
        status, rows, output = self.probe(node)
        wrong = [f"{key}: {rows.get(key)}" for key, answer in expected.items() if rows.get(key) != answer]
        good = status == 0 and not wrong and output.endswith(" questions were answered.")
        self.check(good, f"--probe-disk asks {what}: {len(expected)} answers of {len(rows)}", "\n".join([*wrong, output]))

    def check_platform(self):
        shown = self.guest.run(f"LD_LIBRARY_PATH=/machine/lib {AGENT} --show-platform")
        rows = {line.split()[0]: line.split() for line in shown.splitlines() if line.startswith("0000:")}
        good = FAMILY in shown and "libvkloc0202.so" in shown
        self.check(good, f"the firmware's tables make it a machine of the family {FAMILY}", shown)
        places = [(rows.get(f"0000:00:0{n}.0") or [""] * 4)[3] for n in (4, 5, 6, 7)]
        good = places == ["r001u05p2i00", "r001u05p2i03", "r001u05p2i06", "r001u05p2i07"]
        self.check(good, "an on-board adapter and three slots have the GeoIDs of the SMBIOS records", shown)

    def check_driver(self):
        loaded = self.guest.run("sed -n 's/^\\(ipmi[a-z_]*\\) .*/\\1/p' /proc/modules | sort").splitlines()
        self.check(loaded == IPMI_MODULES, "the agent has loaded the five IPMI modules", f"{loaded}")
        major = self.guest.run("sed -n 's/ ipmidev$//p' /proc/devices").strip()
        node = self.guest.run("stat -c '%F %a %t' /dev/ipmi0")
        good = node == f"character special file 600 {int(major):x}"
        self.check(good, "/dev/ipmi0 is there, of the driver's number and for root alone", f"{node}, driver {major}")
        found = self.guest.run("dmesg | grep -c 'IPMI kcs interface initialized'", status=None)
        self.check(found == "1", "the kernel found the controller at its KCS interface", found)
        log = self.controller.log.read_text()
        self.check("starts its watchdog" not in log, "its watchdog timer is not started by that", log)

    def check_inventory(self, text):
        controller = self.controller
        size, chunks, _ = controller.transfers()[0]
        good = size == len(text.encode()) and chunks == chunks_of(size)
        self.check(good, f"the inventory arrived: {size} bytes in {chunks} chunks", f"{chunks_of(size)} expected")
        collection = json.loads(text)["HostDataCollection"]
        adapters = {each["Oem"]["DeviceName"]: each for each in collection["EthernetDevices"]}
        addresses = self.guest.run("cat /sys/class/net/eth0/address /sys/class/net/eth1/address").splitlines()
        shown = [adapters.get(name, {}).get("MACAddress") for name in ("eth0", "eth1")]
        self.check(shown == addresses, "it has both adapters with the addresses of /sys/class/net", f"{adapters}")
        places = [adapters[name]["Oem"]["PhysicalLocation"] for name in ("eth0", "eth1")]
        self.check(places == ["259A001B05C20000", "203A001B05C20300"], "and with their locations", f"{places}")
        states = [adapters[name]["Status"] for name in ("eth0", "eth1")]
        self.check(states == [{"Health": "OK", "State": "Online"}] * 2, "both Online and OK", f"{states}")
        system = collection["Oem"]["HostOSInfo"]
        expected = self.guest.run("uname -snrvm")
        self.check(system["OSDescription"] == expected, "and the kernel that uname tells", system["OSDescription"])
        addresses = [each["Address"] for each in system["IPv4Addresses"]]
        self.check(addresses == ["192.0.2.10", "192.0.2.11"], "the kernel's IPv4 addresses", f"{addresses}")
        total = int(self.guest.run("sed -n 's/MemTotal:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/meminfo")) // 1024 // 1024
        shown = system["OSMemorySummary"]["TotalSystemMemoryGiB"]
        self.check(shown == total == 1, "and its memory", f"{shown} and not {total}")

    def check_storage(self, text):
        """Controllers and drives of the inventory."""
        collection = json.loads(text)["HostDataCollection"]
        shown = [
            [each["Model"], each["Protocol"], each["Status"]["State"], each["Status"]["Health"], each["Oem"]["PhysicalLocation"]]
            for each in collection.get("StorageControllers", [])
        ]
        expected = [
            ["Adaptec Smart Storage PQI 12G SAS/PCIe 3 Controller", "SAS/SATA", "Running", "OK", "203A001B05C20600"],
            ["Intel C600/X79 series chipset SATA RAID Controller", "SATA", "Running", "OK", "203A001B05C20700"],
        ]
        self.check(shown == expected, "it has two storage controllers that run, with their locations", f"{shown}")
        shown = {drive["SerialNumber"]: facts_of(drive) for drive in collection.get("Drives", [])}
        expected = {
            "SCSI-HDD-1": ["HDD", "", "-1", "FFFFFFFFFFFFFFFF"],
            "SCSI-SSD-2": ["SSD", "", "-1", "FFFFFFFFFFFFFFFF"],
            "AHCI-SSD-1": ["SSD", "SATA", "1", "256A001B05C20107"],
            "AHCI-HDD-2": ["HDD", "SATA", "3", "256A001B05C20307"],
        }
        self.check(shown == expected, "and their four drives, with serial number, medium, protocol, slot and location", f"{shown}")
        capacity = {drive["CapacityBytes"] for drive in collection.get("Drives", [])}
        self.check(capacity == {24 << 20}, "and their capacity", f"{capacity}")
        states = {drive["SerialNumber"]: list(drive["Status"].values()) for drive in collection.get("Drives", [])}
        failed, unknown = ["Critical", "Failed"], ["Unknown", "Unknown"]
        expected = {"SCSI-HDD-1": unknown, "SCSI-SSD-2": unknown, "AHCI-SSD-1": failed, "AHCI-HDD-2": failed}
        what = "those without a slot are unknown, the others count as failed, as QEMU's have no health log"
        self.check(states == expected, what, f"{states}")
        unknown = self.guest.run("ls -d /sys/bus/pci/devices/0000:00:1f.2/ata*/host* | head -n 1").rpartition("/")[2]
        debug = self.guest.run("ls -d /sys/bus/pseudo/devices/adapter0/host*").rpartition("/")[2]
        for line, what in (
            (f"Skipping port /sys/class/scsi_host/{unknown} [0x29228086, ", "a port of a controller that no class claims"),
            (f"Unable to access PCI card information for /sys/class/scsi_host/{debug}.", "scsi_debug"),
        ):  # fmt: skip
            self.check(self.debug_has(line), f"{what} is left out, and the log says so", line)

    def check_pulled_disk(self):
        node = self.node_of("AHCI-HDD-2")
        entry = self.guest.run(f"cd -P /sys/class/scsi_generic/{node[5:]}/device && pwd")
        host = entry.split("/")[-3]
        inventories, known = len(self.controller.inventories()), len(self.controller.events())
        self.guest.run(f"echo 1 >{entry}/delete")
        others = {"SCSI-HDD-1", "SCSI-SSD-2", "AHCI-SSD-1"}
        collection = self.controller.wait_for_collection(inventories, lambda each: serials_of(each) == others, 60)
        shown = serials_of(collection)
        self.check(shown == others, "a disk is pulled: an inventory without it arrives", f"{shown}")
        self.guest.run(f"echo '- - -' >/sys/class/scsi_host/{host}/scan")
        event = self.controller.wait_for_event(known, 538, 60)
        data = event["VariableData"]["Data"]
        good = data["SerialNumber"] == "AHCI-HDD-2" and event["PhysicalLocation"] == "256A001B05C20307"
        self.check(good, "it is back, and event 538 says that it has failed", json.dumps(event))

    def check_pulled_controller(self):
        known, inventories = len(self.controller.events()), len(self.controller.inventories())
        self.guest.run(f"echo 1 >/sys/bus/pci/devices/{SATA_RAID}/remove")
        event = self.controller.wait_for_event(known, 398, 60)
        place = event["VariableData"]["Data"]["Oem"]["PhysicalLocation"]
        self.check(place == "203A001B05C20700", "a controller is pulled: event 398 arrives", json.dumps(event))
        others = {"SCSI-HDD-1", "SCSI-SSD-2"}
        collection = self.controller.wait_for_collection(inventories, lambda each: serials_of(each) == others, 60)
        good = serials_of(collection) == others and len(collection["StorageControllers"]) == 1
        self.check(good, "and an inventory without it and its disks", json.dumps(collection))
        known, inventories = len(self.controller.events()), len(self.controller.inventories())
        self.guest.run("echo 1 >/sys/bus/pci/rescan")
        self.set_ids(SATA_RAID)
        event = self.controller.wait_for_event(known, 397, 60)
        place = event["VariableData"]["Data"]["Oem"]["PhysicalLocation"]
        self.check(place == "203A001B05C20700", "it is back: event 397 arrives", json.dumps(event))
        everything = {disk.serial for disk in AHCI_DISKS + SCSI_DISKS}
        collection = self.controller.wait_for_collection(inventories, lambda each: serials_of(each) == everything, 60)
        self.check(serials_of(collection) == everything, "and an inventory with its disks", json.dumps(collection))
        status, rows, output = self.probe(self.node_of("AHCI-SSD-1"))
        good = status == 0 and rows.get(("Serial number", "IDENTIFY DEVICE")) == "AHCI-SSD-1"
        self.check(good, "--probe-disk asks one of its disks while the agent runs", output)

    def check_client(self):
        event = self.test_event()
        resources = event["VariableData"]["OperationalResourceType"]
        self.check(
            {"HostOSInfo", "EthernetDevices"} <= set(resources), "vokcli's test event arrived", json.dumps(event)
        )
        known = len(self.controller.events())
        self.guest.run(f"printf '%s' '{json.dumps(EVENT)}' >/tmp/event.json; vokcli inject /tmp/event.json")
        event = self.controller.wait_for_event(known, 538, 60)
        good = event == {**EVENT, "Source": "VOK-CLI"}
        self.check(good, "an injected event arrived as it was written, with its source", json.dumps(event))

    def check_links(self):
        for up, number, text in ((False, 1384, "lost"), (True, 1390, "back")):
            known = len(self.controller.events())
            began = time.monotonic()
            self.guest.set_link("nic0", up)
            event = self.controller.wait_for_event(known, number, 60)
            data = event["VariableData"]["Data"]
            good = data["Oem"]["DeviceName"] == "eth0" and event["PhysicalLocation"] == "259A001B05C20000"
            took = time.monotonic() - began
            self.check(good, f"the link of eth0 is {text}: event {number} came after {took:.0f} s", json.dumps(event))

    def check_lost_node(self):
        """The bring-up makes the node where no device manager does."""
        self.guest.run("rm /dev/ipmi0")
        self.test_event()
        node = self.guest.run("stat -c '%F %a' /dev/ipmi0")
        self.check(
            node == "character special file 600", "the node was removed: the agent made it again, and its event arrived", node
        )

    def check_controller_gone(self):
        status = self.controller.quit()
        self.check(status == 0, "the controller goes; until then no violation of the protocol", f"status {status}")
        time.sleep(1)
        said = self.guest.run("vokcli test 708; echo status $?", seconds=120)
        # The interface answers in the controller's place, with a completion code and nothing else.
        logged = self.log_lines("MPEventGen on /dev/ipmi0: request 1 was answered with completion code 0xD2")
        good = said.endswith("status 7") and len(logged) == 1
        self.check(good, "the controller is gone: the client and the log say with which code its interface answers", said)
        self.controller.start()
        self.controller.wait("attached", 1, 30)
        event = self.test_event()
        self.check(event["ID"] == 708, "the controller is back: the next event arrives")

    def check_stop_with_silent_controller(self):
        self.controller.pause()
        self.guest.run("vokcli test 708 >/dev/null 2>&1 & sleep 3")
        self.stop_gracefully(10)
        logged = self.log_lines("MPEventGen on /dev/ipmi0: no answer to request")
        self.check(len(logged) == 1, "the controller hung meanwhile: the stop did not wait for it, and the log says so")
        self.controller.resume()
