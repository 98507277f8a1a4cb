"""Frames by their fields, as `emuswitch trace` takes them: a second reading of the same words, to compare with."""

import struct

PROTOCOLS = {"icmp": 1, "igmp": 2, "tcp": 6, "udp": 17}
TAG_TYPES = (0x8100, 0x88A8, 0x9100)
IPV4_FIELDS = ("src", "dst", "prot", "sport", "dport", "tos", "fragment")


def checksum(data, start=0):
    """RFC 1071."""
    if len(data) % 2:
        data += b"\0"
    total = start + sum(struct.unpack(f">{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF


def mac(text):
    return bytes.fromhex(text.replace(":", ""))


def ipv4(text):
    return bytes(int(part) for part in text.split("."))


def tags_of_words(words):
    """The tags that the words name, as bytes, from the outermost on."""
    tags = []
    at = 0
    while at < len(words):
        word = words[at]
        if word == "tag":
            tags.append({"type": 0x8100, "vid": 0, "pri": 0, "dei": 0})
        elif word == "dei":
            tags[-1]["dei"] = 1
        elif word == "tagtype":
            at += 1
            tags[-1]["type"] = int(words[at], 16)
        elif word in ("vid", "pri"):
            at += 1
            tags[-1][word] = int(words[at])
        else:
            raise ValueError(f"{word} is no word of a tag")
        at += 1
    return b"".join(struct.pack(">HH", tag["type"], tag["pri"] << 13 | tag["dei"] << 12 | tag["vid"]) for tag in tags)


def transport(values, source, destination):
    protocol = PROTOCOLS.get(values["prot"]) or int(values["prot"])
    payload = bytes(int(values["length"]))
    ports = struct.pack(">HH", int(values["sport"]), int(values["dport"]))
    if int(values["fragment"]) != 0:
        return protocol, payload
    if protocol == 6:
        header = ports + bytes(8) + b"\x50" + bytes(7)
        at = 16
    elif protocol == 17:
        header = ports + struct.pack(">HH", 8 + len(payload), 0)
        at = 6
    elif protocol in (1, 2):
        header = (b"\x08" if protocol == 1 else b"\x11") + bytes(7)
        at = 2
    else:
        return protocol, payload
    data = header + payload
    pseudo = source + destination + struct.pack(">HH", protocol, len(data)) if protocol in (6, 17) else b""
    found = checksum(pseudo + data)
    if found == 0 and protocol == 17:
        found = 0xFFFF
    return protocol, data[:at] + struct.pack(">H", found) + data[at + 2:]


def packet(values):
    source, destination = ipv4(values["src"]), ipv4(values["dst"])
    protocol, data = transport(values, source, destination)
    header = struct.pack(">BBHHHBBH", 0x45, int(values["tos"], 0), 20 + len(data), 0, int(values["fragment"]), 64,
                         protocol, 0) + source + destination
    return header[:10] + struct.pack(">H", checksum(header)) + header[12:] + data


def frame_of_words(words):
    """The bytes of a frame: (addresses, tags, the rest from the Ethernet type on)."""
    values = {"da": "ff:ff:ff:ff:ff:ff", "sa": "00:00:5e:00:53:01", "src": "192.0.2.1", "dst": "192.0.2.2",
              "prot": "udp", "sport": "1024", "dport": "9", "tos": "0", "fragment": "0", "length": "0"}
    tags = []
    is_ipv4 = False
    at = 0
    while at < len(words):
        word = words[at]
        if word in ("tag", "dei"):
            tags.append(word)
        elif word in ("vid", "pri", "tagtype"):
            at += 1
            tags += [word, words[at]]
        else:
            if word not in values and word != "etype":
                raise ValueError(f"{word} is no field")
            at += 1
            values[word] = words[at]
            is_ipv4 = is_ipv4 or word in IPV4_FIELDS
        at += 1
    ether_type = int(values.get("etype", "0800" if is_ipv4 else "88b5"), 16)
    addresses = mac(values["da"]) + mac(values["sa"])
    tag_bytes = tags_of_words(tags)
    rest = struct.pack(">H", ether_type) + (packet(values) if ether_type == 0x0800 else bytes(int(values["length"])))
    rest += bytes(max(0, 60 - len(addresses + tag_bytes + rest)))
    return addresses, tag_bytes, rest


def told_tags(frame):
    """The tags of a frame in words; and what stands behind them."""
    words = []
    at = 12
    while at + 6 <= len(frame) and struct.unpack_from(">H", frame, at)[0] in TAG_TYPES:
        tag_type, control = struct.unpack_from(">HH", frame, at)
        words.append("tag" + (f" tagtype {tag_type:04x}" if tag_type != 0x8100 else "")
                     + f" vid {control & 0xFFF} pri {control >> 13}" + (" dei" if control & 0x1000 else ""))
        at += 4
    return " ".join(words) or "untagged", frame[at:]
