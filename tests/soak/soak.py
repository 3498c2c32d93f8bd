#!/usr/bin/env python3
"""Soaks the agent in faults on a simulated host. scripts/soak builds the programs and runs it."""

import argparse
import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

import chaos
import kills
from simulated_system import Failure

PROJECT = pathlib.Path(__file__).resolve().parents[2]


def parse_arguments():
    parser = argparse.ArgumentParser(description="The soak test; scripts/soak --help says what it checks.")
    parser.add_argument("--programs", required=True, metavar="DIR", help="where vokd, vok-simhost and vok-rmc are")
    parser.add_argument("--seed", type=int, help="of all random choices (a new one)")
    parser.add_argument("--minutes", type=float, default=60, help="of the host's time, with faults (60)")
    parser.add_argument("--kills", type=int, default=1000, help="number of kills afterwards (1000)")
    parser.add_argument("--host", default="large", help="name of the simulated host (large)")
    parser.add_argument("--speed", type=float, default=20, help="host seconds per real second (20)")
    parser.add_argument("--keep", action="store_true", help="keep the files of the run")
    return parser.parse_args()


def report(text):
    print(text, flush=True)


def soak(arguments, directory):
    programs = pathlib.Path(arguments.programs).resolve()
    if arguments.minutes > 0:
        description = json.loads((PROJECT / f"simhost/hosts/{arguments.host}.json").read_text(encoding="utf-8"))
        test = chaos.Chaos(programs, directory, arguments.host, description, arguments.seed, arguments.minutes,
                           arguments.speed)
        report(f"Faults: {arguments.minutes:g} minutes of the host's time on {arguments.host}, "
               f"{arguments.minutes * 60 / arguments.speed:.0f} s of yours")
        test.soak(report)
        report("   injected: " + ", ".join(f"{count} {what}" for what, count in sorted(test.counts.items())))
        report(f"   events: {test.checked['events']}, each explained by a fault or by a boot")
        report(f"   boot verdicts and startup records: {test.checked['boot verdicts']} runs, each as it has to be")
        report("   inventory: that of the untouched host; violations of the protocol: 0")
        report(f"   the agent at the end: {describe(test.final)}; untouched: {describe(test.footprint)}")
    if arguments.kills > 0:
        report(f"Kills: {arguments.kills} at random moments of a start, a push, an event and a stop")
        test = kills.Kills(programs, directory / "kills", arguments.seed, arguments.kills)
        test.soak(report)
        report(f"   killed: {test.summary()}")
        report(f"   startup records: {test.checked} whole; boot verdicts: {test.verdicts} complete, all right")
        report(f"   histories: {test.entries} entries, none missing; the counts of the status records fit them")


def describe(footprint):
    return (f"{footprint['descriptors']} descriptors, {footprint['threads']} threads, "
            f"{footprint['children']} children, {footprint['resident']} KiB")


def main():
    arguments = parse_arguments()
    if arguments.seed is None:
        arguments.seed = random.SystemRandom().randrange(1 << 31)
    began = time.monotonic()
    directory = pathlib.Path(tempfile.mkdtemp(prefix="vok-soak."))
    report(f"seed {arguments.seed}")
    try:
        soak(arguments, directory)
    except (Failure, OSError, subprocess.SubprocessError) as failure:
        report(f"FAILED with seed {arguments.seed} after {time.monotonic() - began:.0f} s: {failure}")
        report(f"the files of the run are in {directory}")
        return 1
    if arguments.keep:
        report(f"the files of the run are in {directory}")
    else:
        shutil.rmtree(directory)
    report(f"every check held; {time.monotonic() - began:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
