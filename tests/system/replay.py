"""Makes the library calls of a log again: each line of standard input is one, as `emuswitch log` writes it.

A process of its own, since the emulated libraries have one switch in a process: that of EMUSWITCH.
"""

import ast
import ctypes
import os
import pathlib
import re
import struct
import sys

LIBRARIES = {"brgfdb": "libbrgfdb.so", "portshm": "libportshm.so", "qual": "libqual.so", "libev": "libtrapevent.so"}
ARGUMENT = re.compile(r'\s*("(?:[^"\\]|\\.)*"|\{[^}]*\}|[^,{"]+)\s*(?:,|$)')
ANSWERED = re.compile(r"( = (-?\d+).*)?$", re.S)


def words_of_record(text):
    return text.strip("{}").split()


def rule_record(text):
    """A rule that matches any frame; others are not replayed."""
    marking, address, _, present = words_of_record(text)
    stream, traffic_class, color = address.split("/")
    if int(present, 16) != 0:
        raise ValueError(f"only rules without fields are replayed: {text}")
    head = struct.pack("=IHBBI", ("normal", "dot1p", "dscp").index(marking), int(stream), int(traffic_class),
                       ("green", "yellow", "red").index(color), 0)
    return head + bytes(120 - len(head))


def argument_of(function, text):
    if text.startswith('"'):
        return ctypes.c_char_p(ast.literal_eval("b" + text))
    if re.fullmatch(r"[0-9a-f]{2}(:[0-9a-f]{2}){5}", text):
        return ctypes.c_char_p(bytes.fromhex(text.replace(":", "")))
    if not text.startswith("{"):
        return ctypes.c_int32(ctypes.c_uint32(int(text, 0) & 0xFFFFFFFF).value)
    if function == "brgfdb_add_classify_action_to_profile":
        return ctypes.create_string_buffer(rule_record(text), 120)
    words = words_of_record(text)
    if function == "brgfdb_add_classify_profile_to_pv":
        halves = [int(half) for word in words for half in word.split("/")]
        return ctypes.create_string_buffer(struct.pack("=8H", *halves), 16)
    if function == "brgfdb_set_param_to_port":
        return ctypes.create_string_buffer(struct.pack("=5H", *(int(word, 0) for word in words)), 10)
    return (ctypes.c_uint32 * len(words))(*(int(word, 0) for word in words))


def make(libraries, line):
    function, _, rest = line.partition("(")
    depth = rest.rindex(")") if ") = " not in rest else rest.index(") = ")
    arguments = [argument_of(function, text.strip()) for text in ARGUMENT.findall(rest[:depth])]
    status = ctypes.c_int32()
    extra = []
    if function == "brgfdb_get_vid":
        extra = [ctypes.byref(ctypes.c_uint32())]
    elif function == "brgfdb_get_stream_info":
        extra = [ctypes.create_string_buffer(288)]
    elif function == "brgfdb_create_vlan":
        arguments[1] = ctypes.byref(ctypes.c_int32(arguments[1].value))
    if function.startswith("brgfdb_") and not function.startswith("brgfdb_clear_fdb"):
        extra.append(ctypes.byref(status))
    getattr(libraries[function.split("_")[0]], function)(*arguments, *extra)


def main():
    folder = pathlib.Path(os.environ["EMULATED_LIBRARIES"])
    libraries = {name: ctypes.CDLL(str(folder / file)) for name, file in LIBRARIES.items()}
    for line in sys.stdin:
        if not line.startswith("getprotobyname"):
            make(libraries, line.rstrip("\n"))


if __name__ == "__main__":
    main()
