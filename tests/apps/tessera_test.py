"""The program as a user meets it: outputs, exit status, standard error, signals."""
import json
import os
import resource
import signal
import subprocess
import tempfile
import time
import unittest

from program import PROGRAM, ProgramTest

TEXT = {"ports": [{"name": "Data", "alias": "text.Data", "value": 7}, {"name": "Out", "alias": "text.String"}],
        "operators": [{"id": "text", "operator": "VANTIX.ToString"}]}
FAILING = {"ports": [{"name": "Done", "alias": "need.Success"}],
           "operators": [{"id": "need", "operator": "VANTIX.RequireCondition", "displayName": "My check",
                          "values": {"ShouldBeTrue": False, "Message": "No image today."}}]}


class RunTest(ProgramTest):
    def test_outputs_are_printed_written_and_shown_as_json(self):
        model = self.write("m.tsmx", TEXT)
        plain = self.call("run", model)
        self.assertEqual((plain.returncode, plain.stdout, plain.stderr), (0, "Out: 7\n", ""))
        want = {"Outputs": [{"Name": "Out", "Data": {"Type": "VANTIX.String", "Value": "7"}}]}
        self.assertEqual(json.loads(self.call("run", model, "--json").stdout), want)
        self.assertEqual(self.call("run", model, "--outputs", "out.json").stdout, "")
        self.assertEqual(json.loads((self.folder / "out.json").read_text()), want)

    def test_an_unknown_operator_is_warned_of_with_the_nearest_name(self):
        model = self.write("m.tsmx", {"operators": [
            {"id": "text", "operator": "VANTIX.ToStrin", "displayName": "My text"},
            {"id": "far", "operator": "NOWHERE.Whatever"}]})
        done = self.call("run", model)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr.splitlines()[:2], [
            f'warning: {model}: My text: found the unknown operator "VANTIX.ToStrin"; did you mean "VANTIX.ToString"?',
            f'warning: {model}: Whatever: found the unknown operator "NOWHERE.Whatever"'])

    def test_repeated_keys_are_refused_with_their_place(self):
        model = self.write("m.tsmx", '{"format": "TesseraModelFormat", "version": 1,\n "name": "a", "name": "b"}')
        want = f'error: {model}: name (line 2, column 15): found the key "name" again, expected it once\n'
        for command in ("run", "check"):
            done = self.call(command, model)
            self.assertEqual((done.returncode, done.stderr), (2, want))

    def test_standard_input(self):
        text = json.dumps({"format": "TesseraModelFormat", "version": 1, **TEXT})
        self.assertEqual(self.call("run", "-", text=text).stdout, "Out: 7\n")

    def test_set_takes_text_typed_values_and_files(self):
        model = self.write("m.tsmx", TEXT)
        (self.folder / "value").write_text("from a file")
        for word, want in (("plain text", "plain text"), ('{"Type": "VANTIX.Int", "Value": 12}', "12"),
                           ("@value", "from a file")):
            done = self.call("run", model, "--set", "Data=" + word)
            self.assertEqual((done.stdout, done.returncode), (f"Out: {want}\n", 0), done.stderr)
        wrong = self.call("run", model, "--set", "Datta=5")
        self.assertEqual(wrong.returncode, 2)
        self.assertIn('did you mean "Data"?', wrong.stderr)

    def test_no_data_empties_an_input(self):
        null = {"Type": "VANTIX.Bool", "Value": None}
        (self.folder / "none.json").write_text(json.dumps({"Inputs": [{"Name": "Flag", "Data": null},
                                                                      {"Name": "In", "Data": null}]}))
        ports = [{"name": "Flag", "alias": "say.ToSessionLog"}, {"name": "In", "alias": "first.Input1"},
                 {"name": "Out", "alias": "first.Output"}]
        operators = [{"id": "say", "operator": "VANTIX.Report", "values": {"Input1": "heard"}},
                     {"id": "first", "operator": "VANTIX.Merge", "values": {"Input1": 9}}]
        model = self.write("m.tsmx", {"ports": ports, "operators": operators})
        done = self.call("run", model)
        self.assertEqual((done.stdout, done.stderr), ("Out: 9\n", "heard\n"))
        empties = ("--set", "Flag=" + json.dumps(null, separators=(",", ":")),
                   "--set", "In=" + json.dumps(null, separators=(",", ":")))
        said = [{**port, "value": None} for port in ports[:2]] + ports[2:]
        emptied = self.write("e.tsmx", {"ports": said, "operators": operators})
        again = str(self.folder / "again.tsmx")
        self.assertEqual(self.call("save", emptied, again).returncode, 0)
        for words in ((model, "--inputs", "none.json"), (model, *empties), (emptied,), (again,)):
            with self.subTest(words):
                done = self.call("run", *words)
                self.assertEqual((done.stdout, done.stderr), ("Out: (no data)\n", ""))

    def test_inputs_file(self):
        model = self.write("m.tsmx", TEXT)
        self.write("in.json", json.dumps({"Inputs": [{"Name": "Data", "Data": {"Type": "VANTIX.Bool", "Value": True}}]}))
        self.assertEqual(self.call("run", model, "--inputs", "in.json").stdout, "Out: true\n")
        self.write("in.json", json.dumps({"Inputs": [{"Name": "X", "Data": {"Type": "VANTIX.Int", "Value": 1}}]}))
        wrong = self.call("run", model, "--inputs", "in.json")
        self.assertEqual(wrong.returncode, 2)
        self.assertTrue(wrong.stderr.startswith("error: in.json: "), wrong.stderr)
        self.assertIn('"Data"', wrong.stderr)

    def test_a_failing_model(self):
        model = self.write("m.tsmx", FAILING)
        done = self.call("run", model, "--messages", "said", "--outputs", "out.json")
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.endswith("error: My check: No image today.\n"), done.stderr)
        self.assertFalse((self.folder / "out.json").exists())
        said = [json.loads(line) for line in (self.folder / "said").read_text().splitlines()]
        self.assertEqual(said, [{"severity": 2, "operator": "My check", "text": "No image today."}])

    def test_what_is_refused(self):
        (self.folder / "folder.tsmx").mkdir()
        (self.folder / "bytes.tsmx").write_bytes(b'{"name": "\xff"}')
        self.write("version.tsmx", '{"format": "TesseraModelFormat", "version": 9}')
        for name in ("missing.tsmx", "folder.tsmx", "bytes.tsmx", "version.tsmx"):
            done = self.call("run", name)
            self.assertEqual(done.returncode, 2, name)
            self.assertTrue(done.stderr.splitlines()[-1].startswith(f"error: {name}: "), done.stderr)
        for words in (["run"], ["nothing"], ["run", "m", "--threads", "x"], ["run", "m", "--progress", "loud"]):
            self.assertEqual(self.call(*words).returncode, 2, words)
        for words, text in ((["descripe", "VANTIX.Report"], 'there is no command "descripe"; did you mean "describe"?'),
                            (["--quiet", "xyzzy"], 'there is no command "xyzzy"'),
                            *((["run", "m", "--threads", word], f'--threads: found "{word}", expected a whole number '
                               "from 0 to 4294967295") for word in ("x", "", "-1", "1.5", "4294967296")),
                            ([], "A subcommand is required")):
            done = self.call(*words)
            self.assertEqual((done.returncode, done.stderr), (2, f"error: {text} (see tessera --help)\n"))

    def test_saving_tells_what_documents_do_not_hold(self):
        secret = {"Type": "VANTIX.Password", "Value": "secret"}
        inner = {"operators": [{"id": "n", "operator": "VANTIX.Merge", "displayName": "Inside",
                                "values": {"Input1": {"Type": "VANTIX.List", "Value": [secret]}}}]}
        model = self.write("m.tsmx", {"ports": [{"name": "Key", "alias": "m.Input1", "value": secret}], "operators": [
            {"id": "m", "operator": "VANTIX.Merge", "values": {"Input1": 5}},
            {"id": "each", "operator": "VANTIX.Iterator", "model": inner}]})
        for output in ("out.tsmx", "out.tsmc"):
            done = self.call("save", model, output)
            self.assertEqual((done.returncode, done.stderr.splitlines()), (0, [
                f'warning: {output}: {name}: the value on the port "{port}" of type VANTIX.{kind} is not written: it has '
                "no form in JSON" for name, port, kind in (("Model", "Key", "Password"), ("Inside", "Input1", "List"))]))
            self.assertNotIn("secret", (self.folder / output).read_text())
            self.assertEqual(self.call("save", output, "again" + output[3:]).stderr, "")

    def test_messages_and_log_files_are_made_even_where_nothing_was_said(self):
        self.call("run", self.write("m.tsmx", TEXT), "--messages", "said", "--log", "log")
        self.assertEqual((self.folder / "said").read_text(), "")
        self.assertEqual((self.folder / "log").read_text(), "")

    def test_what_can_not_be_written_is_told(self):
        model = self.write("m.tsmx", {"ports": [{"name": "Out", "alias": "r.Output1"}], "operators": [
            {"id": "r", "operator": "VANTIX.Report", "values": {"Input1": "x"}}]})
        done = self.call("run", model, "--log", "/dev/full", "--outputs", "out.json")
        self.assertEqual((done.returncode, done.stderr),
                         (2, "error: /dev/full: can't be written: No space left on device\n"))
        self.assertTrue((self.folder / "out.json").exists())  # what the run has found is there
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run([PROGRAM, "run", model, "--quiet", "--json"], stdout=full, stderr=subprocess.PIPE,
                                  text=True, env=self.env, timeout=60)
        self.assertEqual((done.returncode, done.stderr),
                         (2, "error: standard output can't be written: No space left on device\n"))

    def test_plugins_that_can_not_be_used_are_told_where_something_is_missed(self):
        plugin = self.folder / "plugins" / "broken.so"
        plugin.parent.mkdir()
        plugin.write_text("no library")
        self.env["VANTIX_PLUGIN_PATH"] = str(plugin.parent)
        told = f'warning: Plug-in "{plugin}" can\'t be loaded: '
        good = self.write("good.tsmx", TEXT)
        bad = self.write("bad.tsmx", {"operators": [{"id": "mine", "operator": "MINE.Own"}, {"id": "more", "operator": "MINE.More"}]})
        faulty = self.write("faulty.tsmx", {"operators": [{"id": "mine"}]})
        for words in (("run", bad), ("check", bad), ("check", faulty), ("run", faulty), ("describe", "MINE.Own"), ("list",)):
            lines = self.call(*words).stderr.splitlines()
            self.assertTrue(lines[0].startswith(told), lines)
            self.assertEqual(sum(line.startswith(told) for line in lines), 1)
        for words in (("run", good), ("check", good)):
            self.assertEqual((self.call(*words).returncode, self.call(*words).stderr), (0, ""))

    def test_memory_that_gives_out_is_told(self):
        path = self.write("large.tsmx", {"operators": [{"id": "o", "operator": "VANTIX.ToString",
                                                        "values": {"Data": "x" * 40_000_000}}]})
        most = 150_000_000
        done = subprocess.run([PROGRAM, "run", path], capture_output=True, text=True, timeout=60, env=self.env,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (most, most)))
        self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", f"error: {path}: There is not enough memory.\n"))

    def test_where_outputs_can_not_be_written_nothing_runs(self):
        model = self.write("m.tsmx", {"operators": [
            {"id": "make", "operator": "VANTIX.CreateDirectory", "values": {"DirectoryIn": str(self.folder / "made")}}]})
        (self.folder / "folder").mkdir()
        for option in ("--outputs", "--profile"):
            for name, why in (("missing/out.json", "No such file or directory"), ("folder", "Is a directory"),
                              ("m.tsmx/out.json", "Not a directory")):
                done = self.call("run", model, option, name)
                self.assertEqual((done.returncode, done.stderr), (2, f"error: {name}: can't be written: {why}\n"))
                self.assertFalse((self.folder / "made").exists(), name)
        self.assertEqual(self.call("run", model, "--outputs", "folder/out.json").returncode, 0)
        self.assertTrue((self.folder / "made").exists())

    def test_messages_and_log_on_the_standard_streams_go_where_these_are(self):
        model = self.write("m.tsmx", {"ports": [{"name": "Out", "alias": "r.Output1"}], "operators": [
            {"id": "r", "operator": "VANTIX.Report", "values": {"Input1": "x", "ConfigString": "said"}}]})
        for option, line in (("--log", "said"), ("--messages", None)):
            with open(self.folder / "all", "w+b") as file:
                file.write(b"what stands before\n")
                file.flush()
                subprocess.run([PROGRAM, "run", model, "--quiet", option, "/dev/stdout"], stdout=file, env=self.env,
                               timeout=60, check=True)
            lines = (self.folder / "all").read_text(encoding="utf-8").splitlines()
            self.assertEqual(lines, ["what stands before"] + ([line] if line else []) + ["Out: x"])

    def test_a_wrong_home_is_told_and_an_empty_one_is_none(self):
        model = self.write("m.tsmx", TEXT)
        self.env.update(VANTIX_HOME="", ARCHM="")
        self.assertEqual(self.call("run", model, "--set", "Data=1").stdout, "Out: 1\n")
        self.env["VANTIX_HOME"] = "/nowhere"
        self.assertRegex(self.call("run", model).stderr.splitlines()[0],
                         r'^warning: VANTIX_HOME is "/nowhere", which is no installation: there is no folder '
                         r'"/nowhere/lib/[^/]+/plugins"$')

    def test_signals_end_the_run_within_a_second(self):
        (self.folder / "fifo").mkdir()
        os.mkfifo(self.folder / "pipe")
        model = self.write("m.tsmx", {
            "ports": [{"name": "Out", "alias": "read.String"}],
            "operators": [{"id": "read", "operator": "VANTIX.TextFileInput",
                           "values": {"Filename": str(self.folder / "pipe")}}]})
        for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            run = subprocess.Popen([PROGRAM, "run", model, "--outputs", "out.json"], cwd=self.folder, env=self.env,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(0.5)
            self.assertIsNone(run.poll())
            begin = time.monotonic()
            run.send_signal(number)
            self.assertEqual(run.wait(timeout=10), status)
            self.assertLess(time.monotonic() - begin, 1.0)
            self.assertFalse((self.folder / "out.json").exists())


class DocumentTest(ProgramTest):
    FAULTS = {
        "name": 5, "zebra": 1,
        "operators": [
            {"id": "a", "operator": "VANTIX.ToString"},
            {"id": "a", "operator": "VANTIX.ToString"},
            {"id": "b c", "operator": "VANTIX.ToString"},
            {"operator": "VANTIX.ToString"},
            {"id": "d"},
            {"id": "e", "operator": "VANTIX.ToStrin"},
            {"id": "f", "operator": "VANTIX.ToString", "values": {"Dta": 1}},
            {"id": "g", "operator": "VANTIX.ToString", "values": {"Data": {"Type": "VANTIX.Int", "Value": "x"}}},
            {"id": "h", "operator": "VANTIX.ToString", "values": {"Data": {"Type": "VANTIX.Itn", "Value": 1}}},
            {"id": "i", "operator": "VANTIX.ToString"}, {"id": "j", "operator": "VANTIX.ToString"},
            {"id": "k", "operator": "VANTIX.ToString", "expansions": "two"},
            {"id": "l", "operator": "VANTIX.ToString", "model": {}}],
        "connections": [
            {"from": "zz.String", "to": "a.Data"}, {"from": "a.Strng", "to": "b.Data"},
            {"from": "i.String", "to": "j.Data"}, {"from": "j.String", "to": "i.Data"},
            {"from": "a.String", "to": "j.Data"}, {"from": "a.Data", "to": "k.Data"}, {"from": "a.String"}],
        "order": [{"before": "a", "after": "nobody"}], "tails": ["nobody"],
        "ports": [{"name": "P", "alias": "a.Nothing"}, {"name": "Q", "alias": "a"}]}
    PATHS = ["name", "operators[1].id", "operators[2].id", "operators[3].id", "operators[4].operator",
             "operators[5].operator", "operators[6].values.Dta", "operators[7].values.Data.Value",
             "operators[8].values.Data.Type", "operators[9]", "operators[11].expansions", "operators[12].model",
             "connections[0].from", "connections[1].from", "connections[4].to", "connections[5].from",
             "connections[6].to", "order[0].after", "tails[0]", "ports[0].alias", "ports[1].alias"]

    def test_all_faults_are_told_at_once(self):
        text = json.dumps({"format": "TesseraModelFormat", "version": 1, **self.FAULTS}, indent=1)
        done = self.call("check", self.write("m.tsmx", text), "--json")
        self.assertEqual(done.returncode, 2)
        problems = json.loads(done.stdout)["documents"][0]["problems"]
        errors = [p for p in problems if p["severity"] == "error"]
        for path in self.PATHS:
            self.assertTrue([p for p in errors if p["path"] == path and p["line"] > 1], path)
        self.assertEqual([p["path"] for p in problems if p["severity"] == "warning"], ["zebra"])
        self.assertTrue(done.stderr.splitlines()[-1].startswith("error: "))

    def test_a_good_document_is_good(self):
        done = self.call("check", self.write("m.tsmx", TEXT))
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_saving_again_changes_nothing_and_keeps_unknown_keys(self):
        model = {**TEXT, "mine": {"a": [1, None]}}
        model["operators"] = [{**TEXT["operators"][0], "note": "kept"}]
        self.assertEqual(self.call("save", self.write("m.tsmx", model), "one.tsmx").returncode, 0)
        self.assertEqual(self.call("save", "one.tsmx", "two.tsmx").returncode, 0)
        one = (self.folder / "one.tsmx").read_bytes()
        self.assertEqual(one, (self.folder / "two.tsmx").read_bytes())
        saved = json.loads(one)
        self.assertEqual(saved["mine"], {"a": [1, None]})
        self.assertEqual(saved["operators"][0]["note"], "kept")
        self.assertEqual(list(saved)[-1], "mine")
        self.assertEqual(self.call("save", "one.tsmx", "two.unknown").returncode, 2)


class CatalogueTest(ProgramTest):
    def test_list(self):
        listed = json.loads(self.call("list", "--json").stdout)
        library = {category: [row["name"] for row in rows if row["plugin"] == "libtx_general.so"]
                   for category, rows in listed.items()}
        self.assertEqual({category: len(names) for category, names in library.items()},
                         {"Operator": 81, "Conversion": 29, "Data": 14, "DataRequest": 1, "ModelFormat": 1, "UIProvider": 1})
        self.assertEqual((library["Operator"][0], library["Data"][-1]), ("RequireCondition", "Password"))
        self.assertEqual(list(listed), ["Operator", "Conversion", "Data", "DataRequest", "ModelFormat", "UIProvider"])
        self.assertIn("TesseraModelFormat", [row["name"] for row in listed["ModelFormat"]])
        self.assertEqual(list(json.loads(self.call("list", "operators", "--json").stdout)), ["Operator"])
        self.assertEqual(self.call("list", "fruit").returncode, 2)

    def test_list_kernels(self):
        kernels = json.loads(self.call("list", "kernels", "--json").stdout)["Kernel"]
        sobel = next(row for row in kernels if row["name"] == "Sobel X")
        self.assertEqual((sobel["rows"], sobel["columns"], sobel["divisor"]), (3, 3, 1))
        self.assertIn("Sobel X  3 by 3  ", self.call("list", "kernels").stdout)
        with tempfile.TemporaryDirectory() as folder:
            library = os.path.join(folder, "own.klb")
            with open(library, "w", encoding="utf-8") as file:
                file.write("[Own]\ndescription = mine\n1 2\n")
            self.assertEqual(self.call("list", "kernels", "--library", library).stdout, "Own  1 by 2  mine\n")
            missing = self.call("list", "kernels", "--library", os.path.join(folder, "missing.klb"))
        self.assertEqual(missing.returncode, 2)
        self.assertIn("missing.klb", missing.stderr)

    def test_describe(self):
        sheet = json.loads(self.call("describe", "VANTIX.ToString", "--json").stdout)
        self.assertEqual(sheet["operator"], "VANTIX.ToString")
        self.assertIn("String", [port["name"] for port in sheet["ports"]])
        wrong = self.call("describe", "VANTIX.ToStrin")
        self.assertEqual(wrong.returncode, 2)
        self.assertIn('did you mean "VANTIX.ToString"?', wrong.stderr)

    def test_info_and_draw(self):
        model = self.write("m.tsmx", TEXT)
        info = json.loads(self.call("info", model, "--json").stdout)
        self.assertEqual([p["name"] for p in info["ports"]], ["Data", "Out"])
        self.assertEqual(info["operators"], {"VANTIX.ToString": 1})
        self.assertTrue(self.call("draw", model).stdout.startswith("digraph {"))

    def test_preferences(self):
        self.assertEqual(self.call("preferences", "get", "batch/executor").stdout, "local\n")
        self.assertEqual(self.call("preferences", "set", "batch/num_simul_cmd_sets", "5").returncode, 0)
        self.assertEqual(self.call("preferences", "get", "batch/num_simul_cmd_sets").stdout, "5\n")
        self.assertEqual(self.call("preferences", "set", "batch/num_simul_cmd_sets", "many").returncode, 2)
        for words, missing in ((["batch/executor"], "VALUE is"), ([], "NAME and VALUE are")):
            done = self.call("preferences", "set", *words)
            self.assertEqual((done.returncode, done.stderr),
                             (2, f"error: preferences set: {missing} required (see tessera --help)\n"))
        self.assertEqual(self.call("preferences", "get", "batch/executor").stdout, "local\n")
        self.assertEqual(self.call("preferences", "set", "batch/run_directory", "").returncode, 0)
        wrong = self.call("preferences", "get", "batch/executr")
        self.assertEqual(wrong.returncode, 2)
        self.assertIn('did you mean "batch/executor"?', wrong.stderr)

    def test_version_and_help(self):
        self.assertTrue(self.call("--version").stdout.startswith("tessera "))
        self.assertIn("--outputs", self.call("run", "--help").stdout)


if __name__ == "__main__":
    unittest.main()
