#!/usr/bin/env python3
"""Writes office.pcap and guests.pcap, two seconds of traffic for docs/example/uplink.play, into the present folder."""

import struct

BEGIN = 1_700_000_000_000_000_000  # nanoseconds since 1970
END = BEGIN + 2_000_000_000
GATEWAY = "02:00:00:00:01:01"


def udp(source, destination, port, length):
    """An Ethernet frame of that length with a UDP packet."""
    payload = length - 42
    ethernet = bytes.fromhex((destination + source).replace(":", "")) + b"\x08\x00"
    ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 28 + payload, 0, 0, 64, 17, 0, bytes([10, 0, 10, 1]),
                     bytes([10, 0, 0, 1]))
    return ethernet + ip + struct.pack(">HHHH", port, port, 8 + payload, 0) + bytes(payload)


def flow(frame, every, begin=BEGIN, end=END):
    """The frame again and again."""
    return [(time, frame) for time in range(begin, end, every)]


def write(name, frames):
    with open(name, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 65535, 1))
        for time, frame in sorted(frames, key=lambda entry: entry[0]):
            file.write(struct.pack("<IIII", time // 10**9, time % 10**9, len(frame), len(frame)) + frame)


# Voice every 10 ms, and from half a second on more of the office than the uplink takes.
voice = flow(udp("02:00:00:00:02:01", GATEWAY, 5004, 214), 10_000_000)
office = flow(udp("02:00:00:00:02:02", GATEWAY, 80, 1514), 1_000_000, begin=BEGIN + 500_000_000)
guests = flow(udp("02:00:00:00:03:01", GATEWAY, 80, 1514), 1_200_000)
# One of the guests forges the office's tag.
forged = udp("02:00:00:00:03:02", GATEWAY, 80, 60)
forged = forged[:12] + bytes.fromhex("8100000a") + forged[12:]

write("office.pcap", voice + office)
write("guests.pcap", guests + flow(forged, 200_000_000))
