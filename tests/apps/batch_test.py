"""Iterators that run their models in other processes: by the shell, the batch manager and the program itself."""
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import time
import unittest

from program import PROGRAM, TEST_PLUGINS, ProgramTest

BIN = os.path.dirname(PROGRAM)
MANAGER = os.path.join(BIN, "batchprocess.exe")


def batch(body, items, **values):
    """A model around an iterator with the input "In" and the output "Out"."""
    return {"ports": [{"name": "In", "alias": "each.In", "value": items}, {"name": "Out", "alias": "each.Out"}],
            "operators": [{"id": "each", "operator": "VANTIX.Iterator", "displayName": "Each",
                           "values": {"ExecutionMethod": "OutOfProcessBatch", **values}, "model": body}]}


def text_body():
    return {"ports": [{"name": "In", "alias": "text.Data"}, {"name": "Out", "alias": "text.String"}],
            "operators": [{"id": "text", "operator": "VANTIX.ToString"}]}


def pause_body(milliseconds):
    return {"ports": [{"name": "In", "alias": "pause.After"}, {"name": "Out", "alias": "pause.Done"}],
            "operators": [{"id": "pause", "operator": "VANTIX.TestSteps",
                           "values": {"Milliseconds": milliseconds, "Steps": 1}}]}


def processes_naming(text):
    """Command lines of the processes that name a text in theirs or in their environment."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        try:
            if entry.name.isdigit() and text.encode() in (entry / "environ").read_bytes():
                found.append((int(entry.name), (entry / "cmdline").read_bytes().replace(b"\0", b" ").decode()))
        except OSError:
            continue
    return [(process, words) for process, words in found if words and process != os.getpid()]


class BatchTest(ProgramTest):
    def setUp(self):
        super().setUp()
        # A name that a shell line or a list might fall over.
        self.temporary = self.folder / "it's \"tempor\u00e4r\" $HOME \u65e5\u672c"
        self.temporary.mkdir()
        self.env.update(VANTIX_PLUGIN_PATH=TEST_PLUGINS, TMPDIR=str(self.temporary), BATCH_TEST=str(self.folder))
        for name in ("ComSpec", "VANTIX_HOME", "ARCHM"):
            self.env.pop(name, None)

    def outputs(self, *words, model):
        done = self.call("run", model, "--json", "--log", "log", *words)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(os.listdir(self.temporary), [])
        return {row["Name"]: row["Data"] for row in json.loads(done.stdout)["Outputs"]}

    def log(self):
        return (self.folder / "log").read_text(encoding="utf-8").splitlines()

    def test_ten_items_in_order(self):
        items = [f"Gr\u00fc\u00dfe {i} 'a' \"b\" $HOME \\ &&" for i in range(10)]
        model = self.write("m.tsmx", batch(text_body(), items))
        expected = [{"Type": "VANTIX.String", "Value": item} for item in items]
        for threads in ("2", "0"):
            with self.subTest(threads):
                outputs = self.outputs("--threads", threads, "--pref", "batch/num_simul_cmd_sets=3", model=model)
                self.assertEqual(outputs["Out"], {"Type": "VANTIX.List", "Value": expected})
                log = self.log()
                self.assertEqual(log[:2], ["Concurrency is 2." if threads == "2" else "Concurrency is zero.",
                                           "Preparing Inputs."])
                self.assertEqual(log[12:15], ["Batch processing 3 at a time.", "Batch processing complete",
                                              "Gathering Outputs."])
                first = 1 if threads == "2" else 11
                self.assertEqual([int(re.fullmatch(r"Iteration (\d+)\(\d+\) of 10", line)[1]) for line in log[15:25]],
                                 list(range(first, first + 10)))
                self.assertEqual(log[25:], ["Iterations complete"] if threads == "2" else [])

    def test_values_of_every_type_that_has_json(self):
        values = [{"Type": "VANTIX." + name, "Value": value} for name, value in (
            ("Bool", True), ("Int", -5), ("Unsigned", 4294967295), ("Double", 0.1), ("Double", "NaN"),
            ("String", "\u00fc\n\"\\"), ("File", "/a b"), ("Directory", "."), ("StringList", ["a", ""]),
            ("List", [{"Type": "VANTIX.Int", "Value": 1}, None]),
            ("Dictionary", {"z": {"Type": "VANTIX.Int", "Value": 1}, "a": None}),
            ("Table", {"NumberType": 10, "Values": [0.1, 2.5, "-Infinity"]}),
            ("Matrix", {"NumberType": 3, "Rows": 2, "Columns": 2, "Values": [1, 2, 3, 4]}),
            ("Scalar", {"NumberType": 10, "Value": 0.30000000000000004}),
            ("Range", {"Start": 1, "End": 5}), ("RangeList", [{"Start": 1, "End": 5}]),
            ("Color", {"Red": 0.1, "Green": 0.2, "Blue": 0.3, "Opacity": 1.0}),
            ("Json", {"a": [1, None, {"b": 2.5}]}), ("DateTime", "2024-05-06T07:08:09"), ("NumberType", "UInt8"))]
        keep = {"ports": [{"name": "In", "alias": "keep.Input1"}, {"name": "Out", "alias": "keep.Output1"}],
                "operators": [{"id": "keep", "operator": "VANTIX.Report",
                               "values": {"ToSessionLog": False, "ConfigString": ""}}]}
        here = self.outputs(model=self.write("here.tsmx", batch(keep, values, ExecutionMethod="InProcessSerial")))
        there = self.outputs(model=self.write("there.tsmx", batch(keep, values)))
        self.assertEqual(there, here)
        self.assertEqual([item["Type"] for item in there["Out"]["Value"]], [value["Type"] for value in values])

    def test_empty_items_keep_their_places(self):
        outputs = self.outputs(model=self.write("m.tsmx", batch(
            {"ports": [{"name": "In", "alias": "keep.Input1"}, {"name": "Out", "alias": "keep.Output1"}],
             "operators": [{"id": "keep", "operator": "VANTIX.Report",
                            "values": {"ToSessionLog": False, "ConfigString": ""}}]}, [1, None, 3])))
        self.assertEqual(outputs["Out"]["Value"], [{"Type": "VANTIX.Int", "Value": 1}, None,
                                                   {"Type": "VANTIX.Int", "Value": 3}])

    def test_a_value_without_json_is_refused_before_anything_starts(self):
        secret = {"Type": "VANTIX.Password", "Value": "secret"}
        done = self.call("run", self.write("m.tsmx", batch(text_body(), [secret, secret])), "--quiet")
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertTrue(done.stderr.endswith("error: IteratorExecutionMethodOutOfProcessBatch: Data not JSONable!\n"),
                        done.stderr)
        self.assertNotIn("batchprocess", done.stderr)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_file_names_that_are_no_utf8(self):
        files = self.folder / "files"
        files.mkdir()
        names = [b"a\xff.txt", b"\xe4\xc3\xa4\x80", b"plain"]
        for name in names:
            (files / os.fsdecode(name)).write_bytes(b"is " + name[:1].hex().encode())
        body = {"ports": [{"name": "In", "alias": "read.Filename"}, {"name": "Out", "alias": "read.String"},
                          {"name": "Made", "alias": "copy.FilenameOut"}],
                "operators": [{"id": "read", "operator": "VANTIX.TextFileInput"},
                              {"id": "copy", "operator": "VANTIX.CopyFileToDirectory",
                               "values": {"OutputDirectory": str(self.folder / "made")}}]}
        body["ports"][0]["alias"] = ["read.Filename", "copy.FilenameIn"]
        model = {"ports": [{"name": "Out", "alias": "each.Out"}, {"name": "Made", "alias": "each.Made"}],
                 "operators": [{"id": "list", "operator": "VANTIX.MultiFilenameInput",
                                "values": {"Directory": str(files)}},
                               {"id": "each", "operator": "VANTIX.Iterator",
                                "values": {"ExecutionMethod": "OutOfProcessBatch"}, "model": body}],
                 "connections": [{"from": "list.FilenamesOut", "to": "each.In"}]}
        outputs = self.outputs(model=self.write("m.tsmx", model))
        made = [os.fsencode(row["Value"]) for row in outputs["Made"]["Value"]]
        self.assertEqual(sorted(os.path.basename(name) for name in made), sorted(names))
        self.assertEqual(sorted(os.listdir(os.fsencode(self.folder / "made"))), sorted(names))
        self.assertEqual([row["Value"] for row in outputs["Out"]["Value"]],
                         ["is " + os.path.basename(name)[:1].hex() for name in made])

    def test_outputs_without_json_are_told(self):
        body = text_body()
        body["ports"].append({"name": "Secret", "alias": "hide.Secret"})
        body["operators"].append({"id": "hide", "operator": "VANTIX.TestSecret"})
        body["connections"] = [{"from": "text.String", "to": "hide.After"}]
        model = batch(body, [1, 2, 3])
        model["ports"].append({"name": "Secrets", "alias": "each.Secret"})
        done = self.call("run", self.write("m.tsmx", model), "--json", "--log", "log")
        self.assertEqual((done.returncode, done.stderr), (0, 'warning: Each: The output "Secret" is empty for 3 of 3 '
                                                             "items: a value of type VANTIX.Password has no form in "
                                                             "JSON and can't leave its process.\n"))
        outputs = {row["Name"]: row["Data"]["Value"] for row in json.loads(done.stdout)["Outputs"]}
        self.assertEqual(outputs["Secrets"], [None] * 3)
        self.assertEqual([item["Value"] for item in outputs["Out"]], ["1", "2", "3"])

    def test_preferences_of_the_run_reach_the_processes(self):
        body = {"ports": [{"name": "In", "alias": "get.Name"}, {"name": "Out", "alias": "get.Value"}],
                "operators": [{"id": "get", "operator": "VANTIX.GetPreferenceValue", "values": {"Category": "site"}}]}
        (self.folder / "config" / "tessera").mkdir(parents=True)
        held = {name: {"Type": "string", "Value": "user's"} for name in ("a", "b", "c")}
        (self.folder / "config" / "tessera" / "preferences.json").write_text(json.dumps({"site": held}))
        given = {name: {"Type": "string", "Value": "gr\u00fcn \"'$HOME"} for name in ("b", "c")}
        (self.folder / "given.json").write_text(json.dumps({"site": given}))
        words = ("--preferences", "given.json", "--pref", "site/c=the run's", "--pref", "site/d=2.5")
        for inner in ("InProcessSerial", "OutOfProcessBatch"):
            model = batch(body, ["a", "b", "c", "d"])
            if inner == "OutOfProcessBatch":  # processes of processes
                nested = batch(body, None)
                del nested["ports"][0]["value"]
                model = batch(nested, [["a", "b"], ["c", "d"]])
            outputs = self.outputs(*words, model=self.write("m.tsmx", model))
            items = outputs["Out"]["Value"]
            if inner == "OutOfProcessBatch":
                items = [item for row in items for item in row["Value"]]
            self.assertEqual([item["Value"] for item in items], ["user's", "gr\u00fcn \"'$HOME", "the run's", 2.5])

    def test_a_disk_that_is_full(self):
        items = ["x" * 100_000 + str(i) for i in range(4)]
        model = self.write("m.tsmx", batch(text_body(), items))
        small = self.folder / "small"
        small.mkdir()
        self.env["TMPDIR"] = str(small)
        mounted = subprocess.run(["unshare", "-m", "sh", "-c", f"mount -t tmpfs -o size=200k none '{small}'"],
                                 capture_output=True) if shutil.which("unshare") else None
        if mounted and mounted.returncode == 0:
            call = ["unshare", "-m", "sh", "-c", f"mount -t tmpfs -o size=200k none '{small}' && \"$@\" && ls '{small}'", "sh"]
            limit, expected = None, "No space left on device"
        else:
            call, limit, expected = [], self.limit_files, "File too large"
        done = subprocess.run([*call, PROGRAM, "run", model, "--quiet", "--threads", "0"], cwd=self.folder, env=self.env,
                              capture_output=True, text=True, timeout=60, preexec_fn=limit, restore_signals=False)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn(expected, done.stderr)
        self.assertRegex(done.stderr, r"-Inputs-\d\.json")
        self.assertNotIn("batchprocess", done.stderr)
        self.assertEqual(os.listdir(small), [])

    @staticmethod
    def limit_files():
        resource.setrlimit(resource.RLIMIT_FSIZE, (50_000, 50_000))
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

    def test_lines_whose_files_are_missing(self):
        model = self.write("m.tsmx", text_body())
        inputs = self.folder / "in.json"
        inputs.write_text(json.dumps({"Inputs": [{"Name": "In", "Data": {"Type": "VANTIX.Int", "Value": 5}}]}))
        rows = ((model, "nowhere in.json", "out 1.json"), ("nowhere m.tsmx", str(inputs), "out 2.json"),
                (model, str(inputs), "nowhere/out 3.json"), (model, str(inputs), "out 4.json"))
        (self.folder / "l.bls").write_text("MODEL_FILENAME\tINPUTS_FILENAME\tOUTPUTS_FILENAME\tCONCURRENCY\n" + "".join(
            "\t".join(f"'{word}'" for word in row) + "\t1\n" for row in rows))
        job = os.path.join(BIN, "..", "..", "etc", "models", "IteratorExecutionMethodOutOfProcessBatch.bcf")
        done = subprocess.run([MANAGER, "-bcf", job, "-bls", "l.bls"], cwd=self.folder, env=self.env,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        told = done.stderr.splitlines()
        for line, name in ((1, "nowhere in.json"), (2, "nowhere m.tsmx"), (3, "nowhere/out 3.json")):
            self.assertEqual(told[2 * line - 2], f"batchprocess: line {line}: exit status 2")
            self.assertRegex(told[2 * line - 1], rf"^  \| error: .*{name}")
        self.assertEqual(told[6:], ["batchprocess: 3 of 4 lines failed: 1, 2, 3"])
        self.assertEqual([path.name for path in self.folder.glob("out*")], ["out 4.json"])

    def refusing(self):
        """Fails for false."""
        return {"ports": [{"name": "In", "alias": "need.ShouldBeTrue"}, {"name": "Out", "alias": "text.String"}],
                "operators": [{"id": "need", "operator": "VANTIX.RequireCondition", "displayName": "Need",
                               "values": {"Message": "Not this one."}},
                              {"id": "text", "operator": "VANTIX.ToString", "values": {"Data": 5}}]}

    def test_a_line_that_fails_is_told(self):
        model = self.write("m.tsmx", batch(self.refusing(), [True] * 6 + [False] + [True] * 3))
        done = self.call("run", model, "--log", "log", "--outputs", "out.json")
        self.assertEqual(done.returncode, 1)
        lines = done.stderr.splitlines()
        self.assertIn("batchprocess: line 7: exit status 1", lines)
        self.assertIn("  | error: Need: Not this one.", lines)
        self.assertEqual(lines[-2:], ["batchprocess: 1 of 10 lines failed: 7", lines[-1]])
        self.assertTrue(lines[-1].startswith("error: ") and lines[-1].endswith(": batchprocess failed"), lines[-1])
        self.assertFalse((self.folder / "out.json").exists())
        self.assertEqual(os.listdir(self.temporary), [])

    def start(self, model, *words):
        run = subprocess.Popen([PROGRAM, "run", model, "--quiet", *words], cwd=self.folder, env=self.env,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(run.kill)
        return run

    def lines_of(self, run, count):
        """The processes of so many running lines."""
        deadline = time.monotonic() + 30
        while True:
            found = [process for process, words in processes_naming(f"BATCH_TEST={self.folder}")
                     if "-Inputs-" in words and process != run.pid]
            if len(found) >= count:
                return found
            self.assertIsNone(run.poll())
            self.assertLess(time.monotonic(), deadline, "no line ever ran")
            time.sleep(0.02)

    def await_nothing_left(self):
        deadline = time.monotonic() + 10
        while left := processes_naming(f"BATCH_TEST={self.folder}"):
            self.assertLess(time.monotonic(), deadline, left)
            time.sleep(0.02)

    def test_a_line_that_is_killed_is_told(self):
        run = self.start(self.write("m.tsmx", batch(pause_body(1500), [1, 2])))
        os.kill(self.lines_of(run, 2)[0], signal.SIGKILL)
        _, told = run.communicate(timeout=30)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(told, r"(?m)^batchprocess: line [12]: signal 9 \(Killed\)$")
        self.assertRegex(told, r"(?m)^batchprocess: 1 of 2 lines failed: [12]$")

    def test_stopped_in_the_middle(self):
        model = self.write("m.tsmx", batch(pause_body(60_000), list(range(10))))
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            with self.subTest(number):
                run = self.start(model, "--outputs", "out.json")
                self.lines_of(run, 2)
                begin = time.monotonic()
                run.send_signal(number)
                out, _ = run.communicate(timeout=20)
                self.assertLess(time.monotonic() - begin, 5)
                self.assertEqual((run.returncode, out), (status, ""))
                self.await_nothing_left()
                self.assertEqual(os.listdir(self.temporary), [])
                self.assertFalse((self.folder / "out.json").exists())

    def test_killed_managers_take_their_lines_along(self):
        run = self.start(self.write("m.tsmx", batch(pause_body(60_000), list(range(4)))))
        self.lines_of(run, 2)
        manager = [process for process, words in processes_naming(f"BATCH_TEST={self.folder}") if "-bcf" in words]
        os.kill(manager[0], signal.SIGKILL)
        _, told = run.communicate(timeout=20)
        self.assertEqual(run.returncode, 1)
        self.assertTrue(told.endswith(": batchprocess failed\n"), told)
        self.await_nothing_left()

    def test_a_killed_run_takes_all_along(self):
        run = self.start(self.write("m.tsmx", batch(pause_body(60_000), list(range(4)))))
        self.lines_of(run, 2)
        run.kill()
        run.communicate(timeout=20)
        self.await_nothing_left()

    def test_iterators_in_iterators(self):
        inner = batch(text_body(), None)
        del inner["ports"][0]["value"]
        model = batch(inner, [[1, 2], [3, 4]], ExecutionMethod="InProcessParallel")
        for outer in ("InProcessParallel", "OutOfProcessBatch"):
            model["operators"][0]["values"]["ExecutionMethod"] = outer
            outputs = self.outputs(model=self.write("m.tsmx", model))
            self.assertEqual([[item["Value"] for item in row["Value"]] for row in outputs["Out"]["Value"]],
                             [["1", "2"], ["3", "4"]])

    def test_linked_documents_are_found_beside_the_document(self):
        os.mkdir(self.folder / "parts")
        self.write("parts/part.tsmx", text_body())
        body = {"ports": [{"name": "In", "alias": "part.In"}, {"name": "Out", "alias": "part.Out"}],
                "operators": [{"id": "part", "operator": "VANTIX.TesseraModel",
                               "values": {"LinkedModelFilename": "part.tsmx"}}]}
        outputs = self.outputs(model=self.write("parts/m.tsmx", batch(body, [1, 2])))
        self.assertEqual([item["Value"] for item in outputs["Out"]["Value"]], ["1", "2"])

    def test_no_shell(self):
        model = self.write("m.tsmx", batch(text_body(), [1, 2]))
        self.env["ComSpec"] = ""
        done = self.call("run", model, "--quiet")
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.endswith(": Cannot find shell command\n"), done.stderr)
        self.env["ComSpec"] = str(self.folder / "no shell")
        done = self.call("run", model, "--quiet")
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.endswith("no shell: No such file or directory\n"), done.stderr)
        self.env["ComSpec"] = "/bin/false"
        done = self.call("run", model, "--quiet")
        self.assertTrue(done.stderr.endswith(": batchprocess failed\n"), done.stderr)

    def test_started_by_a_program_that_ignores_its_children(self):
        model = self.write("m.tsmx", batch(text_body(), [1, 2]))
        done = subprocess.run([PROGRAM, "run", model, "--quiet"], cwd=self.folder, env=self.env, capture_output=True,
                              text=True, timeout=60, stdin=subprocess.DEVNULL,
                              preexec_fn=lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, 'Out: ["1", "2"]\n', ""))

    def test_standard_files_that_are_closed(self):
        model = self.write("m.tsmx", batch(text_body(), [1, 2]))
        done = subprocess.run(["/bin/sh", "-c", f"exec '{PROGRAM}' run '{model}' --quiet --outputs out.json <&- >&- 2>&-"],
                              cwd=self.folder, env=self.env, timeout=60)
        self.assertEqual(done.returncode, 0)
        written = json.loads((self.folder / "out.json").read_text())
        self.assertEqual([item["Value"] for item in written["Outputs"][0]["Data"]["Value"]], ["1", "2"])

    def test_an_installation_whose_folder_has_blanks(self):
        home = self.folder / "my home"
        home.symlink_to(pathlib.Path(BIN).parent.parent)
        self.env["VANTIX_HOME"] = str(home)
        outputs = self.outputs(model=self.write("m.tsmx", batch(text_body(), [1, 2])))
        self.assertEqual([item["Value"] for item in outputs["Out"]["Value"]], ["1", "2"])

    def test_resuming_runs_what_is_not_whole(self):
        model = self.write("m.tsmx", {**text_body()})
        rows = []
        for i in range(3):
            inputs = self.folder / f"in {i}.json"
            inputs.write_text(json.dumps({"Inputs": [{"Name": "In", "Data": {"Type": "VANTIX.Int", "Value": i}}]}))
            os.utime(inputs, (1000, 1000))
            rows.append((model, str(inputs), str(self.folder / f"out {i}.json"), "1"))
        (self.folder / "l.bls").write_text("MODEL_FILENAME\tINPUTS_FILENAME\tOUTPUTS_FILENAME\tCONCURRENCY\r\n" + "".join(
            "\t".join(f"'{word}'" for word in row) + "\r\n" for row in rows))
        job = os.path.join(BIN, "..", "..", "etc", "models", "IteratorExecutionMethodOutOfProcessBatch.bcf")
        (self.folder / "out 0.json").write_text('{"Outputs": ["kept"]}')
        (self.folder / "out 1.json").write_text('{"Outputs": [')
        done = subprocess.run([MANAGER, "-bcf", job, "-bls", "l.bls", "-simul", "2", "-logfile", "l.log", "--resume"],
                              cwd=self.folder, env=self.env, capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.assertEqual((self.folder / "out 0.json").read_text(), '{"Outputs": ["kept"]}')
        for i in (1, 2):
            written = json.loads((self.folder / f"out {i}.json").read_text())
            self.assertEqual(written["Outputs"][0]["Data"], {"Type": "VANTIX.String", "Value": str(i)})
        self.assertIn("=== line 1: done before\n", (self.folder / "l.log").read_text())


if __name__ == "__main__":
    unittest.main()
