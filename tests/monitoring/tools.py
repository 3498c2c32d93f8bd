"""Where the programs of Prometheus are: in the search path, or where scripts/setup has unpacked them."""

import pathlib
import shutil

PROJECT = pathlib.Path(__file__).resolve().parents[2]
UNPACKED = PROJECT / "build/tools/usr/bin"


def tool(name):
    """The path of a program. A test without it fails: it is not left out."""
    found = shutil.which(name) or shutil.which(name, path=str(UNPACKED))
    if not found:
        raise FileNotFoundError(f"{name} is missing: scripts/setup test brings it")
    return found
