#!/usr/bin/env python3
"""Runs the scripts in a copy of the project, with stand-ins for the programs that install, build and test.

The stand-ins come first in the search path. Each records its calls in one file, so that a test can check what was run
and in which order. Pauses are recorded and not slept.
"""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]

BUILD = ["g++", "cmake", "ninja-build", "mold", "ccache", "python3", "libjsoncpp-dev", "libcli11-dev", "pci.ids",
         "googletest"]
TEST = ["python3-jsonschema"]
MONITORING = ["prometheus", "promtool", "prometheus-node-exporter"]
NATIVE = BUILD + TEST
FOREIGN = ["g++-multilib", "libjsoncpp-dev:i386"]
VM = ["qemu-system-x86", "cpio", "e2fsprogs", "kmod", "busybox-static"]
LIBRARIES = ["libc6", "libgcc-s1", "libstdc++6", "libjsoncpp25"]

# The files of a stand-in machine are named by what they hold: "installed", "foreign" (architectures), "unavailable"
# (packages), "update" and "install" (how the commands behave), "index" (one exists).
STAND_INS = {
    "apt-get": r"""
words=() packages=()
while [ $# -gt 0 ]; do
    case $1 in
        -o) shift ;;
        -*) words+=("$1") ;;
        *) words+=("$1"); packages+=("$1") ;;
    esac
    shift
done
echo "apt-get ${words[*]}" >>"$machine/calls"
command=${packages[0]}
if [ "$command" = download ]; then
    [ ! -s "$machine/no-download" ] || exit 100
    for package in "${packages[@]:1}"; do touch "$package.deb"; done
    exit
fi
behaviour=$(cat "$machine/$command")
if [ "$behaviour" = hang ]; then exec /bin/sleep 100; fi
if [ "$command" = update ]; then
    touch "$machine/index"
    [ "$behaviour" != broken ] && exit 0
    echo "E: Failed to fetch http://mirror.test/binary-i386/Packages.xz  File has unexpected size (346968 != 364028)."
    echo "E: Some index files failed to download. They have been ignored, or old ones used instead."
    exit 100
fi
for package in "${packages[@]:1}"; do
    if [ ! -e "$machine/index" ] || grep -qxF "$package" "$machine/unavailable"; then
        echo "E: Unable to locate package $package"
        exit 100
    fi
    if [ "$behaviour" = skewed ] && [[ $package = *:i386 ]] && ! grep -qx libc6 "$machine/installed"; then
        echo "The following packages have unmet dependencies:"
        echo " libc6 : Breaks: libc6:i386 (!= 2.36-9+deb12u7)"
        echo "E: Unable to correct problems, you have held broken packages."
        exit 100
    fi
done
[[ " ${words[*]} " = *" --download-only "* ]] || printf '%s\n' "${packages[@]:1}" >>"$machine/installed"
""",
    "dpkg": r"""
case $1 in
    --print-foreign-architectures) cat "$machine/foreign" ;;
    --add-architecture) echo "dpkg $*" >>"$machine/calls"; echo "$2" >>"$machine/foreign" ;;
    -x) mkdir -p "$3/usr/bin"; echo "#!/bin/bash" | tee "$3/usr/bin/"{prometheus,promtool,prometheus-node-exporter} >/dev/null
        chmod +x "$3/usr/bin/"* ;;
    *) exit 2 ;;
esac
""",
    "dpkg-query": r"""
if [ "${!#}" = chromium ] && [ ! -s "$machine/no-browser" ]; then echo installed; exit; fi
grep -qxF "${!#}" "$machine/installed" || exit 1
echo installed
""",
    "id": r"""
cat "$machine/uid"
""",
    "sleep": r"""
echo "$1" >>"$machine/pauses"
""",
    "cmake": r"""
echo "cmake $1 $2" >>"$machine/calls"
[ "$1" = --build ] || exit 0
mkdir -p "$2/bin"
cp "$machine/vok-simhost" "$2/bin/"
""",
    "ctest": r"""
echo "ctest in $(basename "$PWD")" >>"$machine/calls"
status=$(cat "$machine/ctest")
if [ "$status" = 0 ]; then echo "100% tests passed, 0 tests failed out of 3"; else echo "33% tests passed, 2 tests failed out of 3"; fi
exit "$status"
""",
    "git": r"""
echo "git $*" >>"$machine/calls"
""",
}
# What the demo starts first. It ends at once, and with it the demo.
SIMHOST = r"""#!/bin/bash
echo "$0" | sed 's|.*/build/|started build/|' >>"$machine/calls"
exit 1
"""


