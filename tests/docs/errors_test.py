"""The error catalogue lists what the transcripts of the contract can produce, and nothing else."""

import re
import unittest

from sentences import SOURCE
from transcripts import refusals

CATALOGUE = SOURCE / "docs/errors.md"
LONGEST = 127

PLACEHOLDERS = {"<n>": rb"-?\d+", "<type>": rb"[0-9a-f]{4}", "<name that begins with a digit>": rb"\d.*"}


class Row:
    def __init__(self, place, code, message):
        self.place = place
        self.code = code  # None: any
        self.pieces = []  # regular expressions: of a literal character or of a placeholder
        for piece in re.findall(r"<[^<>]*>|.", message.replace("\\n", "\n"), re.S):
            if len(piece) > 1:
                self.pieces.append(PLACEHOLDERS.get(piece, rb".*"))
            else:
                self.pieces.append(re.escape(piece.encode()))

    def matches(self, code, message):
        if self.code not in (None, code):
            return False
        # A message of full length may have been cut anywhere.
        ends = range(len(self.pieces), 0, -1) if len(message) == LONGEST else [len(self.pieces)]
        return any(re.fullmatch(b"".join(self.pieces[:end]), message, re.S) for end in ends)


def catalogue():
    """The rows of the catalogue: those that are printed and those that never are."""
    printed, never = [], []
    for number, line in enumerate(CATALOGUE.read_text().splitlines(), 1):
        place = f"{CATALOGUE.name}:{number}: {line}"
        if match := re.match(r"\| (\d+|any) \| `(.*?)` \|", line):
            printed.append(Row(place, None if match[1] == "any" else int(match[1]), match[2]))
        elif match := re.match(r"\| never \| (\d+) `(.*?)` \|$", line):
            never.append(Row(place, int(match[1]), match[2]))
        elif line.startswith("|") and not re.match(r"\| Code \| Message \||\|---\|", line):
            raise ValueError(f"{place}: not a row of the catalogue")
    return printed, never


class Errors(unittest.TestCase):
    def setUp(self):
        self.printed, self.never = catalogue()
        self.refusals = list(refusals())
        self.assertGreater(len(self.refusals), 500)

    def test_every_refusal_of_the_contract_has_a_row(self):
        for place, code, message in self.refusals:
            self.assertTrue(any(row.matches(code, message) for row in self.printed), f"{place}: {code} {message}")

    def test_every_row_is_a_refusal_of_the_contract(self):
        for row in self.printed:
            self.assertTrue(any(row.matches(code, message) for _, code, message in self.refusals), row.place)

    def test_what_is_said_never_to_be_printed_is_not(self):
        self.assertNotEqual([], self.never)
        for row in self.never:
            for place, code, message in self.refusals:
                self.assertFalse(row.matches(code, message), f"{row.place}: {place}")


if __name__ == "__main__":
    unittest.main()
