"""The reference of messages and the sources tell the same.

    messages_test.py ROOT

A text of a source counts as a message where it reads as words of a sentence, whichever function it is handed to: what
is told is often put together by helpers. Pieces that a variable stands between are looked for one by one.
"""
import functools
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1)).resolve()
# Rooms whose messages the reference has. Operators have theirs on their pages.
ROOMS = ("host", "apps", "interfaces", "tx_general")
OPERATORS = ("host/operators/",)
# Files whose texts are no messages, and why.
NO_MESSAGES = {
    "apps/batchprocess/main.cpp": "its help",
    "apps/comspec/main.cpp": "its help",
    "apps/common/completions.cpp": "scripts for shells",
    "apps/common/manualpage.cpp": "marks of the manual's formatter",
    "apps/tessera/schema.cpp": "the schema",
    "apps/tessera/effects.cpp": "what `check` prints; told under the command line",
    "apps/tessera/profile.cpp": "the head of the profile's table",
    "host/kprj/units.inc": "names of units",
    "host/modules/proj/altering.cpp": "names of methods and parameters",
}
# Texts that a user can do nothing about, or that are none of messages, by the file.
NOTHING_TO_DO = {
    "apps/common/helptext.cpp": {"Exit status", "Print this help message and exit", "This help as a manual page, for man",
                                 "The version", "Completions of this command line for a shell"},
    # The help, which the manual's test holds.
    "apps/tessera/arguments.cpp": None,
    "apps/tessera/draw.cpp": {"node [shape=box, style=rounded];", "subgraph cluster_"},
    "apps/tessera/inspect.cpp": {"operators: not shown"},
    "apps/tessera/preferences.cpp": {"preferences set", "preferences get"},
    "apps/tessera/values.cpp": {"(no data)"},
    # An exception that is none of the standard library's.
    "apps/tessera/common.cpp": {"Unknown exception"},
    "host/kcommon/kerr.cpp": {"Unknown exception"},
    "host/korvenlog/exception.cpp": {"Unknown exception"},
    "interfaces/korvenlog/exception.h": {"Unknown exception"},
    "host/txlib/documentlinks.cpp": {"Unknown exception"},
    # The log of a batch run.
    "host/batch/batchmanager.cpp": {"standard output", "standard error", ": done before"},
    "host/batch/slurmexecutor.cpp": {"run directory:", "of an earlier run goes on, with", "releasing task",
                                     ": the task ended without a result:", "lines in", "at a time"},
    "host/batch/slurmtask.cpp": {": the directory is another run's by now"},
    # Words of Slurm that are waited for.
    "host/batch/slurmcommands.cpp": {
        "unable to contact slurm controller", "socket timed out", "connection refused", "communication connection failure",
        "temporarily unable", "resource temporarily unavailable", "zero bytes were transmitted",
        "slurm backup controller in standby"},
    # The cipher's library fails, or a build has another layout.
    "host/kcommon/encryption.cpp": {"Tessera, enciphered bytes, AES-256-GCM", "The key can't be derived.",
                                    "The cipher can't be run.", "There is no cipher mode", ", only mode 1.",
                                    "The system gives no random numbers."},
    "host/kcommon/encryptiontext.cpp": {"The bytes are no text at byte"},
    "host/kcommon/hash.cpp": {"The check value can't be computed."},
    # Names, and the text of systems.
    "host/kprj/kprjcode.cpp": {"VANTIX/Predefined/Coordinate Reference Systems/",
                               "VANTIX/Transient/Coordinate Reference Systems/"},
    "interfaces/kprj/crsfactory.h": {f"VANTIX/Predefined/Coordinate Reference Systems/{count}D/Unknown"
                                     for count in (1, 2, 3)},
    "host/kprj/parts.cpp": {'ellipsoidal height (h)",up', 'gravity-related height (H)",up'},
    "host/modules/proj/parts.cpp": {"llipsoidal height", "height in"},
    "host/txlib/modelformatfactory.cpp": {"Tessera Model (*.tsmx)"},
    "tx_general/encryptedtesseramodelformat.cpp": {"Encrypted Model (*.tsmc)"},
    "host/txlib/data.cpp": {"Value of type"},
    "host/txlib/datarequest.cpp": {"A request that is pulled through a model"},
    "host/txlib/numberdata.cpp": {"unsigned int"},
    # The system has no more of something.
    "host/batch/localexecutor.cpp": {"a file for what a line writes"},
    "host/kcommon/kprc.cpp": {"a pipe", "the end of a program"},
    "host/kcommon/processstart.cpp": {"a pipe"},
    "host/txlib/temporaryfiles.cpp": {"The program is about to end: there are no more temporary folders."},
    "host/txlib/jsonvalue_payload.cpp": {"a JSON value of too many items"},
}
# Words of the reference that stand for what is found in place.
PLACEHOLDERS = ("FILE FILES FOLDER FOLDERS NAME NAMES OTHER REASON N WHERE PLACE FOUND WORD TYPE TEXT FORMAT ID IDS PORT KEY "
                "OPERATOR VALUES KIND HEX HOLDER RANGE LOCK SIGNAL CATEGORY FAILURE OPTION NUMBERS JOB LIST SIGN COMMAND "
                "STATE CODE VERSION PROGRAM FORM").split()
