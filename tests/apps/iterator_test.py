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


METHODS = ("InProcessSerial", "InProcessParallel", "OutOfProcessBatch")


def merge(**values):
    return {"id": "m", "operator": "VANTIX.Merge", "values": values}


class PortsTest(ProgramTest):
    """What an iterator's ports give to each iteration, whatever the method."""

    def outputs(self, values, operators, ports, connections=()):
        """For each method, what "O" gives with these values on the iterator."""
        for method in METHODS:
            body = {"ports": [{"name": name, "alias": alias} for name, alias in ports], "operators": operators,
                    "connections": [{"from": begin, "to": end} for begin, end in connections]}
            model = self.write("m.tsmx", {
                "ports": [{"name": "O", "alias": "each.O"}],
                "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": body,
                               "values": {"ExecutionMethod": method, **values}}]})
            with self.subTest(method, values=values):
                done = self.call("run", model, "--quiet")
                yield done.stdout if done.returncode == 0 else done.stderr

    def check(self, expected, *arguments, **more):
        for output in self.outputs(*arguments, **more):
            self.assertEqual(output, f"O: {expected}\n")

    def test_what_stands_inside_counts_where_nothing_is_set(self):
        ports = [("I", "n.Input1"), ("J", "m.Input1"), ("O", "m.Output")]
        other = {"id": "n", "operator": "VANTIX.Merge"}
        self.check("[9, 9]", {"I": [1, 2]}, [other, merge(Input1=9)], ports)
        self.check("[[7, 8], [7, 8]]", {"I": [1, 2]}, [other, merge(Input1=[7, 8])], ports)
        self.check("[1, 1]", {"I": [1, 2], "J": 1}, [other, merge(Input1=9)], ports)
        self.check("[1, 2]", {"I": [1, 2]}, [other, merge(Input1=9)], ports, [("n.Output", "m.Input1")])
        inside = {"id": "m", "operator": "VANTIX.Model", "values": {"In": [4, 5]},
                  "model": {"ports": [{"name": "In", "alias": "m.Input1"}, {"name": "Out", "alias": "m.Output"}],
                            "operators": [merge(Input1=9)]}}
        self.check("[[4, 5]]", {}, [inside], [("J", "m.In"), ("O", "m.Out")])

    def test_ports_inside_keep_their_own_values(self):
        two = {"id": "l", "operator": "VANTIX.List", "values": {"Value1": 1, "Value2": None, "Value3": [3]}}
        ports = [("I", "n.Input1"), ("J", ["l.Value1", "l.Value2", "l.Value3"]), ("O", "l.ListOut")]
        other = {"id": "n", "operator": "VANTIX.Merge"}
        self.check("[[1, null, [3]], [1, null, [3]]]", {"I": [1, 2]}, [two, other], ports)
        self.check("[[5, 5, 5], [6, 6, 6]]", {"J": [5, 6]}, [two, other], ports)
        self.check("[[null, null, null]]", {"J": None}, [two, other], ports)

    def test_a_default_inside_is_a_default_outside(self):
        lock = {"id": "lock", "operator": "VANTIX.LockWhileExecuting",
                "values": {"DatasetReference": str(self.folder / "data")},
                "model": {"ports": [{"name": "In", "alias": "m.Input1"}, {"name": "Out", "alias": "m.Output"}],
                          "operators": [merge()]}}
        self.check("[1, 2]", {"I": [1, 2]}, [lock], [("I", "lock.In"), ("T", "lock.Timeout"), ("O", "lock.Out")])

    def test_no_data_stands_above_what_stands_inside(self):
        ports = [("I", "m.Input1"), ("O", "m.Output")]
        self.check("[1, null]", {"I": [1, None]}, [merge(Input1=9)], ports)
        self.check("[null]", {"I": None}, [merge(Input1=9)], ports)

    def test_passwords_are_kept_inside_and_never_leave_the_process(self):
        password = {"Type": "VANTIX.Password", "Value": "x"}
        for type_name, secret in (("Password", password),
                                  ("List", {"Type": "VANTIX.List", "Value": [None, password]}),
                                  ("Dictionary", {"Type": "VANTIX.Dictionary", "Value": {"in": {
                                      "Type": "VANTIX.List", "Value": [password]}}})):
            with self.subTest(type_name):
                self.check_secret(type_name, secret)

    def check_secret(self, type_name, secret):
        operators = [{"id": "m", "operator": "VANTIX.Merge", "values": {"Input1": secret}},
                     {"id": "gone", "operator": "VANTIX.IsEmpty"}, {"id": "n", "operator": "VANTIX.Merge"}]
        ports = [("I", "n.Input1"), ("O", "gone.IsEmpty")]
        inner = {"id": "inner", "operator": "VANTIX.Iterator",
                 "model": {"ports": [{"name": name, "alias": alias} for name, alias in ports], "operators": operators,
                           "connections": [{"from": "m.Output", "to": "gone.Data"}]}}
        plain = list(self.outputs({"I": [1, 2]}, operators, ports, [("m.Output", "gone.Data")]))
        nested = list(self.outputs({"I": [1, 2]}, [inner], [("I", "inner.I"), ("O", "inner.O")]))
        self.assertEqual(plain, ["O: [false, false]\n"] * 2 + ["O: [true, true]\n"])
        self.assertEqual(nested, ["O: [[false], [false]]\n"] * 2 + ["O: [[true], [true]]\n"])
        said = self.call("run", str(self.folder / "m.tsmx"), "--log", "log").stderr
        self.assertEqual(said, f'warning: Merge: The value on the port "Input1" of type VANTIX.{type_name} has no form '
                               "in JSON and can't leave its process.\n")

    def test_settings_reach_every_iteration(self):
        report = {"id": "say", "operator": "VANTIX.Report",
                  "values": {"TextFilename": str(self.folder / "said"), "ToSessionLog": False}}
        ports = [("I", "say.Input1"), ("C", "say.ConfigString"), ("O", "say.Output1")]
        inner = {"id": "inner", "operator": "VANTIX.Iterator", "values": {"I": 5},
                 "model": {"ports": [{"name": name, "alias": alias} for name, alias in ports], "operators": [report]}}
        nested = [("I", "m.Input1"), ("C", "inner.C"), ("O", "inner.O")]
        for operators, names, expected in (([report], ports, "n = 2."), ([inner, merge()], nested, "n = 5.")):
            for _ in self.outputs({"I": [2], "C": "n = $Input1."}, operators, names):
                self.assertEqual((self.folder / "said").read_text(), expected)
                (self.folder / "said").unlink()


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
