"""What each Debian package holds, its version, and its list of what was linked and compiled in.

Arguments: cmake, the build directory.
"""

import datetime
import gzip
import json
import os
import pathlib
import re
import stat
import subprocess
import sys
import tempfile
import unittest

CMAKE, BUILD = sys.argv[1], pathlib.Path(sys.argv[2])
PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = PROJECT / "packaging"
sys.path.insert(0, str(PROJECT / "scripts"))
import sbom  # noqa: E402

METRICS = sorted(path.name for path in (PROJECT / "data").glob("vok-metrics.*") if path.suffix in (".service", ".timer"))

PAGES = {page.name for page in (PROJECT / "docs").glob("*.md")} - {"architecture.md", "simhost.md", "vmtest.md"}
SCHEMAS = {page.name for page in (PROJECT / "docs/schema").iterdir()}

# Files below / by mode; links by target.
AGENT = {
    "opt/mev/vok/bin/vokd": 0o755,
    "opt/mev/vok/bin/vokcli": 0o755,
    "opt/mev/vok/lib/libvok.so": 0o644,
    "opt/mev/vok/data/esxtopconf": 0o644,
    "opt/mev/vok/share/vok/vok-alerts.yml": 0o644,
    **{f"opt/mev/vok/share/vok/schema/{name}": 0o644 for name in SCHEMAS},
    "etc/config/mev/vok/vok.conf": 0o600,
    "etc/logrotate.d/vokd": 0o644,
    "lib/systemd/system/vokd.service": 0o644,
    **{f"lib/systemd/system/{name}": 0o644 for name in METRICS},
    "lib/systemd/system/dev-ipmi0.device.d/vokd.conf": 0o644,
    "usr/lib/udev/rules.d/60-vokd.rules": 0o644,
    "usr/lib/tmpfiles.d/vokd.conf": 0o644,
    "usr/sbin/vokd": "/opt/mev/vok/bin/vokd",
    "usr/bin/vokcli": "/opt/mev/vok/bin/vokcli",
    "usr/share/man/man8/vokd.8.gz": 0o644,
    "usr/share/man/man8/vokcli.8.gz": 0o644,
    "usr/share/man/man5/vok.conf.5.gz": 0o644,
    "usr/share/bash-completion/completions/vokd": 0o644,
    "usr/share/bash-completion/completions/vokcli": "vokd",
    "usr/share/doc/vok/changelog.gz": 0o644,
    "usr/share/doc/vok/changelog.Debian.gz": 0o644,
    "usr/share/doc/vok/copyright": 0o644,
    "usr/share/doc/vok/copyright.libcli11-dev": 0o644,
    "usr/share/doc/vok/copyright.pci.ids": 0o644,
    **{f"usr/share/doc/vok/{name}": 0o644 for name in PAGES},
    "usr/share/doc/vok/schema": "/opt/mev/vok/share/vok/schema",
    "usr/share/doc/vok/sbom.spdx.json": 0o644,
    "usr/share/lintian/overrides/vok": 0o644,
}
SIMHOST = {
    "opt/mev/vok-simhost/bin/vok-simhost": 0o755,
    "opt/mev/vok-simhost/bin/vok-rmc": 0o755,
    "opt/mev/vok-simhost/bin/vok-simcmd": 0o755,
    "opt/mev/vok-simhost/bin/vokd": "../../vok/bin/vokd",
    "opt/mev/vok-simhost/bin/vokcli": "../../vok/bin/vokcli",
    "opt/mev/vok-simhost/lib/libvok-hostaccess.so": 0o644,
    "opt/mev/vok-simhost/lib/libvok-replayaccess.so": 0o644,
    "opt/mev/vok-simhost/lib/libstorelib.so": 0o644,
    "opt/mev/vok-simhost/lib/libstorelib-without-entry-point.so": 0o644,
    "opt/mev/vok-simhost/lib/libvkloc0202.so": 0o644,
    "opt/mev/vok-simhost/lib/libvkloc0302.so": 0o644,
    "opt/mev/vok-simhost/lib/libvkloc-without-encoder.so": 0o644,
    "opt/mev/vok-simhost/lib/libvokfca.so": 0o644,
    "opt/mev/vok-simhost/lib/libvokfcb.so": 0o644,
    "opt/mev/vok-simhost/lib/libvokfc-without-entry-point.so": 0o644,
    "usr/bin/vok-simhost": "/opt/mev/vok-simhost/bin/vok-simhost",
    "usr/bin/vok-rmc": "/opt/mev/vok-simhost/bin/vok-rmc",
    "usr/share/man/man1/vok-simhost.1.gz": 0o644,
    "usr/share/man/man1/vok-rmc.1.gz": 0o644,
    "usr/share/bash-completion/completions/vok-simhost": "vokd",
    "usr/share/bash-completion/completions/vok-rmc": "vokd",
    "usr/share/doc/vok-simhost/changelog.gz": 0o644,
    "usr/share/doc/vok-simhost/changelog.Debian.gz": 0o644,
    "usr/share/doc/vok-simhost/copyright": 0o644,
    "usr/share/doc/vok-simhost/copyright.libcli11-dev": 0o644,
    "usr/share/doc/vok-simhost/simhost.md": 0o644,
    "usr/share/doc/vok-simhost/sbom.spdx.json": 0o644,
    "usr/share/lintian/overrides/vok-simhost": 0o644,
}
DESCRIPTIONS = "opt/mev/vok-simhost/share/vok-simhost"
PRIVATE_DIRECTORIES = {"opt/mev/vok/data", "opt/mev/vok/log"}


