#!/usr/bin/env python3
"""Writes the software bill of materials of a package as SPDX 2.3: what is linked and what was compiled in.

The shared libraries are those that the staged programs need; headers and data are those that the build has read for the
objects of the given folders. Each is named by the Debian package that owns it on the machine that builds.
"""

import argparse
import datetime
import json
import pathlib
import re
import subprocess
import uuid

PROJECT = pathlib.Path(__file__).resolve().parent.parent
OWN_LIBRARIES = {"libvok.so": "vok"}  # and the package that has it
GENERATED_FROM = re.compile(r"/pci\.ids$")
FIELDS = "${binary:Package}\\t${Package}\\t${Version}\\t${Architecture}\\t${source:Package}\\t${Homepage}\\n"


def output_of(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=True, **options).stdout


def needed_libraries(stage):
    """Library name -> its file on this machine, or None for one of this project."""
    needed = {}
    for program in sorted(path for path in stage.rglob("*") if path.is_file() and not path.is_symlink()):
        with open(program, "rb") as file:
            if file.read(4) != b"\x7fELF":
                continue
        resolved = libraries_loaded_by(program)
        for name in re.findall(r"\(NEEDED\).*\[(.*)\]", output_of("readelf", "-d", str(program))):
            needed[name] = None if name in OWN_LIBRARIES else resolved.get(name)
            if name not in OWN_LIBRARIES and not needed[name]:
                raise SystemExit(f"sbom: {program} needs {name}, which is not on this machine")
    return needed


def libraries_loaded_by(program):
    """Library name -> file, as the dynamic loader finds it; of the loader itself ldd prints only the file."""
    loaded = {}
    for words in (line.split() for line in output_of("ldd", str(program)).splitlines()):
        file = words[2] if words[1:2] == ["=>"] else words[0]
        if file.startswith("/"):
            loaded[pathlib.Path(words[0]).name] = file
    return loaded


def files_compiled_in(build, folders):
    """What the objects of these folders were compiled from, outside the project, and what their sources were made from."""
    files, wanted = set(), False
    for line in output_of("ninja", "-C", str(build), "-t", "deps").splitlines():
        if not line.startswith(" "):
            wanted = line.startswith(tuple(f"{folder}/" for folder in folders))
        elif wanted and is_from_elsewhere(line.strip(), build):
            files.add(line.strip())
    if not files:
        raise SystemExit(f"sbom: the build in {build} is not complete")
    for line in output_of("ninja", "-C", str(build), "-t", "inputs", "all").splitlines():
        if GENERATED_FROM.search(line) and "src" in folders:
            files.add(line.strip())
    return files


def is_from_elsewhere(file, build):
    path = pathlib.Path(file)
    return path.is_absolute() and not any(path.is_relative_to(own) for own in (PROJECT, build.resolve()))


def start_files(compiler, flags):
    """Objects and archives of the compiler that are linked into every program."""
    names = ("crti.o", "crtn.o", "crtbeginS.o", "crtendS.o", "libgcc.a", "libc_nonshared.a")
    found = [output_of(compiler, *flags, f"-print-file-name={name}").strip() for name in names]
    return {str(pathlib.Path(path).resolve()) for path in found if path.startswith("/")}


def owners_of(files, architecture):
    """Package (as dpkg names it, with its architecture if it needs one) -> its files among these."""
    names = {}
    for file in files:
        path = str(pathlib.Path(file).resolve())
        names[path] = path
        names[path.removeprefix("/usr")] = path  # as packages list what was in /lib before
    listed = subprocess.run(["dpkg-query", "--search", *names], capture_output=True, text=True, check=False).stdout
    owners, owned = {}, set()
    for packages, file in re.findall(r"^(\S.*): (/.*)$", listed, re.MULTILINE):
        if file in names:
            # A header may be of the packages of several architectures.
            package = min(packages.split(", "), key=lambda each: not each.endswith(f":{architecture}"))
            owners.setdefault(package, set()).add(names[file])
            owned.add(names[file])
    missing = set(names.values()) - owned
    if missing:
        raise SystemExit(f"sbom: no package owns {min(missing)}")
    return owners


def spdx_id(text):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", text)


def purl(name, version, architecture, source):
    """As scanners for known vulnerabilities look it up: by release of Debian and source package."""
    release = dict(re.findall(r'^(ID|VERSION_ID)="?([^"\n]*)', pathlib.Path("/etc/os-release").read_text("utf-8"), re.MULTILINE))
    distribution = f"{release.get('ID', 'debian')}-{release.get('VERSION_ID', 'unstable')}"
    return (f"pkg:deb/debian/{name}@{version.replace('+', '%2B')}?arch={architecture}&distro={distribution}"
            f"&upstream={source.replace('+', '%2B')}")


