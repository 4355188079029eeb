"""A run that heeds no cancelling is ended all the same, and leaves nothing behind."""
import os
import pty
import signal
import subprocess
import time
import unittest

from program import PROGRAM, TEST_PLUGINS, ProgramTest


class EndingTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()
        self.target = self.folder / "target"
        self.target.mkdir()
        self.env.update(VANTIX_PLUGIN_PATH=TEST_PLUGINS, TMPDIR=str(self.temporary))
        self.model = self.write("m.tsmx", {"operators": [
            {"id": "deaf", "operator": "VANTIX.TestDeaf", "values": {"Filename": str(self.target / "file")}}]})

    def start(self, **streams):
        run = subprocess.Popen([PROGRAM, "run", self.model], cwd=self.folder, env=self.env, **streams)
        self.addCleanup(run.kill)
        deadline = time.monotonic() + 20
        while not self.unfinished(run):
            self.assertIsNone(run.poll())
            self.assertLess(time.monotonic(), deadline, "it never began to write")
            time.sleep(0.01)
        self.assertEqual(len(os.listdir(self.temporary)), 1, "its folder for temporary files")
        return run

    def unfinished(self, run):
        return [name for name in os.listdir(self.target)
                if name.startswith(f".tessera-{run.pid}-") and name.endswith(".tmp")]

    def test_signals(self):
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129)):
            run = self.start()
            begin = time.monotonic()
            run.send_signal(number)
            self.assertEqual(run.wait(timeout=10), status)
            self.assertLess(time.monotonic() - begin, 1.0)
            self.assertEqual(os.listdir(self.target), [])
            self.assertEqual(os.listdir(self.temporary), [])

    def test_a_hangup_that_is_ignored_stays_so(self):
        run = self.start(preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        run.send_signal(signal.SIGHUP)
        with self.assertRaises(subprocess.TimeoutExpired):
            run.wait(timeout=1.5)
        run.send_signal(signal.SIGTERM)
        self.assertEqual(run.wait(timeout=10), 143)

    def test_the_old_file_stays(self):
        (self.target / "file").write_text("old")
        run = self.start()
        run.send_signal(signal.SIGTERM)
        self.assertEqual(run.wait(timeout=10), 143)
        self.assertEqual(os.listdir(self.target), ["file"])
        self.assertEqual((self.target / "file").read_text(), "old")

    def test_the_bar_is_taken_off_the_terminal(self):
        master, slave = pty.openpty()
        run = self.start(stderr=slave)
        os.close(slave)
        time.sleep(0.4)
        run.send_signal(signal.SIGINT)
        self.assertEqual(run.wait(timeout=10), 130)
        sent = os.read(master, 65536).decode()
        os.close(master)
        self.assertIn("Test Deaf", sent)
        self.assertTrue(sent.endswith("\r\x1b[K"), repr(sent))

    def test_what_a_killed_run_left_goes_with_the_next_write(self):
        killed = self.start()
        killed.kill()
        killed.wait(timeout=10)
        self.assertEqual(len(self.unfinished(killed)), 1)
        (self.target / ".tessera-notes.tmp").write_text("somebody's own")
        other = self.write("other.tsmx", {"ports": [{"name": "Out", "alias": "o.String"}],
                                          "operators": [{"id": "o", "operator": "VANTIX.ToString",
                                                         "values": {"Data": 5}}]})
        done = self.call("run", other, "--outputs", str(self.target / "file"))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(sorted(os.listdir(self.target)), [".tessera-notes.tmp", "file"])

    def test_a_folder_that_a_killed_run_left_without_its_lock_goes_with_the_next_run(self):
        """Killed between making the folder and locking it, or in the middle of removing it."""
        killed = self.start()
        killed.kill()
        killed.wait(timeout=10)
        (left,) = self.temporary.iterdir()
        (left / ".in-use").unlink()
        (left / "file").write_text("half of what there was")
        (self.temporary / f"tessera-{os.getpid()}-living").mkdir()
        (self.temporary / "tessera-notes").mkdir()
        other = self.write("other.tsmx", {"operators": [{"id": "o", "operator": "VANTIX.CreateTempFilename"}]})
        done = self.call("run", other)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(sorted(os.listdir(self.temporary)), [f"tessera-{os.getpid()}-living", "tessera-notes"])


if __name__ == "__main__":
    unittest.main()
