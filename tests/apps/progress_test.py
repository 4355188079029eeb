"""How the program shows progress: a bar on a terminal, lines where asked for, nothing into a pipe."""
import fcntl
import os
import pty
import re
import struct
import subprocess
import termios
import unittest

from program import PROGRAM, TEST_PLUGINS, ProgramTest

BAR = re.compile(r"^\[(#*) *\] +(\d+)% (.*) \((\d+:\d\d)(?:, (\d+:\d\d) left)?\)$")


class ProgressTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.env["VANTIX_PLUGIN_PATH"] = TEST_PLUGINS

    def steps_model(self, names=("First", "Second"), **values):
        operators = [{"id": f"o{i}", "operator": "VANTIX.TestSteps", "displayName": name, "values": values}
                     for i, name in enumerate(names)]
        connections = [{"from": f"o{i}.Done", "to": f"o{i + 1}.After"} for i in range(len(names) - 1)]
        return self.write("m.tsmx", {"operators": operators, "connections": connections})

    def on_terminal(self, *words, columns=100):
        """Exit status, and what the terminal was sent."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 25, columns, 0, 0))
        run = subprocess.Popen([PROGRAM, "run", *words], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=slave, cwd=self.folder, env=self.env)
        os.close(slave)
        sent = b""
        while True:
            try:
                block = os.read(master, 65536)
            except OSError:  # the other side was closed
                break
            if not block:
                break
            sent += block
        os.close(master)
        return run.wait(timeout=60), sent.decode("utf-8")

    def bars(self, sent):
        return [BAR.match(line) for line in re.split("[\r\n]+|\x1b\\[K", sent) if line.startswith("[")]

    def test_a_bar_with_percent_name_and_times(self):
        status, sent = self.on_terminal(self.steps_model(Milliseconds=120))
        self.assertEqual(status, 0)
        bars = self.bars(sent)
        self.assertGreater(len(bars), 8, sent)
        self.assertNotIn(None, bars, sent)
        percents = [int(bar[2]) for bar in bars]
        self.assertEqual(percents, sorted(percents))
        self.assertLess(percents[0], 15)
        self.assertGreaterEqual(percents[-1], 85)
        for bar in bars:
            self.assertLessEqual(abs(len(bar[1]) - int(bar[2]) * 24 / 100), 1, bar[0])
            self.assertEqual(bar[3], "First" if int(bar[2]) < 50 else "Second" if int(bar[2]) > 55 else bar[3])
        self.assertEqual(bars[0][4], "0:00")
        self.assertEqual(bars[-1][4], "0:02")
        half = next(bar for bar in bars if int(bar[2]) >= 50)
        self.assertIn(half[5], ("0:00", "0:01"), "2.4 seconds in all")
        self.assertTrue(sent.endswith("\r\x1b[K"), "the bar goes with the run")

    def test_the_time_goes_on_while_an_operator_tells_nothing(self):
        status, sent = self.on_terminal(self.steps_model(["Long"], Milliseconds=1500, Steps=1))
        self.assertEqual(status, 0)
        at_nothing = [bar[4] for bar in self.bars(sent) if bar[2] == "0"]
        self.assertGreater(len(at_nothing), 2, sent)
        self.assertIn("0:01", at_nothing)

    def test_an_inner_model_counts_by_what_is_inside(self):
        inner = {"operators": [{"id": f"i{i}", "operator": "VANTIX.TestSteps", "displayName": f"Inner {i}",
                                "values": {"Milliseconds": 60}} for i in range(2)],
                 "order": [{"before": "i0", "after": "i1"}]}
        model = self.write("m.tsmx", {"operators": [{"id": "box", "operator": "VANTIX.Model", "model": inner}]})
        status, sent = self.on_terminal(model, "--threads", "0")
        self.assertEqual(status, 0)
        percents = [int(bar[2]) for bar in self.bars(sent)]
        self.assertEqual(percents, sorted(percents))
        self.assertTrue([p for p in percents if 5 <= p < 50], percents)
        self.assertTrue([p for p in percents if 50 < p < 100], percents)
        self.assertLessEqual({"Inner 0", "Inner 1"}, {bar[3] for bar in self.bars(sent)})

    def test_a_bar_stays_on_its_line(self):
        name = "A very long name\nof two lines\x1b[2J and more letters than fit \u6f22\u6f22\u6f22\u6f22"
        for columns in (100, 60, 30):
            status, sent = self.on_terminal(self.steps_model([name], Milliseconds=40), columns=columns)
            self.assertEqual(status, 0)
            lines = [line for line in sent.split("\r\x1b[K") if line]
            self.assertTrue(lines)
            for line in lines:
                self.assertLess(sum(2 if ord(c) >= 0x1100 and c != "\u2026" else 1 for c in line), columns, line)
                self.assertNotRegex(line, "[\n\x1b]")
            self.assertTrue(any("\u2026" in line for line in lines), sent)

    def test_a_message_takes_the_place_of_the_bar(self):
        status, sent = self.on_terminal(self.steps_model(["Told"], Milliseconds=60, Warning="Look here."))
        self.assertEqual(status, 0)
        self.assertIn("\x1b[Kwarning: Told: Look here.\r\n", sent)
        self.assertTrue(self.bars(sent.split("Look here.")[1]), "and comes back")

    def test_plain_lines(self):
        model = self.steps_model(["One\ntwo", "Second"], Milliseconds=30)
        piped = self.call("run", model, "--progress", "plain")
        status, sent = self.on_terminal(model, "--progress", "plain")
        self.assertEqual((piped.returncode, status), (0, 0))
        for lines in (piped.stderr.splitlines(), sent.splitlines()):
            percents = []
            for line in lines:
                self.assertRegex(line, r"^ *\d+% (One two|Second)$")
                percents.append(int(line.split("%")[0]))
            self.assertEqual(percents, sorted(set(percents)))
            self.assertEqual((percents[0], percents[-1]), (0, 100))

    def test_nothing_into_a_pipe_nor_where_it_is_not_wanted(self):
        model = self.steps_model()
        for words in ([], ["--progress", "auto"], ["--progress", "bar"], ["--progress", "none"], ["--quiet"]):
            done = self.call("run", model, *words)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""), words)
        for words in (["--progress", "none"], ["--quiet"]):
            self.assertEqual(self.on_terminal(model, *words), (0, ""), words)


if __name__ == "__main__":
    unittest.main()
