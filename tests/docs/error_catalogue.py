"""The error catalogue: its rows in docs/errors.md, and the form for programs that is made of them."""

import json
import re

from sentences import SOURCE, port_parameters, row_of
from transcripts import refused_sentences

PAGE = SOURCE / "docs/errors.md"
MACHINE_FORM = SOURCE / "docs/errors.json"
LONGEST = 127

PLACEHOLDERS = {"<n>": r"-?\d+", "<type>": "[0-9a-f]{4}", "<name that begins with a digit>": r"\d[\s\S]*"}
ANY_TEXT = r"[\s\S]*"

# What these commands were to bring about is so already when they are refused with that number.
ALREADY_SO = {
    102: ["delete port"],
    103: ["delete vlan"],
    105: ["delete lfdbentry", "delete sfdbentry"],
    106: ["delete stream"],
    109: ["delete clslist"],
    1205: ["enable port"],
    1304: ["disable port"],
    1701: ["remove port"],
    2601: ["create clslist"],
    2702: ["remove clslist"],
    2802: ["create protgroup"],
    2803: ["delete protgroup"],
    2805: ["add protocol"],
    2807: ["remove protocol"],
    2902: ["create mirror"],
    2903: ["delete mirror"],
    2908: ["enable mirror"],
    2909: ["disable mirror"],
}
# Here the object is there, but perhaps with another id, tag or type than wanted, or not for each class.
ALREADY_THERE = {
    107: ["delete queue"],
    1202: ["create port"],
    1401: ["create vlan"],
    1603: ["add port"],
    2001: ["create lfdbentry", "create sfdbentry"],
    2301: ["create queue"],
    2501: ["create stream"],
    2701: ["add clslist"],
}


class Row:
    def __init__(self, place, code, message, cause="", remedy=""):
        self.place = place
        self.code = code  # None: any
        self.message = message.replace("\\n", "\n")
        self.cause = cause
        self.remedy = remedy
        self.commands = set()
        self.whole = None  # the pieces, compiled when first wanted
        self.pieces = []  # regular expressions: of a literal character or of a placeholder
        for piece in re.findall(r"<[^<>]*>|.", self.message, re.S):
            if len(piece) > 1:
                self.pieces.append(PLACEHOLDERS.get(piece, ANY_TEXT))
            else:
                self.pieces.append(re.sub(r"([][\\.^$*+?{}()|/])", r"\\\1", piece).replace("\n", r"\n"))

    @property
    def pattern(self):
        return "^" + "".join(self.pieces) + "$"

    def matches(self, code, message):
        if self.code not in (None, code):
            return False
        text = message.decode("latin-1")
        if self.whole is None:
            self.whole = re.compile("".join(self.pieces))
        if self.whole.fullmatch(text):
            return True
        # A message of full length may have been cut anywhere.
        ends = range(len(self.pieces) - 1, 0, -1) if len(message) == LONGEST else []
        return any(re.fullmatch("".join(self.pieces[:end]), text) for end in ends)


def catalogue():
    """The rows of the page: those that are printed and those that never are."""
    printed, never = [], []
    for number, line in enumerate(PAGE.read_text().splitlines(), 1):
        place = f"{PAGE.name}:{number}: {line}"
        if match := re.match(r"\| (\d+|any) \| `(.*?)` \| ?([^|]*?) ?\|(?: ?([^|]*?) \|)?$", line):
            code = None if match[1] == "any" else int(match[1])
            printed.append(Row(place, code, match[2], match[3], match[4] or ""))
        elif match := re.match(r"\| never \| (\d+) `(.*?)` \|$", line):
            never.append(Row(place, int(match[1]), match[2]))
        elif line.startswith("|") and not re.match(r"\| Code \| Message \||\|---\|", line):
            raise ValueError(f"{place}: not a row of the catalogue")
    return printed, never


def command_of(sentence):
    """The words that name the command of a sentence: verb, object and, where there is one, the keyword."""
    words = re.findall(r'"(?:[^"\\]|\\.)*"|[^\s"]+', sentence)
    row = row_of(words)
    if row is None:
        return None
    verb, thing, keyword = row
    if row == ("set", "port", "") and words[3] in port_parameters():
        keyword = words[3]
    return " ".join(filter(None, (verb, thing, keyword)))


def best_rows(rows, code, message):
    """The rows that tell a refusal: those of its number before those of any, and the plainest of them."""
    fitting = [row for row in rows if row.matches(code, message)]
    fitting = [row for row in fitting if row.code is not None] or fitting
    most = max((sum(len(piece) <= 2 for piece in row.pieces) for row in fitting), default=0)
    return [row for row in fitting if sum(len(piece) <= 2 for piece in row.pieces) == most]


def share_commands(rows):
    """What the transcripts try with one of several that go one way holds for all of them: a status of the library for
    any parameter of a port, and a name that begins with a digit."""
    parameters = {f"set port {keyword}" for keyword in port_parameters()}
    for row in rows:
        if row.commands & parameters and (row.code is None or row.code == 102 or row.code > 1000):
            row.commands |= parameters
        if "begins with a digit" in row.message:
            row.commands |= set().union(*(other.commands for other in rows if other.code == row.code))


def machine_form():
    """The text of docs/errors.json."""
    printed, _ = catalogue()
    for _, sentence, code, message in refused_sentences():
        for row in best_rows(printed, code, message):
            row.commands.add(command_of(sentence))
    share_commands(printed)
    entries = []
    for row in printed:
        commands = sorted(filter(None, row.commands))
        so = ALREADY_SO.get(row.code, [])
        there = [command for command in ALREADY_THERE.get(row.code, []) if command not in so]
        entries.append({
            "code": row.code,
            "message": row.message,
            "pattern": row.pattern,
            "cause": row.cause or None,
            "remedy": row.remedy or None,
            "commands": commands,
            "already_so": [command for command in commands if command in so],
            "already_there": [command for command in commands if command in there],
        })
    return json.dumps({"longest_message_bytes": LONGEST, "errors": entries}, indent=2, ensure_ascii=False) + "\n"
