"""A whole service, from an empty switch and back, through the real tool."""

import re
import sys
import unittest

from switch import SOURCE, USAGE, Switch, read_cases

sys.path.insert(0, str(SOURCE / "tests/docs"))
from sentences import expand, row_of  # noqa: E402

SERVICE = SOURCE / "tests/system/full_service.txt"
EXAMPLES = SOURCE / "docs/example"


def usage_sentences():
    """The lines of the usage text, those that go on in the next one put together."""
    text = USAGE.split("\n", 1)[1]
    text = text.replace("[<listno | all]>", "{<listno>|all}")  # a slip that the usage text keeps
    sentences = []
    for line in text.splitlines():
        if re.match(r" {4}\w", line):
            sentences.append(line.strip())
        else:
            sentences[-1] += " " + line.strip()
    return sentences


def is_said_by(way, words):
    return len(way) == len(words) and all(part.startswith("<") or part == word for part, word in zip(way, words))


class FullService(unittest.TestCase):
    maxDiff = None

    def test_each_sentence_has_its_outcome_and_nothing_is_left(self):
        with Switch() as switch:
            for case in read_cases(SERVICE):
                place = f"{SERVICE.name}:{case.line}: $ {case.sentence}"
                answer = switch.say(case.sentence)
                self.assertEqual(case.outcome, answer.outcome, place)
                self.assertEqual(("", 0), (answer.errors, answer.status), place)
            self.assertTrue(switch.is_empty(), switch.config())
            self.assertEqual("", switch.config())

    def test_every_word_of_the_usage_text_is_used(self):
        said = [case.sentence.split() for case in read_cases(SERVICE)]
        unused = {}
        for sentence in usage_sentences():
            ways = expand(sentence)
            matching = [words for words in said if any(is_said_by(way, words) for way in ways)]
            wanted = {word for way in ways for word in way if not word.startswith("<")}
            if missing := wanted - {word for words in matching for word in words}:
                unused[sentence] = missing
        self.assertEqual({}, unused)

    def test_every_sentence_is_one_that_the_tool_knows(self):
        for case in read_cases(SERVICE):
            self.assertIsNotNone(row_of(case.sentence.split()), case)


class Examples(unittest.TestCase):
    def test_service_and_teardown_are_accepted_and_leave_nothing(self):
        with Switch() as switch:
            for name in ("service.play", "teardown.play"):
                done = switch.companion("play", str(EXAMPLES / name), check=False)
                self.assertEqual("", done.stderr)
                self.assertRegex(done.stdout, r"(?m)^(\d+) of \1 sentences accepted$")
                self.assertEqual(0, done.returncode)
                if name == "service.play":
                    self.assertNotEqual("", switch.config())
            self.assertTrue(switch.is_empty(), switch.config())


if __name__ == "__main__":
    unittest.main()
