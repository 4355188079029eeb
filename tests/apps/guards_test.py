"""Guards, linked documents, previews and profiles, as a user of the program meets them."""
import csv
import json
import os
import pathlib
import signal
import struct
import subprocess
import tempfile
import time
import unittest
import zlib

PROGRAM = os.environ["TESSERA"]
FINDER = {"ports": [{"name": "Text", "alias": "find.StringIn"}, {"name": "Found", "alias": "find.StringOut"}],
          "operators": [{"id": "find", "operator": "VANTIX.RegularExpressionSearch", "values": {"RegEx": "[0-9]+"}}]}


class GuardsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        self.env = {**os.environ, "XDG_CONFIG_HOME": str(self.folder / "config")}

    def write(self, name, model):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(json.dumps({"format": "TesseraModelFormat", "version": 1, **model}), encoding="utf-8")
        return str(path)

    def call(self, *words, cwd=None):
        return subprocess.run([PROGRAM, *words], capture_output=True, text=True, timeout=60, cwd=cwd or self.folder,
                              env=self.env)

    def start(self, *words):
        run = subprocess.Popen([PROGRAM, *words], cwd=self.folder, env=self.env, text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(run.communicate)
        self.addCleanup(run.kill)
        return run

    def await_file(self, name):
        until = time.monotonic() + 20
        while not (self.folder / name).exists():
            self.assertLess(time.monotonic(), until, f"{name} was not made")
            time.sleep(0.01)


class LockTest(GuardsTest):
    def lock_model(self, name, timeout, dataset="data"):
        """Locks the dataset and then reads a pipe: it holds the lock until somebody writes to it."""
        return self.write(name, {
            "ports": [{"name": "Text", "alias": "guard.Text"}],
            "operators": [{"id": "guard", "operator": "VANTIX.LockWhileExecuting", "displayName": "Guard",
                           "values": {"DatasetReference": str(self.folder / dataset), "Timeout": timeout},
                           "model": {"ports": [{"name": "Text", "alias": "read.String"}],
                                     "operators": [{"id": "read", "operator": "VANTIX.TextFileInput",
                                                    "values": {"Filename": str(self.folder / "pipe")}}]}}]})

    def hold(self):
        (self.folder / "data").touch()
        os.mkfifo(self.folder / "pipe")
        holder = self.start("run", self.lock_model("holder.tsmx", 60))
        self.await_file("data.lock")
        return holder

    def test_another_process_fails_after_its_timeout_and_says_who_has_it(self):
        holder = self.hold()
        os.symlink("data", self.folder / "other-name")
        for timeout, end in ((0, "."), (1, " and was not released within 1 s.")):
            done = self.call("run", self.lock_model("second.tsmx", timeout, "other-name"))
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stderr.splitlines()[-1],
                             f'error: Guard: The file "{self.folder}/other-name" is locked by process {holder.pid} '
                             f"(tessera){end}")
        (self.folder / "pipe").write_text("done")
        self.assertEqual(holder.communicate(timeout=20)[0], "Text: done\n")
        self.assertFalse((self.folder / "data.lock").exists())

    def test_a_failure_is_told_by_the_guard_and_not_by_the_model_around(self):
        model = self.write("m.tsmx", {"displayName": "Around", "operators": [
            {"id": "guard", "operator": "VANTIX.LockWhileExecuting", "values": {"DatasetReference": ""},
             "model": {"operators": []}}]})
        done = self.call("run", model, "--messages", "said")
        self.assertEqual((done.returncode, done.stderr), (1, "error: : The file name is empty.\n"))
        self.assertEqual(json.loads((self.folder / "said").read_text()),
                         {"severity": 2, "operator": "", "text": "The file name is empty."})

    def test_a_killed_holder_is_no_hindrance(self):
        holder = self.hold()
        holder.kill()
        holder.wait(timeout=20)
        (self.folder / "pipe").unlink()
        (self.folder / "pipe").write_text("mine")
        self.assertEqual(self.call("run", self.lock_model("second.tsmx", 0)).stdout, "Text: mine\n")

    def test_a_signal_ends_the_wait_and_gives_locks_back(self):
        holder = self.hold()
        waiting = self.start("run", self.lock_model("second.tsmx", 600))
        time.sleep(0.5)
        self.assertIsNone(waiting.poll())
        for run, number, status in ((waiting, signal.SIGINT, 130), (holder, signal.SIGTERM, 143)):
            begin = time.monotonic()
            run.send_signal(number)
            self.assertEqual(run.wait(timeout=20), status)
            self.assertLess(time.monotonic() - begin, 1.0)
        self.assertFalse((self.folder / "data.lock").exists())