class Result:
    def __init__(self, finished, seconds):
        self.status = finished.returncode
        self.out = finished.stdout
        self.err = finished.stderr
        self.seconds = seconds


class ScriptTest(unittest.TestCase):
    """A root user's machine on which nothing is installed and the present index offers every package."""

    def setUp(self):
        self.directory = pathlib.Path(tempfile.mkdtemp(prefix="vok-scripts."))
        self.addCleanup(shutil.rmtree, self.directory)
        self.project = self.directory / "project"
        self.machine = self.directory / "machine"
        programs = self.directory / "bin"
        for folder in ("scripts", "simhost/hosts"):
            shutil.copytree(PROJECT / folder, self.project / folder)
        (self.project / "fuzz").mkdir()
        (self.project / "fuzz/smbiosFuzz.cpp").touch()
        self.machine.mkdir()
        programs.mkdir()
        for name, text in STAND_INS.items():
            (programs / name).write_text("#!/bin/bash\n" + text)
            (programs / name).chmod(0o755)
        # Setup looks only whether they are there.
        for name in MONITORING:
            (programs / name).write_text("#!/bin/bash\n")
            (programs / name).chmod(0o755)
        (self.machine / "vok-simhost").write_text(SIMHOST)
        (self.machine / "vok-simhost").chmod(0o755)
        self.set(installed=[], unavailable=[], foreign=["i386"], uid=["0"], update=["works"], install=["works"], index=[],
                 ctest=["0"], calls=[], pauses=[], **{"no-browser": [], "no-download": []})
        self.environment = {**os.environ, "PATH": f"{programs}:/usr/bin:/bin", "machine": str(self.machine),
                            "TMPDIR": str(self.directory), "LC_ALL": "C"}

    def set(self, **files):
        for name, lines in files.items():
            (self.machine / name).write_text("".join(line + "\n" for line in lines))

    def lines(self, name):
        return (self.machine / name).read_text().split("\n")[:-1]

    def calls(self):
        return self.lines("calls")

    def pauses(self):
        """The pauses between tries, without the many short ones of a wait for the end of a program."""
        return [float(pause) for pause in self.lines("pauses") if float(pause) >= 1]

    def run_script(self, name, *arguments):
        began = time.monotonic()
        finished = subprocess.run([self.project / "scripts" / name, *arguments], env=self.environment, text=True,
                                  capture_output=True, stdin=subprocess.DEVNULL, timeout=60, check=False)
        return Result(finished, time.monotonic() - began)


def installing(packages):
    """The two calls of a try that succeeds."""
    words = "apt-get install -y --no-install-recommends"
    return [f"{words} --download-only {' '.join(packages)}", f"{words} {' '.join(packages)}"]


def failing(packages):
    return installing(packages)[:1]


UPDATING = ["apt-get update"]


