"""The error catalogue lists what the transcripts of the contract can produce, and nothing else; its form for programs is
made of it; and both tell what the tables of the tool do."""

import json
import re
import unittest

from error_catalogue import ANY_TEXT, LONGEST, MACHINE_FORM, best_rows, catalogue, command_of, machine_form
from sentences import SOURCE, dispatch_rows, port_parameters
from transcripts import refusals, refused_sentences


def commands():
    """Every command of the dispatch table, as the catalogue names it."""
    names = {" ".join(filter(None, row)) for row in dispatch_rows()}
    return names | {f"set port {keyword}" for keyword in port_parameters()}


def texts_of_the_tool():
    """The messages in the sources, with {0} for what is put in, and where they stand."""
    text = r'"((?:[^"\\]|\\.)*)"'
    for path in sorted((SOURCE / "src").rglob("*.cpp")):
        source = path.read_text()
        for table in re.findall(r"^constexpr NumberedText \w+\[\] = \{\n(.*?)^\};", source, re.M | re.S):
            rows = re.findall(r"\{[\w:]+,\s*" + text + r"\}", table)
            if len(rows) != table.count("{", 0) - len(re.findall(r"\{\d[^}]*\}", table)):
                raise ValueError(f"{path}: a table is not written as expected here; adjust texts_of_the_tool")
            for message in rows:
                yield path.name, message
        for message in re.findall(r"\brefuse<\s*" + text + r"\s*>", source):
            yield path.name, message


def pattern_of(text):
    """A message of the sources as a regular expression."""
    plain = json.loads(f'"{text}"')
    return "".join(ANY_TEXT if piece.startswith("{") else re.escape(piece)
                   for piece in re.findall(r"\{\d[^}]*\}|[^{]+|\{", plain))


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

    def test_every_message_of_the_sources_has_a_row(self):
        texts = list(texts_of_the_tool())
        self.assertGreater(len(texts), 120)
        for place, text in texts:
            pattern = pattern_of(text)
            self.assertTrue(any(re.fullmatch(pattern, row.message) for row in self.printed + self.never),
                            f"{place}: {text}")

    def test_every_row_has_a_message_in_the_sources(self):
        patterns = [pattern_of(text) for _, text in texts_of_the_tool() if text != "{0}"]
        patterns.append(r".* does not exist\.")  # of 101 to 110, whose objects are words
        for row in self.printed + self.never:
            if row.message not in ("<word>", "unknown"):
                self.assertTrue(any(re.fullmatch(pattern, row.message) for pattern in patterns), row.place)


class MachineForm(unittest.TestCase):
    def setUp(self):
        self.entries = json.loads(MACHINE_FORM.read_text())["errors"]

    def test_it_is_made_of_the_page_and_the_contract(self):
        self.assertEqual(machine_form(), MACHINE_FORM.read_text(), "scripts/error-catalogue writes it anew")

    def test_its_patterns_tell_the_refusals_of_the_contract(self):
        rows, _ = catalogue()
        for place, sentence, code, message in refused_sentences():
            if len(message) == LONGEST:
                continue
            text = message.decode("latin-1")
            fitting = [entry for entry in self.entries
                       if entry["code"] in (code, None) and re.search(entry["pattern"], text)]
            self.assertTrue(fitting, place)
            best = best_rows(rows, code, message)
            self.assertTrue(any(command_of(sentence) in entry["commands"] for entry in fitting
                                if entry["message"] in [row.message for row in best]), place)

    def test_its_commands_are_those_of_the_dispatch_table(self):
        known = commands()
        named = set()
        for entry in self.entries:
            self.assertNotEqual([], entry["commands"], entry["message"])
            self.assertLessEqual(set(entry["commands"]), known, entry["message"])
            for words in ("already_so", "already_there"):
                self.assertLessEqual(set(entry[words]), set(entry["commands"]), entry["message"])
            named |= set(entry["commands"])
        # Nothing refuses these: a word that means nothing, and the parameter of a port by any other name.
        self.assertEqual({"set ether", "set port"}, known - named)


if __name__ == "__main__":
    unittest.main()
