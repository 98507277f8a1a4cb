"""The error catalogue: every code and message that an NG document can carry, what it means, and what to do."""

from __future__ import annotations

import functools
import json
import re
from dataclasses import dataclass
from importlib import resources
from typing import Optional, Tuple

from tolvane.result import Kind, Result
from tolvane.sentences import AnySentence, words_of


@dataclass(frozen=True)
class Entry:
    """A message of the catalogue. `code` is None for one that comes with any status of the bridge library that has no
    message of its own. Commands are named by their first words, "create vlan" or "set port aging"."""

    code: Optional[int]
    message: str  # <n>, <name>, ... stand for what is put in
    pattern: str  # a regular expression of the whole message, read as Latin-1
    cause: Optional[str]
    remedy: Optional[str]
    commands: Tuple[str, ...]  # that can be answered by it
    already_so: Tuple[str, ...]  # of these: for them all is as wanted already
    already_there: Tuple[str, ...]  # of these: the object is there, perhaps of another form than wanted


@functools.lru_cache(maxsize=None)
def entries() -> Tuple[Entry, ...]:
    """The catalogue in the order of docs/errors.md."""
    text = resources.files("tolvane").joinpath("errors.json").read_text(encoding="utf-8")
    lists = ("commands", "already_so", "already_there")
    return tuple(
        Entry(**{key: tuple(value) if key in lists else value for key, value in row.items()})
        for row in json.loads(text)["errors"]
    )


def command_of(sentence: AnySentence) -> Optional[str]:
    """The name of a sentence's command as the catalogue has it; None when it has none of that name."""
    words = [word.decode(errors="replace") for word in words_of(sentence)]
    known = {command for entry in entries() for command in entry.commands}
    for name in (" ".join(words[:2] + words[3:4]), " ".join(words[:2])):
        if name in known:
            return name
    return None


def find_entry(result: Result, sentence: AnySentence) -> Optional[Entry]:
    """What the catalogue says of a refusal. None for what is no refusal, and for a message that it does not have: one
    of another version of the tool."""
    if result.kind is not Kind.NG or result.message is None:
        return None
    text = result.message.decode("latin-1")
    command = command_of(sentence)
    of_command = [entry for entry in entries() if command in entry.commands]
    of_code = [entry for entry in of_command if entry.code == result.code]
    others = [entry for entry in of_command if entry.code is None]
    # A message that had to be cut fits no pattern to its end, but its code often leaves one entry.
    for candidates in (of_code, others):
        for entry in candidates:
            if re.search(entry.pattern, text):
                return entry
    return of_code[0] if len(of_code) == 1 else None


def is_already_so(result: Result, sentence: AnySentence) -> bool:
    """Whether the sentence was refused because all is as it wants it already."""
    entry = find_entry(result, sentence)
    return entry is not None and command_of(sentence) in entry.already_so


def is_already_there(result: Result, sentence: AnySentence) -> bool:
    """Whether it was refused because its object is there already, or gone already, though perhaps with another id, tag
    or type than the sentence says. Only a look at the switch tells."""
    entry = find_entry(result, sentence)
    return entry is not None and command_of(sentence) in entry.already_so + entry.already_there