class Setup(ScriptTest):
    def test_contacts_no_server_when_nothing_is_missing(self):
        self.set(installed=NATIVE + FOREIGN)
        result = self.run_script("setup")
        self.assertEqual((result.status, result.out, result.err), (0, "", ""))
        self.assertEqual(self.calls(), [])

    def test_installs_from_the_present_index_before_it_fetches_one(self):
        self.set(update=["broken"])
        result = self.run_script("setup")
        self.assertEqual(result.status, 0, result.err)
        self.assertEqual(self.calls(), installing(NATIVE) + installing(FOREIGN))
        self.assertEqual(self.pauses(), [])

    def test_fetches_a_missing_index_and_tolerates_a_failure_in_part(self):
        (self.machine / "index").unlink()
        self.set(update=["broken"])
        result = self.run_script("setup")
        self.assertEqual(result.status, 0, result.err)
        self.assertEqual(self.calls(), failing(NATIVE) + UPDATING + installing(NATIVE) + installing(FOREIGN))
        self.assertEqual(self.pauses(), [])
        self.assertEqual(result.err, "")

    def test_installs_only_what_is_missing(self):
        self.set(installed=[package for package in NATIVE + FOREIGN if package not in ("mold", "libjsoncpp-dev:i386")])
        self.assertEqual(self.run_script("setup").status, 0)
        self.assertEqual(self.calls(), installing(["mold"]) + installing(["libjsoncpp-dev:i386"]))

    def test_adds_the_32_bit_architecture_after_the_native_half(self):
        self.set(foreign=[])
        self.assertEqual(self.run_script("setup").status, 0)
        self.assertEqual(self.calls(), installing(NATIVE) + ["dpkg --add-architecture i386"] + installing(FOREIGN))

    def test_leaves_the_32_bit_half_alone_with_native(self):
        self.set(foreign=[])
        self.assertEqual(self.run_script("setup", "--native").status, 0)
        self.assertEqual(self.calls(), installing(NATIVE))

    def without_monitoring(self):
        """Also on a machine that has the programs."""
        tools = self.directory / "tools"
        tools.mkdir()
        for program in pathlib.Path("/usr/bin").iterdir():
            if program.name not in MONITORING:
                (tools / program.name).symlink_to(program)
        for name in MONITORING:
            (self.directory / "bin" / name).unlink()
        self.environment["PATH"] = f"{self.directory / 'bin'}:{tools}"

    def test_unpacks_the_programs_of_monitoring_into_the_build_folder_and_installs_neither(self):
        self.set(installed=NATIVE + FOREIGN)
        self.without_monitoring()
        result = self.run_script("setup")
        self.assertEqual(result.status, 0, result.err)
        self.assertEqual(self.calls(), ["apt-get download prometheus prometheus-node-exporter"])
        for name in MONITORING:
            self.assertTrue((self.project / "build/tools/usr/bin" / name).exists(), name)
        self.set(calls=[])
        self.assertEqual(self.run_script("setup").out, "")
        self.assertEqual(self.calls(), [])

    def test_goes_on_without_the_programs_of_monitoring(self):
        self.set(installed=NATIVE, **{"no-download": ["1"]})
        self.without_monitoring()
        result = self.run_script("setup")
        self.assertEqual(result.status, 0, result.err)
        self.assertIn("the tests that need prometheus prometheus-node-exporter are skipped", result.err)
        self.assertEqual(self.calls()[-2:], installing(FOREIGN))

    def test_needs_no_programs_of_monitoring_to_build(self):
        self.set(installed=NATIVE + FOREIGN, **{"no-browser": ["1"]})
        self.without_monitoring()
        self.assertEqual(self.run_script("setup", "build").status, 0)
        self.assertEqual(self.calls(), [])

    def test_goes_on_without_a_browser(self):
        self.set(installed=NATIVE + FOREIGN, unavailable=["chromium"], **{"no-browser": ["1"]})
        result = self.run_script("setup")
        self.assertEqual(result.status, 0, result.err)
        self.assertEqual(self.calls(), failing(["chromium"]) + UPDATING + failing(["chromium"]))
        self.assertIn("the tests that need chromium are skipped", result.err)

    def test_installs_what_a_virtual_machine_needs_only_for_that(self):
        self.set(installed=NATIVE)
        self.assertEqual(self.run_script("setup", "--native", "vm").status, 0)
        self.assertEqual(self.calls(), installing(VM))

    def test_leaves_the_busybox_that_is_there(self):
        self.set(installed=NATIVE + VM[:-1] + ["busybox"])
        self.assertEqual(self.run_script("setup", "--native", "vm").status, 0)
        self.assertEqual(self.calls(), [])

    def test_installs_all_but_the_32_bit_half_when_that_is_unavailable(self):
        self.set(unavailable=["libjsoncpp-dev:i386"], update=["broken"])
        result = self.run_script("setup")
        self.assertEqual(result.status, 3)
        self.assertEqual(self.lines("installed"), NATIVE + LIBRARIES)
        self.assertEqual(self.calls(), installing(NATIVE) + failing(FOREIGN) + UPDATING + failing(FOREIGN) + UPDATING +
                         installing(LIBRARIES) + failing(FOREIGN))
        self.assertEqual(self.pauses(), [5])
        self.assertIn("setup: could not install: g++-multilib libjsoncpp-dev:i386\n", result.err)
        self.assertIn("apt-get install says:\n  E: Unable to locate package libjsoncpp-dev:i386\n", result.err)
        self.assertIn("apt-get update says:\n  E: Failed to fetch http://mirror.test/", result.err)
        self.assertIn("apt-get install --no-install-recommends g++-multilib libjsoncpp-dev:i386\n", result.err)
        self.assertIn("--native", result.err.split("\n")[-2])

    def test_says_why_when_nothing_is_available(self):
        self.set(unavailable=NATIVE + FOREIGN)
        result = self.run_script("setup")
        self.assertEqual(result.status, 1)
        self.assertEqual(self.calls(), failing(NATIVE) + UPDATING + failing(NATIVE) + UPDATING + failing(NATIVE))
        self.assertEqual(self.pauses(), [5])
        self.assertIn(f"setup: could not install: {' '.join(NATIVE + FOREIGN)}\n", result.err)
        self.assertIn("  E: Unable to locate package g++\n", result.err)
        self.assertNotIn("apt-get update says", result.err)

    def test_fails_when_apt_reports_success_and_a_package_is_still_missing(self):
        self.set(installed=[package for package in NATIVE + FOREIGN if package != "mold"])
        apt = self.directory / "bin/apt-get"
        apt.write_text("#!/bin/bash\n")
        result = self.run_script("setup")
        self.assertEqual(result.status, 1)
        self.assertIn("setup: could not install: mold\n", result.err)

    def test_updates_the_shared_libraries_that_are_older_than_the_32_bit_ones(self):
        self.set(install=["skewed"])
        result = self.run_script("setup")
        self.assertEqual(result.status, 0, result.err)
        self.assertEqual(self.calls(), installing(NATIVE) + failing(FOREIGN) + UPDATING + failing(FOREIGN) + UPDATING +
                         installing(LIBRARIES) + installing(FOREIGN))

    def test_reports_the_dependencies_that_could_not_be_met(self):
        self.set(install=["skewed"], unavailable=["libgcc-s1"])
        result = self.run_script("setup")
        self.assertEqual(result.status, 3)
        self.assertIn("  The following packages have unmet dependencies:\n"
                      "   libc6 : Breaks: libc6:i386 (!= 2.36-9+deb12u7)\n"
                      "  E: Unable to correct problems, you have held broken packages.\n", result.err)

    def test_ends_a_fetch_that_hangs_and_continues(self):
        (self.machine / "index").unlink()
        self.set(update=["hang"])
        result = self.run_script("setup", "--native")
        self.assertEqual(result.status, 1)
        self.assertEqual(self.calls(), failing(NATIVE) + UPDATING + failing(NATIVE) + UPDATING + failing(NATIVE))
        self.assertLess(result.seconds, 30)
        self.assertLess(sum(float(pause) for pause in self.lines("pauses")), 60)
        self.assertIn("  E: ended by scripts/setup, as nothing had arrived for 20 s\n", result.err)

    def test_does_not_try_a_third_time_when_the_mirror_hangs(self):
        self.set(update=["hang"], install=["hang"])
        result = self.run_script("setup", "--native")
        self.assertEqual(result.status, 1)
        self.assertEqual(self.calls(), failing(NATIVE) + UPDATING + failing(NATIVE))
        self.assertLess(result.seconds, 30)
        self.assertLess(sum(float(pause) for pause in self.lines("pauses")), 90)

    def test_only_root_installs(self):
        self.set(uid=["1000"])
        result = self.run_script("setup")
        self.assertEqual(result.status, 1)
        self.assertEqual(result.err, f"setup: run as root, or install: {' '.join(NATIVE + FOREIGN)}\n")
        self.assertEqual(self.calls(), [])

    def test_without_root_a_missing_32_bit_half_has_its_own_status(self):
        self.set(uid=["1000"], installed=NATIVE)
        result = self.run_script("setup")
        self.assertEqual(result.status, 3)
        self.assertIn("g++-multilib libjsoncpp-dev:i386", result.err)
        self.assertEqual(self.calls(), [])


