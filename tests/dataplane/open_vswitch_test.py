"""Random configurations and frames through this switch and through Open vSwitch, which forwards by the same standard.

    open_vswitch_test.py [--configurations N] [--frames N] [--seed N]

Access, trunk and native ports, 802.1Q and 802.1ad tags, priority tags, double tags, learning, static entries and
mirrors. Where the two are meant to differ, the frame is counted under a kind of its own, told in `explain`; everything
else has to be equal, byte by byte. Prints its counts. Where Open vSwitch is not installed it ends with 77.
"""

import argparse
import collections
import ctypes
import json
import os
import random
import signal
import subprocess
import sys
import tempfile
import time

import open_vswitch
from frames import mac

COMPANION = os.environ["COMPANION"]
LIBRARIES = os.environ["EMULATED_LIBRARIES"]

ACCESS, TRUNK, NATIVE_TAGGED, NATIVE_UNTAGGED = "access", "trunk", "native-tagged", "native-untagged"
RESERVED = [f"01:80:c2:00:00:{last:02x}" for last in range(16)]
TYPE_ETHER = 1
FLAG = 0x8001
INGRESS_FILTERING = 0x0020


class Port:
    def __init__(self, number, mode, own, trunks):
        self.number = number
        self.mode = mode
        self.own = own  # the VLAN of its untagged frames; 0: none
        self.trunks = trunks

    def takes(self, tag_type, vid):
        """Whether a frame with that tag belongs to a VLAN of the port."""
        if not tag_type or vid == 0:
            return self.own != 0
        return self.mode != ACCESS and vid in self.vids()

    def vids(self):
        return sorted(set(self.trunks) | ({self.own} if self.own else set()))


class Configuration:
    """The same switch for both."""

    def __init__(self, rng):
        self.vids = sorted(rng.sample(range(1, 4095), rng.randint(1, 4)))
        self.tag_type = 0x88A8 if rng.random() < 0.25 else 0x8100
        # Open vSwitch tags what came in without a tag by 8100 only.
        modes = [TRUNK] if self.tag_type == 0x88A8 else [ACCESS, TRUNK, NATIVE_TAGGED, NATIVE_UNTAGGED]
        self.ports = [self.random_port(rng, number, rng.choice(modes)) for number in range(1, rng.randint(3, 6))]
        self.hosts = [f"00:00:5e:00:53:{last:02x}" for last in range(rng.randint(2, 6))]
        self.groups = ["ff:ff:ff:ff:ff:ff", "01:00:5e:00:00:05"]
        self.statics = self.random_statics(rng)
        self.mirrors = self.random_mirrors(rng)
        self.mirror_port = len(self.ports) + 1

    def random_port(self, rng, number, mode):
        own = 0 if mode == TRUNK else rng.choice(self.vids)
        count = rng.randint(1, len(self.vids))
        trunks = [] if mode == ACCESS else sorted(rng.sample(self.vids, count))
        return Port(number, mode, own, trunks)

    def random_statics(self, rng):
        statics = {}
        for host in rng.sample(self.hosts, rng.randint(0, 2)):
            port = rng.choice(self.ports)
            statics[rng.choice(port.vids()), host] = port.number
        return statics

    def random_mirrors(self, rng):
        """At most one of a kind: (kind, port or VLAN)."""
        kinds = [("in", rng.choice(self.ports).number), ("out", rng.choice(self.ports).number),
                 ("vlan", rng.choice(self.vids))]
        return rng.sample(kinds, rng.choice([0, 0, 1, 1, 2]))

    # --- For Open vSwitch ---

    def commands(self):
        commands = []
        for port in self.ports:
            options = [f"vlan_mode={port.mode}"]
            options += [f"tag={port.own}"] if port.own else []
            options += [f"trunks={','.join(map(str, port.trunks))}"] if port.trunks else []
            commands.append(["add-port", "br0", f"p{port.number}", *options, "--", "set", "interface",
                             f"p{port.number}", "type=dummy", f"ofport_request={port.number}"])
        if self.mirrors:
            to = f"p{self.mirror_port}"
            commands.append(["add-port", "br0", to, "--", "set", "interface", to, "type=dummy",
                             f"ofport_request={self.mirror_port}"])
        for place, (kind, of) in enumerate(self.mirrors):
            commands += self.mirror_commands(place, kind, of)
        return commands

    def mirror_commands(self, place, kind, of):
        source, output, mirror = f"@s{place}", f"@o{place}", f"@m{place}"
        selection = {"in": f"select-src-port={source}", "out": f"select-dst-port={source}",
                     "vlan": f"select_all=true select_vlan={of}"}[kind].split()
        commands = [] if kind == "vlan" else [[f"--id={source}", "get", "port", f"p{of}"]]
        commands.append([f"--id={output}", "get", "port", f"p{self.mirror_port}"])
        commands.append([f"--id={mirror}", "create", "mirror", f"name=m{place}", f"output-port={output}", *selection])
        return [*commands, ["add", "bridge", "br0", "mirrors", mirror]]


