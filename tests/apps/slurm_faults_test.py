"""The batch manager on a Slurm cluster: what happens to nodes, controllers, tasks and managers in the middle of a run."""
import json
import os
import re
import signal
import time
import unittest

from slurmcase import MANAGER, SlurmCase, start_cluster


def setUpModule():
    start_cluster()


class FaultsTest(SlurmCase):
    def test_a_node_that_dies(self):
        run = self.start("echo $1 >> begun; sleep 4; touch \"done-$1\"", range(12), "-simul", "6")
        self.wait(lambda: len(self.cluster.run("squeue", "-h", "-t", "R", "-o", "%N").split()) == 6)
        # Slurm has tasks for running before they do anything.
        begun = self.place / "begun"
        self.wait(lambda: begun.exists() and len(begun.read_text().split()) >= 6)
        nodes = self.cluster.run("squeue", "-h", "-t", "R", "-o", "%N").split()
        lost = nodes[0]
        self.cluster.fail(lost)
        try:
            _, told = run.communicate(timeout=60)
        finally:
            self.cluster.restore(lost)
            self.cluster.wait("the node did not come back", lambda: self.cluster.are_up([lost]))
        self.assertEqual((run.returncode, self.without_waiting(told)), (0, ""))
        self.assertEqual(self.count("done-*"), 12)
        self.assertGreater(len(begun.read_text().split()), 12, "lines ran again")

    def test_a_controller_that_restarts(self):
        self.prefer(slurm_pause=0.5, slurm_lines_per_task=1)
        # Some lines end while it is away, some go on, and some begin when it is back.
        seconds = [1, 1, 1, 3, 8, 8, 8, 8, 1, 1]
        run = self.start("touch \"begun-$1\"; sleep ${1%-*}; touch \"done-$1\"",
                         [f"{time}-{i}" for i, time in enumerate(seconds)], "-simul", "4")
        self.wait(lambda: self.count("begun-8-*") >= 3)
        time.sleep(0.5)
        self.cluster.stop_controller()
        try:
            time.sleep(5)
        finally:
            self.cluster.start_controller()
        _, told = run.communicate(timeout=60)
        self.assertEqual(run.returncode, 0, told)
        self.assertEqual(self.count("done-*"), len(seconds))
        self.assertRegex(self.without_waiting(told), "^batchprocess: waiting for Slurm, while the tasks run on: .*contact slurm controller.*\n"
                               "batchprocess: Slurm answers again\n$")

    def test_stopped_in_the_middle(self):
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            with self.subTest(number):
                run = self.start("touch \"on-$1\"; exec sleep 60", range(20), "-simul", "4")
                self.wait(lambda: self.count("on-*") >= 4)
                run.send_signal(number)
                _, told = run.communicate(timeout=15)
                self.assertEqual((run.returncode, told), (status, ""))
                self.assertEqual(self.queue(), [])
                self.assertTrue(self.log().endswith(f"=== stopped: {signal.strsignal(number)}\n"))
                self.assertEqual(self.count("list.run/round-*/line-*"), 0, "what was stopped has no verdict")
                for mark in self.place.glob("on-*"):
                    mark.unlink()

    def test_resumed_after_the_manager_was_killed(self):
        script = "echo x >> \"$3.runs\"; sleep 2; printf '{{\"Outputs\": []}' > \"$3\""
        (self.place / "job.bcf").write_text(json.dumps({
            "command": ["/bin/sh", "-c", script, "sh", "-", "{IN}", "{OUT}"], "input": "IN", "output": "OUT"}))
        lines = []
        for i in range(12):
            (self.place / f"in {i}").write_text("{}")
            os.utime(self.place / f"in {i}", (1000, 1000))
            lines.append(f"'in {i}'\t'out {i}'\n")
        (self.place / "list.bls").write_text("IN\tOUT\n" + "".join(lines))
        self.prefer(slurm_pause=0.5, slurm_lines_per_task=2)
        words = [MANAGER, "-bcf", "job.bcf", "-bls", "list.bls", "-simul", "2", "-logfile", "run.log"]
        run = self.start("", [], words=words)
        self.wait(lambda: self.count("out ?.runs") >= 3)
        run.kill()
        run.communicate()
        again = self.start("", [], words=words)
        _, told = again.communicate(timeout=30)
        self.assertEqual(again.returncode, 2)
        self.assertRegex(told, r"^batchprocess: the cluster still has \d tasks of an earlier run in .*/list\.run \(jobs "
                               r"named tessera-[0-9a-f]{16}-1 and so on\); --resume goes on with it\n$")
        again = self.start("", [], words=[*words, "--resume"])
        _, told = again.communicate(timeout=60)
        self.assertEqual((again.returncode, told), (0, ""))
        self.assertEqual(self.count("out ?") + self.count("out ??"), 12)
        for runs in self.place.glob("out *.runs"):
            self.assertEqual(runs.read_text(), "x\n", f"{runs.name}: each line ran once")
        self.assertRegex(self.log(), r"=== array \d+ of an earlier run goes on, with \d+ lines\n")
        self.assertIn(": done before\n", self.log())
        # The last task has written its results before it ends.
        self.wait(lambda: not self.queue())

    def test_two_managers(self):
        run = self.start("touch on; sleep 60", [1])
        self.wait(lambda: (self.place / "on").exists())
        other = self.start("", [], words=self.words("touch on; sleep 60", [1]))
        _, told = other.communicate(timeout=20)
        self.assertEqual(other.returncode, 2)
        self.assertRegex(told, f"^batchprocess: another batch manager works in .*/list.run: process {run.pid} ")
        run.send_signal(signal.SIGTERM)
        run.communicate(timeout=20)

    def test_tasks_that_are_taken_away(self):
        run = self.start("touch on; sleep 60", [1])
        self.wait(lambda: (self.place / "on").exists())
        self.cluster.run("scancel", *self.queue())
        _, told = run.communicate(timeout=20)
        self.assertEqual(run.returncode, 1)
        self.assertEqual(told, "batchprocess: line 1: cancelled on the cluster\nbatchprocess: 1 of 1 lines failed: 1\n")

    def test_tasks_that_end_without_a_result(self):
        # The line kills the task that runs it.
        run = self.start("echo x >> runs; kill -KILL $PPID; sleep 60", [1])
        _, told = run.communicate(timeout=40)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(told, r"^batchprocess: line 1: 3 tasks ended without a result; the last: FAILED \(\w+\) on n\d\n")
        self.assertEqual((self.place / "runs").read_text(), "x\n" * 3)
        self.assertEqual(len(re.findall("=== line 1: the task ended without a result: ", self.log())), 3)


if __name__ == "__main__":
    unittest.main()
