"""The plug-in of the guide is the one that is built, and it works.

    TESSERA=PROGRAM EXAMPLE_PLUGINS=FOLDER plugin_guide_test.py ROOT
"""
import json
import os
import re
import subprocess
import sys
import unittest

ROOT = os.path.abspath(sys.argv.pop(1))


class PluginGuideTest(unittest.TestCase):
    def run_count(self, **values):
        model = {"format": "TesseraModelFormat", "version": 1,
                 "ports": [{"name": "Count", "alias": "count.Count"}],
                 "operators": [{"id": "count", "operator": "VANTIX.CountWords", "values": values}]}
        environment = dict(os.environ, VANTIX_PLUGIN_PATH=os.environ["EXAMPLE_PLUGINS"])
        return subprocess.run([os.environ["TESSERA"], "run", "-", "--json"], input=json.dumps(model),
                              env=environment, capture_output=True, text=True, timeout=60)

    def test_the_guide_quotes_the_source(self):
        with open(os.path.join(ROOT, "docs", "plugin-guide.md"), encoding="utf-8") as file:
            quoted = re.search(r"```cpp\n(.*?)```", file.read(), re.DOTALL)[1]
        with open(os.path.join(ROOT, "examples", "plugin", "countwords.cpp"), encoding="utf-8") as file:
            self.assertEqual(quoted, file.read())

    def test_it_counts(self):
        for values, count in (({"Text": "one two three"}, 3), ({"Text": ""}, 0),
                              ({"Text": "one two three", "MinimumLength": 4}, 1)):
            with self.subTest(values):
                run = self.run_count(**values)
                self.assertEqual(run.returncode, 0, run.stderr)
                self.assertEqual(json.loads(run.stdout),
                                 {"Outputs": [{"Name": "Count", "Data": {"Type": "VANTIX.Unsigned", "Value": count}}]})

    def test_its_failure_is_told(self):
        run = self.run_count(Text="one", MinimumLength=0)
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith(
            "error: Count Words: MinimumLength is 0; a word has at least one character.\n"), run.stderr)


if __name__ == "__main__":
    unittest.main()
