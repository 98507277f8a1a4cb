"""What the transcripts of the contract say that the tool prints."""

import ast
import re

from sentences import SOURCE

FOLDER = SOURCE / "tests/contract"


def _expand_repetitions(line):
    """{a*300} is 300 times a."""
    return re.sub(r"\{([^{}]+)\*(\d+)\}", lambda match: match[1] * int(match[2]), line)


def refused_sentences():
    """Every NG document of the transcripts: its place, the sentence as it stands there, its code and its message."""
    for path in sorted(FOLDER.glob("*.txt")):
        if path.name == "CMakeLists.txt":
            continue
        sentence = None
        for number, line in enumerate(path.read_text(encoding="latin-1").splitlines(), 1):
            if line.startswith("$ "):
                sentence = line[2:]
            match = re.match(r'NG (-?\d+) (".*")$', _expand_repetitions(line))
            if match:
                message = ast.literal_eval(match[2]).encode("latin-1")
                yield f"{path.name}:{number}", sentence, int(match[1]), message


def refusals():
    """Every NG document of the transcripts: its place, its code and its message as bytes."""
    for place, _, code, message in refused_sentences():
        yield place, code, message