LITERAL = re.compile(r"//[^\n]*|/\*.*?\*/|(?P<directive>^[ \t]*#(?:[^\n\\]|\\.)*)"
                     r"|(?:L|u8)?R\"(?P<mark>[^ ()\\]*)\((?P<raw>.*?)\)(?P=mark)\""
                     r"|(?:L|u8)?\"(?P<plain>(?:[^\"\\\n]|\\.)*)\"|'(?:[^'\\\n]|\\.)+'", re.DOTALL | re.MULTILINE)
ESCAPES = {"n": "\n", "t": "\t", "r": "\r"}


def texts_of(source):
    """The string literals of a source; those side by side are one."""
    texts, end = [], None
    for match in LITERAL.finditer(source):
        text = match["raw"]
        if match["plain"] is not None:
            text = re.sub(r"\\(.)", lambda escape: ESCAPES.get(escape[1], escape[1]), match["plain"], flags=re.DOTALL)
        if text is None:
            continue
        if end is not None and not source[end:match.start()].strip():
            texts[-1] += text
        else:
            texts.append(text)
        end = match.end()
    return texts


FORMAT = re.compile(r"%(?:[-+#0-9.]*(?:l|ll|z)?[a-zA-Z])?")


def pieces(text):
    """What of a text reads as words: without what is filled in, line by line."""
    for piece in re.split(r"\n", FORMAT.sub("\n", text)):
        piece = piece.strip()
        if re.search(r"[a-z]", piece) and re.search(r"[A-Za-z]['’,:;]? [A-Za-z]", piece):
            yield piece


def sources():
    for room in ROOMS:
        for path in sorted((ROOT / room).rglob("*")):
            name = str(path.relative_to(ROOT))
            if path.suffix in (".cpp", ".h", ".inc") and not name.startswith(OPERATORS):
                yield name, path.read_text(encoding="utf-8")


def is_of_an_operator(name, source):
    """What stands beside operators, and so on their pages; the encrypted format is none."""
    return name.startswith("tx_general/") and "encrypted" not in name


@functools.cache
def told():
    """The first cells of the reference and of the operators' pages, each with its page: messages, which ", " divides."""
    found = []
    for path in [ROOT / "docs/messages.md", *sorted((ROOT / "docs/operators").glob("*.md"))]:
        for line in path.read_text(encoding="utf-8").splitlines():
            if not line.startswith('| "'):
                continue
            cell = line[2:].split(" | ")[0]
            cell = re.sub(r"\\([\\`*_|\"\[\]])", r"\1", cell)
            found.append((path.name, FORMAT.sub("", cell[1:-1])))
    return found


class MessagesTest(unittest.TestCase):
    def test_what_the_sources_say_is_told(self):
        all_told = "\n".join(text for _, text in told())
        missing, count = [], 0
        for name, source in sources():
            left_out = NOTHING_TO_DO.get(name, set())
            if name in NO_MESSAGES or left_out is None or is_of_an_operator(name, source):
                continue
            for text in texts_of(source):
                for piece in pieces(text):
                    count += 1
                    if piece not in all_told and piece not in left_out:
                        missing.append(f"{name}: {piece!r}")
        self.assertGreater(count, 400)
        self.assertEqual(missing, [], "\n".join(["not in docs/messages.md:", *missing]))

    def test_what_is_told_is_said_by_a_source(self):
        said = [FORMAT.sub("", text) for _, source in sources() for text in texts_of(source)]
        whole = {stripped(text) for text in said}
        everything = "\n".join(said)
        rows = [text for page, text in told() if page == "messages.md"]
        self.assertGreater(len(rows), 150)
        wrong = []
        for part in (part for row in rows for text in re.split(r'(?<!NaN)", "', row) for part in parts_of(text)):
            if part not in everything and not is_put_together(part, whole):
                wrong.append(part)
        self.assertEqual(wrong, [], "\n".join(["no source says:", *wrong]))

    def test_the_lists_name_what_there_is(self):
        texts = {name: [piece for text in texts_of(source) for piece in pieces(text)] for name, source in sources()}
        for name in NO_MESSAGES:
            self.assertIn(name, texts)
        for name, left_out in NOTHING_TO_DO.items():
            self.assertIn(name, texts)
            self.assertLessEqual(left_out or set(), set(texts[name]), name)


def stripped(text):
    return text.strip(' ":.,;()\n')


def parts_of(message):
    """What stands between the placeholders."""
    parts = re.split(rf"(?:\b|(?<=0x))(?:{'|'.join(PLACEHOLDERS)})\b(?!=)", message)
    return [stripped(part) for part in parts if re.search(r"[a-z]", part)]


def is_put_together(part, whole):
    """Of whole texts of sources: "found ", "the end of the line", ", expected " and "a number"."""
    if not part:
        return True
    return any(part[:place] in whole and place > 1 and is_put_together(stripped(part[place:]), whole)
               for place in range(len(part), 0, -1) if place == len(part) or not part[place].isalnum())


if __name__ == "__main__":
    unittest.main()
