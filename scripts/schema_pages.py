#!/usr/bin/env python3
"""Makes the reference pages of both documents, docs/schema/NAME.md, from the schemas beside them."""

import argparse
import sys

from check_documents import NAMES, SCHEMAS, load

NOTE = "<!-- Made from {name}.schema.json by scripts/schema_pages.py. -->"


class Page:
    """The text of one page: a table of the keys of each object."""

    def __init__(self, name):
        self.schema = load(name)
        self.name = name
        self.lines = []

    def resolve(self, schema):
        """The schema that a reference, a JSON pointer below the root, leads to."""
        while "$ref" in schema:
            target = self.schema
            for key in schema["$ref"].removeprefix("#/").split("/"):
                target = target[key]
            schema = target
        return schema

    def type_of(self, schema):
        schema = self.resolve(schema)
        if "const" in schema:
            return f"always `{schema['const']}`"
        if schema.get("type") == "array":
            items = self.resolve(schema["items"])
            return "array" if "anyOf" in items else f"array of {items['type']}s"
        return schema.get("type", "object")

    def rows(self, schema, prefix=""):
        """Key, type, unit and description of each member, and of those of its own objects."""
        for key, member in schema["properties"].items():
            target = self.resolve(member)
            text = member.get("description") or target["description"]
            if key not in schema.get("required", []):
                text += " Optional."
            if "enum" in target:
                text += " One of " + ", ".join(f"`{value}`" for value in target["enum"]) + "."
            yield prefix + key, self.type_of(member), target.get("unit", ""), text
            if "$ref" not in member:
                yield from self.rows({"properties": {}, **member}, f"{prefix}{key}.")

    def table(self, title, schema):
        self.lines += [f"## {title}", "", schema["description"], "", "| Key | Type | Unit | |", "|---|---|---|---|"]
        self.lines += [f"| `{key}` | {kind} | {unit} | {text} |" for key, kind, unit, text in self.rows(schema)]
        self.lines.append("")

    def text(self):
        schema = self.schema
        self.lines = [NOTE.format(name=self.name), "", f"# {schema['title']}", "", schema["description"], "",
                      f"The schema (JSON Schema 2020-12) is [{self.name}.schema.json]({self.name}.schema.json).", ""]
        if self.name == "inventory":
            self.table("HostDataCollection", schema["properties"]["HostDataCollection"])
        for key, definition in schema["$defs"].items():
            if "properties" in definition:
                self.table(key, definition)
        return "\n".join(self.lines).rstrip("\n") + "\n"


def main():
    parser = argparse.ArgumentParser(description="Makes docs/schema/*.md from the schemas beside them.",
                                     epilog="Exit status: 0 done, 1 --check found a page that is not up to date.")
    parser.add_argument("--check", action="store_true", help="write nothing, only compare")
    arguments = parser.parse_args()
    stale = 0
    for name in NAMES:
        file = SCHEMAS / f"{name}.md"
        text = Page(name).text()
        if arguments.check:
            if not file.exists() or file.read_text(encoding="utf-8") != text:
                print(f"{file.name} is not what the schema gives: run scripts/schema_pages.py")
                stale = 1
        else:
            file.write_text(text, encoding="utf-8")
    return stale


if __name__ == "__main__":
    sys.exit(main())
