"""What the tests of the program share."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["TESSERA"]
TEST_PLUGINS = os.environ["TEST_PLUGINS"]


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.env = {**os.environ, "XDG_CONFIG_HOME": str(self.folder / "config")}

    def write(self, name, model):
        path = self.folder / name
        text = model if isinstance(model, str) else json.dumps(
            {"format": "TesseraModelFormat", "version": 1, **model})
        path.write_text(text, encoding="utf-8")
        return str(path)

    def call(self, *words, text=None):
        return subprocess.run([PROGRAM, *words], capture_output=True, text=True, input=text, timeout=60,
                              cwd=self.folder, env=self.env)
