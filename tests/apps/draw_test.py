"""Pictures of models: the DOT text, and SVG where dot is installed."""
import os
import re
import shutil
import unittest
import xml.etree.ElementTree as ElementTree

from program import ProgramTest

# Each name with the DOT text of its label.
NAMES = [('a "quoted" name', r'"a \"quoted\" name"'), ("C:\\new\\", r'"C:\\new\\"'), ("two\nlines", r'"two\nlines"'),
         ("\u00c9tude \u6f22 \U0001F600", '"\u00c9tude \u6f22 \U0001F600"'), ("&lt; & <b>", '"&amp;lt; &amp; <b>"'),
         ("bell\u0007 tab\t.", '"bell  tab ."'), ("\\N of $HOME", r'"\\N of $HOME"')]


class DrawTest(ProgramTest):
    def names_model(self):
        operators = [{"id": f"o{i}", "operator": "VANTIX.ToString", "displayName": name}
                     for i, (name, _) in enumerate(NAMES)]
        connections = [{"from": f"o{i}.String", "to": f"o{i + 1}.Data"} for i in range(len(NAMES) - 1)]
        ports = [{"name": "In", "alias": "o0.Data", "displayName": 'an "input"'}]
        return self.write("m.tsmx", {"operators": operators, "connections": connections, "ports": ports})

    def test_names_are_quoted(self):
        done = self.call("draw", self.names_model())
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        labels = re.findall(r"n\d+ \[label=(.*)\];", done.stdout)
        self.assertEqual(labels, [label for _, label in NAMES])
        self.assertIn(r'p0 [label="an \"input\"", shape=ellipse];', done.stdout)
        self.assertEqual(done.stdout.count('taillabel="String", headlabel="Data"'), len(NAMES) - 1)

    def test_inner_models_are_boxes_around_their_operators(self):
        inner = {"operators": [{"id": "deep", "operator": "VANTIX.ToString", "displayName": "Deep"}]}
        model = self.write("m.tsmx", {"operators": [
            {"id": "box", "operator": "VANTIX.Model", "displayName": "Box", "model": inner}]})
        done = self.call("draw", model)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout, r'subgraph cluster_n\d+ \{\s+label="Box";[^}]*label="Deep"[^}]*\}')

    def test_dot_files(self):
        model = self.names_model()
        self.assertEqual(self.call("draw", model, "-o", "m.dot").returncode, 0)
        self.assertEqual((self.folder / "m.dot").read_text(encoding="utf-8"), self.call("draw", model).stdout)
        refused = self.call("draw", model, "-o", "missing/m.dot")
        self.assertEqual(refused.returncode, 2)
        self.assertTrue(refused.stderr.startswith("error: missing/m.dot: "), refused.stderr)
        self.assertEqual(self.call("draw", model, "-o", "m.gv").returncode, 0)
        refused = self.call("draw", model, "-o", "a.b/m.png")
        self.assertEqual((refused.returncode, refused.stderr),
                         (2, 'error: a.b/m.png: found the extension ".png", expected .svg or .dot\n'))
        (self.folder / "a.b").mkdir()
        self.assertEqual(self.call("draw", model, "-o", "a.b/m").returncode, 0)

    def test_without_dot_the_message_tells_what_to_do(self):
        self.env["PATH"] = str(self.folder)
        refused = self.call("draw", self.names_model(), "-o", "m.svg")
        self.assertEqual(refused.returncode, 2)
        self.assertEqual(refused.stderr,
                         'error: m.svg: the program "dot" is not installed; write a .dot file instead\n')
        self.assertEqual(os.listdir(self.folder), ["m.tsmx"])

    def test_a_dot_that_fails_leaves_the_old_picture(self):
        program = self.folder / "bin" / "dot"
        program.parent.mkdir()
        program.write_text("#!/bin/sh\necho half of it\nexit 1\n")
        program.chmod(0o755)
        self.env["PATH"] = str(program.parent) + ":" + self.env["PATH"]
        (self.folder / "m.svg").write_text("old")
        refused = self.call("draw", self.names_model(), "-o", "m.svg")
        self.assertEqual(refused.returncode, 2)
        self.assertEqual(refused.stderr, 'error: m.svg: the program "dot" could not draw the picture\n')
        self.assertEqual((self.folder / "m.svg").read_text(), "old")
        self.assertEqual(sorted(os.listdir(self.folder)), ["bin", "m.svg", "m.tsmx"])

    @unittest.skipUnless(shutil.which("dot"), "dot is not installed")
    def test_svg_shows_the_names_as_they_are(self):
        done = self.call("draw", self.names_model(), "-o", "m.svg")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        picture = ElementTree.parse(self.folder / "m.svg").getroot()
        self.assertEqual(picture.tag, "{http://www.w3.org/2000/svg}svg")
        shown = " ".join("".join(text.itertext()) for text in picture.iter("{http://www.w3.org/2000/svg}text"))
        shown = shown.replace("\u00a0", " ")
        for name in ('a "quoted" name', "C:\\new\\", "two lines", "\u00c9tude \u6f22 \U0001F600", "&lt; & <b>",
                     "\\N of $HOME", 'an "input"'):
            self.assertIn(name, shown)
        self.assertEqual(sorted(os.listdir(self.folder)), ["m.svg", "m.tsmx"])


if __name__ == "__main__":
    unittest.main()