class LinkTest(GuardsTest):
    def link(self, file, **more):
        return {"operators": [{"id": "link", "operator": "VANTIX.TesseraModel",
                               "values": {"LinkedModelFilename": file, **more}}]}

    def test_names_are_taken_from_the_document_wherever_the_program_runs(self):
        self.write("parts/deep/find.tsmx", FINDER)
        self.write("parts/middle.tsmx", {"ports": [{"name": "T", "alias": "link.Text"},
                                                   {"name": "F", "alias": "link.Found"}], **self.link("deep/find.tsmx")})
        top = self.write("top.tsmx", {"ports": [{"name": "Out", "alias": "link.F"}],
                                      **self.link("parts/middle.tsmx", T="Version 12")})
        for folder in (self.folder, self.folder / "parts", pathlib.Path("/")):
            done = self.call("run", top, cwd=folder)
            self.assertEqual((done.stdout, done.stderr, done.returncode), ("Out: 12\n", "", 0))
        self.assertEqual(self.call("check", top, cwd="/").stderr, "")
        self.assertEqual(json.loads(self.call("info", top, "--json").stdout)["operators"], {"VANTIX.TesseraModel": 1})
        self.assertEqual(self.call("save", top, "again.tsmx").returncode, 0)
        self.assertNotIn("RegularExpressionSearch", (self.folder / "again.tsmx").read_text())
        self.assertEqual(self.call("run", "again.tsmx").stdout, "Out: 12\n")

    def test_a_missing_document_is_warned_of_with_its_place(self):
        top = self.write("top.tsmx", self.link("nowhere.tsmx"))
        checked = self.call("check", top)
        self.assertEqual(checked.returncode, 0)
        self.assertRegex(checked.stderr, rf'^warning: {top}: operators\[0\]\.values\.LinkedModelFilename \(line 1, column '
                         rf'\d+\): found the linked document "{self.folder}/nowhere.tsmx", which can\'t be opened: '
                         rf'The file "{self.folder}/nowhere.tsmx" does not exist\.\n$')
        done = self.call("run", top)
        self.assertEqual((done.returncode, done.stderr), (
            0, f'warning: {top}: Tessera Model: the linked document "nowhere.tsmx" can\'t be opened '
               f'(tessera check tells why)\n'))
        self.assertEqual(self.call("run", top, "--quiet").stderr, "")

    def test_a_circle_is_refused(self):
        first = self.write("first.tsmx", self.link("parts/second.tsmx"))
        second = self.write("parts/second.tsmx", self.link("../first.tsmx"))
        for start, other in ((first, second), (second, first)):
            for command in ("run", "check", "info"):
                done = self.call(command, start)
                self.assertEqual(done.returncode, 2)
                self.assertRegex(done.stderr, rf'^error: {start}: operators\[0\]\S+ \(line 1, column \d+\): found a circle '
                                 rf'of linked documents: "{start}" -> "{other}" -> "{start}"\n$')


