"""Talking to tolvane from a program: sentences in, results out, over any road to the switch.

    >>> import tolvane
    >>> switch = tolvane.Switch(tolvane.ssh("root@switch7"))
    >>> result = switch.say("create vlan sales vid 10")
    >>> result.kind, result.code, result.text
    (<Kind.NG: 'NG'>, 1401, 'VLAN "sales" already exists.')

`read_result` alone reads what tolvane has printed, however it was run. docs/python.md has the whole story.
"""

from tolvane.catalogue import Entry, entries, find_entry, is_already_so, is_already_there
from tolvane.client import (
    EmulatedSwitch,
    Refused,
    Runner,
    Switch,
    Unanswered,
    Unreachable,
    command,
    ssh,
)
from tolvane.result import Kind, Result, read_result
from tolvane.sentences import Sentence, quote_words, read_sentences, split_words

__version__ = "1.3.0"

__all__ = [
    "EmulatedSwitch",
    "Entry",
    "Kind",
    "Refused",
    "Result",
    "Runner",
    "Sentence",
    "Switch",
    "Unanswered",
    "Unreachable",
    "command",
    "entries",
    "find_entry",
    "is_already_so",
    "is_already_there",
    "quote_words",
    "read_result",
    "read_sentences",
    "split_words",
    "ssh",
]
