"""Runs every document of examples/ through the program and compares with facts worked out here.

    TESSERA=PROGRAM examples_test.py ROOT
"""
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(sys.argv.pop(1))
EXAMPLES = os.path.join(ROOT, "examples")
PROGRAM = os.environ["TESSERA"]
LICENCES = "/usr/share/common-licenses"
VERSION_LINE = r"Version [0-9]+(\.[0-9]+)?, [A-Z0-9][A-Za-z0-9]* [A-Z0-9][a-z0-9]*( [0-9]+)?"
COVERED = {"licence-report.tsmx", "choose.tsmx", "preferences.tsmx"}


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


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


if __name__ == "__main__":
    unittest.main()