class PreviewTest(GuardsTest):
    def preview(self, values, **more):
        operators = [{"id": f"view{number}", "operator": "VANTIX.Preview", "values": {"Input1": value}, **more}
                     for number, value in enumerate(values)]
        done = self.call("run", self.write("m.tsmx", {"operators": operators}), "--preview", "shown")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return [next(self.folder.glob(f"shown/view{number}-*")) for number in range(len(values))]

    def test_values_are_written_as_what_a_person_can_open(self):
        table = {"Type": "VANTIX.Table", "Value": {"NumberType": 9, "Values": [0.1, 2, "NaN"]}}
        texts = {"Type": "VANTIX.Table", "Value": {"NumberType": 13, "Values": ["a,b", "say \"hi\"", None, "ü"]}}
        matrix = {"Type": "VANTIX.Matrix", "Value": {"NumberType": 8, "Rows": 2, "Columns": 3, "Values": [1, 2, 3, 4, 5, 6]}}
        files = self.preview(["Grüße\nzwei", 5, True, table, texts, matrix, {"a": 1, "b": "x"}, ["one", 2]])
        self.assertEqual([file.suffix for file in files],
                         [".txt", ".txt", ".txt", ".csv", ".csv", ".csv", ".txt", ".txt"])
        self.assertEqual([file.read_text(encoding="utf-8") for file in files[:3]], ["Grüße\nzwei\n", "5\n", "true\n"])

        def rows(file):
            return list(csv.reader(file.read_text(encoding="utf-8").splitlines()))

        self.assertEqual(rows(files[3]), [["row", "value"], ["0", "0.1"], ["1", "2"], ["2", "NaN"]])
        self.assertEqual(rows(files[4]), [["row", "value"], ["0", "a,b"], ["1", "say \"hi\""], ["2", ""], ["3", "ü"]])
        self.assertEqual(rows(files[5]), [["1", "2", "3"], ["4", "5", "6"]])
        for file, words in ((files[6], ("a", "1", "b", "x")), (files[7], ("one", "2"))):
            for word in words:
                self.assertIn(word, file.read_text(encoding="utf-8"))

    def test_a_colour_table_is_a_strip(self):
        colors = [[1, 0, 0, 1], [0, 0, 1, 1], [0, 0, 0, 0.5]]
        # As the tables of colour ramp files have them.
        bytes_of = [[red * 255, green * 255, blue * 255, opacity] for red, green, blue, opacity in colors]
        tables = [{"Type": "VANTIX.Table", "Value": {"Colors": rows}} for rows in (colors, bytes_of)]
        for file in self.preview(tables):
            self.assertEqual(file.suffix, ".png")
            width, height, rows = self.read_png(file.read_bytes())
            third = width // 3
            for row in (rows[0], rows[height - 1]):
                self.assertEqual([row[column] for column in (0, third - 1, third, 3 * third - 1)],
                                 [(255, 0, 0), (255, 0, 0), (0, 0, 255), (128, 128, 128)])

    def test_a_long_colour_table_has_a_pixel_for_each(self):
        table = {"Type": "VANTIX.Table", "Value": {"Colors": [[row / 2999, 0, 0, 1] for row in range(3000)]}}
        width, _, rows = self.read_png(self.preview([table])[0].read_bytes())
        self.assertEqual(width, 3000)
        self.assertEqual([pixel[0] for pixel in rows[0]], [int(row / 2999 * 255 + 0.5) for row in range(3000)])

    def read_png(self, data):
        """Width, height and the rows of pixels of a picture of three bytes a pixel, without filters."""
        self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
        chunks, place = {}, 8
        while place < len(data):
            size, name = struct.unpack(">I4s", data[place:place + 8])
            chunks[name] = data[place + 8:place + 8 + size]
            check, = struct.unpack(">I", data[place + 8 + size:place + 12 + size])
            self.assertEqual(check, zlib.crc32(name + chunks[name]))
            place += 12 + size
        self.assertEqual(list(chunks), [b"IHDR", b"IDAT", b"IEND"])
        width, height, depth, kind, *rest = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
        self.assertEqual((depth, kind, rest), (8, 2, [0, 0, 0]))
        pixels = zlib.decompress(chunks[b"IDAT"])
        self.assertEqual(len(pixels), height * (1 + 3 * width))
        lines = [pixels[row * (1 + 3 * width):(row + 1) * (1 + 3 * width)] for row in range(height)]
        self.assertEqual({line[0] for line in lines}, {0})
        return width, height, [[tuple(line[1 + 3 * column:4 + 3 * column]) for column in range(width)] for line in lines]

    def test_names_are_safe_and_of_one_port_each(self):
        inner = {"operators": [{"id": "view", "operator": "VANTIX.Preview", "values": {"Input1": "inner"}}]}
        self.write("linked.tsmx", {"operators": [{"id": "view", "operator": "VANTIX.Preview",
                                                  "values": {"Input1": "linked"}}]})
        names = ["../../up", "a/b", "a_b", "", "." * 300, "Ünï\u202e 数据", "nul\x01l"]
        operators = [{"id": "view", "operator": "VANTIX.Preview", "values": {"Input2": "second", "Input1": "first"}},
                     {"id": "VIEW", "operator": "VANTIX.Preview", "values": {"Input1": "capital"}},
                     {"id": "group", "operator": "VANTIX.Model", "model": inner},
                     {"id": "link", "operator": "VANTIX.TesseraModel",
                      "values": {"LinkedModelFilename": "linked.tsmx"}},
                     {"id": "long" * 100, "operator": "VANTIX.Preview", "values": {"Input1": "long"}},
                     {"id": "long" * 100 + "er", "operator": "VANTIX.Preview", "values": {"Input1": "longer"}}]
        operators += [{"id": f"n{number}", "operator": "VANTIX.Preview", "displayName": name,
                       "values": {"Input1": name + "!"}} for number, name in enumerate(names)]
        done = self.call("run", self.write("m.tsmx", {"operators": operators}), "--preview", "shown/deep")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        shown = {file.name: file.read_text(encoding="utf-8") for file in (self.folder / "shown/deep").iterdir()}
        self.assertEqual(sorted(shown.values()), sorted(
            ["first\n", "second\n", "capital\n", "inner\n", "linked\n", "long\n", "longer\n"] +
            [name + "!\n" for name in names]))
        self.assertEqual(len({name.lower() for name in shown}), len(shown))
        self.assertEqual({file.name for file in self.folder.iterdir()}, {"shown", "m.tsmx", "linked.tsmx"})
        for name, text in (("view-Input1.txt", "first\n"), ("view-Input2.txt", "second\n"),
                           ("group.view-Input1.txt", "inner\n"), ("link.view-Input1.txt", "linked\n"),
                           ("n1-a_b-Input1.txt", "a/b!\n")):
            self.assertEqual(shown.get(name), text, sorted(shown))

    def test_what_has_no_data_or_did_not_run_has_no_file(self):
        model = self.write("m.tsmx", {
            "operators": [{"id": "empty", "operator": "VANTIX.Preview"},
                          {"id": "view", "operator": "VANTIX.Preview"},
                          {"id": "need", "operator": "VANTIX.RequireCondition", "values": {"ShouldBeTrue": False}}],
            "connections": [{"from": "need.Success", "to": "view.Input1"}]})
        self.assertEqual(self.call("run", model, "--preview", "shown").returncode, 1)
        self.assertEqual(list((self.folder / "shown").iterdir()), [])

    def test_a_folder_that_cant_be_made_is_refused_before_anything_runs(self):
        (self.folder / "file").touch()
        model = self.write("m.tsmx", {"operators": [
            {"id": "report", "operator": "VANTIX.Report", "values": {"ConfigString": "ran"}}]})
        for folder in ("file", "file/below"):
            done = self.call("run", model, "--preview", folder)
            self.assertEqual(done.returncode, 2)
            self.assertTrue(done.stderr.startswith(f"error: {folder}: the folder can't be made"), done.stderr)
            self.assertNotIn("ran", done.stderr)

    def test_a_file_that_cant_be_written_is_told_and_does_not_end_the_run(self):
        (self.folder / "shown/view-Input1.txt").mkdir(parents=True)
        model = self.write("m.tsmx", {"operators": [
            {"id": "view", "operator": "VANTIX.Preview", "values": {"Input1": "text"}},
            {"id": "report", "operator": "VANTIX.Report", "values": {"ConfigString": "ran"}}]})
        done = self.call("run", model, "--preview", "shown", "--log", "log")
        self.assertEqual(done.returncode, 2)
        self.assertRegex(done.stderr, r'^error: shown: "shown/view-Input1.txt" is a folder, not a file\.\n$')
        self.assertEqual((self.folder / "log").read_text().strip(), "ran")


