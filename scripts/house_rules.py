#!/usr/bin/env python3
"""Checks the rules that the compiler does not check. Prints each violation; exit status 1 if there is one."""

import argparse
import pathlib
import re
import subprocess
import sys

LONGEST_FILE = 600

# The floors of the agent, from the lowest to the highest. A folder includes only itself and folders on the lines before
# it; folders on one line do not include each other.
FLOORS = """
platform/access
core/base
core/status
platform/firmware
platform/utils
platform/places
platform/pci
storage/scsi
fc/hbaapi
megaraid/storelib
rmc/ipmi
core/inventory
rmc
events
host nic storage fc
megaraid
events/client
core
"""
FLOOR_OF = {folder: floor for floor, folders in enumerate(FLOORS.split("\n")) for folder in folders.split()}

LEFT_OVERS = re.compile(r"\b(TODO|FIXME|XXX)\b")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def folder_of(path):
    """The floor's folder of a source: "rmc/ipmi" for "src/rmc/ipmi/vokipmi.h"."""
    return str(pathlib.PurePath(path).parent.relative_to("src"))


def includes_of(root, path):
    """Line number and project file of each include; headers of other projects are left out."""
    for number, line in enumerate(lines_of(root, path), 1):
        found = INCLUDE.match(line)
        if not found:
            continue
        for base in ("src", ".", "tests", str(pathlib.PurePath(path).parent)):
            candidate = root / base / found.group(1)
            if candidate.is_file():
                yield number, str(candidate.resolve().relative_to(root))
                break


def lines_of(root, path):
    return (root / path).read_text(encoding="utf-8", errors="replace").split("\n")


def check_form(root, path):
    lines = lines_of(root, path)
    if len(lines) > LONGEST_FILE:
        yield f"{path}: {len(lines)} lines, more than {LONGEST_FILE}: split the file"
    for number, line in enumerate(lines, 1):
        if LEFT_OVERS.search(line):
            yield f"{path}:{number}: left-over: {line.strip()}"
    if path.endswith(".h") and not lines[0].startswith("//"):
        yield f"{path}:1: a header starts with a comment on its purpose"


def check_floors(root, path):
    folder = folder_of(path)
    if folder not in FLOOR_OF:
        yield f"{path}: the folder {folder} is not on any floor"
        return
    for number, included in includes_of(root, path):
        other = folder_of(included) if included.startswith("src/") else None
        if other is None:
            yield f"{path}:{number}: the agent includes {included}, which is not part of it"
        elif other in FLOOR_OF and other != folder and FLOOR_OF[other] >= FLOOR_OF[folder]:
            yield f"{path}:{number}: {folder} includes {included}, which is not below it"


def check_circles(root, paths):
    """A header and its source are one unit. Reports each circle of units once."""
    uses = {}
    for path in paths:
        unit = path.rsplit(".", 1)[0]
        used = {included.rsplit(".", 1)[0] for _, included in includes_of(root, path)}
        uses.setdefault(unit, set()).update(used - {unit})

    done, trail = set(), []

    def visit(unit):
        if unit in trail:
            yield "a circle of files: " + " -> ".join(trail[trail.index(unit) :] + [unit])
            return
        if unit in done:
            return
        done.add(unit)
        trail.append(unit)
        for other in sorted(uses.get(unit, ())):
            yield from visit(other)
        trail.pop()

    for unit in sorted(uses):
        yield from visit(unit)


def check_test(root, path):
    """Any test files may be compiled together: each has a namespace of its own, and undefines its macros."""
    name = pathlib.PurePath(path).stem
    lines = lines_of(root, path)
    opening, closing = f"namespace {name} {{", f"}}  // namespace {name}"
    outside = [line for line in lines[: lines.index(opening)] if line] if opening in lines else lines
    if any(not line.startswith(("//", "#", " ")) for line in outside) or lines[-2:] != [closing, ""]:
        yield f"{path}: the code after the includes is not in the namespace {name}"
    text = "\n".join(lines)
    for macro in re.findall(r"^#define (\w+)", text, re.MULTILINE):
        if f"\n#undef {macro}\n" not in text:
            yield f"{path}: the macro {macro} is not undefined at the end"


def check(root):
    listed = subprocess.run(
        ["git", "-C", str(root), "ls-files", "-co", "--exclude-standard"], capture_output=True, text=True, check=True
    ).stdout.split("\n")
    paths = [name for name in listed if name.endswith((".cpp", ".h")) and (root / name).is_file()]
    agent = [path for path in paths if path.startswith("src/")]
    for path in paths:
        yield from check_form(root, path)
        if path.startswith("tests/") and path.endswith("Test.cpp"):
            yield from check_test(root, path)
    for path in agent:
        yield from check_floors(root, path)
    yield from check_circles(root, agent)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument(
        "--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parent.parent, help="another checkout"
    )
    root = parser.parse_args().root.resolve()
    violations = list(check(root))
    for violation in violations:
        print(violation)
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
