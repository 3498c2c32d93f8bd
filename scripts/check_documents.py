#!/usr/bin/env python3
"""Checks inventories and events against the schemas in docs/schema. Prints each difference; exit status 1 if there is one.

A schema knows every key of its document, so a key that it does not know is a difference too."""

import argparse
import json
import pathlib
import sys
import tarfile

PROJECT = pathlib.Path(__file__).resolve().parent.parent
SCHEMAS = PROJECT / "docs" / "schema"
NAMES = ("inventory", "event")
TEST_TEXTS = ("VOK Test Event", "Injected Event")  # EventInfo of the agent's test events


def load(name):
    return json.loads((SCHEMAS / f"{name}.schema.json").read_text(encoding="utf-8"))


class Checker:
    """Of the documents of one schema; the package is Debian's python3-jsonschema."""

    def __init__(self, name):
        import jsonschema

        schema = load(name)
        self.validator = jsonschema.Draft202012Validator(schema)
        # The schema leaves an event with Source VOK-CLI open, as a user may inject anything.
        self.test_event_validator = jsonschema.Draft202012Validator({**schema, "if": True})

    def differences(self, document):
        """A sentence for each difference, the ones deepest in the document."""
        validator = self.test_event_validator if is_test_event(document) else self.validator
        for error in validator.iter_errors(document):
            while error.context:
                error = max(error.context, key=lambda each: (len(each.absolute_path), each.validator != "const"))
            place = "/".join(str(part) for part in error.absolute_path) or "the document"
            yield f"{place}: {error.message}"


def is_test_event(document):
    """Whether it looks as if the agent made it for a client; injected ones with these members are not to be told from it."""
    if not isinstance(document, dict) or not {"EventTime", "HostName", "ID", "OSType", "OSVersion"} <= document.keys():
        return False
    data = document.get("VariableData")
    return data is None or (isinstance(data, dict) and data.get("EventInfo") in TEST_TEXTS)


def has_documents(file):
    """A controller's file, a recording, or the inventory beside a recording."""
    return (file.name == "events.jsonl" or file.match("inventory*.json") or file.suffix == ".tar"
            or (file.suffix == ".json" and file.with_suffix(".tar").exists()))


def documents_in(path):
    """Name of the schema, place and text of each document of a file, or of those of a folder."""
    if path.is_dir():
        for file in sorted(filter(has_documents, path.rglob("*"))):
            yield from documents_in(file)
    elif path.suffix == ".tar":
        yield "inventory", f"{path}: inventory.json", recorded_inventory(path)
    elif path.suffix == ".jsonl":
        for number, line in enumerate(path.read_bytes().splitlines(), 1):
            if line.strip():
                yield "event", f"{path}:{number}", line
    else:
        yield "inventory", path, path.read_bytes()


def recorded_inventory(path):
    """The document in a recording; nothing, which is no document, if it has none."""
    try:
        with tarfile.open(path) as archive:
            return archive.extractfile("inventory.json").read()
    except (KeyError, tarfile.TarError):
        return b""


def problems_of(checker, text):
    try:
        document = json.loads(text)
    except ValueError as error:  # also if it is not UTF-8
        return [f"not JSON: {error}"]
    return list(checker.differences(document))


def main():
    parser = argparse.ArgumentParser(
        description="Checks inventories and events against the schemas in docs/schema: of a folder the files "
                    "inventory*.json and events.jsonl, recordings (*.tar) and the inventory beside each (*.json).",
        epilog="Exit status: 0 all are as the schemas say, 1 differences, 2 wrong arguments or nothing to check.")
    parser.add_argument("paths", nargs="+", type=pathlib.Path, metavar="PATH", help="a file, or a folder with such files")
    arguments = parser.parse_args()
    missing = [path for path in arguments.paths if not path.exists()]
    if missing:
        parser.error(f"{missing[0]}: no such file or folder")

    checkers = {name: Checker(name) for name in NAMES}
    counts = dict.fromkeys(NAMES, 0)
    found = 0
    for path in arguments.paths:
        for name, place, text in documents_in(path):
            counts[name] += 1
            for problem in problems_of(checkers[name], text):
                found += 1
                print(f"{place}: {problem}")
    print(f"{counts['inventory']} inventories, {counts['event']} events, {found} differences")
    if not any(counts.values()):
        print("check_documents: nothing to check", file=sys.stderr)
        return 2
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
