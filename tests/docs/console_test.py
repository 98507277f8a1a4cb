"""Runs the commands in the documents and compares what they print with what the documents say.

The rules for the blocks are in CONTRIBUTING.md.
"""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest
import uuid

from sentences import MANUAL, OK, SOURCE

DOCUMENTS = [SOURCE / "README.md", SOURCE / "CONTRIBUTING.md", *sorted((SOURCE / "docs").glob("*.md"))]
WITH_HOSTS = SOURCE / "docs/lab.md"  # its commands are run by tests/live
LANGUAGES = {"console", "sh", "python", "c", "cpp", "cmake", "text"}


class Block:
    def __init__(self, document, line, language):
        self.place = f"{document.name}:{line}"
        self.language = language
        self.lines = []

    def commands(self):
        """The commands of a console block, each with the lines that it prints."""
        commands = []
        for line in self.lines:
            if line.startswith("$ "):
                commands.append((line[2:], []))
            elif not commands:
                raise ValueError(f"{self.place}: a console block begins with a command: $ ...")
            elif line.startswith("> ") and commands[-1][0].endswith("\\"):
                commands[-1] = (f"{commands[-1][0]}\n{line[2:]}", [])
            else:
                commands[-1][1].append(line)
        return commands


def blocks_of(document):
    blocks = []
    block = None
    for number, line in enumerate(document.read_text().splitlines(), 1):
        fence = re.match(r"\s*(```+|~~~+)(.*)", line)
        if not fence:
            if block:
                block.lines.append(line)
        elif block:
            blocks.append(block)
            block = None
        else:
            block = Block(document, number, fence[2].strip())
    if block:
        raise ValueError(f"{block.place}: the block has no end")
    return blocks


def make_checkout(folder):
    """What the commands see as their folder: the source tree, with scripts/run in place of what it builds."""
    for entry in SOURCE.iterdir():
        if entry.name != "scripts" and not entry.name.startswith((".", "build")):
            (folder / entry.name).symlink_to(entry)
    scripts = folder / "scripts"
    scripts.mkdir()
    for entry in (SOURCE / "scripts").iterdir():
        if entry.name != "run":
            (scripts / entry.name).symlink_to(entry)
    (scripts / "run").write_text('#!/bin/sh\nexec tolvane "$@"\n')
    (scripts / "run").chmod(0o755)


def run_commands(commands, home):
    """What each command prints, run one after the other in one bash."""
    checkout = home / "checkout"
    checkout.mkdir()
    make_checkout(checkout)
    programs = [str(pathlib.Path(os.environ[name]).parent) for name in ("TOLVANE", "COMPANION") if os.environ.get(name)]
    environment = {
        "PATH": ":".join([*programs, os.environ["PATH"]]),
        "HOME": str(home),
        "TMPDIR": str(home),
        "EMUSWITCH": str(home / "switch.db"),
        "LC_ALL": "C.UTF-8",
        "TERM": "dumb",
        "COLUMNS": "100",
    }
    mark = uuid.uuid4().hex
    script = "".join(f"{command}\nprintf %s {mark}\n" for command in commands)
    done = subprocess.run(["bash", "--norc", "--noprofile", "-s"], input=script, cwd=checkout, env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    outputs = done.stdout.split(mark)
    if len(outputs) != len(commands) + 1:
        raise AssertionError(f"bash ended before the last command: {done.stdout}")
    return outputs[:-1]


def is_as_told(output, told):
    pattern = "".join("(?:.*\n)*" if line == "..." else re.escape(line) + "\n" for line in told)
    return re.fullmatch(pattern, output) is not None


class Documents(unittest.TestCase):
    maxDiff = None

    def test_every_command_prints_what_the_document_says(self):
        count = 0
        for document in filter(pathlib.Path.exists, DOCUMENTS):
            if document == WITH_HOSTS:
                continue
            commands = [(block.place, command, told) for block in blocks_of(document) if block.language == "console"
                        for command, told in block.commands()]
            count += len(commands)
            with tempfile.TemporaryDirectory() as home:
                outputs = run_commands([command for _, command, _ in commands], pathlib.Path(home))
            for (place, command, told), output in zip(commands, outputs):
                with self.subTest(place=place, command=command):
                    if not is_as_told(output, told):
                        self.assertEqual("".join(f"{line}\n" for line in told), output)
        self.assertGreater(count, 0)

    def test_the_examples_of_the_manual_are_accepted(self):
        commands = [line for line in MANUAL.read_text().splitlines() if line.startswith("tolvane ")]
        self.assertNotEqual([], commands)
        with tempfile.TemporaryDirectory() as home:
            outputs = run_commands(commands, pathlib.Path(home))
        for command, output in zip(commands, outputs):
            self.assertEqual(OK.decode(), output, command)

    def test_every_block_says_what_it_is(self):
        for document in filter(pathlib.Path.exists, DOCUMENTS):
            for block in blocks_of(document):
                self.assertIn(block.language, LANGUAGES, block.place)

    def test_commands_that_cannot_be_run_here_are_commands(self):
        for document in filter(pathlib.Path.exists, DOCUMENTS):
            for block in blocks_of(document):
                if block.language == "sh":
                    done = subprocess.run(["bash", "-n"], input="\n".join(block.lines), text=True, capture_output=True)
                    self.assertEqual("", done.stderr, block.place)

    def test_links_lead_to_files(self):
        for document in filter(pathlib.Path.exists, DOCUMENTS):
            for target in re.findall(r"\]\(([^)#:]+)[^)]*\)", document.read_text()):
                self.assertTrue((document.parent / target).exists(), f"{document.name}: {target}")

    def test_files_that_are_named_exist(self):
        for document in filter(pathlib.Path.exists, DOCUMENTS):
            for name in re.findall(r"`((?:src|tests|emulator|docs|packaging|scripts|debian|cmake)/[^`\s]*)`",
                                   document.read_text()):
                self.assertTrue(any(SOURCE.glob(name)), f"{document.name}: {name}")


if __name__ == "__main__":
    unittest.main()