def spdx_package(row, info):
    _, name, version, architecture, source, homepage = row
    package = {
        "SPDXID": spdx_id(f"Package-{name}-{architecture}"),
        "name": name,
        "versionInfo": version,
        "supplier": "Organization: Debian",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "copyrightText": "NOASSERTION",
        "sourceInfo": f"source package {source}; {info}",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": purl(name, version, architecture, source),
        }],
    }
    if homepage:
        package["homepage"] = homepage
    return package


class Document:
    def __init__(self, name, version, created):
        self.root = spdx_id(f"Package-{name}")
        self.document = {
            "spdxVersion": "SPDX-2.3",
            "dataLicense": "CC0-1.0",
            "SPDXID": "SPDXRef-DOCUMENT",
            "name": f"{name}-{version}",
            "documentNamespace": "",
            "creationInfo": {
                "created": datetime.datetime.fromtimestamp(created, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ"),
                "creators": ["Tool: sbom.py"],
            },
            "packages": [self.own(name, version)],
            "relationships": [],
        }
        self.relate("SPDXRef-DOCUMENT", "DESCRIBES", self.root)

    @staticmethod
    def own(name, version):
        return {
            "SPDXID": spdx_id(f"Package-{name}"),
            "name": name,
            "versionInfo": version,
            "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False,
            "licenseConcluded": "NOASSERTION",
            "licenseDeclared": "NOASSERTION",
            "copyrightText": "NOASSERTION",
        }

    def relate(self, one, kind, other):
        row = {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
        if row not in self.document["relationships"]:
            self.document["relationships"].append(row)

    def add(self, package):
        known = next((each for each in self.document["packages"] if each["SPDXID"] == package["SPDXID"]), None)
        if known is None:
            self.document["packages"].append(package)
        elif "sourceInfo" in package:
            known["sourceInfo"] += ", " + package["sourceInfo"].partition("; ")[2]

    def finished(self):
        """With a namespace that no other content has, whatever the architecture or the machine that builds."""
        content = json.dumps(self.document, sort_keys=True)
        self.document["documentNamespace"] = f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_URL, content)}"
        return self.document


def rows_of(packages):
    """The fields of dpkg's database, by package."""
    listed = output_of("dpkg-query", "--show", f"--showformat={FIELDS}", *packages)
    rows = {row[0]: row for row in (line.split("\t") for line in listed.splitlines())}
    return {package: rows.get(package) or rows[package.partition(":")[0]] for package in packages}


def describe(arguments):
    document = Document(arguments.package, arguments.version, arguments.created)
    needed = needed_libraries(arguments.stage)
    own = {OWN_LIBRARIES[name] for name, file in needed.items() if file is None} - {arguments.package}
    for name in sorted(own):
        document.add(document.own(name, arguments.version))
        document.relate(document.root, "DYNAMIC_LINK", spdx_id(f"Package-{name}"))

    owners = owners_of((file for file in needed.values() if file), arguments.architecture)
    linked = rows_of(owners)
    for package, files in sorted(owners.items()):
        names = ", ".join(sorted(name for name, file in needed.items() if file and str(pathlib.Path(file).resolve()) in files))
        described = spdx_package(linked[package], f"linked as {names}")
        document.add(described)
        document.relate(document.root, "DYNAMIC_LINK", described["SPDXID"])

    flags = ["-m32"] if arguments.architecture == "i386" else []
    compiled = files_compiled_in(arguments.build, arguments.folders)
    parts = {"headers": compiled, "start-up code": start_files(arguments.compiler, flags)}
    sources = {row[4] for row in linked.values()}
    for kind, files in parts.items():
        owners = owners_of(files, arguments.architecture)
        rows = rows_of(owners)
        for package in sorted(owners):
            data = any(GENERATED_FROM.search(file) for file in owners[package])
            described = spdx_package(rows[package], "compiled in as data" if data else f"{kind} compiled in")
            document.add(described)
            # The headers of a linked library declare what is linked; of others there is only what is compiled in.
            if data:
                document.relate(document.root, "GENERATED_FROM", described["SPDXID"])
            elif kind == "headers" and rows[package][4] in sources:
                document.relate(described["SPDXID"], "BUILD_DEPENDENCY_OF", document.root)
            else:
                document.relate(document.root, "STATIC_LINK", described["SPDXID"])
    return document.finished()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--package", required=True, help="its name")
    parser.add_argument("--version", required=True)
    parser.add_argument("--created", type=int, required=True, help="seconds since the Epoch")
    parser.add_argument("--build", type=pathlib.Path, required=True, help="the build directory")
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--architecture", required=True, help="of the package, by Debian's name")
    parser.add_argument("--stage", type=pathlib.Path, required=True, help="what is packed, as below /")
    parser.add_argument("--output", required=True, help="the file, below the stage")
    parser.add_argument("folders", nargs="+", help="folders of the project that are compiled into the package")
    arguments = parser.parse_args()
    output = arguments.stage / arguments.output
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text(json.dumps(describe(arguments), indent=1) + "\n", encoding="utf-8")
    output.chmod(0o644)


if __name__ == "__main__":
    main()