class Switch:
    """This one: made by calls of its libraries, as sentences make them, and asked line by line."""

    def __init__(self, folder):
        self.store = os.path.join(folder, "switch.db")
        os.environ["EMUSWITCH"] = self.store
        self.library = ctypes.CDLL(os.path.join(LIBRARIES, "libbrgfdb.so"))
        self.process = subprocess.Popen([COMPANION, "trace", "--json", "-"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def close(self):
        self.process.stdin.close()
        self.process.wait(60)

    def call(self, name, *arguments):
        status = ctypes.c_int32(0)
        if getattr(self.library, f"brgfdb_{name}")(*arguments, ctypes.byref(status)) != 0:
            raise RuntimeError(f"{name}{arguments}: status {status.value}")

    def configure(self, configuration):
        subprocess.run([COMPANION, "reset"], check=True)
        for vid in configuration.vids:
            self.call("create_vlan", f"vlan{vid}".encode(), ctypes.byref(ctypes.c_int32(vid)))
        for port in configuration.ports:
            self.make_port(port, configuration.tag_type)
        self.make_line(configuration.mirror_port)
        for (vid, host), port in configuration.statics.items():
            self.call("create_sfil", vid, mac(host), port, 0, 0)
        for number, (kind, of) in enumerate(configuration.mirrors, 1):
            self.make_mirror(number, kind, of, configuration.mirror_port)

    def make_line(self, number):
        self.call("create_port", number, number, TYPE_ETHER)
        for address in RESERVED:
            self.call("create_lfil", number, mac(address), 4, 1)
        self.call("enable_port", number)

    def make_port(self, port, tag_type):
        self.make_line(port.number)
        record = (ctypes.c_uint16 * 5)(INGRESS_FILTERING, 0, 0, 0, 0)
        self.call("set_param_to_port", port.number, record, 0, 0, FLAG, INGRESS_FILTERING)
        record = (ctypes.c_uint16 * 5)(0, 0, 0, tag_type, 0)
        self.call("set_param_to_port", port.number, record, 0, 0, 0x0010, 0)
        for vid in port.vids():
            is_tagged = vid != port.own or port.mode == NATIVE_TAGGED
            self.call("add_port_to_vlan", vid, port.number, int(is_tagged), tag_type, 0, 0)
        if port.mode == NATIVE_TAGGED:
            record = (ctypes.c_uint16 * 5)(0, 0, 0, 0, port.own)
            self.call("set_param_to_port", port.number, record, 0, 0, 0x0020, 0)

    def make_mirror(self, number, kind, of, destination):
        source = {"in": (1, of, 0), "out": (3, of, 0), "vlan": (5, 0, of)}[kind]
        self.call("create_mirror", number)
        self.call("set_mirror_source", number, *source)
        self.call("set_mirror_dest", number, destination)
        self.call("enable_mirror", number)

    def send(self, frames):
        """The objects that answer these (port, bytes)."""
        text = "".join(f"{port} {frame.hex()}\n" for port, frame in frames)
        answers = []
        # In pieces that a pipe holds, so that nobody waits for the other.
        lines = text.splitlines(keepends=True)
        for start in range(0, len(lines), 50):
            piece = lines[start:start + 50]
            self.process.stdin.write("".join(piece))
            self.process.stdin.flush()
            answers += [json.loads(self.process.stdout.readline()) for _ in piece]
        return answers


# The source of frames that one of the two does not learn from: it is nobody's destination.
LONER = "00:00:5e:00:53:ff"


def random_tags(rng, configuration):
    kind = rng.random()
    tag_type = configuration.tag_type
    if kind < 0.03:
        tag_type = 0x88A8 if tag_type == 0x8100 else 0x8100  # another's
    tags = b""
    if kind < 0.6:
        vid = rng.choice(configuration.vids) if rng.random() < 0.9 else rng.randint(1, 4094)
        tags = tag_type.to_bytes(2, "big") + (rng.randint(0, 7) << 13 | vid).to_bytes(2, "big")
    elif kind < 0.7:
        tags = tag_type.to_bytes(2, "big") + (rng.randint(0, 7) << 13).to_bytes(2, "big")
    if kind < 0.1:  # a second one, which is payload
        tags += tag_type.to_bytes(2, "big") + rng.randint(1, 4094).to_bytes(2, "big")
    return tags


def random_frame(rng, configuration):
    """(port, bytes)"""
    port = rng.choice(configuration.ports).number
    destinations = configuration.hosts + configuration.groups if rng.random() < 0.95 else RESERVED
    source = rng.choice(configuration.hosts) if rng.random() < 0.97 else "01:00:5e:00:00:09"
    rest = random_tags(rng, configuration) + rng.choice([b"\x88\xb5", b"\x08\x06"]) + bytes(46)
    destination = mac(rng.choice(destinations))
    if differs_in_tags(configuration, port, destination + mac(source) + rest):
        source = LONER
    return port, destination + mac(source) + rest


def tag_of(frame):
    tag_type = int.from_bytes(frame[12:14], "big")
    return (tag_type, int.from_bytes(frame[14:16], "big") & 0xFFF) if tag_type in (0x8100, 0x88A8) else (0, 0)


def without_tags(frame):
    while tag_of(frame)[0]:
        frame = frame[:12] + frame[16:]
    return frame


def as_copied(configuration, outputs):
    """The outputs, their mirrored copies without tags and each once."""
    to = configuration.mirror_port
    copies = {without_tags(frame) for port, frame in outputs if port == to}
    return sorted(output for output in outputs if output[0] != to), copies


def differs_in_tags(configuration, port, frame):
    tag_type, vid = tag_of(frame)
    of = configuration.ports[port - 1]
    if tag_type not in (0, configuration.tag_type):
        return "Open vSwitch takes tags of both types for one"
    if of.mode == ACCESS and vid == of.own and tag_type:
        return "an access port of Open vSwitch takes no tag, not even of its own VLAN"
    return ""


def explain(configuration, received, ours, theirs):
    """Why the two are meant to differ for this frame; empty: they are not."""
    port, frame = received
    if kind := differs_in_tags(configuration, port, frame):
        return kind
    to = configuration.mirror_port
    if as_copied(configuration, ours) == as_copied(configuration, theirs):
        if sum(output[0] == to for output in ours) > sum(output[0] == to for output in theirs):
            return "Open vSwitch sends one copy where two mirrors share a destination"
        return "Open vSwitch copies a frame with the tag of its VLAN, not as it came or went"
    if any(output[0] != to for output in ours + theirs):
        return ""
    # A frame that goes nowhere, but for its copies.
    if not configuration.ports[port - 1].takes(*tag_of(frame)) and not theirs:
        return "Open vSwitch copies nothing of a frame that no VLAN of its port takes"
    if frame[:5] == mac(RESERVED[0])[:5] and "vlan" in dict(configuration.mirrors):
        return "a mirror of a VLAN does not see frames that reception drops for their address"
    return ""


class Comparison:
    def __init__(self):
        self.frames = 0
        self.copies = 0
        self.verdicts = collections.Counter()
        self.explained = collections.Counter()
        self.unexplained = []

    def compare(self, configuration, received, answer, theirs):
        if "error" in answer:
            raise RuntimeError(answer["error"])
        ours = sorted((output["port"], bytes.fromhex(output["frame"])) for output in answer["outputs"])
        self.frames += 1
        self.copies += len(ours)
        self.verdicts[answer["verdict"] if answer["verdict"] != "dropped" else answer["reason"]] += 1
        if ours == sorted(theirs):
            return
        if kind := explain(configuration, received, ours, theirs):
            self.explained[kind] += 1
        else:
            self.unexplained.append((configuration, received, answer, theirs))

    def tell(self):
        for configuration, (port, frame), answer, theirs in self.unexplained[:5]:
            print(f"port {port}: {frame.hex()}")
            for of in configuration.ports:
                print(f"  port {of.number} {of.mode} own {of.own} trunks {of.trunks}")
            print(f"  type {configuration.tag_type:04x} statics {configuration.statics} mirrors {configuration.mirrors}"
                  f" to {configuration.mirror_port}")
            print("  here:         ", answer["verdict"], answer["reason"],
                  [(output["port"], output["frame"][:48]) for output in answer["outputs"]])
            print("  Open vSwitch: ", [(out, data.hex()[:48]) for out, data in theirs])
        print(f"{self.frames} frames, {self.copies} left; {sum(self.explained.values())} differ as explained,"
              f" {len(self.unexplained)} otherwise")
        for name, count in sorted(self.explained.items()):
            print(f"  {count:8} {name}")
        for name, count in sorted(self.verdicts.items()):
            print(f"  {count:8} {name}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--configurations", type=int, default=10)
    parser.add_argument("--frames", type=int, default=100, help="for each configuration")
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    if package := open_vswitch.missing():
        print(f"skipped: Open vSwitch is not installed (apt-get install {package})")
        return 77
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the daemons go, too
    comparison = Comparison()
    started = time.monotonic()
    with tempfile.TemporaryDirectory() as folder, open_vswitch.OpenVSwitch() as other:
        switch = Switch(folder)
        try:
            for number in range(options.configurations):
                play(switch, other, comparison, random.Random(f"{options.seed}/{number}"), options.frames)
                if sys.stderr.isatty() or number % 50 == 49:
                    print(f"{number + 1} configurations, {comparison.frames} frames,"
                          f" {len(comparison.unexplained)} unexplained", file=sys.stderr)
        finally:
            switch.close()
    comparison.tell()
    print(f"{options.configurations} configurations, {comparison.frames / (time.monotonic() - started):.0f} frames/s")
    return 1 if comparison.unexplained else 0


def play(switch, other, comparison, rng, count):
    configuration = Configuration(rng)
    switch.configure(configuration)
    other.configure(configuration.commands())
    for (vid, host), port in configuration.statics.items():
        other.control.ask("fdb/add", "br0", f"p{port}", str(vid), host)
    frames = [random_frame(rng, configuration) for _ in range(count)]
    answers = switch.send(frames)
    for received, answer in zip(frames, answers):
        comparison.compare(configuration, received, answer, other.send(*received))


if __name__ == "__main__":
    sys.exit(main())
