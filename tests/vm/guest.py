"""A QEMU guest: a machine with an IPMI interface, network adapters and disks, and a line for commands to it."""

import json
import socket
import struct
import subprocess
import time

BOOT_SECONDS = 120  # a busy machine emulates slowly
FAMILY = "7711PID02020001"


class GuestError(RuntimeError):
    pass


def slot_record(handle, designation, device):
    """SMBIOS type 9 (3.x, 7.10): a slot in use, for function 0 of a device on bus 0."""
    fixed = struct.pack("<BBHBBBBBHBBHBB", 9, 17, handle, 1, 0xA5, 8, 4, 4, device, 0x0C, 1, 0, 0, device << 3)
    return fixed + designation.encode() + b"\0\0"


class Disk:
    def __init__(self, name, serial, rotation):
        self.name, self.serial, self.rotation = name, serial, rotation


# The machine's own AHCI controller has the disk of the state only, so that the other one can be pulled.
STATE_DISK = Disk("state", "STATE-0", 0)
AHCI_DISKS = [Disk("ahci1", "AHCI-SSD-1", 1), Disk("ahci2", "AHCI-HDD-2", 7200)]
AHCI_PORTS = [0, 2]
SCSI_DISKS = [Disk("scsi1", "SCSI-HDD-1", 10000), Disk("scsi2", "SCSI-SSD-2", 1)]


def make_disks(work):
    """The disks' files, and on the first of them the file system that outlives a boot."""
    for disk in [STATE_DISK, *AHCI_DISKS, *SCSI_DISKS]:
        with (work / f"{disk.name}.img").open("wb") as file:
            file.truncate(24 << 20)
    image = work / f"{STATE_DISK.name}.img"
    subprocess.run(["/sbin/mke2fs", "-q", "-F", "-t", "ext4", "-L", "vokstate", image], check=True)


def disk_arguments(work):
    def drive(disk):
        return ["-drive", f"if=none,id={disk.name},file={work / disk.name}.img,format=raw"]

    yield from [*drive(STATE_DISK), "-device", f"ide-hd,drive={STATE_DISK.name},bus=ide.0,serial={STATE_DISK.serial}"]
    yield from ["-device", "ich9-ahci,id=ahci,addr=7"]
    for port, disk in zip(AHCI_PORTS, AHCI_DISKS):
        device = f"ide-hd,drive={disk.name},bus=ahci.{port},serial={disk.serial},rotation_rate={disk.rotation}"
        yield from [*drive(disk), "-device", device]
    yield from ["-device", "virtio-scsi-pci,id=scsi,addr=6"]
    for disk in SCSI_DISKS:
        device = f"scsi-hd,drive={disk.name},bus=scsi.0,serial={disk.serial},rotation_rate={disk.rotation}"
        yield from [*drive(disk), "-device", device]


def firmware_arguments(work):
    """An on-board adapter and three slots. QEMU makes no slot records itself, so these are files."""
    yield from ["-smbios", f"type=1,manufacturer=Mev Systems,product=Rack node,serial=VM0001,family={FAMILY}"]
    yield from ["-smbios", "type=41,designation=r001u05p2i00,kind=ethernet,instance=1,pcidev=nic0"]
    slots = [("r001u05p2i03", 5), ("r001u05p2i06", 6), ("r001u05p2i07", 7)]
    for handle, (designation, device) in enumerate(slots, 0x0900):
        record = work / f"slot{device}.bin"
        record.write_bytes(slot_record(handle, designation, device))
        yield from ["-smbios", f"file={record}"]


