"""Encrypted documents as a user meets them: they run, and show nothing of their inside."""
import json
import os
import pathlib
import subprocess
import time
import unittest

from program import PROGRAM, ProgramTest

TEXT = {"displayName": "Published", "description": "Turns a value into text.",
        "ports": [{"name": "Data", "alias": "secret_id.Data", "value": 7}, {"name": "Out", "alias": "more.String"}],
        "operators": [{"id": "secret_id", "operator": "VANTIX.ToString", "displayName": "Secret name"},
                      {"id": "more", "operator": "VANTIX.ToString"}],
        "connections": [{"from": "secret_id.String", "to": "more.Data"}]}
FAILING = {"displayName": "Published",
           "ports": [{"name": "Done", "alias": "secret_id.Success"}],
           "operators": [{"id": "secret_id", "operator": "VANTIX.RequireCondition", "displayName": "Secret name",
                          "values": {"ShouldBeTrue": False, "Message": "No image today."}}]}
UNKNOWN = {"displayName": "Published",
           "operators": [{"id": "secret_id", "operator": "SECRET.Thing", "displayName": "Secret name"}]}
ITERATING = {"displayName": "Published",
             "ports": [{"name": "Data", "alias": "secret_id.Data",
                        "value": [1, 2, 3]}, {"name": "Out", "alias": "secret_id.Success"}],
             "operators": [{"id": "secret_id", "operator": "VANTIX.Iterator", "displayName": "Secret loop", "model": {
                 "ports": [{"name": "Data", "alias": "a.ShouldBeTrue"}, {"name": "Success", "alias": "a.Success"}],
                 "operators": [{"id": "a", "operator": "VANTIX.RequireCondition", "displayName": "Secret name",
                                "values": {"Message": "No image today."}}]}}]}
CHANGED = "Encrypted Tessera Model file is invalid or has been modified since publication."