class ProfileTest(GuardsTest):
    MODEL = {"ports": [{"name": "Out", "alias": "group.Out"}], "operators": [
        {"id": "group", "operator": "VANTIX.Model", "displayName": "Gruppe ü", "model": {
            "ports": [{"name": "Out", "alias": "text.String"}],
            "operators": [{"id": "text", "operator": "VANTIX.ToString", "values": {"Data": 5}},
                          {"id": "group", "operator": "VANTIX.ToString", "values": {"Data": 6}}]}},
        {"id": "choose", "operator": "VANTIX.IfElse", "values": {"Test": True}},
        {"id": "never", "operator": "VANTIX.ToString", "values": {"Data": 7}}],
        "connections": [{"from": "never.String", "to": "choose.False1"}]}

    def test_a_table_on_standard_error(self):
        model = self.write("m.tsmx", self.MODEL)
        for words in (["run", model, "--profile"], ["run", "--profile", model], ["run", "--profile", "--threads", "0", model]):
            done = self.call(*words)
            self.assertEqual((done.returncode, done.stdout), (0, "Out: 5\n"), done.stderr)
            lines = done.stderr.splitlines()
            self.assertEqual(lines[0].split(), "profile: own s total s runs pulls operator".split())
            self.assertEqual(sorted(line.split(None, 4)[4] for line in lines[1:]), [
                "choose: If Else (VANTIX.IfElse)", "group.group: To String (VANTIX.ToString)",
                "group.text: To String (VANTIX.ToString)", "group: Gruppe ü (VANTIX.Model)"])
            own = [float(line.split()[0]) for line in lines[1:]]
            self.assertEqual(own, sorted(own, reverse=True))
        self.assertTrue(json.loads(pathlib.Path(model).read_text())["operators"], "the model is still the model")

    def test_json(self):
        model = self.write("m.tsmx", self.MODEL)
        done = self.call("run", model, "--profile", "profile.json")
        self.assertEqual((done.stdout, done.stderr), ("Out: 5\n", ""))
        profile = json.loads((self.folder / "profile.json").read_text())
        rows = profile["operators"]
        self.assertEqual([(row["id"], row["operator"], row["runs"], row["pulls"]) for row in rows], [
            ("group", "VANTIX.Model", 1, 0), ("group.text", "VANTIX.ToString", 1, 0),
            ("group.group", "VANTIX.ToString", 1, 0), ("choose", "VANTIX.IfElse", 1, 0),
            ("never", "VANTIX.ToString", 0, 0)])
        group, text, other = rows[:3]
        self.assertEqual(group["displayName"], "Gruppe ü")
        self.assertAlmostEqual(group["totalSeconds"], group["ownSeconds"] + text["totalSeconds"] + other["totalSeconds"])
        self.assertEqual(rows[4]["totalSeconds"], 0)
        self.assertLessEqual(sum(row["ownSeconds"] for row in rows), profile["wallSeconds"])

    def test_waiting_is_the_own_time_of_who_waits(self):
        os.mkfifo(self.folder / "pipe")
        model = self.write("m.tsmx", {"operators": [
            {"id": "guard", "operator": "VANTIX.CatchError", "model": {"operators": [
                {"id": "read", "operator": "VANTIX.TextFileInput", "values": {"Filename": "pipe"}}]}}]})
        run = self.start("run", model, "--profile", "p.json")
        time.sleep(0.5)
        (self.folder / "pipe").write_text("x")
        self.assertEqual(run.wait(timeout=20), 0)
        guard, read = json.loads((self.folder / "p.json").read_text())["operators"]
        self.assertGreater(read["ownSeconds"], 0.2)
        self.assertGreater(guard["totalSeconds"], read["ownSeconds"])
        self.assertLess(guard["ownSeconds"], 0.2)

    def test_a_failed_run_has_a_profile_and_ends_in_its_error(self):
        model = self.write("m.tsmx", {"operators": [
            {"id": "need", "operator": "VANTIX.RequireCondition", "values": {"ShouldBeTrue": False}}]})
        done = self.call("run", model, "--profile")
        self.assertEqual(done.returncode, 1)
        lines = done.stderr.splitlines()
        self.assertIn("need: Require Condition (VANTIX.RequireCondition)", lines[1])
        self.assertEqual(lines[-1], "error: Require Condition: Required condition not satisfied.")

    def test_what_is_refused(self):
        model = self.write("m.tsmx", self.MODEL)
        before = pathlib.Path(model).read_bytes()
        for words in (["--profile", model, model], ["--profile=m.tsmc", model], ["--profile", "nowhere/p.json", model],
                      ["--profile"], []):
            self.assertEqual(self.call("run", *words).returncode, 2, words)
        self.assertEqual(pathlib.Path(model).read_bytes(), before)

    def test_linked_models_and_previews_beside_progress(self):
        self.write("find.tsmx", FINDER)
        model = self.write("m.tsmx", {
            "ports": [{"name": "Out", "alias": "link.Found"}],
            "operators": [{"id": "link", "operator": "VANTIX.TesseraModel",
                           "values": {"LinkedModelFilename": "find.tsmx", "Text": "a 5"}},
                          {"id": "view", "operator": "VANTIX.Preview"}],
            "connections": [{"from": "link.Found", "to": "view.Input1"}]})
        done = self.call("run", model, "--profile", "p.json", "--preview", "shown", "--progress", "plain")
        self.assertEqual(done.stdout, "Out: 5\n")
        self.assertIn("100% Preview", done.stderr)
        rows = {row["id"]: row["runs"] for row in json.loads((self.folder / "p.json").read_text())["operators"]}
        self.assertEqual(rows, {"link": 1, "link.find": 1, "view": 1})
        self.assertEqual((self.folder / "shown/view-Input1.txt").read_text(), "5\n")