class Test(ScriptTest):
    last_line = "test: the 32-bit half was not run, as its packages could not be installed"

    def test_runs_both_halves(self):
        self.set(installed=NATIVE + FOREIGN)
        result = self.run_script("test")
        self.assertEqual(result.status, 0, result.err)
        self.assertEqual(self.calls(), ["cmake --preset i386", "cmake --build build/i386", "cmake --preset native",
                                        "cmake --build build/native", "ctest in i386", "ctest in native"])
        self.assertNotIn("not run", result.out)

    def test_without_the_32_bit_packages_runs_the_rest_and_fails(self):
        self.set(installed=NATIVE, unavailable=FOREIGN)
        result = self.run_script("test")
        self.assertEqual(result.status, 3)
        self.assertEqual([call for call in self.calls() if not call.startswith("apt-get")],
                         ["cmake --preset native", "cmake --build build/native", "ctest in native"])
        self.assertEqual(result.out.split("\n")[-3:], ["100% tests passed, 0 tests failed out of 3", self.last_line, ""])
        self.assertIn("E: Unable to locate package g++-multilib", result.err)

    def test_a_failed_test_outweighs_the_missing_half(self):
        self.set(installed=NATIVE, unavailable=FOREIGN, ctest=["8"])
        result = self.run_script("test")
        self.assertEqual(result.status, 8)
        self.assertEqual(result.out.split("\n")[-2], self.last_line)

    def test_native_alone_does_not_count_as_a_half(self):
        self.set(installed=NATIVE, unavailable=FOREIGN)
        result = self.run_script("test", "--native")
        self.assertEqual(result.status, 0, result.err)
        self.assertNotIn("not run", result.out)
        self.assertEqual(self.calls(), ["cmake --preset native", "cmake --build build/native", "ctest in native"])

    def test_builds_nothing_when_nothing_can_be_installed(self):
        self.set(unavailable=NATIVE)
        result = self.run_script("test")
        self.assertEqual(result.status, 1)
        self.assertEqual([call for call in self.calls() if not call.startswith("apt-get")], [])


