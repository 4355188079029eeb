"""Iterators in the program: stopping them in the middle leaves nothing behind."""
import os
import signal
import subprocess
import time
import unittest

from program import PROGRAM, TEST_PLUGINS, ProgramTest

NUMBERS = list(range(10_000))
LISTS = [list(range(100))] * 100


def writing_body():
    """Writes a temporary file, then takes a moment."""
    return {"ports": [{"name": "In", "alias": "write.Input1"}, {"name": "Out", "alias": "pause.Done"}],
            "operators": [{"id": "draft", "operator": "VANTIX.CreateTempFilename", "values": {"Extension": ".txt"}},
                          {"id": "write", "operator": "VANTIX.Report",
                           "values": {"ToSessionLog": False, "ConfigString": "$Input1"}},
                          {"id": "pause", "operator": "VANTIX.TestSteps", "values": {"Milliseconds": 1, "Steps": 1}}],
            "connections": [{"from": "draft.Filename", "to": "write.TextFilename"},
                            {"from": "write.Output1", "to": "pause.After"}]}


def iterator(method, body):
    return {"ports": [{"name": "In", "alias": "each.In"}, {"name": "Out", "alias": "each.Out"}],
            "operators": [{"id": "each", "operator": "VANTIX.Iterator", "displayName": "Each",
                           "values": {"ExecutionMethod": method}, "model": body}]}


class IteratorTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()
        self.env.update(VANTIX_PLUGIN_PATH=TEST_PLUGINS, TMPDIR=str(self.temporary))

    def write_iterator(self, model, items):
        model["ports"][0]["value"] = items
        return self.write("m.tsmx", model)

    def files(self):
        return sum(len(files) for _, _, files in os.walk(self.temporary))

    def check_stopped(self, model, number, status):
        run = subprocess.Popen([PROGRAM, "run", model, "--threads", "2", "--outputs", "out.json", "--quiet"],
                               cwd=self.folder, env=self.env, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(run.kill)
        deadline = time.monotonic() + 60
        while self.files() < 300:
            self.assertIsNone(run.poll(), run.stderr)
            self.assertLess(time.monotonic(), deadline, "it never came to the middle")
            time.sleep(0.02)
        begin = time.monotonic()
        run.send_signal(number)
        out, _ = run.communicate(timeout=20)
        self.assertLess(time.monotonic() - begin, 1.0)
        self.assertEqual((run.returncode, out), (status, b""))
        self.assertEqual(os.listdir(self.temporary), [])
        self.assertEqual(sorted(os.listdir(self.folder)), ["m.tsmx", "temporary"])

    def test_stopped_in_the_middle_of_ten_thousand(self):
        for method in ("InProcessSerial", "InProcessParallel"):
            for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
                with self.subTest(method, number=number):
                    self.check_stopped(self.write_iterator(iterator(method, writing_body()), NUMBERS), number, status)

    def test_stopped_in_the_middle_of_nested_iterators(self):
        for outer in ("InProcessSerial", "InProcessParallel"):
            for inner in ("InProcessSerial", "InProcessParallel"):
                with self.subTest(outer, inner=inner):
                    model = iterator(outer, iterator(inner, writing_body()))
                    self.check_stopped(self.write_iterator(model, LISTS), signal.SIGINT, 130)

    def test_a_run_to_the_end_leaves_nothing_either(self):
        for method in ("InProcessSerial", "InProcessParallel"):
            with self.subTest(method):
                done = self.call("run", self.write_iterator(iterator(method, writing_body()), NUMBERS[:50]))
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertTrue(done.stdout.startswith("Out: [true, true, "), done.stdout)
                self.assertEqual(os.listdir(self.temporary), [])

    def test_an_unknown_method_is_told(self):
        done = self.call("run", self.write_iterator(iterator("InProcesSerial", writing_body()), NUMBERS[:2]))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "error: Each: InProcesSerial: Invalid execution method\n")

    def test_messages_are_those_of_the_operators_drawn(self):
        body = writing_body()
        body["operators"][2] = {"id": "pause", "operator": "VANTIX.TestSteps", "displayName": "Pause",
                                "values": {"Milliseconds": 0, "Steps": 5, "Warning": "Look here."}}
        model = self.write_iterator(iterator("InProcessParallel", body), NUMBERS[:3])
        done = self.call("run", model, "--log", "log")
        self.assertEqual((done.returncode, done.stderr), (0, "warning: Pause: Look here.\n" * 3))
        self.call("run", model, "--messages", "said", "--quiet")
        self.assertEqual((self.folder / "said").read_text(),
                         '{"severity":1,"operator":"Pause","text":"Look here."}\n' * 3)


if __name__ == "__main__":
    unittest.main()
