"""The manual pages and the completions tell what --help tells."""
import pathlib
import re
import shutil
import subprocess
import unittest

from program import PROGRAM, ProgramTest

SHELLS = ("bash", "zsh", "fish")
BATCH, SHELL = (str(pathlib.Path(PROGRAM).parent / name) for name in ("batchprocess.exe", "comspec"))


class ManualTest(ProgramTest):
    def helped(self):
        """Command to the words that its --help lists: options with their dashes."""
        commands = re.findall(r"^  ([a-z]+)  ", self.call("--help").stdout.partition("Subcommands:")[2], re.MULTILINE)
        self.assertIn("run", commands)
        return {command: re.findall(r"^  ([-,a-z]+)", self.call(command, "--help").stdout, re.MULTILINE)
                for command in commands}

    def test_every_option_is_in_all_of_them(self):
        page = self.call("manual").stdout.replace("\\-", "-")
        texts = {shell: self.call("completion", shell).stdout for shell in SHELLS}
        for command, words in self.helped().items():
            self.assertIn(f"tessera {command}", page)
            for word in (option for pair in words for option in pair.split(",")):
                with self.subTest(command=command, word=word):
                    self.assertIn(f"\\fB{word}\\fR", page)
                    for text in (texts["bash"], texts["zsh"]):
                        self.assertIn(word, text)
                    self.assertRegex(texts["fish"], rf" -(l|s) {word.lstrip('-')} ")

    def ask(self, *words):
        return subprocess.run(words, capture_output=True, text=True, timeout=60, cwd=self.folder, env=self.env)

    def test_the_other_programs_have_pages_of_their_own(self):
        for program, options in ((BATCH, ("-bcf", "-bls", "-simul", "-logfile", "--retries", "--resume", "--completion")),
                                 (SHELL, ("/C",))):
            page = self.ask(program, "--manual").stdout.replace("\\-", "-")
            help_text = self.ask(program, "--help").stdout
            listed = help_text.partition("Options:")[2].partition("Exit status:")[0]
            words = re.findall(r"^  (\S+) ", listed, re.MULTILINE)
            self.assertLessEqual({*options, "--help", "--version", "--manual"}, set(words))
            for word in words:
                self.assertIn(f"\\fB{word}\\fR", page)
            for option in options:
                if program == BATCH:
                    self.assertIn(option, self.ask(program, "--completion", "bash").stdout)
                    self.assertIn(f"'{option}[", self.ask(program, "--completion", "zsh").stdout)
                    self.assertRegex(self.ask(program, "--completion", "fish").stdout,
                                     rf" -{'l' if option.startswith('--') else 'o'} {option.lstrip('-')} ")
            self.assertRegex(self.ask(program, "--version").stdout, r"^\S+ \d")

    def test_comspec_runs_a_line_that_asks_another_for_its_help(self):
        done = self.ask(SHELL, "/C", f'"\"{PROGRAM}\" --help"')
        self.assertEqual((done.returncode, done.stdout.splitlines()[0]), (0, "Runs dataflow models."), done.stderr)

    def test_an_unknown_shell_is_refused(self):
        call = self.call("completion", "tcsh")
        self.assertEqual((call.returncode, call.stdout), (2, ""))
        self.assertIn("tcsh", call.stderr)
        self.assertIn("bash", call.stderr)
        for words in (("tcsh",), (), ("bash", "zsh")):
            call = self.ask(BATCH, "--completion", *words)
            self.assertEqual((call.returncode, call.stdout), (2, ""))
            self.assertIn("expected bash, zsh or fish", call.stderr)

    @unittest.skipUnless(shutil.which("groff"), "no groff to format the page with")
    def test_the_page_is_formatted_without_complaint(self):
        for words, own in (((PROGRAM, "manual"), ("COMMANDS", "ENVIRONMENT")),
                           ((BATCH, "--manual"), ("OPTIONS", "ENVIRONMENT")), ((SHELL, "--manual"), ("OPTIONS",))):
            page = self.ask(*words).stdout
            done = subprocess.run(["groff", "-man", "-ww", "-Tutf8"], input=page, capture_output=True, text=True,
                                  timeout=60)
            self.assertEqual((done.returncode, done.stderr), (0, ""), words)
            for heading in ("NAME", "SYNOPSIS", "EXIT STATUS", *own):
                self.assertIn(heading, re.sub(".\b", "", done.stdout), words)  # bold letters are struck twice

    def test_shells_read_their_completions(self):
        missing = []
        for shell in SHELLS:
            if not shutil.which(shell):
                missing.append(shell)
                continue
            for words in ((PROGRAM, "completion"), (BATCH, "--completion")):
                file = self.folder / shell
                file.write_text(self.ask(*words, shell).stdout)
                done = subprocess.run([shell, "-n", str(file)], capture_output=True, text=True, timeout=60)
                self.assertEqual((done.returncode, done.stderr), (0, ""), (shell, words))
        if missing:
            print("not installed, so not asked:", *missing)

    def complete(self, *words, page=(PROGRAM, "completion"), function="_tessera"):
        """What bash offers behind these words."""
        file = self.folder / "completion"
        file.write_text(self.ask(*page, "bash").stdout)
        script = 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); compopt() { :; }; ' + function + '; ' \
                 'printf "%s\\n" "${COMPREPLY[@]}"'
        done = subprocess.run(["bash", "--norc", "-c", script, "bash", str(file), page[0], *words], capture_output=True,
                              text=True, timeout=60, cwd=self.folder, env=self.env)
        self.assertEqual(done.stderr, "")
        return done.stdout.split("\n")[:-1]

    @unittest.skipUnless(shutil.which("bash"), "no bash")
    def test_bash_offers_what_fits(self):
        for name in ("a model.tsmx", "other.tsmc", "text.txt"):
            (self.folder / name).touch()
        (self.folder / "folder").mkdir()
        models = ["a model.tsmx", "other.tsmc", "folder"]
        for words, expected in (
                (("ch",), ["check"]),
                (("run", "--prog"), ["--progress"]),
                (("run", "--progress", ""), ["auto", "bar", "plain", "none"]),
                (("run", "--progress", "p"), ["plain"]),
                (("run", ""), models),
                (("run", "--outputs", "te"), ["text.txt"]),
                (("run", "--outputs", "x.json", "ot"), ["other.tsmc"]),
                (("run", "--preview", ""), ["folder"]),
                (("run", "a model.tsmx", ""), [""]),
                (("check", "a model.tsmx", "ot"), ["other.tsmc"]),
                (("save", "a model.tsmx", "te"), ["text.txt"]),
                (("completion", "z"), ["zsh"]),
                (("list", "ker"), ["kernels"]),
                (("describe", "Sort"), ["SortItems"])):
            with self.subTest(words):
                self.assertEqual(sorted(self.complete(*words)), sorted(expected))

    @unittest.skipUnless(shutil.which("bash"), "no bash")
    def test_bash_offers_what_fits_the_batch_manager(self):
        (self.folder / "job.bcf").touch()
        for words, expected in ((("-b",), ["-bcf", "-bls"]), (("-bcf", ""), ["completion", "job.bcf"]),
                                (("-simul", ""), [""]), (("-simul", "2", "--ret"), ["--retries"]),
                                (("--completion", "f"), ["fish"])):
            with self.subTest(words):
                offered = self.complete(*words, page=(BATCH, "--completion"), function="_batchprocess_exe")
                self.assertEqual(sorted(offered), expected)


if __name__ == "__main__":
    unittest.main()
