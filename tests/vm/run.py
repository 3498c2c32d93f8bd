#!/usr/bin/env python3
"""Runs the installed agent on a real kernel in a QEMU guest. scripts/vmtest builds what this needs and calls it.

Exit status: 0 everything was proved, 1 something was not.
"""

import argparse
import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import image
from controller import Controller, ControllerError
from guest import GuestError, make_disks
from scenes import Scenes


class Report:
    def __init__(self):
        self.failed = 0
        self.proved = 0

    def scene(self, title):
        print(f"\n{title}", flush=True)

    def say(self, text):
        print(f"        {text}", flush=True)

    def check(self, good, text, detail=""):
        print(f"  {'ok  ' if good else 'FAIL'}  {text}", flush=True)
        if good:
            self.proved += 1
            return
        self.failed += 1
        for line in detail.splitlines()[-20:]:
            print(f"        | {line[:300]}", flush=True)


def install(build, root):
    """What docs/operation.md tells: cmake --install, and the settings."""
    command = ["cmake", "--install", build, "--prefix", f"/{image.PREFIX}"]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, env={**os.environ, "DESTDIR": str(root)})
    settings = build.parents[1] / "data/vok.conf"
    place = root / "etc/config/mev/vok/vok.conf"
    subprocess.run(["install", "-D", "-m", "0600", settings, place], check=True)


def end_on_signal(number, _frame):
    sys.exit(128 + number)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory of the agent")
    parser.add_argument("--cache", type=pathlib.Path, required=True, help="where the kernel and the system are kept")
    options = parser.parse_args()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end_on_signal)

    began = time.monotonic()
    report = Report()
    work = pathlib.Path(tempfile.mkdtemp(prefix="vok-vmtest."))
    controller = Controller(options.build / "bin/vok-rmc", work)
    scenes = None
    interrupted = True
    try:
        install(options.build, work / "installed")
        options.cache.mkdir(parents=True, exist_ok=True)
        kernel, initial = image.build(options.cache, work, options.build / "bin", work / "installed")
        make_disks(work)
        controller.start()
        controller.wait("attached", 0, 10)
        scenes = Scenes(report, work, kernel, initial, controller)
        for scene in (scenes.first_boot, scenes.second_boot, scenes.third_boot):
            scene()
        status = controller.quit()
        report.check(status == 0, "the controller found no violation of the protocol", "\n".join(controller.violations()))
        interrupted = False
    except (GuestError, ControllerError, RuntimeError, OSError, subprocess.SubprocessError) as error:
        report.check(False, "the test could not go on", str(error))
        interrupted = False
    finally:
        if scenes and scenes.guest and report.failed:
            with contextlib.suppress(GuestError, OSError):
                scenes.keep_logs()
        if scenes and scenes.guest:
            scenes.guest.cut_power()
        controller.end()
        if report.failed:
            print(f"vmtest: the logs of this run are kept in {work}", file=sys.stderr)
        else:
            shutil.rmtree(work, ignore_errors=True)
        if interrupted:
            print("vmtest: interrupted", file=sys.stderr)
    verdict = "all proved" if not report.failed else f"{report.failed} not proved"
    print(f"\n{report.proved} of {report.proved + report.failed} statements hold ({verdict}), in {time.monotonic() - began:.0f} s")
    return 1 if report.failed else 0


if __name__ == "__main__":
    sys.exit(main())
