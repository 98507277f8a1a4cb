"""The sentences of the tool: as its dispatch table knows them, and as the manual writes them."""

import functools
import html.parser
import os
import pathlib
import re
import subprocess

SOURCE = pathlib.Path(__file__).resolve().parents[2]
MANUAL = SOURCE / "packaging/man/tolvane.8"
OK = b"<response>\n  <result>OK</result>\n</response>\n"


@functools.lru_cache
def dispatch_rows():
    """The rows (verb, object, keyword) of the dispatch table; the keyword is empty where any word will do."""
    path = SOURCE / "src/main/dispatch.cpp"
    text = path.read_text()
    table = text[text.index("constexpr Command commands[]"):]
    rows = re.findall(r'^ *\{"(\w+)", "(\w+)", "(\w*)", \w+\},$', table, re.M)
    lines = [line for line in table.splitlines() if line.strip().startswith("{")]
    if not rows or len(rows) != len(lines):
        raise ValueError(f"{path}: the dispatch table is not written as expected here; adjust dispatch_rows")
    return rows


@functools.lru_cache
def port_parameters():
    """The keywords of the one row whose handler judges its keyword itself."""
    path = SOURCE / "src/port/port_parameters.cpp"
    text = path.read_text()
    keywords = re.findall(r'^ *\{"(\w+)", "\w+", "\w+", port_flag::', text, re.M)
    keywords += re.findall(r'is_word\(keyword, "(\w+)"\)\) return', text)
    if len(keywords) < 12:
        raise ValueError(f"{path}: the keywords are not written as expected here; adjust port_parameters")
    return set(keywords)


def row_of(words):
    """The row that the tool takes for a sentence, or None."""
    for row in dispatch_rows():
        verb, thing, keyword = row
        if words[:2] == [verb, thing] and (not keyword or words[3:4] == [keyword]):
            return row
    return None


class _Terms(html.parser.HTMLParser):
    """Collects the terms of the lists of one section: keywords as they are, operands in angle brackets."""

    def __init__(self, section):
        super().__init__()
        self.section = section
        self.heading = None
        self.in_section = self.in_term = self.in_operand = False
        self.terms = []

    def handle_starttag(self, tag, attributes):
        if tag == "h1":
            self.heading = ""
        elif tag == "dt" and self.in_section:
            self.in_term = True
            self.terms.append("")
        elif tag == "var":
            self.in_operand = True

    def handle_endtag(self, tag):
        if tag == "h1":
            self.in_section = self.heading.strip() == self.section
            self.heading = None
        elif tag == "dt":
            self.in_term = False
        elif tag == "var":
            self.in_operand = False

    def handle_data(self, data):
        if self.heading is not None:
            self.heading += data
        if self.in_term:
            self.terms[-1] += " ".join(f"<{word}>" for word in data.split()) if self.in_operand else data


def terms_of(page, section):
    """The terms of the lists of one section of a manual page."""
    text = subprocess.run(["mandoc", "-Thtml", page], check=True, capture_output=True, text=True).stdout
    parser = _Terms(section)
    parser.feed(text)
    return [" ".join(term.split()) for term in parser.terms]


def manual_sentences():
    """The sentences of the manual, such as "set port <port> aftype {tagonly | all}"."""
    return [term.replace(">/<", "/") for term in terms_of(MANUAL, "SENTENCES")]


def expand(sentence):
    """All the ways to say a sentence: [] may be left out, {|} is a choice. Operands stay in angle brackets."""
    tokens = re.findall(r"<[^>]*>|[][{}|]|[^][{}|<>\s]+", sentence)

    def choice(at, end):
        ways = []
        while True:
            more, at = sequence(at)
            ways += more
            if at == len(tokens) or tokens[at] == end:
                return ways, at + 1
            at += 1  # a bar

    def sequence(at):
        ways = [[]]
        while at < len(tokens) and tokens[at] not in "|]}":
            if tokens[at] in "[{":
                inner, after = choice(at + 1, "]" if tokens[at] == "[" else "}")
                if tokens[at] == "[":
                    inner = [[]] + inner
                at = after
            else:
                inner = [[tokens[at]]]
                at += 1
            ways = [way + more for way in ways for more in inner]
        return ways, at

    ways, _ = choice(0, None)
    return [[word for word in way if word != "<...>"] for way in ways]


# A good value for each operand that wants more than a small number.
OPERANDS = {
    "<>": "3",
    "<name>": "sales",
    "<pvid>": "sales",
    "<time>": "300",
    "<rate>": "1000",
    "<burst>": "8",
    "<map>": "0,1,2,3,4,5,6,7",
    "<mac>": "00:11:22:33:44:55",
    "<ports>": "1,3-4",
    "<rates>": "64-100",
    "<bursts>": "4-8",
    "<length>": "4096",
    "<port/stream>": "1/1",
    "<port/stream/class>": "1/1/0",
    "<port/stream/classes>": "1/1/-",
    "<port/stream/class/color>": "1/1/0/red",
    "<stream/class/color>": "1/0/green",
}


def say(way):
    """A way to say a sentence with a good value for each operand."""
    values = dict(OPERANDS)
    if way[3:4] in (["link_mode"], ["link_depend"]):
        values["<port>"] = "101"
    if way[-1] == "byte":
        values.update({"<burst>": "8000", "<bursts>": "80-32000"})
    return [values.get(word, values["<>"]) if word.startswith("<") else word for word in way]


# Where the recording libraries read their answers.
ANSWERS_FD = 199


def run_tool(words):
    """What the tool prints for a sentence when every library call succeeds and, asked for an id, answers 10."""
    success = b"0".ljust(16, b"\0") + bytes(16) + b"10".ljust(16, b"\0") + bytes(464)
    answers = os.memfd_create("answers")
    try:
        os.write(answers, success * 32)
        os.lseek(answers, 0, os.SEEK_SET)
        os.dup2(answers, ANSWERS_FD)
        return subprocess.run(
            [os.environ["TOLVANE"], *words],
            env={**os.environ, "LD_LIBRARY_PATH": os.environ["RECORDING_LIBRARIES"]},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            pass_fds=(ANSWERS_FD,),
            check=True,
        ).stdout
    finally:
        os.close(answers)
        os.close(ANSWERS_FD)
