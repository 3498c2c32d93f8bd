#!/usr/bin/env python3
"""Checks the rules of the house that no compiler knows.

usage: house_rules.py

Prints each breach; exit status 1 if there is one, 2 for wrong arguments.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LONGEST_FILE = 600

# The floor of each file, the first pattern that fits. A file includes only its own floor and those below.
FLOORS = [
    (r"src/platform/vokHostAccess\.", 1),
    (r"src/core/(vokConfig|vokConfigReader|vokConfigText|vokSettingRules|Logger|vokLog|vokLogFiles|vokVersion)\.", 1),
    (r"src/platform/vokTimeStamp\.h", 1),  # includes nothing: the logger asks for a time stamp through it
    (r"src/core/platformCheck\.", 2),  # asks the firmware's table for the maker
    (r"src/platform/", 2),
    (r"src/rmc/(vokipmi|vokRmc)", 2),
    (r"src/core/(vokResourceManager|vokCachedResourceManager|vokModules)\.", 3),
    (r"src/events/vokEvent\.", 3),
    (r"src/rmc/vokJsonAggregator\.h", 3),  # includes nothing above: a manager asks for a push through it
    (r"src/events/vokEvent(Handler|Document|Table)\.", 4),
    (r"src/(host|nic|fc|storage|megaraid)/", 4),
    (r"src/", 5),
    (r"(daemon|client|simhost|bench|fuzz|tests)/", 6),
]
LEFT_OVERS = re.compile(r"\b(TODO|FIXME|XXX)\b")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def floor_of(path):
    for pattern, floor in FLOORS:
        if re.match(pattern, path):
            return floor
    return None


def place_of_include(includer, name):
    """The project file that an include names, or None for somebody else's."""
    for base in ("src", ".", "tests", str(pathlib.Path(includer).parent)):
        candidate = ROOT / base / name
        if candidate.is_file():
            return str(candidate.resolve().relative_to(ROOT))
    return None


def check_file(path):
    text = (ROOT / path).read_text(encoding="utf-8", errors="replace")
    lines = text.split("\n")
    if len(lines) > LONGEST_FILE:
        yield f"{path}: {len(lines)} lines: two files that have not been parted yet"
    for number, line in enumerate(lines, 1):
        if LEFT_OVERS.search(line):
            yield f"{path}:{number}: a left-over: {line.strip()}"
        found = INCLUDE.match(line)
        if not found or not path.startswith("src/"):
            continue
        included = place_of_include(path, found.group(1))
        if included and floor_of(included) > floor_of(path):
            yield f"{path}:{number}: floor {floor_of(path)} includes {included} of floor {floor_of(included)}"
    if path.endswith(".h") and not lines[0].startswith("//"):
        yield f"{path}:1: a header starts with what it is for"


def main():
    if sys.argv[1:] in (["-h"], ["--help"]):
        print(__doc__.strip())
        return 0
    if len(sys.argv) > 1:
        print(f"house_rules.py: unknown argument: {sys.argv[1]}\nusage: house_rules.py", file=sys.stderr)
        return 2
    names = subprocess.run(
        ["git", "-C", str(ROOT), "ls-files", "-co", "--exclude-standard"], capture_output=True, text=True, check=True
    ).stdout.split("\n")
    breaches = [b for n in names if n.endswith((".cpp", ".h")) and (ROOT / n).is_file() for b in check_file(n)]
    for breach in breaches:
        print(breach)
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
