"""A private emulated switch for a test: the real tool on the emulated libraries, and emuswitch beside it."""

import contextlib
import os
import pathlib
import re
import shlex
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import typing

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "companion"))
from json_schema import checked  # noqa: E402  pylint: disable=wrong-import-position

SOURCE = pathlib.Path(__file__).resolve().parents[2]
TOOL = os.environ["TOLVANE"]
COMPANION = os.environ["COMPANION"]
LIBRARIES = os.environ["EMULATED_LIBRARIES"]
USAGE = (SOURCE / "tests/contract/usage.golden").read_text()

OK = "<response>\n  <result>OK</result>\n</response>\n"
REFUSAL = re.compile(
    r"<response>\n  <result>NG</result>\n  <error>\n    <errcode>(-?\d+)</errcode>\n"
    r"    <errmsg>(.*)</errmsg>\n  </error>\n</response>\n", re.S)


class Answer(typing.NamedTuple):
    """What came of one sentence."""

    outcome: str  # as transcripts have it: OK, NG CODE "message", usage, no more argument, nothing, | text
    errors: str  # standard error
    status: int  # exit status, negative for a signal

    @property
    def code(self):
        """The code of a refusal; 0 when the sentence was accepted."""
        match = re.match(r"NG (-?\d+) ", self.outcome)
        return int(match[1]) if match else 0

    @property
    def is_accepted(self):
        return self.outcome == "OK" or self.outcome.startswith("|")


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n") + '"'


def outcome_of(output):
    if output == OK:
        return "OK"
    if match := REFUSAL.fullmatch(output):
        return f"NG {match[1]} {quoted(match[2])}"
    if output == USAGE:
        return "usage"
    if output == "no more argument\n":
        return "no more argument"
    if not output:
        return "nothing"
    return "\n".join(f"| {line}" for line in output.splitlines())


def answer_of(done):
    return Answer(outcome_of(done.stdout), done.stderr, done.returncode)


class Switch:
    """Empty at first; gone at the end of the `with`."""

    def __init__(self, folder=None):
        self.folder = pathlib.Path(folder or tempfile.mkdtemp(prefix="emuswitch-test-"))
        self.store = self.folder / "switch.db"
        # On the path only what emuswitch looks for there, so that an installed one is never taken.
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.folder),
            "LC_ALL": "C.UTF-8",
            "LD_LIBRARY_PATH": LIBRARIES,
            "EMUSWITCH": str(self.store),
        }

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.folder)

    def start(self, sentence, **options):
        """Starts the tool with a sentence and does not wait for it."""
        return subprocess.Popen([TOOL, *words_of(sentence)], env=self.environment, text=True, errors="surrogateescape",
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)

    def say(self, sentence):
        with self.start(sentence) as process:
            output, errors = process.communicate()
        return Answer(outcome_of(output), errors, process.returncode)

    def companion(self, *arguments, check=True, text=None):
        done = subprocess.run([COMPANION, *arguments], env=self.environment, capture_output=True, text=True, input=text)
        if check and done.returncode != 0:
            raise AssertionError(f"emuswitch {' '.join(arguments)} ended with {done.returncode}: {done.stderr}")
        return done

    def play(self, text):
        return self.companion("play", "-", text=text)

    def command(self, line):
        """A line `tolvane SENTENCE` or `emuswitch COMMAND`. Answers what came of a sentence, else nothing."""
        program, _, rest = line.partition(" ")
        if program == "tolvane":
            return self.say(rest)
        if program != "emuswitch":
            raise ValueError(f"neither tolvane nor emuswitch: {line}")
        self.companion(*shlex.split(rest))
        return None

    def config(self):
        return self.companion("config").stdout

    def state(self):
        return self.companion("show", "--json").stdout

    def shown(self):
        """The state as Python values, held to the schema."""
        return checked("show", self.state())

    def connected(self):
        """The store, for many questions: each connection reads the schema anew."""
        return contextlib.closing(sqlite3.connect(self.store, timeout=3600))

    def query(self, sql, *values):
        with self.connected() as store:
            return store.execute(sql, values).fetchall()

    def change(self, sql, *values):
        with self.connected() as store, store:
            store.execute(sql, values)

    def tables(self, *others):
        """The rows of all tables but those, by the table's name."""
        with self.connected() as store:
            names = [name for (name,) in store.execute("SELECT name FROM sqlite_schema WHERE type = 'table'")]
            return {name: store.execute(f"SELECT * FROM {name}").fetchall() for name in names if name not in others}

    def damage(self):
        """What SQLite finds wrong with the store; the pools are counted against what is in them."""
        pools = {
            "fdb_entries": "SELECT (SELECT count(*) FROM static_entry) + (SELECT count(*) FROM learned_entry)"
                           " + (SELECT count(*) FROM local_entry)",
            "frame_buffers": "SELECT 64 * (SELECT count(*) FROM stream) + (SELECT coalesce(sum(blocks), 0) FROM queue)",
        }
        with self.connected() as store:
            problems = [row[0] for row in store.execute("PRAGMA integrity_check") if row[0] != "ok"]
            problems += [f"foreign key: {row}" for row in store.execute("PRAGMA foreign_key_check")]
            for name, count in pools.items():
                in_use = store.execute("SELECT in_use FROM limits WHERE name = ?", (name,)).fetchone()[0]
                counted = store.execute(count).fetchone()[0]
                if in_use != counted:
                    problems.append(f"{name}: {in_use} are said to be in use, {counted} are")
        return problems

    def is_empty(self):
        """Whether no object is left, and nothing of one in the side tables."""
        return not any(self.tables("limits", "call_log", "trap_event", "fault").values()) and not self.damage()


def words_of(sentence):
    """The words of a sentence; those in double quotes may hold blanks."""
    if not isinstance(sentence, str):
        return list(sentence)
    if '"' not in sentence:
        return sentence.split()
    return shlex.split(sentence)


class Case(typing.NamedTuple):
    line: int
    sentence: str
    outcome: str


def read_cases(path):
    """The sentences of a transcript without calls, each with its outcome."""
    cases = []
    waiting = []
    text = []
    for number, line in enumerate([*path.read_text().splitlines(), ""], 1):
        if line.startswith("$ "):
            waiting.append((number, line[2:]))
        elif line and not line.startswith("#"):
            text.append(line)
        elif not line:
            if bool(waiting) != bool(text):
                raise ValueError(f"{path}:{number}: a block is sentences and their outcome")
            cases += [Case(at, sentence, "\n".join(text)) for at, sentence in waiting]
            waiting, text = [], []
    return cases
