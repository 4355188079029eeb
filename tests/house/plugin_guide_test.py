"""The plug-ins of the guides are those that are built, and they work.

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
    def run_model(self, model):
        environment = dict(os.environ, VANTIX_PLUGIN_PATH=os.environ["EXAMPLE_PLUGINS"])
        return subprocess.run([os.environ["TESSERA"], "run", "-", "--json"],
                              input=json.dumps({"format": "TesseraModelFormat", "version": 1, **model}),
                              env=environment, capture_output=True, text=True, timeout=60)

    def run_count(self, **values):
        return self.run_model({"ports": [{"name": "Count", "alias": "count.Count"}],
                               "operators": [{"id": "count", "operator": "VANTIX.CountWords", "values": values}]})

    def run_first(self, items):
        body = {"ports": [{"name": "In", "alias": "text.Data"}, {"name": "Out", "alias": "text.String"}],
                "operators": [{"id": "text", "operator": "VANTIX.ToString"}]}
        return self.run_model({"ports": [{"name": "In", "alias": "each.In", "value": items},
                                         {"name": "Out", "alias": "each.Out"}],
                               "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": body,
                                              "values": {"ExecutionMethod": "FirstItem"}}]})

    def test_the_guides_quote_the_sources(self):
        for guide, sources in (("plugin-guide.md", ["plugin/countwords.cpp", "plugin/duration.cpp"]),
                               ("iterating.md", ["plugin/firstitem.cpp"]), ("embedding.md", ["embed/embed.cpp"])):
            with open(os.path.join(ROOT, "docs", guide), encoding="utf-8") as file:
                quoted = re.findall(r"```cpp\n(.*?)```", file.read(), re.DOTALL)
            expected = []
            for source in sources:
                with open(os.path.join(ROOT, "examples", source), encoding="utf-8") as file:
                    expected.append(file.read())
            self.assertEqual(quoted, expected, guide)

    def test_a_data_type_of_ones_own(self):
        for text, seconds in (("1:30:05", 5405), ("0:00:00", 0), ("27:59:59", 100799)):
            with self.subTest(text):
                duration = {"Type": "Example.Duration", "Value": seconds}
                self.assertEqual(self.text_of(duration), text)
                self.assertEqual(self.convert(duration, "Double"), seconds)
                self.assertEqual(self.convert(float(seconds), "Example.Duration"), seconds)
        for value in (-1.0, 1e300):
            run = self.run_convert(value, "Example.Duration")
            self.assertTrue(run.stderr.endswith("Could not convert VANTIX.Double to Example.Duration.\n"), run.stderr)
        # A value that is none stops the model before it runs.
        wrong = self.run_convert({"Type": "Example.Duration", "Value": -5}, "Double")
        self.assertEqual(wrong.returncode, 2)
        self.assertIn(": found -5, expected a number of seconds\n", wrong.stderr)

    def run_convert(self, value, target):
        return self.run_model({"ports": [{"name": "Out", "alias": "convert.Output"}],
                               "operators": [{"id": "convert", "operator": "VANTIX.Convert",
                                              "values": {"Input": value, "DataType": target}}]})

    def text_of(self, value):
        return self.value_of(self.run_model({
            "ports": [{"name": "Out", "alias": "text.String"}],
            "operators": [{"id": "text", "operator": "VANTIX.ToString", "values": {"Data": value}}]}))

    def convert(self, value, target):
        return self.value_of(self.run_convert(value, target))

    def value_of(self, run):
        self.assertEqual(run.returncode, 0, run.stderr)
        return json.loads(run.stdout)["Outputs"][0]["Data"]["Value"]

    def test_a_method_of_ones_own(self):
        run = self.run_first([7, 8, 9])
        self.assertEqual((run.returncode, run.stderr), (0, "Iteration 0 of 1\nIterations complete\n"))
        self.assertEqual(json.loads(run.stdout)["Outputs"][0]["Data"],
                         {"Type": "VANTIX.List", "Value": [{"Type": "VANTIX.String", "Value": "7"}]})
        self.assertTrue(self.run_first([None, 8]).stderr.endswith("error: To String: No input.\n"))

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
