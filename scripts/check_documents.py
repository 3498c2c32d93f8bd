#!/usr/bin/env python3
"""Checks inventories and events against the schemas in docs/schema. Prints each difference; exit status 1 if there is one.

A schema knows every key of its document, so a key that it does not know is a difference too."""

import argparse
import json
import pathlib
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
SCHEMAS = PROJECT / "docs" / "schema"
NAMES = ("inventory", "event")


def load(name):
    return json.loads((SCHEMAS / f"{name}.schema.json").read_text(encoding="utf-8"))


def validator(name):
    """Of the documents of this name; the package is Debian's python3-jsonschema."""
    import warnings

    warnings.simplefilter("ignore", DeprecationWarning)  # later releases resolve references by another class
    import jsonschema

    schemas = {f"{each}.schema.json": load(each) for each in NAMES}
    schema = schemas[f"{name}.schema.json"]
    resolver = jsonschema.RefResolver(schema["$id"], schema, store=schemas)
    return jsonschema.Draft202012Validator(schema, resolver=resolver)


def differences(checked, document):
    """A sentence for each difference, the ones deepest in the document."""
    for error in checked.iter_errors(document):
        while error.context:
            error = max(error.context, key=lambda each: (len(each.absolute_path), each.validator != "const"))
        place = "/".join(str(part) for part in error.absolute_path) or "the document"
        yield f"{place}: {error.message}"


def documents_in(path):
    """Name of the schema, place and text of each document of a file, or of those of a folder."""
    if path.is_dir():
        for pattern in ("inventory*.json", "events.jsonl"):
            for file in sorted(path.rglob(pattern)):
                yield from documents_in(file)
        return
    name = "event" if path.suffix == ".jsonl" else "inventory"
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if line.strip():
            yield name, f"{path}:{number}", line


def main():
    parser = argparse.ArgumentParser(
        description="Checks inventories (inventory*.json) and events (events.jsonl) against the schemas in docs/schema.",
        epilog="Exit status: 0 all are as the schemas say, 1 differences, 2 wrong arguments or nothing to check.")
    parser.add_argument("paths", nargs="+", type=pathlib.Path, metavar="PATH", help="a file, or a folder with such files")
    arguments = parser.parse_args()
    missing = [path for path in arguments.paths if not path.exists()]
    if missing:
        parser.error(f"{missing[0]}: no such file or folder")

    checked = {name: validator(name) for name in NAMES}
    counts = dict.fromkeys(NAMES, 0)
    found = 0
    for path in arguments.paths:
        for name, place, text in documents_in(path):
            counts[name] += 1
            try:
                document = json.loads(text)
            except ValueError as error:
                problems = [f"not JSON: {error}"]
            else:
                problems = list(differences(checked[name], document))
            found += len(problems)
            for problem in problems:
                print(f"{place}: {problem}")
    print(f"{counts['inventory']} inventories, {counts['event']} events, {found} differences")
    if not any(counts.values()):
        print("check_documents: nothing to check", file=sys.stderr)
        return 2
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
