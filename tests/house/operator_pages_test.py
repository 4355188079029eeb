"""Every operator has a page; the page's ports are the operator's; the page's example does what it says.

    TESSERA=PROGRAM operator_pages_test.py ROOT
"""
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(sys.argv.pop(1))
PROGRAM = os.environ["TESSERA"]
PAGES = os.path.join(ROOT, "docs", "operators")
PORT_ROW = re.compile(r"^\| `(\w+)` \| (input|output|setting) \| ([\w, ]+) \|(.*)\|$", re.MULTILINE)


def page_names():
    return sorted(name[:-3] for name in os.listdir(PAGES) if name.endswith(".md") and name != "index.md")


def read_page(name):
    with open(os.path.join(PAGES, name + ".md"), encoding="utf-8") as file:
        return file.read()


def block(page, language):
    return re.search(rf"^```{language}\n(.*?)^```$", page, re.DOTALL | re.MULTILINE)[1]


def further_documents(page):
    """Those that a page shows beside its model, each named behind its fence."""
    return re.findall(r"^```(?:json|text) (\S+)\n(.*?)^```$", page, re.DOTALL | re.MULTILINE)


def run_program(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, encoding="utf-8", timeout=60, **options)


class OperatorPagesTest(unittest.TestCase):
    def test_every_operator_has_a_page_and_every_page_an_operator(self):
        run = run_program("list", "operators", "--json")
        self.assertEqual(run.returncode, 0, run.stderr)
        names = {row["name"].removeprefix("VANTIX.") for row in json.loads(run.stdout)["Operator"]}
        self.assertEqual(names, set(page_names()))

    def test_the_index_names_every_page(self):
        with open(os.path.join(PAGES, "index.md"), encoding="utf-8") as file:
            self.assertEqual(sorted(re.findall(r"^- \[[^]]+\]\((\w+)\.md\)", file.read(), re.MULTILINE)), page_names())

    def test_ports_are_those_of_the_operator(self):
        for name in page_names():
            with self.subTest(name):
                run = run_program("describe", "VANTIX." + name, "--json")
                self.assertEqual(run.returncode, 0, run.stderr)
                ports = [(port["name"], port["kind"]) for port in json.loads(run.stdout)["ports"]]
                rows = [(row[0], row[1]) for row in PORT_ROW.findall(read_page(name))]
                self.assertEqual(sorted(rows), sorted(ports))

    def test_title_and_category_are_those_of_the_operator(self):
        for name in page_names():
            with self.subTest(name):
                sheet = json.loads(run_program("describe", "VANTIX." + name, "--json").stdout)
                title, _, facts = read_page(name).split("\n")[:3]
                # Some operators have neither a name to be shown nor a category.
                self.assertEqual(title, "# " + (sheet["displayName"] or name))
                self.assertEqual(facts, f"`VANTIX.{name}` · {sheet['displayCategory']}".removesuffix(" · "))

    def test_examples_do_what_the_pages_say(self):
        for name in page_names():
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                page = read_page(name)
                for path, text in (("model.tsmx", block(page, "json")), ("texts/one.txt", "1\n"), ("texts/two.md", "2\n"),
                                   ("licence.txt", "Sample Licence\nVersion 2, June 1991\n"),
                                   *further_documents(page),
                                   ("scene.hdr", "ENVI\nsamples = 512\nwavelength = {\n  482.04,\n  561.41}\n"
                                                 "sensor = Grün 2\n")):
                    os.makedirs(os.path.dirname(os.path.join(folder, path)), exist_ok=True)
                    with open(os.path.join(folder, path), "w", encoding="utf-8") as file:
                        file.write(text)
                environment = dict(os.environ, PROJECT="map", XDG_CONFIG_HOME=folder)
                environment.pop("NOBODY_SET_THIS", None)
                command = shlex.split(block(page, "sh"))
                self.assertEqual(command[:3], ["tessera", "run", "model.tsmx"])
                run = run_program(*command[1:], cwd=folder, env=environment)
                self.assertEqual(run.returncode, 0, run.stderr)
                self.assertEqual(run.stdout, block(page, "text"))


if __name__ == "__main__":
    unittest.main()
