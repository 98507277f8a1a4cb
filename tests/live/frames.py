"""Frames by their parts."""

import struct


def mac(number):
    """The address of a host: locally administered, and none that the switch gives its own ports."""
    return bytes.fromhex("0a0000") + number.to_bytes(3, "big")


BROADCAST = b"\xff" * 6


def tag(tag_type, vid, priority=0, drop_eligible=0):
    return struct.pack("!HH", tag_type, priority << 13 | drop_eligible << 12 | vid)


def frame(source, destination=BROADCAST, tags=b"", ether_type=0x88b5, payload=b"payload"):
    """Of an Ethernet type for experiments, if none is told. Addresses are numbers or bytes."""
    addresses = [word if isinstance(word, bytes) else mac(word) for word in (destination, source)]
    return b"".join(addresses) + tags + struct.pack("!H", ether_type) + payload
