"""Rasters through the program: what is loaded when, what is said of bad files, what is left behind.

    TESSERA=PROGRAM TESSERA_SOURCE=ROOT rasters_test.py
"""
import json
import os
import shutil
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["TESSERA"]
ROOT = os.environ["TESSERA_SOURCE"]
SCENES = os.path.join(ROOT, "examples", "data", "scenes")
CORRELATE = os.path.join(ROOT, "examples", "correlate-scenes.tsmx")


class RastersTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def run_program(self, *arguments, **environment):
        return subprocess.run([PROGRAM, *arguments], cwd=self.folder, capture_output=True, text=True, encoding="utf-8",
                              timeout=60, env=dict(os.environ, XDG_CONFIG_HOME=self.folder, **environment))

    def loaded(self, name, document):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            json.dump({"format": "TesseraModelFormat", "version": 1, "operators": [document]}, file)
        run = self.run_program("run", path, LD_DEBUG="files", LD_DEBUG_OUTPUT=os.path.join(self.folder, "loader"))
        self.assertEqual(run.returncode, 0, run.stderr)
        text = ""
        for entry in sorted(os.listdir(self.folder)):
            if entry.startswith("loader."):
                with open(os.path.join(self.folder, entry), encoding="utf-8", errors="replace") as file:
                    text += file.read()
                os.remove(os.path.join(self.folder, entry))
        self.assertIn("libtessera.so", text)
        return "libgdal" in text

    def test_only_a_model_that_opens_a_raster_loads_the_library_of_formats(self):
        self.assertFalse(self.loaded("plain.tsmx", {"id": "a", "operator": "VANTIX.IsEmpty"}))
        matrix = {"Type": "VANTIX.Matrix", "Value": {"NumberType": 10, "Rows": 1, "Columns": 1, "Values": [4]}}
        self.assertFalse(self.loaded("matrix.tsmx", {"id": "a", "operator": "VANTIX.Correlation",
                                                     "values": {"Input": matrix}}))
        self.assertTrue(self.loaded("raster.tsmx", {"id": "a", "operator": "VANTIX.Correlation",
                                                    "values": {"Input": os.path.join(SCENES, "coast.tif")}}))

    def test_bad_image_in_a_folder_is_told_with_its_name(self):
        scenes = os.path.join(self.folder, "scenes")
        shutil.copytree(SCENES, scenes)
        bad = os.path.join(scenes, "broken.tif")
        with open(bad, "wb") as file:
            file.write(b"II*\0 no more")
        run = self.run_program("run", CORRELATE, "--set", "Folder=" + scenes, "--quiet")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.startswith(f'error: Raster File Input: The raster "{bad}" can\'t be opened: '), run.stderr)
        self.assertEqual(len(run.stderr.splitlines()), 1, "the library of formats has printed")
        self.assertFalse(os.path.exists(os.path.join(self.folder, "scene-correlations.txt")))

    def test_results_are_the_same_on_any_number_of_threads(self):
        outputs = []
        for threads in ("0", "1", "4"):
            run = self.run_program("run", CORRELATE, "--set", "Folder=" + SCENES, "--quiet", "--json", "--threads", threads)
            self.assertEqual(run.returncode, 0, run.stderr)
            outputs.append(json.loads(run.stdout))
        self.assertEqual(outputs[0], outputs[1])
        self.assertEqual(outputs[0], outputs[2])

    def test_statistics_are_in_the_profile_under_the_operator_that_was_drawn(self):
        run = self.run_program("run", CORRELATE, "--set", "Folder=" + SCENES, "--quiet", "--profile", "profile.json")
        self.assertEqual(run.returncode, 0, run.stderr)
        with open(os.path.join(self.folder, "profile.json"), encoding="utf-8") as file:
            runs = {row["id"]: row["runs"] for row in json.load(file)["operators"]}
        self.assertEqual(runs["each.correlate"], 4)


if __name__ == "__main__":
    unittest.main()
