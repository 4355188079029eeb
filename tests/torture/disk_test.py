"""Where the disk is full, whoever writes names the file and the reason, and what was there before stays whole."""
import json
import os
import resource
import subprocess
import unittest

from torture import MANAGER, TortureTest

FULL = "No space left on device"
TOO_LARGE = "File too large"
OLD = b"what was there before"


def table(count):
    return {"Type": "VANTIX.Table", "Value": {"NumberType": 10, "Values": [i / 8 for i in range(count)]}}


class DiskTest(TortureTest):
    NAME = "disk"

    def setUp(self):
        super().setUp()
        self.full = self.folder / "full"
        self.full.mkdir()
        self.model = self.write("m.tsmx", {
            "ports": [{"name": "Table", "alias": "table.Table"}],
            "operators": [{"id": "table", "operator": "VANTIX.CustomTableInput", "values": {"Value": table(500)}},
                          {"id": "log", "operator": "VANTIX.Report", "values": {"ConfigString": "a line\n" * 2000}}],
            "connections": [{"from": "table.Table", "to": "log.Input1"}]})

    def mount(self):
        """A small disk in place of the folder."""
        done = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "none", self.full], capture_output=True,
                              text=True)
        if done.returncode != 0:
            self.skipTest(f"no small disk can be mounted here: {done.stderr.strip()}")
        self.addCleanup(subprocess.run, ["umount", "-l", self.full], check=True)

    def fill(self, *names, old=OLD):
        """Puts old files there, and then bytes until nothing goes any more."""
        for name in names:
            (self.full / name).parent.mkdir(parents=True, exist_ok=True)
            (self.full / name).write_bytes(old)
        with open(self.full / "ballast", "wb", buffering=0) as ballast:
            try:
                while True:
                    ballast.write(b"x" * 4096)
            except OSError:
                pass

    def writer(self, op, **values):
        return self.write(f"{op}.tsmx", {"operators": [{"id": "w", "operator": f"VANTIX.{op}", "displayName": "Writer",
                                                        "values": values}]})

    def assert_full(self, done, path, status):
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertIn(str(path), done.stderr)
        self.assertIn(FULL, done.stderr)

    def test_what_replaces_a_file_leaves_the_old_one(self):
        self.mount()
        names = ("out.json", "profile.json", "saved.tsmx", "saved.tsmc", "drawn.dot", "table.txt", "matrix.txt",
                 "scalar.txt", "report.txt", "config/tessera/preferences.json")
        self.fill(*names)
        (self.full / names[-1]).write_bytes(b"{}")
        self.env["XDG_CONFIG_HOME"] = str(self.full / "config")
        stack = {"TableFileOutput": ("TableIn", "table.txt", table(500)),
                 "MatrixFileOutput": ("MatrixIn", "matrix.txt", {"Type": "VANTIX.Matrix", "Value": {
                     "NumberType": 10, "Rows": 2, "Columns": 2, "Values": [1, 2, 3, 4]}}),
                 "ScalarFileOutput": ("ScalarIn", "scalar.txt", {"Type": "VANTIX.Scalar", "Value": {
                     "NumberType": 10, "Value": 2.5}})}
        for title, words, name in (("outputs", ("run", self.model, "--quiet", "--outputs"), "out.json"),
                                   ("profile", ("run", self.model, "--quiet", "--outputs", "out", "--profile"),
                                    "profile.json"),
                                   ("save", ("save", self.model), "saved.tsmx"),
                                   ("encrypted", ("save", self.model), "saved.tsmc"),
                                   ("draw", ("draw", self.model, "-o"), "drawn.dot")):
            with self.subTest(title):
                self.assert_full(self.call(*words, self.full / name), self.full / name, 2)
        with self.subTest("preferences"):
            self.assert_full(self.call("preferences", "set", "a/b", "5"), self.full / names[-1], 2)
            self.assertEqual((self.full / names[-1]).read_bytes(), b"{}")
        with self.subTest("report"):
            model = self.writer("Report", TextFilename=str(self.full / "report.txt"), Input1="x", ToSessionLog=False)
            self.assert_full(self.call("run", model), self.full / "report.txt", 1)
        for op, (port, name, value) in stack.items():
            with self.subTest(op):  # its page says that a failing write is a warning
                done = self.call("run", self.writer(op, Filename=str(self.full / name), **{port: value}))
                self.assert_full(done, self.full / name, 0)
        for name in names[:-1]:
            self.assertEqual((self.full / name).read_bytes(), OLD, name)
        self.assertEqual(self.leftovers(self.full), [])
        self.assertEqual(self.leftovers((self.full / names[-1]).parent), [])

    def test_what_grows_says_so_at_the_end_of_the_run(self):
        self.mount()
        self.fill("log", "messages", "stdout", old=b"")  # an old text would leave its room
        warning = self.writer("TableFileOutput", TableIn=table(3), Filename=str(self.folder / "none" / "t.txt"))
        done = self.call("run", self.model, "--log", self.full / "log", "--outputs", "out.json")
        self.assert_full(done, self.full / "log", 2)
        self.assertEqual(len(json.loads((self.folder / "out.json").read_text())["Outputs"]), 1)
        self.assert_full(self.call("run", warning, "--messages", self.full / "messages"), self.full / "messages", 2)
        for words in (("run", self.model, "--quiet", "--json"), ("info", self.model, "--json"), ("schema",),
                      ("describe", "VANTIX.List"), ("completion", "bash"), ("manual",)):
            with self.subTest(words), open(self.full / "stdout", "wb") as file:
                done = subprocess.run([os.environ["TESSERA"], *words], stdout=file, stderr=subprocess.PIPE, text=True,
                                      env=self.env, cwd=self.folder, timeout=60)
                self.assertEqual((done.returncode, done.stderr),
                                 (2, f"error: standard output can't be written: {FULL}\n"))

    def test_temporary_files(self):
        self.mount()
        self.fill()
        self.env["TMPDIR"] = str(self.full)
        body = {"ports": [{"name": "In", "alias": "text.Data"}, {"name": "Out", "alias": "text.String"}],
                "operators": [{"id": "text", "operator": "VANTIX.ToString"}]}
        loop = self.write("loop.tsmx", {"ports": [{"name": "Out", "alias": "each.Out"}], "operators": [
            {"id": "each", "operator": "VANTIX.Iterator", "model": body,
             "values": {"In": ["x" * 5000, "y"], "ExecutionMethod": "OutOfProcessBatch"}}]})
        done = self.call("run", loop, "--quiet", "--outputs", "out.json")
        self.assert_full(done, self.full, 1)
        self.assertFalse((self.folder / "out.json").exists())
        temporary = self.write("temp.tsmx", {
            "operators": [{"id": "name", "operator": "VANTIX.CreateTempFilename"},
                          {"id": "w", "operator": "VANTIX.Report",
                           "values": {"ToSessionLog": False, "Input1": "x", "ConfigString": "y" * 9000}}],
            "connections": [{"from": "name.Filename", "to": "w.TextFilename"}]})
        self.assert_full(self.call("run", temporary), self.full, 1)
        self.assertEqual(os.listdir(self.full), ["ballast"])

    def test_the_disk_of_a_batch_fills_up_while_it_runs(self):
        """Its items end one by one; the disk has room for the inputs and not for all of the outputs."""
        self.mount()
        self.env["TMPDIR"] = str(self.full)
        body = {"ports": [{"name": "In", "alias": "list.Value1"}, {"name": "Out", "alias": "list.ListOut"}],
                "operators": [{"id": "list", "operator": "VANTIX.List", "values": {"Value2": "z" * 60_000}}]}
        loop = self.write("loop.tsmx", {"ports": [{"name": "Out", "alias": "each.Out"}], "operators": [
            {"id": "each", "operator": "VANTIX.Iterator", "model": body,
             "values": {"In": list(range(8)), "ExecutionMethod": "OutOfProcessBatch"}}]})
        done = self.call("run", loop, "--quiet", "--outputs", "out.json")
        self.assert_full(done, self.full, 1)
        self.assertFalse((self.folder / "out.json").exists())
        self.assertEqual(os.listdir(self.full), [])

    def test_the_log_of_the_manager(self):
        self.mount()
        self.fill("log", old=b"")
        (self.folder / "j.bcf").write_text(json.dumps({"command": ["/bin/echo", "{WORD}"]}))
        (self.folder / "l.bls").write_text("WORD\n" + "".join(f"'w{i}'\n" for i in range(200)))
        done = self.call("-bcf", "j.bcf", "-bls", "l.bls", "-logfile", self.full / "log", program=MANAGER)
        self.assertEqual(done.stderr, f"batchprocess: {self.full}/log: can't be written any more: {FULL}\n")
        self.assertEqual(done.returncode, 0)  # each line succeeded

    def test_every_byte(self):
        """A file that may not become larger than so many bytes, for many sizes: all or nothing."""
        out = self.folder / "out.json"
        self.assertEqual(self.call("run", self.model, "--quiet", "--outputs", out).returncode, 0)
        whole = out.read_bytes()

        def attempt(size):
            out.write_bytes(OLD)
            done = self.call("run", self.model, "--quiet", "--outputs", out, limits=lambda: resource.setrlimit(
                resource.RLIMIT_FSIZE, (size, size)))
            if size >= len(whole):
                self.assertEqual((done.returncode, out.read_bytes() == whole), (0, True), done.stderr)
                return
            self.assertEqual((done.returncode, out.read_bytes()), (2, OLD), done.stderr)
            self.assertIn(str(out), done.stderr)
            self.assertIn(TOO_LARGE, done.stderr)
            self.assertEqual(self.leftovers(self.folder), [])

        for size in (0, 1, len(whole) - 1, len(whole), len(whole) + 1):
            attempt(size)
        self.repeat(10, lambda dice: attempt(dice.randrange(len(whole))))


if __name__ == "__main__":
    unittest.main()
