"""docs/forwarding.md has a row for each setting, each row is shown by a test, and its assumptions are those of the code."""

import re
import unittest

from sentences import SOURCE, dispatch_rows, port_parameters

PAGE = SOURCE / "docs/forwarding.md"
TESTS = SOURCE / "tests/dataplane"
ASSUMPTIONS = SOURCE / "emulator/dataplane/assumptions.h"

# What the companion can set. Its other commands only look.
COMPANION = {f"emuswitch {command}" for command in ("learn", "lag", "ipif", "limit", "fail", "reset")}
# What a sentence chooses by one of its words, and how a frame can tell.
CHOICES = {"add classify normal", "add classify dot1p", "add classify dscp", "create stream qostype"}


class Row:
    def __init__(self, line):
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        self.settings = re.findall(r"`([^`]+)`", cells[0])
        self.effect, self.source, self.sure, self.shown = cells[1:]
        self.assumptions = {int(number) for found in re.findall(r"assumed ([\d, ]+)", self.source)
                            for number in re.findall(r"\d+", found)}
        self.tests = re.findall(r"`([^`]+)`", self.shown)


def rows():
    lines = PAGE.read_text().splitlines()
    return [Row(line) for line in lines if line.startswith("| `")]


def settings_of_sentences():
    settings = set()
    for verb, thing, keyword in dispatch_rows():
        if (verb, thing, keyword) == ("set", "port", ""):
            settings |= {f"set port {name}" for name in port_parameters()}
        else:
            settings.add(f"{verb} {thing} {keyword}".strip())
    return settings


def told_assumptions():
    text = PAGE.read_text()
    return {int(number) for number in re.findall(r"^(\d+)\. \*\*", text[text.index("## Assumptions"):], re.M)}


def assumptions_of_code():
    return {int(number) for number in re.findall(r"^    \w+ = (\d+),", ASSUMPTIONS.read_text(), re.M)} - {0}


class Forwarding(unittest.TestCase):
    maxDiff = None

    def test_each_setting_has_one_row(self):
        told = [setting for row in rows() for setting in row.settings]
        self.assertEqual(len(told), len(set(told)), "twice")
        self.assertEqual(settings_of_sentences() | COMPANION | CHOICES, set(told))

    def test_each_row_is_shown_by_a_test_that_says_the_setting(self):
        for row in rows():
            with self.subTest(settings=row.settings):
                if row.shown == "none":
                    self.assertRegex(row.effect, "Nothing")
                    continue
                self.assertTrue(row.tests)
                text = "".join((TESTS / name).read_text() for name in row.tests)
                for setting in row.settings if row.tests[0].endswith(".txt") else []:
                    verb, *words = setting.split()
                    said = [line for line in text.splitlines() if line.startswith(f"$ {verb} ")]
                    is_said = any(all(word in line.split() for word in words) for line in said)
                    # Taking away is told together with making.
                    self.assertTrue(is_said or setting in {"delete protgroup", "delete clslist", "show clslist"}, setting)

    def test_what_is_kept_is_kept_in_the_trace(self):
        kept = (TESTS / "kept.txt").read_text()
        for row in rows():
            if row.effect == "Kept.":
                self.assertEqual(["kept.txt"], row.tests)
        words = set(re.findall(r'return "(\w+)"', function_of("const char* word_of(KeptSetting")))
        self.assertEqual(words, set(re.findall(r"; kept (\w+)", kept)))

    def test_every_source_is_told_how_sure(self):
        for row in rows():
            with self.subTest(settings=row.settings):
                self.assertRegex(row.sure, r"^(high|medium|low)(; [\w\s]+ (high|medium|low))?$")
                if row.effect != "Kept.":
                    self.assertRegex(row.source, r"contract|802\.|RFC|assumed")

    def test_assumptions_are_those_of_the_code(self):
        self.assertEqual(assumptions_of_code(), told_assumptions())
        used = set().union(*(row.assumptions for row in rows()))
        general = {1, 27}  # of every frame, not of a setting
        self.assertEqual(told_assumptions() - general, used)

    def test_each_reason_and_step_is_played(self):
        played = "".join(path.read_text() for path in TESTS.glob("*.txt"))
        reasons = set(re.findall(r'return "(\w+)"', function_of("const char* word_of(DropReason")))
        elsewhere = {"none", "queue_full", "red", "no_buffer", "queue_removed", "port_missing"}  # frames that wait or replay
        self.assertEqual(reasons - elsewhere, set(re.findall(r"^dropped: (\w+)", played, re.M)))


def function_of(beginning):
    text = (SOURCE / "emulator/dataplane/words.cpp").read_text()
    start = text.index(beginning)
    return text[start:text.index("\n}", start)]


if __name__ == "__main__":
    unittest.main()