class Guest:
    """One boot of the guest, from power-on to power-off."""

    def __init__(self, work, name, kernel, initial, controller_socket, interrupt):
        self.name = name
        self.console = work / f"{name}.console.log"
        self.errors = work / f"{name}.qemu.log"
        self._commands = work / f"{name}.commands.sock"
        self._monitor = work / f"{name}.monitor.sock"
        self._connections = {}
        self._number = 0
        arguments = [
            "qemu-system-x86_64", "-nodefaults", "-no-user-config", "-no-reboot", "-display", "none",
            "-machine", "q35", "-accel", "tcg", "-smp", "1", "-m", "1280",
            "-kernel", kernel, "-initrd", initial, "-append", "console=ttyS0 quiet loglevel=5 panic=-1",
            "-chardev", f"file,id=console,path={self.console}", "-serial", "chardev:console",
            "-chardev", f"socket,id=commands,path={self._commands},server=on,wait=off", "-serial", "chardev:commands",
            "-qmp", f"unix:{self._monitor},server=on,wait=off",
            "-chardev", f"socket,id=controller,path={controller_socket},reconnect=1",
            "-device", "ipmi-bmc-extern,chardev=controller,id=bmc0",
            "-device", f"isa-ipmi-kcs,bmc=bmc0,irq={interrupt}",
            "-netdev", "user,id=net0,restrict=on", "-device", "e1000,id=nic0,netdev=net0,addr=4,mac=02:00:5e:10:00:00",
            "-netdev", "user,id=net1,restrict=on",
            "-device", "virtio-net-pci,id=nic1,netdev=net1,addr=5,mac=02:00:5e:10:00:01",
            *firmware_arguments(work),
            *disk_arguments(work),
        ]  # fmt: skip
        with self.errors.open("wb") as log:
            # The kernel ends it together with this program.
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "KILL", *map(str, arguments)],
                stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True,
            )  # fmt: skip

    def wait_until_up(self):
        """Returns the seconds that the boot took."""
        began = time.monotonic()
        line = self._connection(self._commands, BOOT_SECONDS)
        line.settimeout(BOOT_SECONDS)
        try:
            while self._read_line(self._commands) != "ready":
                pass
        except OSError as error:
            raise GuestError(f"the guest did not come up: {error}\n{self._last_words()}") from error
        return time.monotonic() - began

    def run(self, command, seconds=60, status=0):
        """Runs a shell command in the guest and returns its output, without the last newline."""
        self._number += 1
        line = self._connection(self._commands, 10)
        line.settimeout(seconds)
        line.sendall(f"{self._number} {command}\n".encode())
        output = []
        try:
            while True:
                text = self._read_line(self._commands)
                if text.startswith(f"{self._number} done "):
                    break
                output.append(text)
        except OSError as error:
            raise GuestError(f"{command}: no answer in {seconds} s: {error}\n{self._last_words()}") from error
        ended = int(text.split()[-1])
        if status is not None and ended != status:
            raise GuestError(f"{command}: status {ended}\n" + "\n".join(output))
        return "\n".join(output).rstrip("\n")

    def monitor(self, command, **arguments):
        """Runs a command of QEMU's monitor protocol."""
        first = self._monitor not in self._connections
        line = self._connection(self._monitor, 10)
        if first:
            self._read_line(self._monitor)  # the greeting
            self.monitor("qmp_capabilities")
        line.sendall((json.dumps({"execute": command, "arguments": arguments}) + "\n").encode())
        while True:
            answer = json.loads(self._read_line(self._monitor))
            if "error" in answer:
                raise GuestError(f"{command}: {answer['error']['desc']}")
            if "return" in answer:
                return answer["return"]

    def set_link(self, adapter, up):
        self.monitor("set_link", name=adapter, up=up)

    def power_off(self):
        """An orderly end: file systems first."""
        line = self._connection(self._commands, 10)
        line.sendall(b"0 sync; umount /var/tmp /mnt/state; poweroff -f\n")
        self.process.wait(60)
        self._close()

    def cut_power(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait(10)
        self._close()

    def _close(self):
        for connected, _ in self._connections.values():
            connected.close()
        self._connections = {}

    def _connection(self, path, seconds):
        if path not in self._connections:
            deadline = time.monotonic() + seconds
            connected = socket.socket(socket.AF_UNIX)
            while connected.connect_ex(str(path)) != 0:
                if self.process.poll() is not None or time.monotonic() > deadline:
                    raise GuestError(f"QEMU does not answer\n{self._last_words()}")
                time.sleep(0.05)
            connected.settimeout(seconds)
            self._connections[path] = connected, bytearray()
        return self._connections[path][0]

    def _read_line(self, path):
        connected, pending = self._connections[path]
        while b"\n" not in pending:
            block = connected.recv(65536)
            if not block:
                raise OSError("QEMU has ended")
            pending += block
        line, _, rest = bytes(pending).partition(b"\n")
        pending[:] = rest
        return line.decode(errors="replace").rstrip("\r")

    def _last_words(self):
        texts = [path.read_text(errors="replace") for path in (self.errors, self.console) if path.exists()]
        return "\n".join("\n".join(text.splitlines()[-15:]) for text in texts)
