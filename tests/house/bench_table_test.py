"""script/bench-table: ratios within one run."""
import json
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(sys.argv.pop(1))


class BenchTableTest(unittest.TestCase):
    def test_a_label_names_what_a_time_is_divided_by(self):
        rows = [{"name": "Copy", "run_name": "Copy", "real_time": 2.0, "time_unit": "ms"},
                {"name": "Clone", "run_name": "Clone", "real_time": 3000.0, "time_unit": "us", "label": "vs Copy"},
                {"name": "Many", "run_name": "Many", "real_time": 9.0, "time_unit": "ms", "items_per_second": 250,
                 "label": "vs Copy"},
                {"name": "Broken", "run_name": "Broken", "error_occurred": True}]
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "bench.json")
            with open(path, "w", encoding="utf-8") as file:
                json.dump({"benchmarks": rows}, file)
            run = subprocess.run([sys.executable, os.path.join(ROOT, "script", "bench-table"), path],
                                 capture_output=True, text=True, check=True)
        self.assertEqual([line.split() for line in run.stdout.splitlines()],
                         [["benchmark", "time", "ratio", "to"], ["Copy", "2", "ms"],
                          ["Clone", "3", "ms", "1.50", "Copy"], ["Many", "4", "ms", "2.00", "Copy"]])


if __name__ == "__main__":
    unittest.main()
