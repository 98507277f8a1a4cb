"""Saying sentences to a switch, over whatever road leads there."""

from __future__ import annotations

import json
import os
import shlex
import subprocess
from typing import Any, Callable, Iterable, Iterator, List, Optional, Sequence, Tuple, Union

from tolvane.result import Kind, Result, read_result
from tolvane.sentences import AnySentence, Word, quote_words, words_of

# Has tolvane run with these words, and returns all that it printed. Raises Unreachable when it could not be run.
Runner = Callable[[Sequence[bytes]], bytes]


class Unreachable(Exception):
    """tolvane could not be run, or did not come to its end: whether the sentence was carried out is not known."""


class Unanswered(Exception):
    """What came is no answer to that sentence: the run was cut short, so look at the switch before you go on."""


class Refused(Exception):
    """A sentence that was to be accepted was not."""

    def __init__(self, words: Sequence[bytes], result: Result) -> None:
        super().__init__(f"{quote_words(words)}: {result}")
        self.words = list(words)
        self.result = result


def command(*prefix: str, timeout: Optional[float] = None) -> Runner:
    """Runs a command on this machine with the words behind it: `command("tolvane")`."""

    def run(words: Sequence[bytes]) -> bytes:
        return _output_of([*map(os.fsencode, prefix), *words], timeout)

    return run


def ssh(host: str, *options: str, tool: str = "tolvane", timeout: Optional[float] = None) -> Runner:
    """Runs the tool on another machine. Options are those of ssh: `ssh("root@switch7", "-o", "BatchMode=yes")`."""

    def run(words: Sequence[bytes]) -> bytes:
        # A shell at the other end takes the line apart again; bytes that are no UTF-8 survive as surrogates.
        line = " ".join([tool, *(shlex.quote(os.fsdecode(word)) for word in words)])
        return _output_of(["ssh", *options, "--", host, line], timeout)

    return run


def _output_of(line: Sequence[Word], timeout: Optional[float] = None) -> bytes:
    name = os.fsdecode(line[0])
    try:
        done = subprocess.run(line, stdin=subprocess.DEVNULL, capture_output=True, timeout=timeout, check=False)
    except subprocess.TimeoutExpired:
        raise Unreachable(f"{name}: no end within {timeout} seconds") from None
    except (OSError, ValueError) as problem:
        raise Unreachable(f"{name}: {problem}") from problem
    if done.returncode != 0:  # tolvane itself always ends with 0
        why = done.stderr.decode(errors="backslashreplace").strip() or "no word of why"
        raise Unreachable(f"{name}: status {done.returncode}: {why}")
    return done.stdout


class Switch:
    """A switch at the other end of a runner."""

    def __init__(self, runner: Runner) -> None:
        self._run = runner

    def say(self, sentence: AnySentence) -> Result:
        """Says a sentence, given as a line in the notation of files of sentences or as its words. Raises Unreachable
        or Unanswered; what the switch thinks of the sentence is the result."""
        words = words_of(sentence)
        if not words:
            raise ValueError("a sentence has at least one word")
        if any(b"\0" in word for word in words):
            raise ValueError("a word cannot hold the byte 0")
        if words[0] == b"emuswitch":
            raise ValueError(f"{quote_words(words)}: for an emulated switch only")
        result = read_result(self._run(words))
        if (result.kind is Kind.DISPLAY or result.display) and words[:2] != [b"show", b"clslist"]:
            raise Unanswered(f"{quote_words(words)}: answered by {result.display!r}")
        if result.kind is Kind.NOTHING and words[:2] != [b"set", b"ether"]:
            raise Unanswered(f"{quote_words(words)}: no answer")
        return result

    def require(self, sentence: AnySentence) -> Result:
        """Says a sentence that has to be accepted. Raises Refused when it is not."""
        result = self.say(sentence)
        if not result.is_accepted:
            raise Refused(words_of(sentence), result)
        return result

    def say_all(self, sentences: Iterable[AnySentence]) -> Iterator[Tuple[List[bytes], Result]]:
        """Says one sentence after the other, each when the one before has been looked at: whoever takes no more of
        them ends it."""
        for sentence in sentences:
            words = words_of(sentence)
            yield words, self.say(words)


class EmulatedSwitch(Switch):
    """The emulated switch in a file, made on first use; without a file, the one that the environment names."""

    def __init__(self, file: Union[str, "os.PathLike[str]", None] = None, companion: str = "emuswitch") -> None:
        self._prefix = [companion]
        self._environment = dict(os.environ)
        if file is not None:
            self._environment["EMUSWITCH"] = os.path.abspath(os.fspath(file))
        super().__init__(lambda words: self.companion("exec", "tolvane", *words))

    def say(self, sentence: AnySentence) -> Result:
        """As for any switch; lines for `emuswitch` in files of sentences are carried out, too, or raise Unreachable."""
        words = words_of(sentence)
        if words[:1] != [b"emuswitch"]:
            return super().say(words)
        self.companion(*words[1:])
        return Result(Kind.OK)

    def companion(self, *words: Word) -> bytes:
        """What `emuswitch` prints for these words. Raises Unreachable with what it says when it fails."""
        line = [*map(os.fsencode, self._prefix), *map(os.fsencode, words)]
        try:
            done = subprocess.run(
                line, stdin=subprocess.DEVNULL, capture_output=True, env=self._environment, check=False
            )
        except OSError as problem:
            raise Unreachable(f"{self._prefix[0]}: {problem}") from problem
        # A library that cannot use the switch's file says why here, and the tool refuses.
        if done.returncode != 0:
            raise Unreachable(done.stderr.decode(errors="backslashreplace").strip() or f"status {done.returncode}")
        return done.stdout

    def show(self, what: Optional[str] = None) -> Any:
        """`emuswitch show --json` as Python values."""
        return json.loads(self.companion("show", *([what] if what else []), "--json"))

    def config(self) -> str:
        """The switch as sentences that make it anew."""
        return self.companion("config").decode("ascii")

    def reset(self) -> None:
        """An empty switch."""
        self.companion("reset")
