"""Where the programs of Prometheus are: in the search path, or where scripts/setup has unpacked them."""

import pathlib
import shutil
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
UNPACKED = PROJECT / "build/tools/usr/bin"
SKIPPED = 77


def tool(name):
    """The path of a program; None if it is missing."""
    return shutil.which(name) or shutil.which(name, path=str(UNPACKED))


def skip_without(*names):
    """Ends the test program, as skipped, if one of the programs is missing."""
    for name in names:
        if tool(name) is None:
            print(f"SKIPPED: {name} is missing (scripts/setup test unpacks it)")
            sys.exit(SKIPPED)
