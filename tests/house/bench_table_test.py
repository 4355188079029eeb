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

    def report(self, *names):
        rows = [{"name": name, "run_name": name, "real_time": 3.0, "time_unit": "ns", "label": label}
                for name, label in names]
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "bench.json")
            with open(path, "w", encoding="utf-8") as file:
                json.dump({"benchmarks": rows, "context": {"num_cpus": 2, "date": "2024-02-29T10:00:00"}}, file)
            return subprocess.run([os.path.join(ROOT, "script", "bench-table"), "--report", path],
                                  capture_output=True, text=True)

    def test_the_report_tells_of_the_machine_and_of_each_benchmark(self):
        run = self.report(("ChainOfFlowGraphNodes/real_time", ""),
                          ("ChainOfOperators/real_time", "vs ChainOfFlowGraphNodes/real_time"))
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn("| Date | 2024-02-29 |\n", run.stdout)
        self.assertIn("| Memory | ", run.stdout)
        row = next(line for line in run.stdout.splitlines() if line.startswith("| `ChainOfOperators` |"))
        self.assertTrue(row.endswith(" | 3 ns | 1.00 | `ChainOfFlowGraphNodes` |"), row)

    def test_the_report_refuses_a_benchmark_that_nobody_described(self):
        run = self.report(("NobodyDescribedThis", ""))
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("NobodyDescribedThis", run.stderr)


if __name__ == "__main__":
    unittest.main()
