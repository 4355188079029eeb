"""Runs that are killed at any moment leave files whole, locks free, no process, and nothing for ever."""
import json
import os
import random
import signal
import time
import unittest

from torture import SECONDS, TortureTest

ROWS = 40_000


def writing(folder):
    """Writes some megabytes: outputs, tables, a matrix, a report; keeps a temporary file meanwhile."""
    table = {"id": "table", "operator": "VANTIX.DynamicTableInputSeries",
             "values": {"Count": ROWS, "InitialValue": {"Type": "VANTIX.Scalar", "Value": {"NumberType": 10, "Value": 0.5}},
                        "Increment": {"Type": "VANTIX.Scalar", "Value": {"NumberType": 10, "Value": 1.0}}}}
    return {"ports": [{"name": "Table", "alias": "write.TableOut"}, {"name": "Temp", "alias": "temp.Filename"}],
            "operators": [
                {"id": "temp", "operator": "VANTIX.CreateTempFilename"},
                table,
                {"id": "write", "operator": "VANTIX.TableFileOutput", "values": {"Filename": f"{folder}/table.txt"}},
                {"id": "matrix", "operator": "VANTIX.MatrixFileOutput",
                 "values": {"Filename": f"{folder}/matrix.txt", "MatrixIn": {
                     "Type": "VANTIX.Matrix", "Value": {"NumberType": 10, "Rows": 50, "Columns": 50,
                                                        "Values": [i / 8 for i in range(2500)]}}}},
                {"id": "report", "operator": "VANTIX.Report",
                 "values": {"ToSessionLog": False, "TextFilename": f"{folder}/report.txt", "ConfigString": "$Input1"}}],
            "connections": [{"from": "table.Table", "to": "write.TableIn"},
                            {"from": "write.TableOut", "to": "report.Input1"}],
            "order": [{"before": "temp", "after": "table"}]}


