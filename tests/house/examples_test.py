"""Runs every document of examples/ through the program and compares with facts worked out here.

    TESSERA=PROGRAM examples_test.py ROOT
"""
import colorsys
import fcntl
import json
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = os.path.abspath(sys.argv.pop(1))
EXAMPLES = os.path.join(ROOT, "examples")
PROGRAM = os.environ["TESSERA"]
LICENCES = "/usr/share/common-licenses"
VERSION_LINE = r"Version [0-9]+(\.[0-9]+)?, [A-Z0-9][A-Za-z0-9]* [A-Z0-9][a-z0-9]*( [0-9]+)?"
COVERED = {"licence-report.tsmx", "choose.tsmx", "preferences.tsmx", "lists.tsmx", "scene-header.tsmx",
           "compare-scenes.tsmx", "catch-error.tsmx", "lock.tsmx", "measure.tsmx", "linked.tsmx", "preview.tsmx",
           "weights.tsmx", "batch.tsmx", "color-ramp.tsmx", "command-line.tsmx", "files.tsmx",
           "correlate-scenes.tsmx", "crs-parts.tsmx", "metric-projection.tsmx"}
# By another hand than ours; the interpreter of the system is the one that has the packages.
NUMPY_CORRELATIONS = """
import json, os, sys
import numpy
from osgeo import gdal
gdal.UseExceptions()
found = {}
for name in sorted(os.listdir(sys.argv[1])):
    dataset = gdal.Open(os.path.join(sys.argv[1], name))
    bands = [dataset.GetRasterBand(number + 1) for number in range(dataset.RasterCount)]
    pixels = numpy.array([band.ReadAsArray().astype(float).ravel() for band in bands])
    has_data = numpy.all([numpy.full(row.shape, True) if band.GetNoDataValue() is None else row != band.GetNoDataValue()
                          for band, row in zip(bands, pixels)], axis=0)
    found[name] = numpy.corrcoef(pixels[:, has_data]).tolist()
print(json.dumps(found))
"""


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def plain(data):
    """A typed value without its types."""
    if not isinstance(data, dict) or set(data) != {"Type", "Value"}:
        return data
    value = data["Value"]
    if isinstance(value, list):
        return [plain(item) for item in value]
    if isinstance(value, dict):
        return {key: plain(item) for key, item in value.items()}
    return value


def parse_header(path):
    """Entries of a header whose lists have their items on lines of their own, or are on one line."""
    def value(text):
        for kind in (int, float):
            if re.fullmatch(r"[-0-9.]*[0-9]", text) and text.count("-") < 2:
                try:
                    return kind(text)
                except ValueError:
                    continue
        return int(text.split("-")[0]) if re.fullmatch("[0-9-]+", text) else text
    entries = re.findall(r"^([^=\n{}]+?) *= *(\{[^}]*\}|[^{\n]+)$", read(path), re.MULTILINE)
    return {key: [value(item.strip()) for item in text[1:-1].split(",")] if text.startswith("{") else value(text)
            for key, text in entries}


def licence_files(folder=LICENCES):
    return [os.path.join(folder, name) for name in os.listdir(folder) if os.path.isfile(os.path.join(folder, name))]


class ExamplesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        # The user's own preferences and temporary files stay out of it.
        self.folder = os.path.join(folder.name, "work")
        self.temporary = os.path.join(folder.name, "temporary")
        for made in (self.folder, self.temporary):
            os.mkdir(made)
        self.environment = dict(os.environ, HOME=folder.name, XDG_CONFIG_HOME=os.path.join(folder.name, "config"),
                                TMPDIR=self.temporary, PROJECT="map")
        self.environment.pop("NOT_SET_ANYWHERE", None)

    def run_program(self, *arguments):
        return subprocess.run([PROGRAM, *arguments], cwd=self.folder, env=self.environment, capture_output=True,
                              text=True, encoding="utf-8", timeout=60)

    def run_example(self, name, *arguments):
        """The outputs by name, and the session log, of a run that has to succeed."""
        run = self.run_program("run", os.path.join(EXAMPLES, name), "--json", "--log", "session.log", *arguments)
        self.assertEqual(run.returncode, 0, run.stderr)
        outputs = {row["Name"]: row["Data"] for row in json.loads(run.stdout)["Outputs"]}
        return outputs, read(os.path.join(self.folder, "session.log"))

    def test_every_example_is_covered(self):
        self.assertEqual({name for name in os.listdir(EXAMPLES) if name.endswith(".tsmx")}, COVERED)

    def expect_correlations(self, scenes):
        outputs, _ = self.run_example("correlate-scenes.tsmx", "--set", "Folder=" + scenes)
        numpy = subprocess.run(["/usr/bin/python3", "-c", NUMPY_CORRELATIONS, scenes], capture_output=True, text=True,
                               timeout=60, check=True)
        expected = json.loads(numpy.stdout)
        self.assertGreater(len(expected), 0)
        self.assertEqual([item["Value"] for item in outputs["Scenes"]["Value"]],
                         [os.path.join(scenes, name) for name in expected])
        report = json.loads(read(os.path.join(self.folder, "scene-correlations.txt")).split("\n\n", 1)[1])
        for (name, matrix), item, line in zip(expected.items(), outputs["Correlations"]["Value"], report, strict=True):
            cells = [cell for row in matrix for cell in row]
            with open(os.path.join(self.folder, name + ".mtx"), encoding="utf-8") as file:
                written = [float(word) for text in file if not text.startswith("#") for word in text.split()]
            self.assertEqual(item["Value"]["Values"], written)
            self.assertEqual(len(written), len(cells))
            for found, wanted in zip(written, cells):
                self.assertAlmostEqual(found, wanted, delta=1e-12)
            self.assertTrue(line.startswith(name + ": [[" + str(written[0]).removesuffix(".0")), line)

    def test_correlate_scenes(self):
        self.expect_correlations(os.path.join(EXAMPLES, "data", "scenes"))

    def test_scenes_are_made_by_their_script(self):
        made = os.path.join(self.folder, "made")
        subprocess.run(["/usr/bin/python3", os.path.join(EXAMPLES, "data", "make-scenes.py"), made], timeout=60, check=True,
                       env=self.environment)
        compare = ("import sys; from osgeo import gdal; gdal.UseExceptions(); "
                   "print(all((gdal.Open(a).ReadAsArray() == gdal.Open(b).ReadAsArray()).all() "
                   "for a, b in zip(sys.argv[1::2], sys.argv[2::2])))")
        names = sorted(os.listdir(made))
        self.assertEqual(names, sorted(os.listdir(os.path.join(EXAMPLES, "data", "scenes"))))
        pairs = [path for name in names
                 for path in (os.path.join(made, name), os.path.join(EXAMPLES, "data", "scenes", name))]
        run = subprocess.run(["/usr/bin/python3", "-c", compare, *pairs], capture_output=True, text=True, timeout=60)
        self.assertEqual(run.stdout, "True\n", run.stderr)

    @unittest.skipUnless(os.environ.get("TESSERA_SCENES"), "TESSERA_SCENES names no folder of real scenes")
    def test_correlate_real_scenes(self):
        self.expect_correlations(os.environ["TESSERA_SCENES"])

    def test_weights(self):
        outputs, _ = self.run_example("weights.tsmx")

        def numbers(name):
            with open(os.path.join(self.folder, name), encoding="utf-8") as file:
                lines = [line for line in file if not line.startswith("#")]
            return [[float(word) for word in line.split()] for line in lines]

        laplacian = numbers("laplacian.mtx")
        self.assertEqual([len(row) for row in laplacian], [5] * 5)
        # Second differences of 1, 2, ... and of their squares along the middle: 0, and a number that is not.
        self.assertEqual(sum(map(sum, laplacian)), 0)
        self.assertEqual(sum(sum(row) * place for place, row in enumerate(laplacian)), 0)
        self.assertEqual(laplacian, [list(column) for column in zip(*laplacian)])
        self.assertEqual(outputs["Kernel"]["Value"]["Values"], [value for row in laplacian for value in row])
        self.assertEqual(outputs["Read"], outputs["Kernel"])
        self.assertEqual(numbers("squares.tbl"), [[n * n] for n in range(1, 5)])
        self.assertEqual(outputs["Squares"]["Value"]["Values"], [n * n for n in range(1, 5)])
        self.assertEqual(numbers("size.sca"), [[0.1]])
        self.assertEqual(outputs["Grid"]["Value"]["Values"], [n / 78 for n in range(1, 13)])

    def test_every_example_is_valid(self):
        run = self.run_program("check", *(os.path.join(EXAMPLES, name) for name in sorted(COVERED)))
        self.assertEqual((run.returncode, run.stderr), (0, ""))

    def check_licence_report(self, folder, *arguments):
        outputs, log = self.run_example("licence-report.tsmx", *arguments)
        files = sorted(licence_files(folder))
        versions, patents = [], []
        for path in files:
            text = read(path)
            match = re.search(VERSION_LINE, text)
            versions.append(match[0] if match else "no version line")
            patents.append("yes" if re.search("[Pp]atent licen[cs]e", text) else "no")
        for name, values in (("Versions", versions), ("Patents", patents)):
            self.assertEqual([(item["Type"], item["Value"]) for item in outputs[name]["Value"]],
                             [("VANTIX.String", value) for value in values])
        self.assertEqual([item["Value"] for item in outputs["Files"]["Value"]], files)

        report = read(os.path.join(self.folder, "licence-report.txt"))
        head, found = report.split("\n\n", 1)
        self.assertEqual(head, "Licence report")
        self.assertEqual(json.loads(found), [f"{path}: {version}; patent license: {patent}"
                                             for path, version, patent in zip(files, versions, patents)])
        self.assertEqual(len(found.splitlines()), len(files) + 2, "a line each")
        # The log has the report's lines, without the empty ones, behind those of the iterations.
        lines = [line for line in report.splitlines() if line]
        self.assertEqual(log.splitlines()[-len(lines):], lines)
        iterations = log.splitlines()[:-len(lines)]
        self.assertEqual(iterations[0], "Concurrency is 2.")
        told = [re.fullmatch(r"Iteration (\d+)\((\d+)\) of (\d+)", line) for line in iterations[1:-1]]
        self.assertEqual([int(line[1]) for line in told], list(range(1, len(files) + 1)))
        self.assertEqual(sorted(int(line[2]) for line in told), list(range(1, len(files) + 1)))
        self.assertEqual({int(line[3]) for line in told}, {len(files)})
        self.assertEqual(iterations[-1], "Iterations complete")
        self.assertEqual(os.listdir(self.temporary), [], "temporary files outlived their models")
        return versions, patents

    def test_licence_report(self):
        versions, patents = self.check_licence_report(LICENCES, "--threads", "2")
        self.assertIn("Version 3, 29 June 2007", versions)
        self.assertIn("no version line", versions, "both branches are to be taken")
        self.assertEqual(set(patents), {"yes", "no"})

    def test_licence_report_of_other_texts(self):
        folder = os.path.join(self.folder, "texts")
        os.mkdir(folder)
        for name, text in (("a", "Version 7, May 2001\n"), ("b", "\u00c9tude\n"), ("c", "a patent license\n")):
            with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                file.write(text)
        self.assertEqual(self.check_licence_report(folder, "--threads", "2", "--set", f"Folder={folder}"),
                         (["Version 7, May 2001", "no version line", "no version line"], ["no", "no", "yes"]))

    def check_licence_report_fails(self, folder, message):
        run = self.run_program("run", os.path.join(EXAMPLES, "licence-report.tsmx"), "--set", f"Folder={folder}")
        self.assertEqual(run.returncode, 1)
        self.assertIn(message, run.stderr.splitlines()[-1])
        self.assertFalse(os.path.exists(os.path.join(self.folder, "licence-report.txt")))
        self.assertEqual(os.listdir(self.temporary), [])

    def test_licence_report_of_no_text(self):
        folder = os.path.join(self.folder, "empty")
        os.mkdir(folder)
        self.check_licence_report_fails(folder, "error: Each licence: Empty list on input.")

    def test_licence_report_of_a_text_that_is_none(self):
        folder = os.path.join(self.folder, "texts")
        os.mkdir(folder)
        for name, content in (("good", b"Version 7, May 2001\n"), ("wrong", b"\xff\xfe\x00")):
            with open(os.path.join(folder, name), "wb") as file:
                file.write(content)
        self.check_licence_report_fails(folder, f"error: Text File Input: Unable to open file: {folder}/wrong")

    def check_choose(self, expected, *arguments):
        outputs, log = self.run_example("choose.tsmx", *arguments)
        self.assertEqual(outputs["Finding"], {"Type": "VANTIX.String", "Value": "Finding: " + expected})
        self.assertEqual(outputs["Allowed"], {"Type": "VANTIX.Bool", "Value": True})
        draft = outputs["Draft"]["Value"]
        self.assertTrue(draft.endswith(".txt"), draft)
        self.assertFalse(os.path.exists(draft), "the temporary file outlived its model")
        self.assertEqual(log, "")

    def test_choose_takes_the_version_of_the_whole_text(self):
        text = read(os.path.join(LICENCES, "GPL-3"))
        self.check_choose(re.search(r"Version [0-9.]+, [0-9]+ [A-Z][a-z]+ [0-9]+", text)[0])

    def test_choose_takes_the_title_where_there_is_no_version(self):
        beginning = read(os.path.join(LICENCES, "GPL-3"))[:60]
        self.assertNotIn("Version", beginning)
        title = re.search(r"[A-Z][A-Za-z ]+ (LICENSE|License)", beginning)[0]
        self.check_choose(title, "--set", "Detail=part")

    def test_choose_refuses_a_text_without_either(self):
        run = self.run_program("run", os.path.join(EXAMPLES, "choose.tsmx"), "--set", "Detail=part",
                               "--set", "Characters=5", "--outputs", "out.json")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith(
            "error: Require Condition: The text has neither a version nor a title.\n"), run.stderr)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "out.json")))

    def test_a_published_model_does_the_same(self):
        self.assertEqual(self.run_program("save", os.path.join(EXAMPLES, "choose.tsmx"), "choose.tsmc").returncode, 0)
        self.assertNotIn("VANTIX.", read(os.path.join(self.folder, "choose.tsmc")).replace('"VANTIX"', ""))
        for arguments in ([], ["--set", "Detail=part"]):
            outputs = []
            for name in ("choose.tsmc", os.path.join(EXAMPLES, "choose.tsmx")):
                run = self.run_program("run", name, "--json", *arguments)
                self.assertEqual(run.returncode, 0, run.stderr)
                outputs.append({row["Name"]: row["Data"] for row in json.loads(run.stdout)["Outputs"]})
                del outputs[-1]["Draft"]  # a temporary file's name
            self.assertEqual(outputs[0], outputs[1])

    def test_preferences(self):
        outputs, _ = self.run_example("preferences.tsmx", "--preferences",
                                      os.path.join(EXAMPLES, "site-preferences.json"))
        expanded = self.environment["HOME"] + "/results/map/$NOT_SET_ANYWHERE"
        self.assertEqual(outputs["OutputPath"], {"Type": "VANTIX.String", "Value": expanded})
        self.assertEqual(outputs["LockTimeout"], {"Type": "VANTIX.Double", "Value": 90})
        lines = read(os.path.join(self.folder, "preferences.txt")).splitlines()
        self.assertEqual(lines[:2], ["written: $HOME/results/${PROJECT}/$NOT_SET_ANYWHERE", "meant: " + expanded])
        self.assertEqual(float(lines[2].removeprefix("seconds: ")), 90)

    def test_an_unknown_preference_is_told(self):
        model = json.loads(read(os.path.join(EXAMPLES, "preferences.tsmx")))
        model["operators"][0]["values"]["Name"] = "no_such_preference"
        with open(os.path.join(self.folder, "wrong.tsmx"), "w", encoding="utf-8") as file:
            json.dump(model, file)
        run = self.run_program("run", "wrong.tsmx")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith('error: Default output path: Could not determine type of preference '
                                            '"ksc:no_such_preference"\n'), run.stderr)

    def test_lists(self):
        # The integers of the model take the type of the first value.
        values = [4.5, 1.25, 9.0, 2.5, 7.0, 0.5]
        outputs, _ = self.run_example("lists.tsmx")
        self.assertEqual(plain(outputs["HadGaps"]), True)
        self.assertEqual(plain(outputs["Sorted"]), sorted(values))
        self.assertEqual({item["Type"] for item in outputs["Sorted"]["Value"]}, {"VANTIX.Double"})
        self.assertEqual(plain(outputs["Places"]), [values.index(value) for value in sorted(values)])
        self.assertEqual(plain(outputs["Count"]), len(values))
        self.assertEqual(plain(outputs["Middle"]), sorted(values)[1:4])
        self.assertEqual(plain(outputs["Smallest"]), min(values))
        self.assertEqual(plain(outputs["WasAt"]), [values.index(min(values))])
        self.assertEqual(plain(outputs["Units"]), ["mm", "cm"])

    def test_lists_of_other_ranges(self):
        outputs, _ = self.run_example("lists.tsmx", "--set", "Values=[3, 1]", "--set", "From=3", "--set", "To=0")
        self.assertEqual(plain(outputs["Middle"]), [7, 3, 1, 0], "downwards, and whole numbers as the first is")
        self.assertEqual(plain(outputs["HadGaps"]), False)

    def test_lists_beyond_the_end(self):
        run = self.run_program("run", os.path.join(EXAMPLES, "lists.tsmx"), "--set", "To=6")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith("error: Arrange Items: Range 1:6 on port(RangeList) is outside the bounds "
                                            "0 to 5.\n"), run.stderr)

    def run_scene_header(self, *arguments):
        return self.run_example("scene-header.tsmx", "--set", "Header=" + os.path.join(EXAMPLES, "scene.hdr"),
                                *arguments)[0]

    def test_scene_header(self):
        header = parse_header(os.path.join(EXAMPLES, "scene.hdr"))
        outputs = self.run_scene_header()
        self.assertEqual(plain(outputs["Samples"]), header["samples"])
        self.assertEqual(plain(outputs["Entry"]), header["band names"][2])
        self.assertEqual(plain(outputs["Type"]), "String")
        scene = dict(header, interleave="bil", checked=True)
        self.assertEqual(plain(outputs["Scene"]), scene)
        self.assertEqual(list(outputs["Scene"]["Value"]), list(header) + ["checked"], "keys keep their places")
        document = outputs["Json"]["Value"]
        self.assertEqual(document.pop("__keys__"), list(scene))
        self.assertEqual(document, scene)

    def test_scene_header_by_other_paths(self):
        header = parse_header(os.path.join(EXAMPLES, "scene.hdr"))
        for path, expected, name in (("map info/[3]", header["map info"][3], "Double"), ("bands", 4, "Int"),
                                     ("wavelength", header["wavelength"], "List")):
            with self.subTest(path):
                outputs = self.run_scene_header("--set", "Wanted=" + path)
                self.assertEqual((plain(outputs["Entry"]), plain(outputs["Type"])), (expected, name))

    def test_scene_header_refuses_what_is_not_there(self):
        arguments = ["run", os.path.join(EXAMPLES, "scene-header.tsmx")]
        run = self.run_program(*arguments, "--set", "Header=" + os.path.join(EXAMPLES, "scene.hdr"),
                               "--set", "Wanted=cloud cover")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith("error: Dictionary Item: Item cloud cover does not exist.\n"), run.stderr)
        run = self.run_program(*arguments, "--set", "Header=nowhere.hdr")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith("Cannot open nowhere.hdr with any available raster engine.\n"), run.stderr)

    def run_comparison(self, *arguments):
        names = [f"{port}={os.path.join(EXAMPLES, name)}" for port, name in (("First", "scene.hdr"),
                                                                            ("Second", "scene-later.hdr"))]
        outputs, _ = self.run_example("compare-scenes.tsmx", "--set", names[0], "--set", names[1], *arguments)
        return {name: plain(data) for name, data in outputs.items()}

    def test_compare_scenes(self):
        outputs = self.run_comparison()
        first, second = (parse_header(os.path.join(EXAMPLES, name)) for name in ("scene.hdr", "scene-later.hdr"))
        expected = []
        for key, value in first.items():
            if key == "acquisition date" or value == second[key]:
                continue
            pairs = enumerate(zip(value, second[key])) if isinstance(value, list) else [(None, (value, second[key]))]
            for index, (one, other) in pairs:
                way = key if index is None else f"{key}/[{index}]"
                if one != other:
                    expected.append(f"Input1/{way}'s value is {json.dumps(one)} != "
                                    f"Input2/{way}'s value is {json.dumps(other)}")
        self.assertEqual(len(expected), 2)
        self.assertEqual(outputs, {"Agree": False, "Differences": expected, "SameWavelengths": True,
                                   "IsWavelengthMissing": False})

    def test_compare_a_scene_with_itself(self):
        outputs = self.run_comparison("--set", "Second=" + os.path.join(EXAMPLES, "scene.hdr"))
        self.assertEqual((outputs["Agree"], outputs["Differences"]), (True, []))


    def test_catch_error(self):
        for arguments, missing, report in (
                ((), False, "Version 3"),
                (("--set", f"Text={LICENCES}/nowhere"), True, "There is no such text.")):
            outputs, _ = self.run_example("catch-error.tsmx", *arguments)
            self.assertEqual(outputs["Missing"], {"Type": "VANTIX.Bool", "Value": missing})
            self.assertEqual(outputs["Report"], {"Type": "VANTIX.String", "Value": report})

    def test_lock(self):
        dataset = os.path.join(self.folder, "dataset.txt")
        with open(dataset, "w", encoding="utf-8") as file:
            file.write("content")
        outputs, _ = self.run_example("lock.tsmx")
        self.assertEqual(outputs["Content"]["Value"], "content")
        self.assertEqual(sorted(os.listdir(self.folder)), ["dataset.txt", "session.log"])
        with open(dataset + ".lock", "w", encoding="utf-8") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            run = self.run_program("run", os.path.join(EXAMPLES, "lock.tsmx"), "--set", "Seconds=1")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr, 'error: Lock: The file "dataset.txt" is locked by another process and was not '
                                     'released within 1 s.\n')

    def test_measure(self):
        begin = time.monotonic()
        outputs, _ = self.run_example("measure.tsmx")
        self.assertEqual(len(outputs["Files"]["Value"]), len(os.listdir(LICENCES)))
        self.assertGreater(outputs["Seconds"]["Value"], 0)
        self.assertLess(outputs["Seconds"]["Value"], time.monotonic() - begin)

    def test_linked(self):
        folder = os.path.join(self.folder, "shown")
        outputs, _ = self.run_example("linked.tsmx", "--preview", folder)
        self.assertEqual({name: data["Value"] for name, data in outputs.items()},
                         {"First": "Version 2", "Second": "Version 3"})
        for name, licence in (("first", "GPL-2"), ("second", "GPL-3")):
            self.assertEqual(read(os.path.join(folder, name + ".view-Text_searched-Input1.txt")),
                             read(os.path.join(LICENCES, licence)))

    def test_command_line(self):
        grid = os.path.join(EXAMPLES, "grid.asc")
        outputs, _ = self.run_example("command-line.tsmx", "--set", "Grid=" + grid)
        self.assertEqual({name: data["Value"] for name, data in outputs.items()},
                         {"Code": 0, "Size": "Size is 4, 3", "Format": "Driver: GTiff"})
        self.assertEqual(os.listdir(self.folder), ["session.log"])
        run = self.run_program("run", os.path.join(EXAMPLES, "command-line.tsmx"), "--set", "Grid=" + grid, "--no-external")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr, 'error: Convert: The program "gdal_translate" was not started: this run starts no '
                                     'external programs (--no-external).\n')

    def test_files(self):
        with open(os.path.join(self.folder, "some file"), "w", encoding="utf-8") as file:
            file.write("content")
        os.makedirs(os.path.join(self.folder, "scratch", "below"))
        for again in (False, True):
            outputs, _ = self.run_example("files.tsmx", "--set", "File=some file")
            self.assertEqual({name: data["Value"] for name, data in outputs.items()},
                             {"Replaced": again, "Copy": "archive/some file", "Works": True, "ScratchExisted": not again})
            self.assertEqual(read(os.path.join(self.folder, "newest")), "content")
        self.assertEqual(sorted(os.listdir(self.folder)), ["archive", "newest", "session.log", "some file"])

    def test_batch(self):
        files = sorted(licence_files())
        expected = []
        for path in files:
            match = re.search(VERSION_LINE, read(path))
            expected.append(match[0] if match else "no version line")
        written = []
        for method in ("InProcessSerial", "InProcessParallel", "OutOfProcessBatch"):
            outputs, _ = self.run_example("batch.tsmx", "--outputs", "out.json", "--set", "Method=" + method)
            self.assertEqual([item["Value"] for item in outputs["Versions"]["Value"]], expected)
            written.append(read(os.path.join(self.folder, "out.json")))
        self.assertEqual(written[1:], written[:1] * 2)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_color_ramp(self):
        folder = os.path.join(self.folder, "shown")
        outputs, _ = self.run_example("color-ramp.tsmx", "--preview", folder,
                                      "--set", "RampFile=" + os.path.join(EXAMPLES, "sunset.lut"))
        colors = outputs["Colors"]["Value"]["Colors"]
        self.assertEqual(colors[0], [0, 0, 0, 1])
        greys = [0.2 + 0.8 * row / 9 for row in range(10)]
        # Bins of ten percent: those from 20 to 80 reach into the range, whose ten levels are five percent each.
        levels = {row: max(0, int((10 * row - 25) / 5)) for row in range(2, 8)}
        for row, grey in enumerate(greys):
            expected = [grey] * 3
            if row in levels:
                expected = colorsys.hls_to_rgb((1 - levels[row] / 9) * 2 / 3, 0.5, 1)
            for found, wanted in zip(colors[row + 1], expected):
                self.assertAlmostEqual(found, wanted, places=9)
        counts = [812, 640, 455, 360, 222, 140, 77, 40, 12, 3]
        middles = [sum(counts[:row]) + count / 2 for row, count in enumerate(counts)]
        self.assertEqual([color[1] for color in outputs["SameArea"]["Value"]["Colors"]],
                         [1 - int(middle / sum(counts) * 3) / 2 for middle in middles])
        self.assertEqual(sorted(os.listdir(folder)), ["view-Input1.png", "view-Input2.png"])

    def test_preview(self):
        folder = os.path.join(self.folder, "shown")
        self.run_example("preview.tsmx", "--preview", folder)
        self.assertEqual(sorted(os.listdir(folder)), ["files-Input1.txt", "values-Table_and_ramp-Input1.csv",
                                                      "values-Table_and_ramp-Input2.png"])
        for name in os.listdir(LICENCES):
            self.assertIn(name, read(os.path.join(folder, "files-Input1.txt")))
        self.assertEqual(read(os.path.join(folder, "values-Table_and_ramp-Input1.csv")), "row,value\n0,3\n1,1\n2,2\n")

    # Codes of the EPSG registry: datum EGM96 geoid 5171, foot 9002, US survey foot 9003.
    def test_crs_parts(self):
        for units, unit_code in (("foot", "9002"), ("US survey foot", "9003")):
            with self.subTest(units):
                outputs, _ = self.run_example("crs-parts.tsmx", "--set", "HeightUnits=" + units)
                facts = {name: plain(outputs[name]) for name in ("Units", "Datum", "HeightDatum", "HeightDirection")}
                self.assertEqual(facts, {"Units": "metre", "Datum": "World Geodetic System 1984",
                                         "HeightDatum": "EGM96 geoid", "HeightDirection": "up"})
                parameters = plain(outputs["Parameters"])
                axes = [plain(axis) for axis in plain(plain(parameters["CoordinateSystem"])["Axes"])]
                self.assertEqual([(plain(axis["Unit"]), plain(axis["Direction"])) for axis in axes],
                                 [("metre", "east"), ("metre", "north"), (units, "up")])
                self.assertEqual(plain(parameters["CoordinateReferenceSystemType"]), "Projected")
                keys = plain(outputs["Keys"])
                self.assertEqual(keys["Authority"], "GeoKey Moniker")
                code = dict(pair.split("=") for pair in keys["Code"].split(";"))
                self.assertEqual((code["3072"], code["4098"], code["4099"]), ("32633", "5171", unit_code))

    def test_crs_parts_refuses_a_map_as_heights(self):
        run = self.run_program("run", os.path.join(EXAMPLES, "crs-parts.tsmx"), "--set", "Vertical=EPSG:2263")
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.endswith("error: Both parts: Improper VerticalCRS specified\n"), run.stderr)

    def test_metric_projection(self):
        outputs, _ = self.run_example("metric-projection.tsmx")
        self.assertEqual(plain(outputs["Code"]), {"Authority": "EPSG", "Code": "32118"})
        self.assertEqual(plain(outputs["Written"]), {"Authority": "PRJ", "Code": "metric.prj"})
        self.assertEqual(plain(outputs["UnitsRead"]), "metre")
        text = read(os.path.join(self.folder, "metric.prj"))
        self.assertEqual(text.count("\n"), 1)
        self.assertRegex(text, r'UNIT\["Meter",1\.0\]\]\n$')
        easting = float(re.search(r'PARAMETER\["False_Easting",([0-9.]+)\]', text)[1])
        self.assertAlmostEqual(easting, 984250 * 1200 / 3937, places=6, msg="984,250 feet of the survey")


if __name__ == "__main__":
    unittest.main()
