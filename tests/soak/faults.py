"""The faults that the soak test injects. Each is a function of the table FAULTS: it draws what it needs, and returns a
Fault, with which it can be injected and lifted. What a fault may raise as events is part of it."""

import itertools
import signal

NIC_EVENTS = (678, 680, 1384, 1390)
FC_EVENTS = (384, 385, 386, 388, 1391)
DRIVE_EVENTS = (538, 539, 540)
CONTROLLER_EVENTS = (397, 398)
VOLUME_EVENTS = (681, 683)

ANY = ""  # a mark that is in each event


class Fault:
    """One fault on its way: control commands that inject and lift it, and the events that it explains.

    events: pairs of numbers and a text that an event which it explains contains.
    needs_restart: what the agent reads once is affected, so only its next start has to find the host whole.
    hangs: a call of a library hangs, so that a stop can't be completed.
    deaths: the exit statuses with which it may end the agent.
    """

    def __init__(self, name, inject, lift, events=(), needs_restart=False, hangs=False, deaths=()):
        self.name, self.inject, self.lift = name, inject, lift
        self.events = list(events)
        self.needs_restart, self.hangs = needs_restart, hangs
        self.deaths = set(deaths)
        self.kind = ""
        self.began = self.ended = None  # monotonic time

    def explains(self, event_id, text):
        return any(event_id in ids and mark in text for ids, mark in self.events)


class Host:
    """What a described host has, by the first output of `show`."""

    def __init__(self, state, description):
        self.disks = state.get("disks", [])
        self.bay_disks = [disk for disk in self.disks if disk["firmwareRaid"]]
        self.raid_disks = state.get("raidDisks", [])
        self.raid_volumes = state.get("raidVolumes", [])
        self.raid_controllers = state.get("raidControllers", [])
        self.fc_ports = state.get("fibreChannelPorts", [])
        self.fc_adapters = state.get("fibreChannelAdapters", [])
        self.nics = [nic["name"] for nic in description.get("networkAdapters", [])]
        self.storage_controllers = [each["address"] for each in description.get("storageControllers", [])]

    def node_name(self, port):
        """That of the adapter, as its library lists it: it may have several ports."""
        return next(each["nodeName"] for each in self.fc_adapters if each["name"] == port["adapter"])

    def raid_serial(self, controller_id):
        return next(each["serial"] for each in self.raid_controllers if each["id"] == controller_id)


def host(*words):
    return lambda system: system.host(*words)


def controller(*words):
    """A command to the controller, if there is one: another one that comes has none of the faults."""
    return lambda system: system.controller and system.controller.control(*words)


def nothing(_system):
    pass


def both(*actions):
    def run(system):
        for action in actions:
            action(system)
    return run


# --- commands of the host ---

def command_fault(random, _host):
    name = random.choice(["localcli", "localcli", "esxtop", "mdadm"])
    how = random.choice([("fail", str(random.randint(1, 255))), ("hang", str(random.choice([2, 20, 45, 200]))),
                         ("garbage",)])
    count = random.choice([(), ("--count", str(random.randint(1, 20)))])
    return Fault(f"command {name} {' '.join(how + count)}", host("command", name, *how, *count),
                 host("command", name, "normal"), needs_restart=True)


# --- Ethernet ---

def link_fault(random, simulated):
    nic = random.choice(simulated.nics)
    how = random.choice([("link", "down"), ("link", "unknown"), ("admin", "down")])
    lift = both(host("nic", nic, "admin", "up"), host("nic", nic, "link", "up"))
    return Fault(f"nic {nic} {' '.join(how)}", host("nic", nic, *how), lift, [(NIC_EVENTS, f'"{nic}"')])


# --- disks ---

def disk_fault(random, simulated):
    """Of a disk with a bay, or of any other, which raises no event."""
    disk = random.choice(simulated.bay_disks if random.random() < 0.6 else simulated.disks)
    serial = disk["serial"]
    inject, lift = random.choice([
        (("wear", "97"), ("wear", str(disk["wear"]))),
        (("temperature", "88"), ("temperature", str(disk["temperature"]))),
        (("errors", "7"), ("errors", "0")),
        (("health", "0x5D"), ("health", "0")),
        (("page", "ata:03", "unsupported"), ("page", "ata:03", "supported")),
        (("page", "log:2F", "unsupported"), ("page", "log:2F", "supported")),
        (("page", "identify", "unsupported"), ("page", "identify", "supported")),
        (("pull",), ("return",)),
        (("hang",), ("answer",)),
        (("open", "fail", "5"), ("open", "normal")),
        (("state", "offline"), ("state", "running")),
    ])
    events = [(DRIVE_EVENTS, f'"{serial}"'), (CONTROLLER_EVENTS, disk["controller"])] if disk["firmwareRaid"] else []
    return Fault(f"disk {serial} {' '.join(inject)}", host("disk", serial, *inject), host("disk", serial, *lift), events)