class Sanitize(ScriptTest):
    def ran(self):
        return [call for call in self.calls() if call.startswith("ctest")]

    def test_runs_all_three(self):
        self.set(installed=NATIVE + FOREIGN)
        self.assertEqual(self.run_script("sanitize").status, 0)
        self.assertEqual(self.ran(), ["ctest in native-asan", "ctest in i386-asan", "ctest in native-tsan"])

    def test_without_the_32_bit_packages_runs_the_rest_and_fails(self):
        self.set(installed=NATIVE, unavailable=FOREIGN)
        result = self.run_script("sanitize")
        self.assertEqual(result.status, 3)
        self.assertEqual(self.ran(), ["ctest in native-asan", "ctest in native-tsan"])
        self.assertEqual(result.out.split("\n")[-2],
                         "sanitize: i386-asan was not run, as the 32-bit packages could not be installed")

    def test_needs_no_32_bit_packages_for_the_native_presets(self):
        self.set(installed=NATIVE, unavailable=FOREIGN)
        self.assertEqual(self.run_script("sanitize", "native-tsan").status, 0)
        self.assertEqual(self.calls(), ["cmake --preset native-tsan", "cmake --build build/native-tsan",
                                        "ctest in native-tsan"])


class Demo(ScriptTest):
    """The stand-in of the simulated host ends at once, so each run ends with status 1 after the build."""

    one_line = ("demo: the 32-bit packages can't be installed (scripts/setup says why); going on with this machine's "
                "own ABI")

    def test_shows_the_product_of_its_own_abi(self):
        self.set(installed=NATIVE + FOREIGN)
        result = self.run_script("demo")
        self.assertEqual(self.calls(), ["cmake --preset i386", "cmake --build build/i386",
                                        "started build/i386/bin/vok-simhost"])
        self.assertNotIn("32-bit", result.out + result.err)

    def test_without_the_32_bit_packages_says_so_in_one_line_and_goes_on(self):
        self.set(installed=NATIVE, unavailable=FOREIGN)
        result = self.run_script("demo")
        self.assertEqual([call for call in self.calls() if not call.startswith("apt-get")],
                         ["cmake --preset native", "cmake --build build/native", "started build/native/bin/vok-simhost"])
        said = (result.out + result.err).split("\n")
        self.assertEqual([line for line in said if "32-bit" in line], [self.one_line])
        self.assertEqual([line for line in said if "E: " in line or "could not install" in line], [])

    def test_without_any_package_says_why_and_builds_nothing(self):
        self.set(unavailable=NATIVE)
        result = self.run_script("demo")
        self.assertEqual(result.status, 1)
        self.assertEqual([call for call in self.calls() if not call.startswith("apt-get")], [])
        self.assertIn("  E: Unable to locate package g++\n", result.err)
        self.assertNotIn(self.one_line, result.out)

    def test_leaves_no_file(self):
        before = sorted(path.name for path in self.directory.iterdir())
        self.set(unavailable=NATIVE)
        self.run_script("demo")
        self.assertEqual(sorted(path.name for path in self.directory.iterdir()), before)


