"""The batch manager on a Slurm cluster: arrays, settings, and what can't be run there."""
import json
import os
import re
import shutil
import unittest

from slurmcase import ARRAY_SIZE, SlurmCase, start_cluster


def setUpModule():
    start_cluster()


class SlurmTest(SlurmCase):
    def test_more_lines_than_an_array_has_tasks(self):
        status, told = self.run_list("echo $1; touch \"done-$1\"", range(250), "-simul", "8")
        self.assertEqual((status, told), (0, ""))
        self.assertEqual(self.count("done-*"), 250)
        log = self.log()
        self.assertEqual(len(re.findall(r"^=== line \d+: done", log, re.MULTILINE)), 250)
        self.assertIn(f"=== run directory: {self.place}/list.run\n", log)
        arrays = [tuple(map(int, found)) for found in re.findall(r"=== array \d+: (\d+) lines in (\d+) tasks", log)]
        self.assertEqual(arrays[0], (8, 8), "the first lines one to a task")
        self.assertEqual(sum(lines for lines, _ in arrays), 250)
        self.assertTrue(all(tasks <= ARRAY_SIZE for _, tasks in arrays), arrays)
        self.assertIn("output 2\n", (self.place / "list.run" / "round-1" / "line-1").read_text())

    def test_lines_per_task(self):
        self.prefer(slurm_pause=0.5, slurm_lines_per_task=5)
        self.assertEqual(self.run_list("exit 0", range(20), "-simul", "3"), (0, ""))
        self.assertRegex(self.log(), r"=== array \d+: 20 lines in 4 tasks, 3 at a time\n")

    def test_retries(self):
        status, told = self.run_list("echo x >> \"runs-$1\"; [ $(wc -l < \"runs-$1\") -ge 2 ]", [1, 2], "-simul", "2",
                                     "--retries", "1")
        self.assertEqual(status, 0, told)
        self.assertEqual(sorted(told.splitlines()), [f"batchprocess: line {line}: exit status 1; run again, 1 of 1"
                                                     for line in (1, 2)])

    def test_tasks_that_can_never_start(self):
        self.prefer(slurm_pause=0.5, slurm_options="-c 99")
        status, told = self.run_list("exit 0", [1, 2], "-simul", "2")
        self.assertEqual(status, 1)
        self.assertEqual(told, "batchprocess: no task runs; Slurm says why they wait: PartitionConfig (2 tasks)\n"
                               "batchprocess: line 1: never started: PartitionConfig (2 tasks)\n"
                               "batchprocess: line 2: never started: PartitionConfig (2 tasks)\n"
                               "batchprocess: 2 of 2 lines failed: 1, 2\n")
        self.wait(lambda: not self.queue())

    def test_tasks_that_wait_are_told(self):
        self.prefer(slurm_pause=0.5, slurm_options="--hold")
        run = self.start("exit 0", [1])
        told = run.stderr.readline()
        self.assertEqual(told, "batchprocess: no task runs; Slurm says why they wait: JobHeldUser (1 task)\n")
        self.cluster.run("scontrol", "release", *self.queue())
        _, told = run.communicate(timeout=20)
        self.assertEqual((run.returncode, told), (0, ""))

    def test_what_slurm_refuses(self):
        self.prefer(slurm_pause=0.5, slurm_options="--partition=nowhere")
        status, told = self.run_list("exit 0", [1])
        self.assertEqual(status, 2)
        self.assertRegex(told, "^batchprocess: sbatch does not take the array: .*invalid partition specified: nowhere\n")

    def test_no_slurm(self):
        self.env["PATH"] = str(self.folder)
        status, told = self.run_list("exit 0", [1])
        self.assertEqual((status, told), (2, "batchprocess: found no program sbatch along PATH; the preference "
                                             "batch/executor says slurm, which takes the commands of Slurm\n"))

    @unittest.skipIf(os.geteuid() == 0 and not shutil.which("setpriv"), "root may write anywhere, and can't become another")
    def test_a_run_directory_that_cannot_be_written(self):
        words = self.words("exit 0", [1])[:-2]
        for path in (self.folder, self.place):
            path.chmod(0o555)
        self.addCleanup(self.folder.chmod, 0o700)
        self.addCleanup(self.place.chmod, 0o700)
        if os.geteuid() == 0:
            words = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", *words]
        run = self.start("", [], words=words)
        _, told = run.communicate(timeout=20)
        self.assertEqual(run.returncode, 2)
        self.assertRegex(told, r"^batchprocess: the run directory .*/list\.run can't be made: .*[Pp]ermission denied")

    def test_run_directories_elsewhere(self):
        runs = self.folder / "my runs"
        self.prefer(slurm_pause=0.5, run_directory=str(runs))
        self.assertEqual(self.run_list("exit 0", [1]), (0, ""))
        self.assertEqual(self.count("*.run"), 0)
        self.assertEqual(len(list(runs.glob("list-????????????????.run/round-1/line-1"))), 1)

    def test_an_iterator(self):
        model = self.write("m.tsmx", {
            "ports": [{"name": "In", "alias": "each.In", "value": ["a \"b\"", "gr\u00fcn", "'c'"]},
                      {"name": "Out", "alias": "each.Out"}],
            "operators": [{"id": "each", "operator": "VANTIX.Iterator", "values": {"ExecutionMethod": "OutOfProcessBatch"},
                           "model": {"ports": [{"name": "In", "alias": "text.Data"}, {"name": "Out", "alias": "text.String"}],
                                     "operators": [{"id": "text", "operator": "VANTIX.ToString"}]}}]})
        runs = self.folder / "runs"
        done = self.call("run", model, "--quiet", "--json", "--pref", f"batch/run_directory={runs}")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        items = json.loads(done.stdout)["Outputs"][0]["Data"]["Value"]
        self.assertEqual([item["Value"] for item in items], ["a \"b\"", "gr\u00fcn", "'c'"])
        self.assertEqual(os.listdir(self.place), [])
        self.assertEqual(len(list(runs.glob("*/round-*/line-*"))), 3, "that is where it ran")


if __name__ == "__main__":
    unittest.main()
