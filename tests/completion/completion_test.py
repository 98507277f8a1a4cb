"""The completion of tolvane, in a real bash: as a function, and in an interactive shell on a terminal."""

import pathlib
import tempfile
import unittest

from sentences import OPERANDS, SOURCE, dispatch_rows, expand, manual_sentences, port_parameters, row_of
from shell import Bash, Terminal

FILE = SOURCE / "packaging/completion/tolvane"

# What is offered for the last part of an operand.
PARTS = {
    "class": list("01234567"),
    "classes": list("01234567-"),
    "color": ["green", "yellow", "red"],
}


def fill_in(way):
    """One value for each operand, so that ways which begin alike have the same words."""
    return [OPERANDS.get(element, "3") if element.startswith("<") else element for element in way]


class Function(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bash = Bash(FILE)
        cls.ways = [way for sentence in manual_sentences() for way in expand(sentence)]
        # The words of a row that is there to be silent are no words of a sentence.
        cls.ways = [way for way in cls.ways if row_of(way) != ("set", "ether", "")]

    @classmethod
    def tearDownClass(cls):
        cls.bash.close()

    def test_every_row_of_the_dispatch_table(self):
        for verb, thing, keyword in dispatch_rows():
            with self.subTest(row=(verb, thing, keyword)):
                self.assertIn(verb, self.bash.offers(verb[:2]))
                self.assertIn(thing, self.bash.offers(verb, thing[:2]))
                if keyword:
                    self.assertIn(keyword, self.bash.offers(verb, thing, "1", keyword[:2]))

    def test_behind_each_word_what_can_stand_there_and_nothing_else(self):
        """Walks every sentence of the manual word by word."""
        expected = {}
        for way in self.ways:
            words = fill_in(way)
            for at, element in enumerate(way):
                here = expected.setdefault(tuple(words[:at]), set())
                if not element.startswith("<"):
                    here.add(element)
        for before, words in expected.items():
            with self.subTest(before=" ".join(before)):
                self.assertEqual(words, self.bash.offers(*before, ""))
                for word in words:
                    self.assertIn(word, self.bash.offers(*before, word[:-1]))

    def test_the_objects_of_a_verb_and_the_keywords_of_an_object(self):
        """The same from the dispatch table itself: nothing is offered that it does not have."""
        rows = dispatch_rows()
        self.assertEqual({verb for verb, _, _ in rows}, self.bash.offers(""))
        for verb in {verb for verb, _, _ in rows}:
            self.assertEqual({thing for v, thing, _ in rows if v == verb}, self.bash.offers(verb, ""))
        for thing in {thing for verb, thing, _ in rows if verb == "set"}:
            keywords = {keyword for verb, t, keyword in rows if (verb, t) == ("set", thing)} - {""}
            if thing == "port":
                keywords |= port_parameters()
            if thing == "color":
                keywords = {"drop_type"}
            self.assertEqual(keywords, self.bash.offers("set", thing, "1", ""))

    def test_the_last_part_of_an_operand(self):
        for way in self.ways:
            words = fill_in(way)
            for at, element in enumerate(way):
                if "/" not in element:
                    continue
                names = element.strip("<>").split("/")
                part = PARTS.get(names[-1], [])
                typed = "/".join("1" for _ in names[:-1]) + "/"
                with self.subTest(way=" ".join(way)):
                    self.assertEqual({typed + value for value in part}, self.bash.offers(*words[:at], typed))
                    self.assertEqual(set(), self.bash.offers(*words[:at], ""))
                    self.assertEqual(set(), self.bash.offers(*words[:at], typed[:-1]))
                    self.assertEqual(set(), self.bash.offers(*words[:at], "x" + typed))

    def test_nothing_where_the_words_before_are_wrong(self):
        for words in (["show", "port", ""], ["create", "color", ""], ["set", "port", "1", "speed", ""],
                      ["create", "vlan", "sales", "vid", "10", ""], ["add", "port", "1", "vlan", ""],
                      ["Create", ""], ["create", "portx", "1", ""], ["create", "vlan", "x|y", "z", ""]):
            self.assertEqual(set(), self.bash.offers(*words))


class Interactive(unittest.TestCase):
    def complete_some_sentences(self, terminal):
        # Typed with tabs, echoed completed.
        for typed, line in (
            ("cre\tpor\t7 np\t2 por\te\t", "create port 7 npport 2 portType ether "),
            ("set que\t1/2/3 col\tye\tdro\tw\tth\t", "set queue 1/2/3 color yellow drop_type wred thresh "),
            ("set co\t1/2/3/ye\tdr\tt\t", "set color 1/2/3/yellow drop_type taildrop "),
            ("del\tlf\t00:11:22:33:44:55 i\tp\t4", "delete lfdbentry 00:11:22:33:44:55 in port 4"),
        ):
            with self.subTest(typed=typed):
                terminal.type("tolvane " + typed)
                terminal.expect("tolvane " + line)
                terminal.type("\x15")  # clears the line
        # A second tab lists what there is.
        terminal.type("tolvane set ether 1 sha\t\t")
        terminal.expect("shaping")
        terminal.expect("share")
        terminal.type("\x15")

    def test_without_the_bash_completion_package(self):
        terminal = Terminal(f". {FILE}", {})
        try:
            self.complete_some_sentences(terminal)
        finally:
            terminal.close()

    def test_with_the_bash_completion_package(self):
        package = pathlib.Path("/usr/share/bash-completion/bash_completion")
        if not package.exists():
            self.skipTest("the package bash-completion is not installed")
        with tempfile.TemporaryDirectory() as folder:
            # The package reads the file of a program when it is completed for the first time.
            completions = pathlib.Path(folder, "completions")
            completions.mkdir()
            (completions / "tolvane").symlink_to(FILE)
            terminal = Terminal(f". {package}", {"BASH_COMPLETION_USER_DIR": folder})
            try:
                self.complete_some_sentences(terminal)
            finally:
                terminal.close()


if __name__ == "__main__":
    unittest.main()