class EncryptedTest(ProgramTest):
    def publish(self, model, name="m.tsmc", warning=""):
        done = self.call("save", self.write("plain.tsmx", model), name)
        self.assertEqual((done.returncode, done.stdout), (0, ""))
        if warning is not None:
            self.assertEqual(done.stderr, warning)
        return name

    def assert_hidden(self, *texts):
        for text in texts:
            for word in ("ecret", "SECRET", "ToString", "RequireCondition", "Iterator"):
                self.assertNotIn(word, text)

    def test_it_runs_like_the_plain_one(self):
        name = self.publish(TEXT)
        for words in ([], ["--json"], ["--set", "Data=4.5"], ["--threads", "0"]):
            plain, done = self.call("run", "plain.tsmx", *words), self.call("run", name, *words)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, plain.stdout, ""))
        text = (self.folder / name).read_text(encoding="utf-8")
        self.assert_hidden(text)
        self.assertEqual(self.call("run", "-", text=text).stdout, "Out: 7\n")

    def test_nothing_of_the_inside_is_shown(self):
        name = self.publish(TEXT)
        info = self.call("info", name)
        self.assertEqual(info.stdout.splitlines(),
                         ["Published", "Turns a value into text.", "ports:",
                          "  input Data: VANTIX.Data, value 7", "  output Out: VANTIX.String", "operators: not shown"])
        facts = json.loads(self.call("info", name, "--json").stdout)
        self.assertEqual(sorted(facts), ["description", "displayName", "name", "namespace", "ports"])
        draw = self.call("draw", name)
        self.assertIn('label="Published"', draw.stdout)
        self.assertEqual(draw.stdout.count("shape=ellipse"), 2)
        check = self.call("check", name, "--json")
        self.assertEqual(json.loads(check.stdout), {"documents": [{"file": name, "problems": [], "effects": []}]})
        run = self.call("run", name, "--progress", "plain")
        self.assert_hidden(info.stdout, json.dumps(facts), draw.stdout, check.stdout, run.stdout, run.stderr)

    def test_messages_and_failures_name_the_model(self):
        name = self.publish(FAILING)
        done = self.call("run", name, "--messages", "said", "--progress", "plain")
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stderr.endswith("error: Published: No image today.\n"), done.stderr)
        said = [json.loads(line) for line in (self.folder / "said").read_text().splitlines()]
        self.assertEqual(said, [{"severity": 2, "operator": "Published", "text": "No image today."}])
        self.assert_hidden(done.stderr)

    def test_copies_of_the_inside_are_hidden_too(self):
        name = self.publish(ITERATING)
        plain = self.call("run", "plain.tsmx", "--progress", "plain", "--set", 'Data={"Type": "VANTIX.List", "Value": '
                          '[{"Type": "VANTIX.Bool", "Value": true}, {"Type": "VANTIX.Bool", "Value": false}]}')
        self.assertIn("Secret", plain.stderr)
        for threads in ("0", "4"):
            done = self.call("run", name, "--progress", "plain", "--threads", threads, "--set",
                             'Data={"Type": "VANTIX.List", "Value": [{"Type": "VANTIX.Bool", "Value": true}, '
                             '{"Type": "VANTIX.Bool", "Value": false}]}')
            self.assertEqual(done.returncode, 1)
            self.assertIn("error: Published: ", done.stderr)
            self.assert_hidden(done.stdout, done.stderr)

    def test_a_linked_one_is_hidden(self):
        self.publish(FAILING, "failing.tsmc")
        self.publish(TEXT)
        linking = {"ports": [{"name": "Data", "alias": "link.Data"}, {"name": "Out", "alias": "link.Out"}],
                   "operators": [{"id": "link", "operator": "VANTIX.TesseraModel", "displayName": "My link",
                                  "values": {"LinkedModelFilename": {"Type": "VANTIX.File", "Value": "m.tsmc"}}}]}
        self.write("linking.tsmx", linking)
        run = self.call("run", "linking.tsmx", "--set", "Data=8", "--progress", "plain", "--profile", "profile.json")
        self.assertEqual((run.returncode, run.stdout), (0, "Out: 8\n"), run.stderr)
        profile = json.loads((self.folder / "profile.json").read_text())
        self.assertIn("link", [row["id"] for row in profile["operators"]])
        info, draw = self.call("info", "linking.tsmx"), self.call("draw", "linking.tsmx")
        self.assertEqual(info.stdout.splitlines()[-2:], ["operators:", "  1 VANTIX.TesseraModel"])
        self.assertIn("My link", draw.stdout)
        self.assertEqual(self.call("check", "linking.tsmx").returncode, 0)
        self.assertEqual(self.call("save", "linking.tsmx", "saved.tsmx").returncode, 0)
        saved = (self.folder / "saved.tsmx").read_text()
        self.assertIn("m.tsmc", saved)
        self.assert_hidden(run.stderr, json.dumps(profile), info.stdout, draw.stdout, saved)
        del linking["ports"]
        linking["operators"][0]["values"]["LinkedModelFilename"]["Value"] = "failing.tsmc"
        failed = self.call("run", self.write("linking.tsmx", linking), "--progress", "plain")
        self.assertEqual(failed.returncode, 1)
        self.assertTrue(failed.stderr.endswith("error: Published: No image today.\n"), failed.stderr)
        self.assert_hidden(failed.stderr)

    def test_a_damaged_linked_one_is_told_without_its_inside(self):
        buffer = json.dumps({"format": "TesseraModelFormat", "version": 1, "operators": [{"id": "secret_id"}]})
        self.publish({"operators": [
            {"id": "a", "operator": "VANTIX.TesseraModel", "attributes": {"ModelBuffer": buffer}},
            {"id": "b", "operator": "VANTIX.TesseraModel",
             "values": {"LinkedModelFilename": {"Type": "VANTIX.File", "Value": "secret.tsmx"}}}]}, warning=None)
        linking = {"operators": [{"id": "link", "operator": "VANTIX.TesseraModel", "values": {
            "LinkedModelFilename": {"Type": "VANTIX.File", "Value": "m.tsmc"}}}]}
        check = self.call("check", self.write("linking.tsmx", linking))
        info = self.call("info", "linking.tsmx")
        self.assertEqual(info.returncode, 0)
        self.assert_hidden(check.stdout, check.stderr, info.stdout, info.stderr)
        (self.folder / "m.tsmc").write_text("{}")
        check = self.call("check", "linking.tsmx")
        self.assertEqual(check.returncode, 0)  # what a link leads to is warned of
        self.assertIn(CHANGED, check.stderr)

    def test_profiles_and_previews_show_nothing(self):
        model = dict(TEXT, operators=TEXT["operators"] + [{"id": "look", "operator": "VANTIX.Preview"}],
                     connections=TEXT["connections"] + [{"from": "more.String", "to": "look.Input1"}])
        name = self.publish(model)
        plain = self.call("run", "plain.tsmx", "--preview", "seen", "--profile")
        self.assertEqual(plain.returncode, 0, plain.stderr)
        self.assertEqual(len(list((self.folder / "seen").iterdir())), 1)
        run = self.call("run", name, "--preview", "hidden", "--profile")
        self.assertEqual((run.returncode, list((self.folder / "hidden").iterdir())), (0, []))
        self.assertIn("profile: own s", run.stderr)
        self.assert_hidden(run.stdout, run.stderr)
        self.assertEqual(self.call("run", name, "--profile", "profile.json").returncode, 0)
        self.assertEqual(json.loads((self.folder / "profile.json").read_text())["operators"], [])

    def test_an_unknown_operator_is_told_without_its_name(self):
        name = self.publish(UNKNOWN, warning=f'warning: {self.folder}/plain.tsmx: Secret name: found the unknown '
                            'operator "SECRET.Thing"\n')
        run = self.call("run", name)
        self.assertEqual((run.returncode, run.stderr),
                         (1, "error: Published: The operator implemenation could not be located!\n"))
        check = self.call("check", name)
        self.assertEqual((check.returncode, check.stderr),
                         (2, f"error: {name}: the model needs an operator that is not known here\n"))

    def test_it_can_not_be_saved_in_plain(self):
        name = self.publish(TEXT)
        done = self.call("save", name, "out.tsmx")
        self.assertEqual((done.returncode, done.stderr), (
            2, 'error: out.tsmx: The model "Published" was published without its inside: it can\'t be saved in a plain '
               "format.\n"))
        self.assertFalse((self.folder / "out.tsmx").exists())
        self.assertEqual(self.call("save", name, "again.tsmc").returncode, 0)
        self.assertEqual(self.call("run", "again.tsmc").stdout, "Out: 7\n")

    def test_what_was_changed_is_refused_by_every_command(self):
        name = self.publish(TEXT)
        document = json.loads((self.folder / name).read_text(encoding="utf-8"))
        document["Description"] = "Somebody else's."
        (self.folder / name).write_text(json.dumps(document), encoding="utf-8")
        for command in (["run"], ["info"], ["draw"], ["check"]):
            done = self.call(*command, name)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", f"error: {name}: {CHANGED}\n"))
        done = self.call("save", name, "out.tsmc")
        self.assertEqual((done.returncode, done.stderr), (2, f"error: {name}: {CHANGED}\n"))

    def test_a_document_of_another_build_is_refused(self):
        name = str(pathlib.Path(os.environ["TESSERA_SOURCE"]) / "tests/tx_general/documents/otherkey.tsmc")
        done = self.call("run", name)
        self.assertEqual((done.returncode, done.stderr), (2, f"error: {name}: {CHANGED}\n"))

    def test_nothing_is_left_behind(self):
        temporary = self.folder / "temporary"
        temporary.mkdir()
        self.env["TMPDIR"] = str(temporary)
        name = self.publish(TEXT)
        self.call("run", name)
        self.assertEqual(list(temporary.iterdir()), [])
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["m.tsmc", "plain.tsmx", "temporary"])

    def test_batch_runs_keep_it_enciphered(self):
        temporary = self.folder / "temporary"
        temporary.mkdir()
        self.env["TMPDIR"] = str(temporary)
        name = self.publish({"displayName": "Published", "ports": [
            {"name": "In", "alias": "secret_id.In", "value": ["a", "b", "c"]}, {"name": "Out", "alias": "secret_id.Out"}],
            "operators": [{"id": "secret_id", "operator": "VANTIX.Iterator", "displayName": "Secret loop",
                           "values": {"ExecutionMethod": "OutOfProcessBatch"}, "model": {
                               "ports": [{"name": "In", "alias": "a.Data"}, {"name": "Out", "alias": "a.String"}],
                               "operators": [{"id": "a", "operator": "VANTIX.ToString",
                                              "displayName": "Secret name"}]}}]})
        run = subprocess.Popen([PROGRAM, "run", name, "--log", "log"], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               text=True, cwd=self.folder, env=self.env)
        documents = {}
        while run.poll() is None:
            for path in temporary.glob("**/*.tsm*"):
                try:
                    documents[path.name] = path.read_text(encoding="utf-8")
                except FileNotFoundError:
                    continue
            time.sleep(0.002)
        stdout, stderr = run.communicate()
        self.assertEqual((run.returncode, stdout, stderr), (0, 'Out: ["a", "b", "c"]\n', ""))
        self.assertNotEqual(documents, {}, "the document of the processes was never seen")
        self.assertEqual({os.path.splitext(document)[1] for document in documents}, {".tsmc"})
        for document in documents.values():
            self.assertIn('"DisplayName": "Published"', document)
            for word in ("ecret", "ToString"):
                self.assertNotIn(word, document)

    def test_the_cipher_is_loaded_where_it_is_needed(self):
        name = self.publish(TEXT)
        self.env["LD_DEBUG"] = "files"
        self.assertNotIn("libcrypto", self.call("run", "plain.tsmx").stderr)
        self.assertIn("libcrypto", self.call("run", name).stderr)


if __name__ == "__main__":
    unittest.main()
