"""The manual of emuswitch tells its commands and options, all of them and no others, and its examples can be typed."""

import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from sentences import MANUAL, terms_of

PAGE = MANUAL.parent / "emuswitch.1"
EMUSWITCH = os.environ["COMPANION"]
OPTION = r"(?<![\w-])--?[a-z][a-z-]*"


def help_of(*words):
    done = subprocess.run([EMUSWITCH, *words, "--help"], check=True, capture_output=True, text=True)
    return done.stdout


def section_of(text, heading):
    """The lines of a help text below a heading."""
    found = re.search(rf"^{heading}:\n((?:  .*\n)+)", text, re.M)
    if not found:
        raise AssertionError(f"the help has no {heading}:\n{text}")
    return found[1].splitlines()


def options_of(*words):
    """The options of a command as its help lists them. They stand at the beginning of a line."""
    spellings = [re.match(r"  ((?:-[\w-]+,?)+)", line) for line in section_of(help_of(*words), "Options")]
    return {option for found in spellings if found for option in found[1].split(",")}


def commands_of():
    return {line.split()[0] for line in section_of(help_of(), "Commands")}


class Term:
    """A command with the terms of the lists below it."""

    def __init__(self):
        self.synopsis = set()
        self.options = set()
        self.words = set()


def told_commands():
    known = commands_of()
    commands = {}
    current = None
    for term in terms_of(PAGE, "COMMANDS"):
        first = term.split()[0]
        options = set(re.findall(OPTION, term))
        if first.startswith("-"):
            commands[current].options |= options
        elif re.search(r"[<[-]", term) or first in known:
            current = first
            commands.setdefault(current, Term()).synopsis |= options
        else:
            commands[current].words.add(term)
    return commands


class CompanionManual(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.told = told_commands()
        cls.general = {option for term in terms_of(PAGE, "OPTIONS") for option in re.findall(OPTION, term)}

    def test_each_command_is_told_and_no_other(self):
        self.assertEqual(commands_of(), set(self.told))

    def test_each_help_names_the_operands_and_has_examples_of_its_own(self):
        for name in commands_of():
            with self.subTest(command=name):
                text = help_of(name)
                usage = re.search(r"^Usage: emuswitch (.*)$", text, re.M)[1]
                self.assertEqual(re.findall(r"^  <(\w+)>", text, re.M) if name not in ("lag", "ipif") else ["port"],
                                 [word for word in re.findall(r"<(\w+)>", usage) if f"  <{word}>" in text])
                self.assertRegex(text, rf"\nExamples?:\n(  .*\n)*  (.*\| )?emuswitch {name}\b")

    def test_the_options_of_the_program(self):
        self.assertEqual(options_of(), self.general)

    def test_the_options_of_each_command_are_told_in_its_line_and_below(self):
        for name, command in self.told.items():
            with self.subTest(command=name):
                options = options_of(name) - {"-h", "--help"}
                self.assertEqual(options, command.synopsis)
                # An option that makes a line of its own is told there.
                self.assertEqual(options, command.options | (command.synopsis if name == "fail" else set()))

    def test_what_can_be_shown_and_limited(self):
        topics = re.search(r"^  <what>.*: ([a-z, ]+)$", help_of("show"), re.M)[1].split(", ")
        self.assertEqual(set(topics), self.told["show"].words)
        limits = subprocess.run([EMUSWITCH, "run", EMUSWITCH, "show", "limits", "--json"], check=True,
                                capture_output=True, text=True).stdout
        self.assertEqual({limit["name"] for limit in json.loads(limits)["limits"]}, self.told["limit"].words)

    def test_the_examples_do_what_they_say(self):
        examples = re.findall(r"^\.Bd -literal.*\n((?:.*\n)*?)\.Ed$", PAGE.read_text(), re.M)
        self.assertEqual(set(self.told), set(re.findall(r"emuswitch (\w+)", "".join(examples))),
                         "an example for each command")
        # What goes on until it is interrupted has its own tests.
        script = "".join(example for example in examples if "unshare" not in example)
        with tempfile.TemporaryDirectory() as home:
            environment = {"HOME": home, "TMPDIR": home,
                           "PATH": f"{pathlib.Path(EMUSWITCH).parent}:{os.environ['PATH']}"}
            done = subprocess.run(["bash", "-e", "-o", "pipefail", "-c", script], cwd=home, env=environment, text=True,
                                  capture_output=True)
            self.assertEqual((0, ""), (done.returncode, done.stderr), done.stdout)
            self.assertNotIn("<result>NG</result>", done.stdout)
            pictures = {path.name for path in pathlib.Path(home).iterdir() if path.suffix in (".png", ".svg")}
            self.assertEqual({"switch.png", "port1.svg"}, pictures)


if __name__ == "__main__":
    unittest.main()
