"""The guide to a first model does what it says, step by step.

    TESSERA=PROGRAM first_model_test.py ROOT
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
PROGRAM = pathlib.Path(os.environ["TESSERA"])
STEP = re.compile(r"^(?:`([^`\n]+)`\n\n)?```(json|text|sh)\n(.*?)^```$", re.DOTALL | re.MULTILINE)


class FirstModelTest(unittest.TestCase):
    def test_every_step(self):
        text = (ROOT / "docs/first-model.md").read_text(encoding="utf-8")
        steps = STEP.findall(text)
        self.assertEqual(len(steps), text.count("\n```") // 2)
        self.assertGreater(sum(kind == "sh" for _, kind, _ in steps), 6)
        with tempfile.TemporaryDirectory() as folder:
            shown = None
            for name, kind, body in steps:
                if name:
                    file = pathlib.Path(folder, name)
                    file.parent.mkdir(exist_ok=True)
                    file.write_text(body, encoding="utf-8")
                elif kind == "sh":
                    self.assertIsNone(shown, body)
                    shown = subprocess.run(["sh", "-c", body], cwd=folder, stdout=subprocess.PIPE, text=True, timeout=60,
                                           stderr=subprocess.STDOUT,
                                           env={**os.environ, "PATH": f"{PROGRAM.parent}:{os.environ['PATH']}"}).stdout
                else:
                    self.assertEqual(shown, body)
                    shown = None


if __name__ == "__main__":
    unittest.main()