class VmTest(ScriptTest):
    def setUp(self):
        super().setUp()
        (self.project / "tests/vm").mkdir(parents=True)
        (self.project / "tests/vm/run.py").write_text("import sys\nprint(*sys.argv[1:])\nsys.exit(1)\n")

    def run_in_guest(self, preset):
        build = self.project / "build"
        return f"--build {build / preset} --cache {build / 'vm'}"

    def test_tests_the_product_of_its_own_abi_and_returns_the_verdict(self):
        self.set(installed=NATIVE + FOREIGN + VM)
        result = self.run_script("vmtest")
        self.assertEqual(self.calls(), ["cmake --preset i386", "cmake --build build/i386"])
        self.assertEqual(result.out.split("\n")[-2], self.run_in_guest("i386"))
        self.assertEqual(result.status, 1)

    def test_needs_no_32_bit_packages_for_the_machines_abi(self):
        self.set(unavailable=FOREIGN)
        result = self.run_script("vmtest", "--native")
        self.assertEqual(self.calls(), installing(BUILD + VM) + ["cmake --preset native", "cmake --build build/native"])
        self.assertEqual(result.out.split("\n")[-2], self.run_in_guest("native"))

    def test_without_the_32_bit_packages_builds_nothing_and_has_a_status_for_it(self):
        self.set(installed=NATIVE + VM, unavailable=FOREIGN)
        result = self.run_script("vmtest")
        self.assertEqual(result.status, 3)
        self.assertEqual([call for call in self.calls() if not call.startswith("apt-get")], [])
        self.assertIn("vmtest: the 32-bit packages can't be installed", result.err)


class Arguments(ScriptTest):
    """They are checked before anything is installed, built or run."""

    def scripts(self):
        found = sorted(path.name for path in (PROJECT / "scripts").iterdir() if path.is_file() and os.access(path, os.X_OK))
        self.assertIn("setup", found)
        self.assertIn("bench", found)
        return found

    def test_help_of_each_script_prints_the_usage_and_does_nothing(self):
        for script in self.scripts():
            for option in ("--help", "-h"):
                with self.subTest(script=script, option=option):
                    result = self.run_script(script, option)
                    self.assertEqual((result.status, result.err), (0, ""))
                    self.assertRegex(result.out, rf"(?m)^usage: (scripts/)?{script}\b")
                    self.assertEqual(self.calls(), [])
                    self.assertFalse((self.project / "build").exists())

    def expect_refusal(self, script, *arguments):
        with self.subTest(script=script, arguments=arguments):
            result = self.run_script(script, *arguments)
            self.assertEqual((result.status, result.out), (2, ""))
            self.assertRegex(result.err, rf"(?m)^usage: (scripts/)?{script}\b")
            self.assertEqual(self.calls(), [])
            self.assertFalse((self.project / "build").exists())

    def test_an_unknown_argument_is_refused_by_each_script(self):
        for script in self.scripts():
            self.expect_refusal(script, "--nonsense")
            self.expect_refusal(script, "nonsense")

    def test_each_argument_is_checked(self):
        self.expect_refusal("bench", "--benchmark_filter=x", "more")
        self.expect_refusal("fuzz", "0")
        self.expect_refusal("fuzz", "--i386", "10", "smbiosFuzz", "noSuchFuzz")
        self.expect_refusal("lint", "src")
        self.expect_refusal("sanitize", "native-tsan", "i386")
        self.expect_refusal("setup", "build", "tests")
        self.expect_refusal("test", "--native", "i386")
        self.expect_refusal("vmtest", "--native", "i386")
        self.expect_refusal("house_rules.py", "src", "tests")
        self.expect_refusal("nic_products.py", "a.csv", "b.cpp", "c")
        self.expect_refusal("storage_products.py", "a.csv", "b.csv")

    def test_the_demo_refuses_arguments_that_conflict(self):
        for arguments, reason in ((("--live", "--speed", "3"), "--live excludes --host and --speed"),
                                  (("--live", "--host", "large"), "--live excludes --host and --speed"),
                                  (("--ipmi",), "--ipmi requires --live"),
                                  (("--host", "nowhere"), 'there is no host "nowhere"'),
                                  (("--speed", "10001"), "the greatest speed is 10000"),
                                  (("--for", "soon"), "--for requires a whole number")):
            with self.subTest(arguments=arguments):
                result = self.run_script("demo", *arguments)
                self.assertEqual((result.status, result.out), (2, ""))
                self.assertIn(reason, result.err)
                self.assertEqual(self.calls(), [])


if __name__ == "__main__":
    unittest.main()
