#!/usr/bin/env python3
"""Walks the table of statuses: each can be had from an empty switch by the commands that stand there.

With --write makes docs/statuses.md from statuses.txt.
"""

import pathlib
import re
import sys
import typing
import unittest

FOLDER = pathlib.Path(__file__).resolve().parent
SOURCE = FOLDER.parents[1]
TABLE = FOLDER / "statuses.txt"
DOCUMENT = SOURCE / "docs/statuses.md"


class Status(typing.NamedTuple):
    number: int
    name: str
    remark: str
    commands: list
    outcome: str


def read_statuses():
    statuses = []
    for block in TABLE.read_text().split("\n\n"):
        lines = [line for line in block.splitlines() if not line.startswith("#")]
        if not lines:
            continue
        number, name = lines[0].split()
        remarks = [line[2:] for line in lines[1:] if line.startswith(": ")]
        commands = [line for line in lines[1:-1] if not line.startswith(": ")]
        statuses.append(Status(int(number), name, " ".join(remarks), commands, lines[-1]))
    return statuses


def known_statuses():
    """The numbers that the tool has a name for."""
    header = (SOURCE / "src/platform/brgfdb.h").read_text()
    space = header[header.index("namespace status {"):header.index("} // namespace status")]
    return {int(number): name for name, number in re.findall(r"constexpr int32_t (\w+) = (\d+);", space)}


GROUPS = (
    (1, "Mirrors, unexpected", 2),
    (102, "Something does not exist", 200),
    (1201, "Ports", 1399),
    (1401, "VLANs and their members", 1999),
    (2001, "Forwarding database", 2199),
    (2201, "Port settings", 2299),
    (2301, "Queues and streams", 2599),
    (2601, "Classification", 2799),
    (2801, "Protocol groups", 2899),
    (2901, "Mirrors and protocol groups in use", 2999),
)


def table_rows(statuses):
    for status in statuses:
        commands = "<br>".join(f"`{command}`" for command in status.commands)
        if status.remark:
            commands += f"<br>{status.remark}"
        yield f"| {status.number} | `{status.name}` | {commands} | `{status.outcome}` |"


def document():
    statuses = read_statuses()
    lines = [
        "# Statuses of the bridge library",
        "",
        "Every status that `tolvane` has a message for, and the shortest way to it on the emulated switch, from an empty",
        "one (`emuswitch reset`). The last command of a row is refused with what stands at its end.",
        "",
        "This page is made from `tests/system/statuses.txt` (`tests/system/statuses_test.py --write`), and a test",
        "plays every row.",
    ]
    for first, title, last in GROUPS:
        lines += ["", f"## {title}", "", "| Status | Name | Commands | Answer of the last |", "|---|---|---|---|"]
        lines += table_rows(status for status in statuses if first <= status.number <= last)
    return "\n".join(lines) + "\n"


class Statuses(unittest.TestCase):
    def test_every_status_of_the_library_is_in_the_table(self):
        listed = read_statuses()
        self.assertEqual(known_statuses(), {status.number: status.name for status in listed})
        self.assertEqual(sorted(status.number for status in listed), [status.number for status in listed])

    def test_the_document_shows_the_table(self):
        self.assertEqual(document(), DOCUMENT.read_text(), "make it anew: tests/system/statuses_test.py --write")

    def test_the_commands_lead_to_the_status(self):
        from switch import Switch

        for status in read_statuses():
            with self.subTest(status=status.number), Switch() as switch:
                answers = [switch.command(command) for command in status.commands]
                self.assertEqual(status.outcome, answers[-1].outcome)
                self.assertEqual("", answers[-1].errors)
                made_to_fail = any(command.startswith("emuswitch fail") for command in status.commands)
                for answer in filter(None, answers[:-1]):
                    self.assertTrue(answer.is_accepted or made_to_fail, answer)
                # What the library answered, also where the tool shows another number.
                calls = [row[0] for row in switch.query("SELECT call FROM call_log ORDER BY id")]
                last_refusal = [call for call in calls if " = -1 status " in call][-1]
                self.assertTrue(last_refusal.endswith(f" status {status.number}"), last_refusal)
                self.assertEqual([], switch.damage())


if __name__ == "__main__":
    if sys.argv[1:] == ["--write"]:
        DOCUMENT.write_text(document())
    else:
        unittest.main()
