"""Reading what tolvane prints. Its bytes are fixed but for code and message, so they are compared, not parsed as XML:
words of the sentence stand in messages as typed, and make documents that are not well-formed."""

from __future__ import annotations

import enum
import re
from dataclasses import dataclass
from typing import Optional

_OK = b"<response>\n  <result>OK</result>\n</response>\n"
_NG = re.compile(
    rb"(.*?)<response>\n  <result>NG</result>\n  <error>\n    <errcode>(-?\d+)</errcode>\n"
    rb"    <errmsg>(.*)</errmsg>\n  </error>\n</response>\n",
    re.DOTALL,
)
_USAGE = b"Usage:tolvane\n"
_SURPLUS = b"no more argument\n"


class Kind(enum.Enum):
    """What came."""

    OK = "OK"  # the sentence has been carried out
    NG = "NG"  # it was understood and refused, by the tool or by the switch
    USAGE = "usage"  # it was not understood; nothing has been done
    SURPLUS = "surplus"  # it has more words than it should; nothing has been done
    DISPLAY = "display"  # of `show clslist`
    NOTHING = "nothing"  # of `set ether` with a word that means nothing


@dataclass(frozen=True)
class Result:
    """One answer of tolvane. `code` and `message` are there for `Kind.NG` alone. Messages hold words of the sentence,
    which are bytes and need not be UTF-8; `text` is for people."""

    kind: Kind
    code: Optional[int] = None
    message: Optional[bytes] = None
    display: bytes = b""  # of `show clslist`; it may stand before a refusal, too

    @property
    def is_accepted(self) -> bool:
        """Carried out, or shown."""
        return self.kind in (Kind.OK, Kind.DISPLAY)

    @property
    def text(self) -> str:
        """The message, or what came in its place, in a line for people."""
        if self.message is not None:
            return self.message.decode(errors="backslashreplace").rstrip("\n")
        if self.kind is Kind.USAGE:
            return "not a sentence that tolvane knows (it shows its usage text)"
        return "surplus words (no more argument)" if self.kind is Kind.SURPLUS else ""

    def __str__(self) -> str:
        if self.kind is Kind.NG:
            return f"NG {self.code}: {self.text}"
        return f"{self.kind.value}: {self.text}" if self.text else str(self.kind.value)


def read_result(output: bytes) -> Result:
    """What the whole standard output of one run says. Any bytes are some result: what is none of the known forms is a
    display, which belongs to `show clslist` alone; `Switch.say` knows the sentence and tells when it is out of place."""
    if output == _OK:
        return Result(Kind.OK)
    refused = _NG.fullmatch(output)
    if refused:
        return Result(Kind.NG, int(refused[2]), refused[3], refused[1])
    if output.startswith(_USAGE):
        return Result(Kind.USAGE)
    if output == _SURPLUS:
        return Result(Kind.SURPLUS)
    return Result(Kind.DISPLAY, display=output) if output else Result(Kind.NOTHING)