def events_of_controller(simulated, address):
    events = [(CONTROLLER_EVENTS, address)]
    return events + [(DRIVE_EVENTS, f'"{disk["serial"]}"') for disk in simulated.bay_disks
                     if disk["controller"] == address]


def port_fault(random, simulated):
    disk = random.choice(simulated.bay_disks)
    port = disk["link"].split(":")[0]
    inject, lift = random.choice([(("remove",), ("return",)), (("state", "recovery"), ("state", "running"))])
    return Fault(f"scsi-host {port} {' '.join(inject)}", host("scsi-host", port, *inject),
                 host("scsi-host", port, *lift), events_of_controller(simulated, disk["controller"]))


def storage_controller_fault(random, simulated):
    address = random.choice(simulated.storage_controllers)
    return Fault(f"storage-controller {address} remove", host("storage-controller", address, "remove"),
                 host("storage-controller", address, "return"), events_of_controller(simulated, address))


# --- RAID controllers ---

def raid_disk_fault(random, simulated):
    disk = random.choice([each for each in simulated.raid_disks if "volume" in each])
    serial = simulated.raid_serial(disk["controller"])
    words = ("raid", "disk", serial, disk["disk"])
    # The events of a volume name its members.
    marks = [(DRIVE_EVENTS + VOLUME_EVENTS, f'"{disk["serial"]}"')]
    return Fault(f"raid disk {serial} {disk['disk']} fail", host(*words, "fail"),
                 both(host(*words, "rebuild"), host(*words, "online")), marks, needs_restart=True)


def raid_volume_fault(random, simulated):
    volume = random.choice(simulated.raid_volumes)
    serial = simulated.raid_serial(volume["controller"])
    members = [disk["serial"] for disk in simulated.raid_disks
               if disk["controller"] == volume["controller"] and disk.get("volume") == volume["target"]]
    words = ("raid", "volume", serial, str(volume["target"]))
    how = random.choice(["degrade", "partially-degrade", "offline"])
    return Fault(f"raid volume {serial} {volume['target']} {how}", host(*words, how), host(*words, "optimal"),
                 [(VOLUME_EVENTS, f'"{member}"') for member in members], needs_restart=True)


RAID_CALLS = ("controllers", "controller", "disks", "volumes", "disk", "volume", "members", "sequence", "inquiry",
              "initialize", "register", "all")


def raid_call_fault(random, _simulated):
    name = random.choice(RAID_CALLS)
    how = random.choice([("fail", "0x8003"), ("slow", "3"), ("hang",)])
    if how[0] == "slow" and name in ("disk", "all"):
        how = ("slow", "0.05")  # there are hundreds of such calls
    return Fault(f"raid command all {name} {' '.join(how)}", host("raid", "command", "all", name, *how),
                 host("raid", "command", "all", name, "normal"), needs_restart=True, hangs=how[0] == "hang")


# --- Fibre Channel ---

def fc_port_fault(random, simulated):
    port = random.choice(simulated.fc_ports)
    words = ("fc", port["name"])
    how = random.choice(["offline", "linkdown", "error", "bypassed", "diagnostics", "loopback", "unknown"])
    return Fault(f"fc {port['name']} {how}", host(*words, how), host(*words, "online"),
                 [(FC_EVENTS, simulated.node_name(port))])


def fc_adapter_fault(random, simulated):
    port = random.choice(simulated.fc_ports)
    # localcli no longer lists it, and the agent reads that list once.
    return Fault(f"fc {port['name']} vanish", host("fc", port["name"], "vanish"),
                 host("fc", port["name"], "return"), [(FC_EVENTS, simulated.node_name(port))], needs_restart=True)


FC_CALLS = ("GetNumberOfAdapters", "GetAdapterName", "OpenAdapter", "GetAdapterAttributes", "GetAdapterPortAttributes",
            "CloseAdapter", "RegisterLibrary", "LoadLibrary", "GetVersion", "all")


