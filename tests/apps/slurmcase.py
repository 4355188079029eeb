"""What the tests of the batch manager on a Slurm cluster share: the cluster, and a list to run on it."""
import json
import os
import re
import subprocess
import sys
import time
import unittest

from program import PROGRAM, ProgramTest

sys.path.insert(0, os.path.join(os.environ["TESSERA_SOURCE"], "tests", "support"))
import slurmcluster  # noqa: E402

MANAGER = os.path.join(os.path.dirname(PROGRAM), "batchprocess.exe")
ARRAY_SIZE = 21
cluster = None


def start_cluster():
    """For setUpModule."""
    global cluster
    why = slurmcluster.missing()
    if why:
        print(f"skipped: {why}")
        raise unittest.SkipTest(why)
    cluster = slurmcluster.Cluster(nodes=2, processors=4, array_size=ARRAY_SIZE)
    unittest.addModuleCleanup(cluster.stop)
    try:
        cluster.start()
    except slurmcluster.Unavailable as failure:
        print(f"skipped: {failure}")
        raise unittest.SkipTest(str(failure))


class SlurmCase(ProgramTest):
    def setUp(self):
        super().setUp()
        # A name that a shell, a list or a pattern of Slurm's might fall over.
        self.place = self.folder / "it's a \"run\" %a $HOME \u00e4\u65e5"
        self.place.mkdir()
        self.cluster = cluster
        self.env.update(cluster.environment, TMPDIR=str(self.place))
        for name in ("ComSpec", "VANTIX_HOME", "ARCHM"):
            self.env.pop(name, None)
        self.prefer(slurm_pause=0.5)

    def prefer(self, executor="slurm", **values):
        folder = self.folder / "config" / "tessera"
        folder.mkdir(parents=True, exist_ok=True)
        batch = {name: {"Type": "string" if isinstance(value, str) else "number", "Value": value}
                 for name, value in values.items()}
        batch["executor"] = {"Type": "enumeration", "Value": executor}
        (folder / "preferences.json").write_text(json.dumps({"batch": batch}))

    def words(self, script, lines, *options):
        """The call over a shell script that gets each value as its word."""
        (self.place / "job.bcf").write_text(json.dumps({"command": ["/bin/sh", "-c", script, "sh", "{A}"]}))
        (self.place / "list.bls").write_text("A\n" + "".join(f"{line}\n" for line in lines))
        return [MANAGER, "-bcf", "job.bcf", "-bls", "list.bls", "-logfile", "run.log", *options]

    def start(self, script, lines, *options, words=None):
        run = subprocess.Popen(words or self.words(script, lines, *options), cwd=self.place, env=self.env,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(run.kill)
        return run

    def run_list(self, *arguments):
        run = self.start(*arguments)
        out, told = run.communicate(timeout=60)
        self.assertEqual(out, "")
        return run.returncode, told

    def wait(self, condition, seconds=30):
        deadline = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.05)

    def count(self, pattern):
        return len(list(self.place.glob(pattern)))

    def log(self):
        return (self.place / "run.log").read_text()

    @staticmethod
    def without_waiting(told):
        return re.sub("batchprocess: no task runs; Slurm says why they wait: .*\n", "", told)

    def queue(self):
        """The tasks of the last run here. A node that came back may still have some of an earlier one."""
        name = (self.place / "list.run" / "name").read_text()
        lines = self.cluster.run("squeue", "-h", "-r", "-o", "%i %j").splitlines()
        return [line.split()[0] for line in lines if line.split()[1].startswith(name)]
