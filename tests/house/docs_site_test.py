"""The site of the documentation is whole: every link leads to a page and a heading, and nothing is loaded from elsewhere.

    docs_site_test.py ROOT
"""
import html.parser
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.loaded, self.anchors, self.title = [], [], set(), ""
        self.open = []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.open.append(tag)
        if "id" in values:
            self.anchors.add(values["id"])
        if tag == "a":
            self.links.append(values["href"])
        elif tag in ("img", "script", "link"):
            self.loaded.append(values.get("src") or values.get("href"))

    def handle_data(self, text):
        if self.open and self.open[-1] == "title":
            self.title += text

    def handle_endtag(self, tag):
        if self.open and self.open[-1] == tag:
            self.open.pop()


class DocsSiteTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.site = pathlib.Path(cls.scratch.name).resolve() / "a site"
        done = subprocess.run([ROOT / "script/docs", cls.site], capture_output=True, text=True, timeout=120)
        if done.returncode:
            raise AssertionError(done.stderr)
        cls.pages = {path: Page(path.read_text(encoding="utf-8")) for path in cls.site.rglob("*.html")}

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def test_every_document_is_a_page_with_a_title(self):
        documents = [path.relative_to(ROOT) for path in (ROOT / "docs").rglob("*.md")]
        self.assertGreater(len(documents), 60)
        for path in documents:
            page = self.pages[self.site / path.with_suffix(".html")]
            self.assertTrue(page.title.removesuffix(" - Tessera"), path)

    def test_links_lead_somewhere(self):
        count = 0
        for path, page in self.pages.items():
            for link in page.links:
                target = urllib.parse.urlsplit(link)
                if target.scheme:
                    continue
                count += 1
                place = pathlib.Path(os.path.normpath(path.parent / urllib.parse.unquote(target.path))) if target.path else path
                where = f"{path.relative_to(self.site)}: {link}"
                self.assertIn(place, self.pages, where)
                if target.fragment:
                    self.assertIn(urllib.parse.unquote(target.fragment), self.pages[place].anchors, where)
        self.assertGreater(count, 1000)

    def test_nothing_comes_from_elsewhere(self):
        for path, page in self.pages.items():
            for link in page.loaded:
                self.assertFalse(urllib.parse.urlsplit(link).scheme or link.startswith("//"), link)
                self.assertTrue((path.parent / urllib.parse.unquote(link)).is_file(), f"{path}: {link}")

    def test_the_search_knows_all_pages(self):
        text = (self.site / "pages.js").read_text(encoding="utf-8")
        rows = json.loads(text.removeprefix("const pages = ").rstrip().removesuffix(";"))
        for row in rows:
            self.assertIn(self.site / row["file"], self.pages)
        self.assertTrue(any(row["title"] == "Sort Items" and "sort" in row["text"] for row in rows))
        messages = next(row["text"] for row in rows if row["file"] == "docs/message-index.html")
        self.assertIn("Could not find unique data type in the factory.", messages)  # an operator's
        self.assertIn("The name of the folder is empty.", messages)  # one of several in a cell
        order = [messages.index(f'"{words}') for words in ("found a cycle of", "Invalid color Path.", "The file name is empty.")]
        self.assertEqual(order, sorted(order))

    def test_the_search_knows_all_messages(self):
        text = (self.site / "messages.js").read_text(encoding="utf-8")
        rows = json.loads(text.removeprefix("const messages = ").rstrip().removesuffix(";"))
        self.assertGreater(len(rows), 400)
        for row in rows:
            file, _, anchor = row["file"].partition("#")
            self.assertIn(self.site / file, self.pages, row)
            if anchor:
                self.assertIn(anchor, self.pages[self.site / file].anchors, row)
        self.assertIn({"message": "The name of the folder is empty.", "file": "docs/messages.html#files-folders-and-locks"}, rows)

    def test_types_of_ports_and_conversions_lead_to_their_pages(self):
        for page, links in (("operators/CommandLine", ("../types/Directory.html", "../types/Int.html")),
                            ("operators/Range", ("../types/Double.html", "../types/Range.html")),
                            ("conversions", ("types/Bool.html", "types/RangeList.html")),
                            ("data-types", ("types/Bool.html", "types/Raster.html")),
                            ("types/Range", ("Unsigned.html", "RangeList.html", "../operators/Range.html")),
                            ("types/StringList", ("../operators/StringList.html", "List.html"))):
            for link in links:
                self.assertIn(link, self.pages[self.site / f"docs/{page}.html"].links)

    def test_pages_of_the_navigation_lead_everywhere(self):
        index = (ROOT / "docs/index.md").read_text(encoding="utf-8")
        for path in (ROOT / "docs").glob("*.md"):
            # Two are written by scripts, and not always there.
            if path.name not in ("index.md", "performance.md", "coverage.md"):
                self.assertIn(f"({path.name})", index)

    def test_a_folder_with_other_files_is_left_alone(self):
        with tempfile.TemporaryDirectory() as folder:
            other = pathlib.Path(folder) / "mine.txt"
            other.write_text("mine")
            done = subprocess.run([ROOT / "script/docs", folder], capture_output=True, text=True, timeout=60)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(folder, done.stderr)
            self.assertEqual([path.name for path in pathlib.Path(folder).iterdir()], ["mine.txt"])


if __name__ == "__main__":
    unittest.main()
