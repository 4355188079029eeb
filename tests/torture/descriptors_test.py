"""Where files can't be opened any more, a run says so; it neither hangs nor crashes nor loses what was there."""
import json
import os
import resource
import unittest

from torture import MANAGER, TortureTest

# The loader of programs itself ends with this where it can't open its libraries.
NOT_LOADED = 127
MOST = 28


def files(count):
    def limit():
        resource.setrlimit(resource.RLIMIT_NOFILE, (count, count))
    return limit


class DescriptorsTest(TortureTest):
    NAME = "descriptors"

    def calls(self):
        """Title, words, the file that is written and what has to stand in it at the end."""
        (self.folder / "target").mkdir()
        (self.folder / "config" / "tessera").mkdir(parents=True)
        (self.folder / "config" / "tessera" / "preferences.json").write_text("{}")
        (self.folder / "text").write_text("some 42 text")
        body = {"ports": [{"name": "In", "alias": "text.Data"}, {"name": "Out", "alias": "text.String"}],
                "operators": [{"id": "text", "operator": "VANTIX.ToString"}]}
        loop = {"ports": [{"name": "In", "alias": "each.In", "value": [1, 2, 3]}, {"name": "Out", "alias": "each.Out"}],
                "operators": [{"id": "each", "operator": "VANTIX.Iterator", "model": body}]}
        reading = self.write("read.tsmx", {
            "ports": [{"name": "Text", "alias": "lock.Text"}, {"name": "Temp", "alias": "temp.Filename"}],
            "operators": [{"id": "temp", "operator": "VANTIX.CreateTempFilename"},
                          {"id": "lock", "operator": "VANTIX.LockWhileExecuting",
                           "values": {"DatasetReference": str(self.folder / "text")},
                           "model": {"ports": [{"name": "Text", "alias": "read.String"}],
                                     "operators": [{"id": "read", "operator": "VANTIX.TextFileInput",
                                                    "values": {"Filename": str(self.folder / "text")}}]}}]})
        for method in ("InProcessParallel", "OutOfProcessBatch"):
            loop["operators"][0]["values"] = {"ExecutionMethod": method}
            self.write(f"{method}.tsmx", loop)
        out = self.folder / "target" / "out.json"
        threads = ("--quiet", "--threads", "2", "--outputs", out)
        return [("reading", ("run", reading, *threads), out, b"some 42 text"),
                ("threads", ("run", "InProcessParallel.tsmx", *threads), out, b'"3"'),
                ("processes", ("run", "OutOfProcessBatch.tsmx", *threads), out, b'"3"'),
                ("logs", ("run", "InProcessParallel.tsmx", "--log", "log", "--messages", "messages", "--profile",
                          "profile", "--outputs", out), out, b'"3"'),
                ("check", ("check", reading, "InProcessParallel.tsmx"), None, b""),
                ("save", ("save", reading, out.with_suffix(".tsmx")), out.with_suffix(".tsmx"), b"TextFileInput"),
                ("encrypted", ("save", reading, out.with_suffix(".tsmc")), out.with_suffix(".tsmc"), b"{"),
                ("preferences", ("preferences", "set", "a/b", "5"),
                 self.folder / "config" / "tessera" / "preferences.json", b"5")]

    def test_every_number(self):
        calls = self.calls()
        for title, words, out, content in calls:
            statuses = []
            for count in range(3, MOST):
                with self.subTest(f"{title} with {count} files; to repeat: script/torture --only {self.NAME}"):
                    if out:
                        out.write_bytes(b"{}")
                    done = self.call(*words, limits=files(count))
                    statuses.append(done.returncode)
                    self.assert_told(done)
                    if out and done.returncode == 0:
                        self.assertIn(content, out.read_bytes())
                    elif out:
                        self.assertEqual(out.read_bytes(), b"{}")
                        self.assertEqual(self.leftovers(out.parent), [])
                    self.await_nothing_left()
                    self.assertEqual(os.listdir(self.temporary), [])
            self.assertNotEqual(statuses[0], 0, title)
            self.assertEqual(statuses[-1], 0, f"{title}: {statuses}")

    def assert_told(self, done):
        self.assertIn(done.returncode, (0, 1, 2, NOT_LOADED), done.stderr)
        if done.returncode == 0:
            return
        self.assertTrue(done.stderr.strip(), "it failed and says nothing")
        if done.returncode != NOT_LOADED:
            self.assertIn("error: ", done.stderr)

    def test_the_manager(self):
        (self.folder / "j.bcf").write_text(json.dumps({"command": ["/bin/echo", "{WORD}"]}))
        (self.folder / "l.bls").write_text("WORD\n" + "".join(f"'w{i}'\n" for i in range(20)))
        statuses = []
        for count in range(3, MOST):
            done = self.call("-bcf", "j.bcf", "-bls", "l.bls", "-simul", "4", "-logfile", "log", program=MANAGER,
                             limits=files(count))
            statuses.append(done.returncode)
            self.assertIn(done.returncode, (0, 1, 2, NOT_LOADED), done.stderr)
            if done.returncode == 0:
                self.assertEqual((self.folder / "log").read_text().count(": done, "), 20)
            else:
                self.assertTrue(done.stderr.strip())
            self.await_nothing_left()
        self.assertEqual((statuses[0] != 0, statuses[-1]), (True, 0), statuses)


if __name__ == "__main__":
    unittest.main()