class IterationTest(GuardsTest):
    """Copies of an iterated model stand for the operators that they are copies of."""

    def loop(self, name, method, values):
        return {"id": name, "operator": "VANTIX.Iterator", "values": {"ExecutionMethod": method, "Text": values}, "model": {
            "ports": [{"name": "Text", "alias": ["link.Text", "view.Input1"]}, {"name": "Found", "alias": "link.Found"}],
            "operators": [
                {"id": "link", "operator": "VANTIX.TesseraModel", "values": {"LinkedModelFilename": "find.tsmx"}},
                {"id": "view", "operator": "VANTIX.Preview"}]}}

    def test_profiles_and_previews(self):
        self.write("parts/find.tsmx", FINDER)
        self.write("parts/loops.tsmx", {
            "ports": [{"name": "Out", "alias": "first.Found"}],
            "operators": [self.loop("first", "InProcessSerial", ["a 1", "b 2", "c 3"]),
                          self.loop("second", "InProcessParallel", [f"x {number}" for number in range(20)])]})
        top = self.write("top.tsmx", {"ports": [{"name": "Out", "alias": "all.Out"}],
                                      "operators": [{"id": "all", "operator": "VANTIX.TesseraModel",
                                                     "values": {"LinkedModelFilename": "parts/loops.tsmx"}}]})
        done = self.call("run", top, "--json", "--profile", "p.json", "--preview", "shown", "--threads", "4", "--log", "l")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        found = json.loads(done.stdout)["Outputs"][0]["Data"]["Value"]
        self.assertEqual([item["Value"] for item in found], ["1", "2", "3"])
        rows = {row["id"]: row for row in json.loads((self.folder / "p.json").read_text())["operators"]}
        runs = {name: row["runs"] for name, row in rows.items()}
        self.assertEqual(runs, {"all": 1, "all.first": 1, "all.first.link": 3, "all.first.link.find": 3,
                                "all.first.view": 3, "all.second": 1, "all.second.link": 20,
                                "all.second.link.find": 20, "all.second.view": 20})
        self.assertGreaterEqual(rows["all.first"]["totalSeconds"], rows["all.first.link"]["totalSeconds"])
        shown = {file.name: file.read_text() for file in (self.folder / "shown").iterdir()}
        self.assertEqual({name: text for name, text in shown.items() if "first" in name}, {
            f"all.first[{number}].view-Input1.txt": text for number, text in enumerate(("a 1\n", "b 2\n", "c 3\n"))})
        second = {name: text for name, text in shown.items() if "second" in name}
        self.assertEqual(second, {f"all.second[{number}].view-Input1.txt": f"x {number}\n" for number in range(20)})

    def test_nested_loops(self):
        inner = {"id": "inner", "operator": "VANTIX.Iterator", "values": {"Text": ["p", "q"]}, "model": {
            "ports": [{"name": "Text", "alias": "view.Input1"}],
            "operators": [{"id": "view", "operator": "VANTIX.Preview"}]}}
        model = self.write("m.tsmx", {"operators": [
            {"id": "outer", "operator": "VANTIX.Iterator", "values": {"Text": ["a", "b", "c"]}, "model": {
                "ports": [{"name": "Text", "alias": "text.Data"}],
                "operators": [{"id": "text", "operator": "VANTIX.ToString"}, inner]}}]})
        done = self.call("run", model, "--profile", "p.json", "--preview", "shown", "--log", "l")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        runs = {row["id"]: row["runs"] for row in json.loads((self.folder / "p.json").read_text())["operators"]}
        self.assertEqual(runs, {"outer": 1, "outer.text": 3, "outer.inner": 3, "outer.inner.view": 6})
        self.assertEqual({file.name for file in (self.folder / "shown").iterdir()}, {
            f"outer[{o}].inner[{i}].view-Input1.txt" for o in range(3) for i in range(2)})


class CatchTest(GuardsTest):
    def test_what_is_caught_is_no_message_of_the_run(self):
        model = self.write("m.tsmx", {
            "ports": [{"name": "Failed", "alias": "guard.ErrorOccurred"}],
            "operators": [{"id": "guard", "operator": "VANTIX.CatchError", "model": {"operators": [
                {"id": "need", "operator": "VANTIX.RequireCondition", "values": {"ShouldBeTrue": False}},
            ]}}]})
        done = self.call("run", model, "--messages", "said")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "Failed: true\n", ""))
        self.assertEqual((self.folder / "said").read_text(), "")

    def test_a_missing_duration_port_is_warned_of(self):
        model = self.write("m.tsmx", {"operators": [
            {"id": "time", "operator": "VANTIX.MeasurePerformanceModel", "displayName": "Clock", "model": {},
             "ports": [{"name": "DurationInSeconds", "removed": True}]}]})
        done = self.call("run", model)
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr,
                         "warning: Clock: DurationInSeconds port removed.  Where should the duration go?\n")


if __name__ == "__main__":
    unittest.main()
