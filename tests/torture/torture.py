"""What the tests of this folder share: seeds, times, runs of the program that are watched to their end."""
import json
import os
import pathlib
import random
import subprocess
import tempfile
import time
import unittest

PROGRAM = os.environ["TESSERA"]
MANAGER = os.path.join(os.path.dirname(PROGRAM), "batchprocess.exe")
TEST_PLUGINS = os.environ["TEST_PLUGINS"]
SEED = int(os.environ.get("TORTURE_SEED") or 1)
SECONDS = int(os.environ.get("TORTURE_SECONDS") or 0)


class TortureTest(unittest.TestCase):
    NAME = ""  # as script/torture --only has it

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        self.temporary = self.folder / "temporary"
        self.temporary.mkdir()
        self.env = {**os.environ, "XDG_CONFIG_HOME": str(self.folder / "config"), "TMPDIR": str(self.temporary),
                    "VANTIX_PLUGIN_PATH": TEST_PLUGINS, "TORTURE_RUN": str(self.folder)}

    def repeat(self, count, body, seconds=12):
        """Calls with a seeded generator: so many times, or as often as there is time for."""
        end = time.monotonic() + (SECONDS or seconds)
        number = 0
        while number == 0 or (time.monotonic() < end and (SECONDS or number < count)):
            seed = SEED + number
            try:
                body(random.Random(seed))
            except Exception as failure:
                raise AssertionError(f"{failure}\nto repeat: script/torture --only {self.NAME} --seed {seed}") from failure
            number += 1

    def write(self, name, model):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(json.dumps({"format": "TesseraModelFormat", "version": 1, **model}), encoding="utf-8")
        return str(path)

    def call(self, *words, program=PROGRAM, limits=None, timeout=60, **more):
        """A run whose hanging is a failure of the test."""
        return subprocess.run([program, *map(str, words)], cwd=self.folder, env=self.env, capture_output=True,
                              text=True, timeout=timeout, stdin=subprocess.DEVNULL, preexec_fn=limits, **more)

    def start(self, *words):
        run = subprocess.Popen([PROGRAM, *map(str, words)], cwd=self.folder, env=self.env, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(run.wait)
        self.addCleanup(run.kill)
        return run

    def living(self):
        """The processes that this test's runs started, however far down, by their environment."""
        mark = f"TORTURE_RUN={self.folder}".encode()
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                if entry.name.isdigit() and mark in (entry / "environ").read_bytes().split(b"\0"):
                    found.append((int(entry.name), (entry / "cmdline").read_bytes().replace(b"\0", b" ").decode()))
            except OSError:
                continue
        return [one for one in found if one[1]]

    def await_nothing_left(self):
        end = time.monotonic() + 10
        while left := self.living():
            self.assertLess(time.monotonic(), end, left)
            time.sleep(0.02)

    def leftovers(self, folder):
        return sorted(name for name in os.listdir(folder) if name.startswith(".tessera-"))
