"""Frames with times through the queues, by `emuswitch replay`: which of them leaves when, and which is lost.

A frame is known by its source address, which is made from its place. So is what leaves and what does not.
"""

import pathlib
import re
import struct
import tempfile
import typing

from frames import frame_of_words

BEGIN = 1_700_000_000  # seconds since 1970
SECTION, INTERFACE, PACKET = 0x0A0D0D0A, 1, 6  # blocks of a pcapng
NAME, COMMENT, FLAGS = 2, 1, 2  # options
SENT = 2  # of the flags


class TimedFrame(typing.NamedTuple):
    name: str  # "a", or "a1" to "a9" of several
    time: int  # nanoseconds
    port: str
    data: bytes


class Leaving(typing.NamedTuple):
    port: str
    name: str
    time: int  # nanoseconds


def source_of(place):
    return bytes.fromhex("020000") + place.to_bytes(3, "big")


def timed_frames(lines):
    """Of lines such as `a at 0.5 1 tag vid 10 x 3 every 100`: what they send, in the order of the lines."""
    frames = []
    for line in lines:
        found = re.fullmatch(r"(\w+)(?: at ([\d.]+))? (\d+)( .*?)?(?: x (\d+)(?: every ([\d.]+))?)?", line)
        if found is None:
            raise ValueError(f"no frame with a name, a port and fields: {line}")
        name, begin, port, words, count, every = found.groups()
        addresses, tags, rest = frame_of_words((words or "").split())
        for i in range(int(count or 1)):
            data = addresses[:6] + source_of(len(frames)) + tags + rest
            time = round((float(begin or 0) + i * float(every or 0)) * 1000)
            frames.append(TimedFrame(f"{name}{i + 1}" if count else name, time, port, data))
    return frames


def write_pcap(path, frames):
    """With nanoseconds; in the order of time, frames of one time in the order of their lines."""
    with path.open("wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 65535, 1))
        for frame in sorted(frames, key=lambda frame: frame.time):
            file.write(struct.pack("<IIII", BEGIN + frame.time // 10**9, frame.time % 10**9, len(frame.data),
                                   len(frame.data)) + frame.data)


def options_of(body, order):
    options = {}
    while len(body) >= 4:
        kind, length = struct.unpack_from(order + "HH", body)
        options[kind] = body[4:4 + length]
        body = body[4 + (length + 3) // 4 * 4:]
    return options


def packets(path):
    """(port, is sent, nanoseconds since the beginning, bytes, comment) of each frame of a pcapng."""
    data = path.read_bytes()
    order = "<" if data[8:12] == bytes.fromhex("4d3c2b1a") else ">"
    ports = []
    at = 0
    while at < len(data):
        kind, length = struct.unpack_from(order + "II", data, at)
        body = data[at + 8:at + length - 4]
        at += length
        if kind == INTERFACE:
            ports.append(options_of(body[8:], order)[NAME].decode().removeprefix("port"))
        elif kind == PACKET:
            interface, high, low, captured, _ = struct.unpack_from(order + "IIIII", body)
            options = options_of(body[20 + (captured + 3) // 4 * 4:], order)
            is_sent = struct.unpack(order + "I", options[FLAGS])[0] & 3 == SENT
            yield (ports[interface], is_sent, (high << 32 | low) - BEGIN * 10**9, body[20:20 + captured],
                   options[COMMENT].decode())


def send(switch, frames):
    """What left, in its order, and why each of the others was lost: [Leaving], {name: reason}."""
    name_of = {source_of(place): frame.name for place, frame in enumerate(frames)}
    left, lost = [], {}
    with tempfile.TemporaryDirectory(prefix="timed-frames-") as folder:
        work = pathlib.Path(folder)
        ports = sorted({frame.port for frame in frames})
        for port in ports:
            write_pcap(work / f"{port}.pcap", [frame for frame in frames if frame.port == port])
        switch.companion("replay", *(f"{port}={work}/{port}.pcap" for port in ports), "-o", str(work / "out.pcapng"))
        for port, is_sent, time, data, comment in packets(work / "out.pcapng"):
            name = name_of[data[6:12]]
            if is_sent:
                left.append(Leaving(port, name, time))
            elif reason := re.search(r"dropped: (\w+)", comment):
                lost[name] = reason[1]
    return left, lost
