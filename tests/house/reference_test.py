"""The pages of conversions and data types tell of all there are, and their examples are true.

    TESSERA=PROGRAM reference_test.py ROOT
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

DOCS = pathlib.Path(sys.argv.pop(1)).resolve() / "docs"
PROGRAM = os.environ["TESSERA"]


def call(*words, text=None):
    return subprocess.run([PROGRAM, *words], input=text, capture_output=True, text=True, timeout=60)


def listed(category):
    [rows] = json.loads(call("list", category, "--json").stdout).values()
    return [row["name"] for row in rows]


def run(value, target):
    """Value of the output, or the message of the failure."""
    model = {"format": "TesseraModelFormat", "version": 1, "ports": [{"name": "Out", "alias": "convert.Output"}],
             "operators": [{"id": "convert", "operator": "VANTIX.Convert", "values": {"Input": value, "DataType": target}}]}
    done = call("run", "-", "--json", text=json.dumps(model))
    if done.returncode:
        return done.stderr
    data = json.loads(done.stdout)["Outputs"][0]["Data"]
    return (data["Type"], data["Value"])


class ConversionsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.rows = []
        for line in (DOCS / "conversions.md").read_text(encoding="utf-8").splitlines():
            cells = [cell.strip() for cell in line.strip("|").split(" |")]
            if len(cells) >= 4 and "→" in cells[3]:
                cls.rows.append((cells[0].split(", "), cells[1].split(", "), *re.findall("`([^`]*)`", cells[3])))

    def test_all_of_them_are_told(self):
        told = {(source, target) for sources, targets, *_ in self.rows for source in sources for target in targets}
        known = set()
        for name in listed("conversions"):
            name = name.replace("VANTIX.", "").replace("|", "To").replace("AnyTo", "anythingTo")
            known.add(tuple(name.split("To", 1)))
        self.assertGreater(len(known), 40)
        self.assertEqual(told, known)

    def test_their_examples(self):
        for _, targets, source, result in self.rows:
            for target in targets[-1:]:
                with self.subTest(source=source, target=target):
                    self.assertEqual(run(json.loads(source), target), ("VANTIX." + target, json.loads(result)))

    def test_where_there_are_none(self):
        def typed(name, value):
            return {"Type": "VANTIX." + name, "Value": value}
        for value, target in ((2147483648.0, "Int"), (-0.5, "Unsigned"), (typed("Double", "NaN"), "Int"), (-1, "Unsigned"),
                              (2147483648, "Int"), (typed("Scalar", {"Color": [0, 0, 0, 1]}), "Int"),
                              (typed("Scalar", {"NumberType": 3, "Value": 1}), "Color"), (["a"], "Table"),
                              ([None], "StringList"), ([1], "StringList"), ("5", "Int"), ("true", "Bool"),
                              (typed("Table", {"NumberType": 13, "Values": ["a"]}), "RangeList")):
            with self.subTest(value=value, target=target):
                self.assertIn("Could not convert", run(value, target))


class DataTypesTest(unittest.TestCase):
    def test_all_of_them_are_told(self):
        text = (DOCS / "data-types.md").read_text(encoding="utf-8")
        self.assertEqual(sorted(re.findall(r"^### (\S+)$", text, re.MULTILINE)),
                         sorted(name.replace("VANTIX.", "") for name in listed("data")))

    def test_their_examples(self):
        text = (DOCS / "data-types.md").read_text(encoding="utf-8")
        examples = re.findall(r"^### (\S+)$(?:(?!^#).*\n)*?`(\{\"Type\".*\})` is shown as `(.*)`", text, re.MULTILINE)
        self.assertGreater(len(examples), 15)
        for name, value, shown in examples:
            with self.subTest(name):
                self.assertEqual(json.loads(value)["Type"], "VANTIX." + name)
                model = {"format": "TesseraModelFormat", "version": 1, "ports": [{"name": "Out", "alias": "text.String"}],
                         "operators": [{"id": "text", "operator": "VANTIX.ToString", "values": {"Data": json.loads(value)}}]}
                done = call("run", "-", "--json", text=json.dumps(model))
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertEqual(json.loads(done.stdout)["Outputs"][0]["Data"]["Value"], shown)


if __name__ == "__main__":
    unittest.main()