class KillsTest(TortureTest):
    NAME = "kills"

    def setUp(self):
        super().setUp()
        self.target = self.folder / "target"
        self.target.mkdir()

    def duration(self, *words):
        begin = time.monotonic()
        done = self.call(*words)
        self.assertEqual(done.returncode, 0, done.stderr)
        return time.monotonic() - begin

    def kill_within(self, dice, longest, *words):
        """Kills a run somewhere between its start and its end."""
        run = self.start(*words)
        time.sleep(dice.random() * longest)
        run.kill()
        run.wait(timeout=20)
        self.await_nothing_left()

    def assert_clean_after_the_next_start(self, *words):
        """A run to the end takes away what killed ones left."""
        done = self.call(*words)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(os.listdir(self.temporary), [])
        self.assertEqual(self.leftovers(self.target), [])

    def test_files(self):
        model = self.write("m.tsmx", writing(self.target))
        words = ("run", model, "--quiet", "--outputs", self.target / "outputs.json")
        longest = self.duration(*words) * 1.2
        whole = {name: (self.target / name).read_bytes() for name in os.listdir(self.target)}
        self.assertEqual(sorted(whole), ["matrix.txt", "outputs.json", "report.txt", "table.txt"])
        self.assertEqual(len(json.loads(whole["outputs.json"])["Outputs"]), 2)
        self.assertEqual(whole["table.txt"].count(b"\n") >= ROWS, True)
        temporary_name = json.loads(whole["outputs.json"])["Outputs"][1]["Data"]["Value"].encode()

        def once(dice):
            for name in whole:
                if dice.random() < 0.5:
                    (self.target / name).write_bytes(b"old")
                else:
                    (self.target / name).unlink(missing_ok=True)
            before = {name: (self.target / name).read_bytes() for name in whole if (self.target / name).exists()}
            self.kill_within(dice, longest, *words)
            for name, text in whole.items():
                path = self.target / name
                found = path.read_bytes() if path.exists() else None
                if found == before.get(name):
                    continue
                self.assertIsNotNone(found, f"{name} is gone")
                if name == "outputs.json":  # names a file of its own run
                    row = json.loads(found)["Outputs"][1]["Data"]
                    found = found.replace(row["Value"].encode(), temporary_name)
                self.assertTrue(found == text, f"{name} is neither the old nor the new one: {len(found)} bytes")
            if dice.random() < 0.3:
                self.assert_clean_after_the_next_start(*words)

        self.repeat(25, once)
        self.assert_clean_after_the_next_start(*words)

    def test_rasters(self):
        """Runs that are killed while they write leave the old raster, whole, and what they left goes; ended ones leave nothing."""
        with open(self.folder / "scene.pgm", "wb") as scene:
            scene.write(b"P5 3000 3000 255\n" + random.Random(1).randbytes(9_000_000))
        target = self.target / "scene.tif"
        model = self.write("raster.tsmx", {"operators": [
            {"id": "write", "operator": "VANTIX.RasterFileOutput",
             "values": {"Filename": str(target), "RasterIn": str(self.folder / "scene.pgm"),
                        "CreationOptions": ["COMPRESS=DEFLATE", "ZLEVEL=9"]}}]})
        words = ("run", model, "--quiet")
        self.duration(*words)
        whole = target.read_bytes()
        self.assertGreater(len(whole), 5_000_000)
        hits = {signal.SIGKILL: 0, signal.SIGTERM: 0}

        def once(dice):
            old = dice.choice([b"old", None])
            target.unlink(missing_ok=True)
            if old:
                target.write_bytes(old)
            number = dice.choice(list(hits))
            run = self.start(*words)
            mine = f"-{run.pid}-"
            while not any(mine in name for name in self.leftovers(self.target)) and run.poll() is None:
                time.sleep(0.001)
            time.sleep(dice.random() * 0.1)
            run.send_signal(number)
            hits[number] += run.wait(timeout=20) != 0
            self.assertIn(target.read_bytes() if target.exists() else None, (old, whole))
            if number == signal.SIGTERM:
                self.assertEqual([name for name in self.leftovers(self.target) if mine in name], [])
            if dice.random() < 0.3:
                self.assert_clean_after_the_next_start(*words)

        self.repeat(12, once, seconds=8)
        self.assertTrue(all(hits.values()) or SECONDS, f"too few runs were hit in the middle: {hits}")
        self.assert_clean_after_the_next_start(*words)

    def test_locks(self):
        """The lock's holder is killed; the next one does not wait."""
        (self.folder / "data").touch()
        guard = {"id": "guard", "operator": "VANTIX.LockWhileExecuting",
                 "values": {"DatasetReference": str(self.folder / "data"), "Timeout": 0},
                 "model": {"ports": [{"name": "Done", "alias": "pause.Done"}],
                           "operators": [{"id": "pause", "operator": "VANTIX.TestSteps",
                                          "values": {"Milliseconds": 5, "Steps": 10}}]}}
        model = self.write("lock.tsmx", {"ports": [{"name": "Done", "alias": "guard.Done"}], "operators": [guard]})
        longest = self.duration("run", model, "--quiet") * 1.2

        def once(dice):
            self.kill_within(dice, longest, "run", model, "--quiet")
            done = self.call("run", model, "--quiet")
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "Done: true\n", ""))
            self.assertFalse((self.folder / "data.lock").exists())

        self.repeat(12, once, seconds=6)

    def test_batches(self):
        """A run, its shell, its batch manager and the processes of its items go together."""
        body = {"ports": [{"name": "In", "alias": "pause.After"}, {"name": "Out", "alias": "write.Output1"}],
                "operators": [{"id": "pause", "operator": "VANTIX.TestSteps", "values": {"Milliseconds": 20, "Steps": 2}},
                              {"id": "write", "operator": "VANTIX.Report",
                               "values": {"ToSessionLog": False, "ConfigString": "x" * 100_000}}],
                "connections": [{"from": "pause.Done", "to": "write.Input1"}]}
        model = self.write("batch.tsmx", {
            "ports": [{"name": "In", "alias": "each.In", "value": [1, 2, 3]}, {"name": "Out", "alias": "each.Out"}],
            "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": body,
                           "values": {"ExecutionMethod": "OutOfProcessBatch"}}]})
        words = ("run", model, "--quiet", "--outputs", self.target / "outputs.json")
        longest = self.duration(*words) * 1.1
        whole = (self.target / "outputs.json").read_bytes()
        self.assertIn(b"true", whole)

        def once(dice):
            (self.target / "outputs.json").write_bytes(b"old")
            run = self.start(*words)
            time.sleep(dice.random() * longest)
            # Any one of them may be the one that is hit.
            family = self.living()
            victim = dice.choice(family)[0] if family and dice.random() < 0.5 else run.pid
            try:
                os.kill(victim, 9)
            except ProcessLookupError:
                pass
            run.wait(timeout=20)
            self.await_nothing_left()
            self.assertIn((self.target / "outputs.json").read_bytes(), (b"old", whole))
            if run.returncode == 0:
                self.assertEqual((self.target / "outputs.json").read_bytes(), whole)

        self.repeat(10, once)
        self.assert_clean_after_the_next_start(*words)


if __name__ == "__main__":
    unittest.main()