def stage_of(component, folder):
    stage = pathlib.Path(folder) / component
    command = [CMAKE, "--install", str(BUILD), "--prefix", "/", "--component", component]
    subprocess.run(command, env={**os.environ, "DESTDIR": str(stage)}, umask=0o022, check=True, stdout=subprocess.DEVNULL)
    return stage


def contents_of(stage):
    files = {}
    for path in stage.rglob("*"):
        if path.is_symlink():
            files[str(path.relative_to(stage))] = os.readlink(path)
        elif path.is_file():
            files[str(path.relative_to(stage))] = stat.S_IMODE(path.stat().st_mode)
    return files


def readelf(file):
    return subprocess.run(["readelf", "-d", str(file)], capture_output=True, text=True, check=True).stdout


def needed_by(stage):
    """The names of the shared libraries that programs and libraries of the stage need."""
    names = set()
    for path in stage.rglob("*"):
        if path.is_file() and path.suffix in ("", ".so") and "/opt/" in str(path) and "/data/" not in str(path):
            names |= set(re.findall(r"\(NEEDED\).*\[(.*)\]", readelf(path)))
    return names


def setUpModule():
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    Staged.agent = stage_of("agent", folder.name)
    Staged.simhost = stage_of("simhost", folder.name)


class Staged(unittest.TestCase):
    agent = None  # what the packages hold, as below /
    simhost = None