def fc_call_fault(random, simulated):
    library = random.choice(sorted({each["library"] for each in simulated.fc_adapters}))
    entry = random.choice(FC_CALLS)
    how = random.choice([("fail", "1"), ("rubbish",), ("missing",), ("slow", "2"), ("hang",)])
    if how[0] == "slow":
        how = ("slow", "0.2")
    # Rubbish for attributes is another state of the port of each adapter.
    return Fault(f"fc call {library} {entry} {' '.join(how)}", host("fc", "call", library, entry, *how),
                 host("fc", "call", library, entry, "normal"), [(FC_EVENTS, ANY)], needs_restart=True,
                 hangs=how[0] == "hang")


# --- libraries ---

def library_fault(random, _simulated):
    name, lacking = random.choice([("libvkloc0202.so", "without-encoder"), ("libstorelib.so", "without-entry-point"),
                                   ("libvokfca.so", "without-entry-point"), ("libvokfcb.so", "without-entry-point")])
    how = random.choice(["absent", lacking])
    return Fault(f"library {name} {how}", host("library", name, how), host("library", name, "present"),
                 needs_restart=True)


# The entry points of the libraries whose calls may hang or end the agent, and their exit statuses.
ENTRY_POINTS = {
    "libvkloc0202.so": ("load", "physloc_init_data", "physloc_encode"),
    "libstorelib.so": ("load", "ProcessLibCommand"),
    "libvokfca.so": ("load",) + FC_CALLS[:-1],
    "libvokfcb.so": ("load",) + FC_CALLS[:-1],
}
ENDS = {"hang": (), "crash": (-signal.SIGSEGV,), "abort": (-signal.SIGABRT,), "exit": (13,)}


def library_call_fault(random, _simulated):
    name = random.choice(sorted(ENTRY_POINTS))
    entry = random.choice(ENTRY_POINTS[name])
    how = random.choice(sorted(ENDS))
    after = random.choice(["0", "0", "1", "20"])
    # A library that is given up, or is left out of a run, takes its ports with it.
    events = [(FC_EVENTS, ANY)] if name.startswith("libvokfc") else []
    return Fault(f"library {name} call {entry} {how}",
                 host("library", name, "call", entry, how, "--after", after), host("library", name, "call", "normal"),
                 events, needs_restart=True, hangs=how == "hang", deaths=ENDS[how])


# --- IPMI and the controller ---

def device_fault(_random, _simulated):
    return Fault("ipmi absent", host("ipmi", "absent"), host("ipmi", "present"))


def answer_fault(random, _simulated):
    how = random.choice([("status", "5"), ("status", "8"), ("completion", "0xC0"), ("cc-only",), ("late", "300"),
                         ("never",)])
    chunk = random.choice([(), ("--at-chunk", str(random.randint(1, 30)))])
    kind = random.choice([(), ("--of", "inventory"), ("--of", "event"), ("--of", "poll")])
    if kind == ("--of", "poll"):
        chunk = ()
    words = ("answer", *how, *chunk, *kind, "--count", str(random.randint(1, 3)))
    return Fault(" ".join(words), controller(*words), controller("answer", "normal"))


def door_bell_garbage(random, _simulated):
    text = random.choice(["", "x", "WriteInventor", "writeinventory", "WriteInventory WriteInventory", "~" * 50])
    return Fault(f"ring --text {text!r}", controller("ring", "--text", text), nothing)


def controller_gone(_random, _simulated):
    return Fault("the controller is taken away", lambda system: system.take_controller_away(),
                 lambda system: system.bring_controller_back())


# --- the system ---

_numbers = itertools.count(1)


def interface_fault(_random, _simulated):
    name = f"vmk9{next(_numbers)}"
    return Fault(f"interface add {name}", host("interface", "add", name, "10.200.0.9/16"),
                 host("interface", "remove", name))


def memory_fault(random, _simulated):
    return Fault("memory", host("memory", "free", str(random.randint(1, 1000))), lambda system: system.restore_memory())


FAULTS = (
    (command_fault, 4), (link_fault, 4), (disk_fault, 6), (port_fault, 1), (storage_controller_fault, 1),
    (raid_disk_fault, 3), (raid_volume_fault, 2), (raid_call_fault, 3), (fc_port_fault, 4), (fc_adapter_fault, 1),
    (fc_call_fault, 3), (library_fault, 2), (library_call_fault, 3), (device_fault, 1), (answer_fault, 3), (door_bell_garbage, 1),
    (controller_gone, 1), (interface_fault, 1), (memory_fault, 1),
)


def draw(random, simulated):
    functions, weights = zip(*FAULTS)
    function = random.choices(functions, weights)[0]
    fault = function(random, simulated)
    fault.kind = function.__name__.replace("_fault", "").replace("_", " ")
    return fault
