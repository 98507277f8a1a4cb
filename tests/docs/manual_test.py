"""The manual tells the sentences of the tool, all of them and no others."""

import subprocess
import unittest

from sentences import MANUAL, OK, dispatch_rows, expand, manual_sentences, port_parameters, row_of, run_tool, say

# The sentences that are not answered with the OK document when the libraries take every change.
OTHER_ANSWERS = {
    ("set", "ether", "share"): b'"set ether share" command was abolished',
    ("set", "ether", ""): b"",
    ("show", "clslist", ""): b"",
}


class Manual(unittest.TestCase):
    def test_every_page_is_clean_mdoc(self):
        for page in sorted(MANUAL.parent.iterdir()):
            done = subprocess.run(["mandoc", "-Tlint", page.name], cwd=MANUAL.parent, capture_output=True, text=True)
            self.assertEqual("", done.stdout + done.stderr)

    def test_each_row_of_the_dispatch_table_appears_and_nothing_else(self):
        told = set()
        for sentence in manual_sentences():
            for way in expand(sentence):
                row = row_of(way)
                self.assertIsNotNone(row, f"{MANUAL.name} tells a sentence that the tool does not have: {sentence}")
                told.add(row)
        self.assertEqual([], [row for row in dispatch_rows() if row not in told], f"missing in {MANUAL.name}")

    def test_the_settings_of_a_port_are_those_that_its_handler_takes(self):
        ways = [way for sentence in manual_sentences() for way in expand(sentence)]
        told = {way[3] for way in ways if row_of(way) == ("set", "port", "")}
        self.assertEqual(port_parameters(), told)

    def test_the_tool_takes_every_sentence_as_it_is_told(self):
        for sentence in manual_sentences():
            for way in expand(sentence):
                with self.subTest(way=" ".join(way)):
                    output = run_tool(say(way))
                    expected = OTHER_ANSWERS.get(row_of(way), OK)
                    self.assertTrue(expected in output if expected else not output, output.decode())


if __name__ == "__main__":
    unittest.main()
