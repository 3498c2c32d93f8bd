"""The documents name only what exists: paths, scripts, links and their headings."""

import pathlib
import re
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "scripts"))
import house_rules  # noqa: E402

# The folders in which a path of a document may start, besides the project's own.
BASES = {"docs/simhost.md": ["simhost", "simhost/modules"]}
DEFAULT_BASES = ["src"]

# Words of a path that stand for any name.
PLACEHOLDER = re.compile(r"NAME|NN|CLASS")
PATH = re.compile(r"(?<![\w./~$-])[\w.-]+(?:/[\w.*-]+)*/?")
LINK = re.compile(r"\]\(([^)\s]+)\)")
FENCE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)


def documents(root):
    folders = (root, root / "data", root / "docs", root / "docs" / "schema")
    return [page for folder in folders for page in sorted(folder.glob("*.md"))]


def headings_of(document):
    """The anchors of a document, as the page that is made of it has them."""
    text = FENCE.sub("", document.read_text(encoding="utf-8"))
    for heading in re.findall(r"^#+ +(.*)$", text, re.MULTILINE):
        yield re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")


def exists(base, path):
    return (base / path).exists() or (PLACEHOLDER.search(path) and any(base.glob(PLACEHOLDER.sub("*", path))))


def paths_of(root, document):
    """The paths of the project in code, that is between backticks. Those of a host or of a build are not checked."""
    bases = [root, *(root / base for base in BASES.get(str(document.relative_to(root)), DEFAULT_BASES))]
    folders = {each.name for base in bases for each in base.iterdir() if each.is_dir()} - {"build"}
    folders.update(folder.split("/")[0] for folder in house_rules.FLOOR_OF)
    text = document.read_text(encoding="utf-8")
    for code in FENCE.findall(text) + re.findall(r"`([^`\n]+)`", FENCE.sub("", text)):
        for path in PATH.findall(code):
            path = path.rstrip(".")
            if "/" in path.rstrip("/") and path.split("/")[0] in folders:
                yield path, bases


def errors_in(root, document):
    name = document.relative_to(root)
    for path, bases in paths_of(root, document):
        if path.rstrip("/") not in house_rules.FLOOR_OF and not any(exists(base, path) for base in bases):
            yield f"{name}: there is no {path}"
    for link in LINK.findall(document.read_text(encoding="utf-8")):
        if "://" in link:
            continue
        path, _, anchor = link.partition("#")
        target = document.parent / path if path else document
        if not target.exists():
            yield f"{name}: the link {link} leads nowhere"
        elif anchor and anchor not in headings_of(target):
            yield f"{name}: there is no heading for the link {link}"


class DocumentPaths(unittest.TestCase):
    def test_what_the_documents_name_exists(self):
        for document in documents(PROJECT):
            self.assertEqual(list(errors_in(PROJECT, document)), [])

    def test_the_documents_name_paths(self):
        named = [path for document in documents(PROJECT) for path, _ in paths_of(PROJECT, document)]
        self.assertIn("scripts/demo", named)
        self.assertIn("src/core/vokResourceRows.cpp", named)
        self.assertGreater(len(named), 100)

    def test_each_document_is_reached_from_the_readme(self):
        reached, left = set(), [PROJECT / "README.md"]
        while left:
            document = left.pop()
            if document in reached:
                continue
            reached.add(document)
            links = (link.partition("#")[0] for link in LINK.findall(document.read_text(encoding="utf-8")))
            left += [(document.parent / link).resolve() for link in links if link.endswith(".md") and "://" not in link]
        self.assertEqual(reached, set(documents(PROJECT)))

    def test_the_floors_of_the_architecture_are_those_of_the_house_rules(self):
        text = (PROJECT / "docs/architecture.md").read_text(encoding="utf-8")
        section = text.split("\n## Floors\n")[1].split("\n## ")[0]
        table = section.split("\n|---|---|\n")[1].split("\n\n")[0]
        rows = [re.findall(r"`([^`]+)`", row.split("|")[1]) for row in table.split("\n")]
        self.assertEqual(rows, [line.split() for line in house_rules.FLOORS.strip().split("\n")])


class Checker(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for path in ("src/nic/adapter.h", "scripts/demo", "docs/events.md"):
            (self.root / path).parent.mkdir(parents=True, exist_ok=True)
            (self.root / path).write_text("# What is in it\n")

    def errors(self, text):
        document = self.root / "docs/page.md"
        document.write_text(text)
        return list(errors_in(self.root, document))

    def test_paths_from_the_root_and_from_the_sources_are_found(self):
        self.assertEqual(self.errors("`scripts/demo`, `src/nic/adapter.h` and `nic/adapter.h`, `src/nic/`."), [])

    def test_a_missing_path_is_reported(self):
        self.assertEqual(
            self.errors("`scripts/dance --host x` and `nic/gone.h`"),
            ["docs/page.md: there is no scripts/dance", "docs/page.md: there is no nic/gone.h"],
        )

    def test_a_missing_path_in_a_block_is_reported(self):
        self.assertEqual(self.errors("```\nscripts/dance  # it\n```\n"), ["docs/page.md: there is no scripts/dance"])

    def test_a_placeholder_stands_for_any_name_that_exists(self):
        self.assertEqual(self.errors("`src/CLASS/NAME.h`"), [])
        self.assertEqual(self.errors("`src/CLASS/NAME.json`"), ["docs/page.md: there is no src/CLASS/NAME.json"])

    def test_paths_of_a_host_and_of_a_build_are_not_checked(self):
        self.assertEqual(self.errors("`/var/nic/gone`, `build/native/bin`, `dev/ipmi0`, `Online/OK`"), [])

    def test_a_link_needs_a_file_and_a_heading(self):
        self.assertEqual(self.errors("[it](events.md#what-is-in-it) [net](https://example.org/x)"), [])
        self.assertEqual(
            self.errors("[it](event.md) [other](events.md#what)"),
            [
                "docs/page.md: the link event.md leads nowhere",
                "docs/page.md: there is no heading for the link events.md#what",
            ],
        )

    def test_a_folder_of_a_floor_that_is_not_there_yet_may_be_named(self):
        self.assertEqual(self.errors("`megaraid/storelib`"), [])
        self.assertEqual(self.errors("`megaraid/door.h`"), ["docs/page.md: there is no megaraid/door.h"])


if __name__ == "__main__":
    unittest.main()