class Contents(Staged):
    def test_the_agents_package_holds_these_files(self):
        self.assertEqual(contents_of(self.agent), AGENT)

    def test_the_simulated_hosts_package_holds_these_files_and_all_descriptions(self):
        shipped = {str(file.relative_to(PROJECT / "simhost")) for kind in ("hosts", "scenarios")
                   for file in (PROJECT / "simhost" / kind).rglob("*.json")}
        self.assertIn("hosts/rack-node.json", shipped)
        expected = {**SIMHOST, **{f"{DESCRIPTIONS}/{name}": 0o644 for name in shipped}}
        self.assertEqual(contents_of(self.simhost), expected)

    def test_the_pages_for_operators_and_both_schemas_are_there(self):
        self.assertLessEqual({"operation.md", "configuration.md", "events.md"}, PAGES)
        self.assertLessEqual({"inventory.schema.json", "event.schema.json"}, SCHEMAS)

    def test_only_the_agents_working_folders_are_for_root_alone(self):
        for stage, private in ((self.agent, PRIVATE_DIRECTORIES), (self.simhost, set())):
            closed = {str(path.relative_to(stage)) for path in stage.rglob("*")
                      if path.is_dir() and stat.S_IMODE(path.stat().st_mode) != 0o755}
            self.assertEqual(closed, private)

    def test_no_stand_in_of_a_library_lies_beside_the_agents_own(self):
        self.assertEqual([path.name for path in (self.agent / "opt/mev/vok/lib").iterdir()], ["libvok.so"])
        self.assertFalse((self.simhost / "opt/mev/vok").exists())

    def test_what_needs_the_agents_library_finds_it_where_that_is_installed(self):
        checked = 0
        for file in (path for kind in ("bin", "lib") for path in (self.simhost / "opt/mev/vok-simhost" / kind).iterdir()):
            output = "" if file.is_symlink() else readelf(file)
            if "[libvok.so]" in output:
                self.assertEqual(re.findall(r"RUNPATH\).*\[(.*)\]", output), ["$ORIGIN/../../vok/lib"], file.name)
                checked += 1
        self.assertGreaterEqual(checked, 3)

    def test_the_units_name_pages_that_man_finds(self):
        for unit in (self.agent / "lib/systemd/system").glob("*.service"):
            pages = re.findall(r"^Documentation=(.*)$", unit.read_text(), re.MULTILINE)
            self.assertEqual(len(pages), 1)
            page, section = re.fullmatch(r"man:([a-z]+)\((\d)\)", pages[0]).groups()
            self.assertIn(f"usr/share/man/man{section}/{page}.{section}.gz", AGENT)

    def test_each_file_below_etc_is_a_conffile(self):
        listed = (SCRIPTS / "conffiles").read_text().split()
        self.assertEqual(set(listed), {f"/{name}" for name in AGENT if name.startswith("etc/")})
        self.assertFalse((self.simhost / "etc").exists())

    def test_the_changelog_has_the_version_of_the_package(self):
        for stage, package in ((self.agent, "vok"), (self.simhost, "vok-simhost")):
            text = gzip.decompress((stage / f"usr/share/doc/{package}/changelog.Debian.gz").read_bytes()).decode()
            self.assertTrue(text.startswith(f"{package} ({package_version()}) unstable; "), text)


def cpack_value(name):
    text = (BUILD / "CPackConfig.cmake").read_text()
    return re.search(rf'^set\({name} "(.*)"\)$', text, re.MULTILINE).group(1)


def package_version():
    return cpack_value("CPACK_DEBIAN_PACKAGE_VERSION")


class Version(unittest.TestCase):
    def test_it_is_the_agents_with_the_commit(self):
        self.assertRegex(package_version(), r"^3\.3\.2\.1(\+git\d{8}\.\d{6}\.[0-9a-f]{7,}(\.dirty)?)?-1$")

    def test_later_commits_and_later_releases_are_higher(self):
        ordered = ["3.3.2.1-1", "3.3.2.1+git20261122.101500.f81a527-1", "3.3.2.1+git20261122.101501.081a527-1",
                   "3.3.2.1+git20261122.101501.081a527-2", "3.3.2.1+git20270101.000000.081a527-1",
                   "3.3.2.2+git20261122.101500.081a527-1"]
        for lower, higher in zip(ordered, ordered[1:]):
            subprocess.run(["dpkg", "--compare-versions", lower, "lt", higher], check=True)

    def test_the_man_pages_and_the_changes_name_the_agents_version(self):
        pages = sorted((PROJECT / "docs/man").iterdir())
        self.assertGreaterEqual(len(pages), 5)
        for page in pages:
            self.assertIn('"vok 3.3.2.1"', page.read_text().splitlines()[0], page.name)
        self.assertIn("\n## 3.3.2.1\n", (PROJECT / "CHANGELOG.md").read_text())

    def test_the_simulated_host_depends_on_the_agent_of_the_same_build(self):
        self.assertEqual(cpack_value("CPACK_DEBIAN_SIMHOST_PACKAGE_DEPENDS"), f"vok (= {package_version()})")


