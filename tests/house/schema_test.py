"""The schema takes every example, and refuses what the program refuses.

    TESSERA=PROGRAM schema_test.py ROOT
"""
import copy
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

try:
    import jsonschema
except ImportError:
    jsonschema = None

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
PROGRAM = os.environ["TESSERA"]
SOUND = {"format": "TesseraModelFormat", "version": 1,
         "ports": [{"name": "Out", "alias": "text.String", "hidden": False}],
         "operators": [
             {"id": "list", "operator": "VANTIX.List", "expansions": 1,
              "values": {"Value1": 1, "Value2": None}, "attributes": {"Left": 2.5}},
             {"id": "text", "operator": "VANTIX.ToString", "displayName": "As text",
              "values": {"Data": {"Type": "VANTIX.Int", "Value": 5}}},
             {"id": "each", "operator": "VANTIX.Iterator", "model": {"operators": [{"id": "a", "operator": "VANTIX.If"}]}}],
         "order": [{"before": "list", "after": "text"}], "tails": ["text"]}
# Path to what is put there; a path that ends in "-" takes away.
FAULTS = [
    ("format", "OtherFormat"), ("version", 2), ("version", "1"), ("format/-", None), ("operators", {}),
    ("operators/0/id", "with blank"), ("operators/0/id", 5), ("operators/0/id/-", None), ("operators/0/operator/-", None),
    ("operators/0/operator", True), ("operators/0/expansions", 0.5), ("operators/0/expansions", 20001),
    ("operators/0/values", [1]), ("operators/1/displayName", 3), ("operators/2/model", "file.tsmx"),
    ("operators/2/model/operators/0/id", "a b"), ("ports/0/alias/-", None), ("ports/0/name/-", None),
    ("ports/0/alias", "nostop"), ("ports/0/hidden", "yes"), ("order/0/before/-", None), ("order/0/after", 1), ("tails", "text"),
    ("connections", [{"from": "list.List"}]), ("connections", [["list.List", "text.Data"]]),
    ("operators/1/values/Data/Value", "five"), ("operators/1/values/Data/Value", 2147483648),
    ("operators/1/values/Data/Value", 0.5), ("operators/1/values/Data", {"Type": "VANTIX.Unsigned", "Value": -1}),
    ("operators/1/values/Data", {"Type": "VANTIX.Double", "Value": "much"}),
    ("operators/1/values/Data", {"Type": "VANTIX.StringList", "Value": ["a", 1]}),
    ("operators/1/values/Data", {"Type": "VANTIX.List", "Value": [{"Type": "VANTIX.Bool", "Value": 2.5}]}),
    ("operators/1/values/Data", [{"Type": "VANTIX.Range", "Value": {"Start": 1}}]),
    ("operators/1/values/Data", {"Type": "VANTIX.Color", "Value": "red"}),
]
TAKEN = [
    ("operators/1/values/Data/Value", None), ("operators/1/values/Data", {"Type": 1, "Value": 2, "More": 3}),
    ("operators/1/values/Data", {"Type": "VANTIX.Double", "Value": "NaN"}), ("unknown key", 1), ("name", ""),
    ("operators/0/expansions", -1), ("operators/1/values/Data", {"Type": "VANTIX.Dictionary", "Value": {"a": None}}),
]


def changed(path, value):
    document = copy.deepcopy(SOUND)
    *parents, last = path.split("/")
    if last == "-":
        last = parents.pop()
        value = ...
    place = document
    for step in parents:
        place = place[int(step) if isinstance(place, list) else step]
    if value is ...:
        del place[last]
    else:
        place[int(last) if isinstance(place, list) else last] = value
    return document


def check(document):
    return subprocess.run([PROGRAM, "check", "-"], input=json.dumps(document), capture_output=True, text=True, timeout=60)


@unittest.skipIf(jsonschema is None, "no python3-jsonschema to validate with")
class SchemaTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.schema = json.loads(subprocess.run([PROGRAM, "schema"], capture_output=True, check=True, timeout=60).stdout)
        jsonschema.Draft202012Validator.check_schema(cls.schema)
        cls.validator = jsonschema.Draft202012Validator(cls.schema)

    def test_examples(self):
        examples = sorted((ROOT / "examples").rglob("*.tsmx"))
        self.assertGreater(len(examples), 10)
        for example in examples:
            with self.subTest(example.name):
                document = json.loads(example.read_text(encoding="utf-8"))
                self.assertEqual([error.message for error in self.validator.iter_errors(document)], [])

    def test_documents_on_the_pages(self):
        count = 0
        for page in (ROOT / "docs").rglob("*.md"):
            for text in re.findall(r"```json\n(.*?)```", page.read_text(encoding="utf-8"), re.DOTALL):
                if '"TesseraModelFormat"' in text:
                    count += 1
                    errors = [error.message for error in self.validator.iter_errors(json.loads(text))]
                    self.assertEqual(errors, [], page)
        self.assertGreater(count, 30)

    def test_faults_are_refused_by_both(self):
        self.assertEqual([error.message for error in self.validator.iter_errors(SOUND)], [])
        self.assertEqual(check(SOUND).returncode, 0, check(SOUND).stderr)
        for path, value in FAULTS:
            with self.subTest(path=path, value=value):
                document = changed(path, value)
                self.assertFalse(self.validator.is_valid(document))
                self.assertEqual(check(document).returncode, 2, check(document).stderr)

    def test_what_the_program_takes_is_taken(self):
        for path, value in TAKEN:
            with self.subTest(path=path, value=value):
                document = changed(path, value)
                self.assertEqual(check(document).returncode, 0, check(document).stderr)
                self.assertEqual([error.message for error in self.validator.iter_errors(document)], [])

    def test_ports_and_offers_are_told(self):
        cases = {case["if"]["properties"]["operator"]["const"]: case["then"]
                 for case in self.schema["$defs"]["operator"]["allOf"]}
        listed = json.loads(subprocess.run([PROGRAM, "list", "operators", "--json"], capture_output=True, check=True,
                                           timeout=60).stdout)["Operator"]
        self.assertEqual(len(cases), len(listed))
        method = cases["VANTIX.Iterator"]["properties"]["values"]["properties"]["ExecutionMethod"]
        self.assertEqual(method["default"], {"Type": "VANTIX.String", "Value": "InProcessSerial"})
        self.assertIn("InProcessParallel", method["examples"])
        self.assertIn("^Value[0-9]+$", cases["VANTIX.List"]["properties"]["values"]["patternProperties"])
        unknown = changed("operators/0", {"id": "list", "operator": "VANTIX.NobodyHasThis", "values": {"Any": [1, {}]}})
        self.assertTrue(self.validator.is_valid(unknown))


if __name__ == "__main__":
    unittest.main()
