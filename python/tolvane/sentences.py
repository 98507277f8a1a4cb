"""Files of sentences, in the notation of `emuswitch play` and `emuswitch config`: one sentence a line, # before a
comment, words with blanks or other bytes in double quotes with \\n, \\t, \\xHH, \\\\ and \\"."""

from __future__ import annotations

import os
import re
from dataclasses import dataclass
from typing import Iterable, Iterator, List, Sequence, Tuple, Union

Word = Union[str, bytes]

_COMPANION = b"emuswitch"
_SPACE = b" \t\r"
_ESCAPES = {b"n": b"\n", b"t": b"\t", b'"': b'"', b"\\": b"\\"}
_QUOTED_PIECE = re.compile(rb'[^"\\]+|\\x[0-9a-fA-F]{2}|\\.', re.DOTALL)
_PLAIN = re.compile(rb'[^\x00-\x20\x7f-\xff"\\#]+')


@dataclass(frozen=True)
class Sentence:
    """A sentence of a file: its line, counted from 1, and its words."""

    line: int
    words: Tuple[bytes, ...]

    @property
    def is_for_emulated(self) -> bool:
        """A line for `emuswitch`, which brings about what no sentence can: nothing for a real switch."""
        return self.words[0] == _COMPANION

    def __str__(self) -> str:
        return quote_words(self.words)


def _unescaped(piece: bytes) -> bytes:
    if not piece.startswith(b"\\"):
        return piece
    if re.fullmatch(rb"\\x[0-9a-fA-F]{2}", piece):
        byte = bytes.fromhex(piece[2:].decode())
        if byte == b"\0":
            raise ValueError("a word cannot hold the byte 0")
        return byte
    if piece[1:] not in _ESCAPES:
        raise ValueError(f"{piece.decode(errors='backslashreplace')} means nothing; there are \\n \\t \\xHH \\\\ \\\"")
    return _ESCAPES[piece[1:]]


def _quoted(line: bytes, at: int) -> Tuple[bytes, int]:
    word = b""
    while at < len(line) and line[at : at + 1] != b'"':
        piece = _QUOTED_PIECE.match(line, at)
        if piece is None:
            break
        word += _unescaped(piece[0])
        at = piece.end()
    if at >= len(line) or line[at : at + 1] != b'"':
        raise ValueError("a closing quotation mark is missing")
    return word, at + 1


def split_words(line: Word) -> List[bytes]:
    """The words of a line, none for a blank one or a comment. Raises ValueError where something else stands there."""
    text = os.fsencode(line).rstrip(b"\n")
    if b"\0" in text or b"\n" in text:
        raise ValueError("a sentence is one line, without the byte 0")
    words: List[bytes] = []
    at = 0
    while at < len(text):
        if text[at] in _SPACE:
            at += 1
        elif text[at : at + 1] == b"#":
            break
        elif text[at : at + 1] == b'"':
            word, at = _quoted(text, at + 1)
            if at < len(text) and text[at] not in _SPACE:
                raise ValueError("behind the closing quotation mark a blank is missing")
            words.append(word)
        else:
            end = at
            while end < len(text) and text[end] not in _SPACE:
                end += 1
            words.append(text[at:end])
            at = end
    return words


def _quote(word: bytes) -> str:
    if _PLAIN.fullmatch(word):
        return word.decode("ascii")
    shown = {0x0A: "\\n", 0x09: "\\t", 0x22: '\\"', 0x5C: "\\\\"}
    pieces = [shown.get(byte, chr(byte) if 0x20 <= byte < 0x7F else f"\\x{byte:02x}") for byte in word]
    return '"' + "".join(pieces) + '"'


def quote_words(words: Iterable[Word]) -> str:
    """The line that `split_words` reads as these words, in ASCII."""
    return " ".join(_quote(os.fsencode(word)) for word in words)


def read_sentences(path: Union[str, "os.PathLike[str]"]) -> Iterator[Sentence]:
    """The sentences of a file in their order. Raises ValueError with file and line where something else stands."""
    with open(path, "rb") as file:
        for number, line in enumerate(file, 1):
            try:
                if number == 1 and line.startswith(b"\xef\xbb\xbf"):
                    raise ValueError("the file begins with a byte-order mark (ef bb bf); save it without one")
                words = split_words(line)
            except ValueError as problem:
                raise ValueError(f"{os.fspath(path)}:{number}: {problem}") from None
            if words:
                yield Sentence(number, tuple(words))


AnySentence = Union[Word, Sequence[Word], Sentence]


def words_of(sentence: AnySentence) -> List[bytes]:
    """The words of a sentence however it is given: as a line, as words, or read from a file."""
    if isinstance(sentence, Sentence):
        return list(sentence.words)
    if isinstance(sentence, (str, bytes)):
        return split_words(sentence)
    return [os.fsencode(word) for word in sentence]
