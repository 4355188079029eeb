"""External programs and files through the program: what check tells of them, --no-external, signals, preferences."""
import json
import os
import pathlib
import signal
import subprocess
import time
import unittest

from program import PROGRAM, ProgramTest


def command(name, executable, arguments, ports=(), **values):
    """A Command Line operator; ports are texts such as "In File 0"."""
    described = []
    for port in ports:
        words = port.split()
        described.append({"Name": words[0], "SupportedDataNamespace": "VANTIX", "SupportedDataName": words[1],
                          "Type": int(words[2]), "OutputFile": words[1] == "File" and words[2] == "1"})
    return {"id": name, "operator": "VANTIX.CommandLine", "values": values,
            "attributes": {"Executable": executable, "ArgumentExpression": arguments,
                           "PortInformation": {"Type": "VANTIX.Json", "Value": described}}}


class ExternalTest(ProgramTest):
    def test_output_goes_to_the_log_line_by_line(self):
        model = self.write("m.tsmx", {"operators": [command("say", "printf", '"one\\n100%% gr\\303\\274n\\n\\377"')],
                                      "ports": [{"name": "Out", "alias": "say.ConsoleOutput"}]})
        done = self.call("run", model, "--json", "--log", "log")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual((self.folder / "log").read_text(encoding="utf-8"), "one\n100% grün\n\ufffd\n")
        self.assertEqual(json.loads(done.stdout)["Outputs"][0]["Data"]["Value"], "one\n100% grün\n\ufffd")

    def test_ports_may_be_described_without_a_type(self):
        ports = [{"Name": "Word", "SupportedDataName": "String", "SupportedDataNamespace": "VANTIX", "Type": 0},
                 {"Name": "Out", "SupportedDataName": "File", "SupportedDataNamespace": "VANTIX", "Type": 1,
                  "OutputFile": True},
                 {"Name": "OutName", "Type": 0}]
        sheets = []
        for information in (ports, {"Type": "VANTIX.Json", "Value": ports}, {str(i): p for i, p in enumerate(ports)}):
            model = self.write("m.tsmx", {
                "ports": [{"name": "Said", "alias": "c.ConsoleOutput"}, {"name": "Out", "alias": "c.Out"}],
                "operators": [{"id": "c", "operator": "VANTIX.CommandLine", "values": {"Word": "w", "OutName": "/o"},
                               "attributes": {"Executable": "echo", "ArgumentExpression": "$Word $Out",
                                              "PortInformation": information}}]})
            done = self.call("run", model, "--quiet")
            self.assertEqual((done.returncode, done.stderr, done.stdout), (0, "", "Said: w /o \nOut: /o\n"))
            self.assertEqual(self.call("save", model, "saved.tsmx").returncode, 0)
            self.assertEqual(self.call("run", "saved.tsmx", "--quiet").stdout, done.stdout)
            sheets.append(self.call("info", model, "--json").stdout)
        self.assertEqual(sheets, sheets[:1] * 3)

    def test_no_external_refuses_wherever_the_operator_is(self):
        mark = self.folder / "mark"
        inner = {"operators": [command("touch", "touch", "$File", ["File File 0"], File=str(mark))]}
        self.write("linked.tsmx", inner)
        texts = 'The program "touch" was not started: this run starts no external programs (--no-external).'
        for model in (inner, {"operators": [{"id": "group", "operator": "VANTIX.Model", "model": inner}]},
                      {"operators": [{"id": "linked", "operator": "VANTIX.TesseraModel",
                                      "values": {"LinkedModelFilename": "linked.tsmx"}}]}):
            path = self.write("m.tsmx", model)
            done = self.call("run", "--no-external", path)
            self.assertEqual((done.returncode, done.stderr), (1, f"error: Command Line: {texts}\n"))
            self.assertFalse(mark.exists())
            self.assertEqual(self.call("run", path).returncode, 0)
            mark.unlink()

    def test_a_preference_names_the_folders(self):
        model = self.write("m.tsmx", {"operators": [command("t", "true", "")]})
        self.assertEqual(self.call("run", model, "--pref", "external/folders=/usr;/bin").returncode, 0)
        done = self.call("run", model, "--pref", "external/folders=/opt;$HOME")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r'^error: Command Line: The program "/.*/true" may not be started: it lies in none of '
                                      r'the folders of the preference "external/folders" \(/opt;\$HOME\)\.\n$')

    def check(self, model):
        done = self.call("check", self.write("m.tsmx", model), "--json")
        self.assertEqual(done.returncode, 0, done.stderr)
        rows = json.loads(done.stdout)["documents"][0]["effects"]
        return [(row["operator"], row["effect"], row["name"], row["source"]) for row in rows], done.stderr

    def test_check_tells_what_would_be_done(self):
        inner = {"operators": [command("tool", "no-such-tool", ""),
                               {"id": "report", "operator": "VANTIX.Report", "values": {"TextFilename": "report.txt"}}]}
        effects, _ = self.check({
            "operators": [
                command("convert", "sh", "$In", ["In File 0", "Out File 1", "OutName String 0", "Log File 1", "LogName String 0"],
                        OutName="$(In.Root).tif", LogName="fixed.log"),
                {"id": "name", "operator": "VANTIX.CreateTempFilename"},
                {"id": "drop", "operator": "VANTIX.DeleteFile", "values": {"FilenameIn": "$HOME/old"}},
                {"id": "make", "operator": "VANTIX.CreateDirectory", "values": {"DirectoryIn": "new"}},
                {"id": "clear", "operator": "VANTIX.DeleteDirectory"},
                {"id": "copy", "operator": "VANTIX.CopyFileToDirectory",
                 "values": {"FilenameIn": "a/b.txt", "OutputDirectory": "to"}},
                {"id": "link", "operator": "VANTIX.CreateSymbolicLink"},
                {"id": "exists", "operator": "VANTIX.PathExists", "values": {"Path": "x"}},
                {"id": "group", "operator": "VANTIX.Model", "model": inner}],
            "connections": [{"from": "name.Filename", "to": "convert.In"}],
            "ports": [{"name": "Folder", "alias": "clear.Directory", "value": "given"},
                      {"name": "Link", "alias": "link.LinkFilenameIn"}]})
        home = os.environ.get("HOME", "$HOME")
        shell = [row for row in effects if row[1] == "starts" and row[0] == "convert"]
        self.assertTrue(shell[0][2].endswith("/sh"))
        self.assertFalse((self.folder / "fixed.log").exists())
        pattern = 'the pattern "$(In.Root).tif" of the port OutName'
        fixed = 'the pattern "fixed.log" of the port LogName'
        self.assertEqual([row for row in effects if row not in shell], [
            ("convert", "deletes", None, pattern), ("convert", "writes", None, pattern),
            ("convert", "deletes", "fixed.log", fixed), ("convert", "writes", "fixed.log", fixed),
            ("drop", "deletes", home + "/old", "the port FilenameIn"),
            ("make", "writes", "new", "the port DirectoryIn"),
            ("clear", "deletes", "given", "the port Directory"),
            ("copy", "writes", "to/b.txt", "the port OutputDirectory"),
            ("link", "writes", None, "the port LinkFilenameIn"),
            ("group.tool", "starts", "no-such-tool", '"no-such-tool", which is not found now'),
            ("group.report", "writes", "report.txt", "the port TextFilename")])

    def test_check_as_text_and_its_warnings(self):
        model = self.write("m.tsmx", {"operators": [
            command("a", "true", "", ["One File 1", "OneName String 0"], OneName="$(One)"),
            {"id": "d", "operator": "VANTIX.DeleteFile", "values": {"FilenameIn": "old"}}]})
        done = self.call("check", model)
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stdout, f"{model}: d: deletes old\n")
        self.assertEqual(done.stderr, f"warning: {model}: a: The file name patterns of these ports lead in a circle: One, One.\n")

    def test_check_tells_of_a_hidden_model_without_names(self):
        model = self.write("m.tsmx", {"operators": [command("a", "true", ""), command("b", "false", "")]})
        self.assertEqual(self.call("save", model, "m.tsmc").returncode, 0)
        done = self.call("check", "m.tsmc")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout, r"^m\.tsmc: [^\n]*: starts a program that the model hides\n$")

    def test_a_signal_ends_the_whole_group(self):
        marks = [self.folder / name for name in ("begun", "asked")]
        script = "trap 'sleep 1.2; touch asked; exit' TERM; touch begun; while :; do sleep 0.05; done"
        model = self.write("m.tsmx", {"operators": [command("a", "sh", '-c "$In"', ["In String 0"],
                                                            In=f'sh -c "{script}" & wait')]})
        run = subprocess.Popen([PROGRAM, "run", model], cwd=self.folder, env=self.env, stderr=subprocess.DEVNULL)
        while not marks[0].exists():
            time.sleep(0.02)
        run.send_signal(signal.SIGTERM)
        self.assertEqual(run.wait(10), 143)
        self.assertTrue(marks[1].exists())

    def test_preferences_of_all_types(self):
        rows = [("text", '{"Type": "string", "Value": "true"}', "true"), ("number", "2.5", "2.5"), ("yes", "true", "true"),
                ("word", '{"Type": "enumeration", "Value": "local"}', "local"),
                ("colour", '{"Type": "color", "Value": [0, 0.5, 1]}', "[0.0,0.5,1.0,1.0]")]
        for name, value, shown in rows:
            self.assertEqual(self.call("preferences", "set", "mine/" + name, value).returncode, 0)
            self.assertEqual(self.call("preferences", "get", "mine/" + name).stdout, shown + "\n")
        self.assertEqual(self.call("preferences", "set", "mine/text", "5").returncode, 0)
        kept = json.loads(self.call("preferences", "list", "--json").stdout)["mine"]
        self.assertEqual({name: value["Type"] for name, value in kept.items()},
                         {"text": "string", "number": "number", "yes": "boolean", "word": "enumeration", "colour": "color"})
        for name, value in (("number", "five"), ("number", "inf"), ("yes", "5"), ("colour", "red"), ("colour", "[1, 2]"),
                            ("colour", '[1, "a", 2]'), ("new", '{"Type": "other", "Value": 1}')):
            done = self.call("preferences", "set", "mine/" + name, value)
            self.assertEqual(done.returncode, 2, value)
            self.assertTrue(done.stderr.startswith("error: preferences set: "), done.stderr)
        model = self.write("m.tsmx", {
            "operators": [{"id": "p", "operator": "VANTIX.GetPreferenceValue", "values": {"Category": "mine", "Name": "colour"}}],
            "ports": [{"name": "Value", "alias": "p.Value"}]})
        done = self.call("run", model, "--json", "--pref", 'mine/colour={"Type": "number", "Value": 4}')
        self.assertEqual(json.loads(done.stdout)["Outputs"][0]["Data"], {"Type": "VANTIX.Double", "Value": 4.0})

    def test_the_page_of_preferences_is_that_of_the_installation(self):
        page = (pathlib.Path(os.environ["TESSERA_SOURCE"]) / "docs" / "preferences.md").read_text(encoding="utf-8")
        rows = {}
        for line in page.splitlines():
            cells = [cell.strip() for cell in line.split("|")]
            if len(cells) > 4 and cells[1].startswith("`") and "/" in cells[1]:
                rows[cells[1].strip("`")] = (cells[2], cells[3].strip("`"))
        with open(os.path.join(os.environ["TESSERA_SOURCE"], "etc", "preferences.json"), encoding="utf-8") as file:
            stored = json.load(file)
        self.assertEqual(rows, {f"{category}/{name}": (held["Type"], str(held["Value"]))
                                for category, names in stored.items() for name, held in names.items()})


if __name__ == "__main__":
    unittest.main()