class Sbom(Staged):
    def documents(self):
        for stage, package in ((self.agent, "vok"), (self.simhost, "vok-simhost")):
            yield stage, package, json.loads((stage / f"usr/share/doc/{package}/sbom.spdx.json").read_text())

    def test_it_has_the_fields_that_spdx_requires(self):
        for _, package, document in self.documents():
            self.assertEqual(document["spdxVersion"], "SPDX-2.3")
            self.assertEqual(document["dataLicense"], "CC0-1.0")
            self.assertEqual(document["SPDXID"], "SPDXRef-DOCUMENT")
            self.assertEqual(document["name"], f"{package}-{package_version()}")
            self.assertRegex(document["documentNamespace"], r"^urn:uuid:[0-9a-f-]{36}$")
            self.assertEqual(document["creationInfo"]["creators"], ["Tool: sbom.py"])
            datetime.datetime.strptime(document["creationInfo"]["created"], "%Y-%m-%dT%H:%M:%SZ")
            for each in document["packages"]:
                self.assertRegex(each["SPDXID"], r"^SPDXRef-[A-Za-z0-9.-]+$")
                for field in ("name", "versionInfo", "downloadLocation", "licenseConcluded", "copyrightText"):
                    self.assertTrue(each[field], (each["name"], field))
                self.assertIs(each["filesAnalyzed"], False)  # so it needs no checksum of its files
            identifiers = [each["SPDXID"] for each in document["packages"]]
            self.assertEqual(len(identifiers), len(set(identifiers)))
            for row in document["relationships"]:
                self.assertIn(row["spdxElementId"], ["SPDXRef-DOCUMENT", *identifiers])
                self.assertIn(row["relatedSpdxElement"], identifiers)
            self.assertIn({"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                           "relatedSpdxElement": f"SPDXRef-Package-{package}"}, document["relationships"])

    def test_scanners_find_the_release_and_the_source_package_of_each_part(self):
        for _, package, document in self.documents():
            locators = {each["name"]: each["externalRefs"][0]["referenceLocator"] for each in document["packages"]
                        if "externalRefs" in each}
            self.assertRegex(locators["libgcc-s1"],
                             r"^pkg:deb/debian/libgcc-s1@[^?+]+\?arch=\w+&distro=\w+-\w+&upstream=gcc-\d+$", package)

    def test_only_the_same_content_has_the_same_namespace(self):
        def namespace_of(*names):
            document = sbom.Document("vok", "1-1", 0)
            for name in names:
                document.add(document.own(name, "1"))
            return document.finished()["documentNamespace"]

        self.assertEqual(namespace_of("a"), namespace_of("a"))
        self.assertEqual(len({namespace_of(), namespace_of("a"), namespace_of("b")}), 3)

    def test_what_is_linked_in_two_ways_says_both(self):
        for _, package, document in self.documents():
            found = {each["name"]: each.get("sourceInfo") for each in document["packages"]}
            # For 32-bit code on a 64-bit machine the start-up code comes from a package of its own.
            name = "libc6-dev-i386" if "libc6-dev-i386" in found else "libc6-dev"
            self.assertEqual(found[name], "source package glibc; headers compiled in, start-up code compiled in", package)

    def test_each_library_that_a_program_needs_is_in_it(self):
        for stage, package, document in self.documents():
            needed = needed_by(stage)
            self.assertIn("libjsoncpp.so.25", needed)
            listed = set()
            for each in document["packages"]:
                listed |= set(re.findall(r"[^ ,]+\.so[.0-9]*", each.get("sourceInfo", "")))
            self.assertEqual(needed - {"libvok.so"}, listed)
            self.assertIn("vok", [each["name"] for each in document["packages"]], package)

    def test_what_is_only_compiled_in_is_in_it_and_what_only_tests_use_is_not(self):
        expected = {"vok": {"libcli11-dev": "STATIC_LINK", "pci.ids": "GENERATED_FROM"},
                    "vok-simhost": {"libcli11-dev": "STATIC_LINK"}}
        for _, package, document in self.documents():
            names = {each["SPDXID"]: each["name"] for each in document["packages"]}
            relations = {names[row["relatedSpdxElement"]]: row["relationshipType"] for row in document["relationships"]}
            for name, relation in expected[package].items():
                self.assertEqual(relations.get(name), relation)
            self.assertEqual([name for name in names.values() if "gtest" in name or "gmock" in name or name == "googletest"], [])

    def test_the_versions_are_those_that_are_installed(self):
        for _, _, document in self.documents():
            found = next(each for each in document["packages"] if each["name"] == "libcli11-dev")
            shown = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", "libcli11-dev"], capture_output=True, text=True,
                                   check=True).stdout
            self.assertEqual(found["versionInfo"], shown)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
