"""What the guest boots: Debian's kernel, and an initial file system of the machine's packages with the installed agent.

The kernel, its modules and the system below the agent are kept in the cache directory; the agent is packed for each run.
"""

import hashlib
import pathlib
import re
import shutil
import subprocess

MODULES = """
    ipmi_msghandler ipmi_si ipmi_devintf ipmi_watchdog ipmi_ssif
    e1000 virtio_net virtio_pci virtio_scsi ahci sd_mod sg scsi_debug ext4 crc32c_generic
""".split()
DIRECTORIES = "bin dev etc lib mnt proc root run sbin sys tmp usr/bin var/log var/run var/tmp".split()
# The agent's commands are run by Debian's own shell and tools; busybox serves the guest itself.
TOOLS = "sh awk cat cut dmesg grep ls mknod modprobe rm sed setpriv stat tail".split()
PREFIX = "opt/mev/vok"


def run(command, **options):
    ran = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    if ran.returncode != 0:
        raise RuntimeError(f"{' '.join(map(str, command))}: status {ran.returncode}\n{ran.stdout}{ran.stderr}")
    return ran.stdout


def kernel_package():
    depends = re.search(r"Depends: (linux-image-[0-9]\S*)", run(["apt-cache", "depends", "linux-image-amd64"]))
    if not depends:
        raise RuntimeError("apt-cache knows no linux-image-amd64")
    return depends.group(1)


def download(package, into):
    command = ["apt-get", "-o", "APT::Sandbox::User=root", "-o", "Acquire::Retries=1", "download", package]
    run(command, cwd=into)
    return next(into.glob("*.deb"))


def closure(tree, release):
    """The module files of MODULES with all that they need, in the tree; built-in ones have none."""
    files = set()
    for module in MODULES:
        shown = run(["modprobe", "-d", tree, "-S", release, "--show-depends", module])
        files.update(re.findall(r"^insmod (\S+)", shown, re.MULTILINE))
    return sorted(pathlib.Path(file) for file in files)


def fetch_kernel(cache):
    """The directory with `vmlinuz` and `lib/modules/RELEASE`, from Debian's package."""
    kernel = cache / "kernel"
    if (kernel / "complete").exists():
        return kernel
    work = cache / "unpacked"
    for left in (kernel, work):
        shutil.rmtree(left, ignore_errors=True)
    work.mkdir(parents=True)
    package = kernel_package()
    print(f"fetching {package}", flush=True)
    archive = download(package, work)
    run(["dpkg-deb", "-x", archive, work])
    release = next((work / "lib/modules").iterdir()).name
    run(["depmod", "-b", work, release])
    kept = kernel / "lib/modules" / release
    kept.mkdir(parents=True)
    for file in closure(work, release):
        copy = kernel / file.relative_to(work)
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(file, copy)
    for name in ("modules.builtin", "modules.builtin.modinfo", "modules.order"):
        shutil.copy(work / "lib/modules" / release / name, kept)
    run(["depmod", "-b", kernel, release])
    shutil.copy(next((work / "boot").glob("vmlinuz-*")), kernel / "vmlinuz")
    (kernel / "complete").write_text(f"{archive.name}\n")
    shutil.rmtree(work)
    return kernel


def libraries_of(programs):
    """The shared libraries and the loaders of the programs, by the path in which the loader looks for them."""
    found = set()
    for program in programs:
        listed = subprocess.run(["ldd", str(program)], capture_output=True, text=True, check=False).stdout
        if "not found" in listed:
            raise RuntimeError(f"{program}: a shared library is missing:\n{listed}")
        found.update(re.findall(r"(?:=> |^\s+)(/\S+)", listed, re.MULTILINE))
    return found


def put(root, file, place=None, mode=None):
    target = root / (place or str(file)).lstrip("/")
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(file, target)
    if mode is not None:
        target.chmod(mode)


def pack(root, archive):
    """An initial file system of the directory, all of it root's."""
    names = "\n".join(sorted(str(path.relative_to(root)) for path in root.rglob("*")))
    with archive.open("wb") as file:
        subprocess.run(
            ["cpio", "--quiet", "-o", "-H", "newc", "-R", "0:0"], cwd=root, input=names.encode(), stdout=file, check=True
        )


def system_archive(cache, kernel):
    """The system below the agent: kernel modules, a shell with its tools, and kmod."""
    tools = {name: pathlib.Path(shutil.which(name)).resolve() for name in ("busybox", *TOOLS)}
    key = hashlib.sha256(pathlib.Path(__file__).read_bytes() + (kernel / "complete").read_bytes())
    for tool in tools.values():
        key.update(tool.read_bytes())
    archive = cache / f"system-{key.hexdigest()[:16]}.cpio"
    if archive.exists():
        return archive
    for old in cache.glob("system-*.cpio"):
        old.unlink()
    root = cache / "system"
    shutil.rmtree(root, ignore_errors=True)
    for directory in DIRECTORIES:
        (root / directory).mkdir(parents=True, exist_ok=True)
    for name, tool in tools.items():
        put(root, tool, f"bin/{name}", 0o755)
    for applet in run([tools["busybox"], "--list"]).split():
        if not (root / "bin" / applet).exists():
            (root / "bin" / applet).symlink_to("busybox")
    (root / "usr/bin/awk").symlink_to("/bin/awk")  # the agent names it by this path
    for library in libraries_of(tools.values()):
        put(root, library, mode=0o755)
    put(root, "/etc/os-release")
    shutil.copytree(kernel / "lib/modules", root / "lib/modules")
    unfinished = archive.with_suffix(".new")
    pack(root, unfinished)
    unfinished.rename(archive)
    shutil.rmtree(root)
    return archive


def agent_archive(work, programs, root):
    """The installed agent below `root`, and what stands in for an ESXi host's commands and closed library."""
    put(root, pathlib.Path(__file__).with_name("init"), "init", 0o755)
    for name in ("vok-simhost", "vok-simcmd"):
        put(root, programs / name, f"simhost/bin/{name}", 0o755)
    standing_in = "libvkloc0202.so", "libvkloc0302.so", "libvkloc-without-encoder.so"
    for name in ("libvok-hostaccess.so", "libvok-replayaccess.so", *standing_in):
        put(root, programs.parent / "lib" / name, f"simhost/lib/{name}", 0o755)
    binaries = [path for path in root.rglob("*") if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]
    for library in libraries_of(binaries):
        if not library.startswith((str(root), str(programs.parent))):
            put(root, library, mode=0o755)
    archive = work / "agent.cpio"
    pack(root, archive)
    return archive


def build(cache, work, programs, installed):
    """Returns the kernel and the initial file system as files."""
    kernel = fetch_kernel(cache)
    initial = work / "initial.cpio"
    with initial.open("wb") as file:
        for part in (system_archive(cache, kernel), agent_archive(work, programs, installed)):
            file.write(part.read_bytes())
            file.write(b"\0" * (-file.tell() % 512))
    return kernel / "vmlinuz", initial
