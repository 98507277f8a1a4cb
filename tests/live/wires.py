"""Hosts and a live switch in network namespaces that vanish with the test.

A test program calls `main`, which runs it once more inside a user and network namespace of its own; where that is not
allowed it is skipped. There each port of the switch is one end of a veth, `sw1`, and the other, `host1`, is the host.
"""

import ctypes
import errno
import fcntl
import json
import os
import pathlib
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "companion"))
from json_schema import checked  # noqa: E402  pylint: disable=wrong-import-position

EMUSWITCH = os.environ["EMUSWITCH_PROGRAM"]
TOLVANE = os.environ["TOLVANE_PROGRAM"]

SKIPPED = 77
INSIDE = "LIVE_TEST_IS_INSIDE"

ETH_P_ALL = 3
SOL_PACKET = 263
PACKET_STATISTICS = 6
PACKET_AUXDATA = 8
PACKET_IGNORE_OUTGOING = 23
TP_STATUS_VLAN_VALID = 1 << 4
SIOCETHTOOL = 0x8946

PATIENCE = int(os.environ.get("TEST_PATIENCE", "60"))  # seconds until something that has to happen counts as not happening


def skip(reason):
    print("skipped:", reason)
    sys.exit(SKIPPED)


def main():
    if os.environ.get(INSIDE):
        unittest.main()
    for program, package in (("unshare", "util-linux"), ("ip", "iproute2")):
        if not shutil.which(program):
            skip(f"there is no {program} (apt-get install {package})")
    if subprocess.run(["unshare", "-Urn", "true"], capture_output=True, check=False).returncode != 0:
        skip("no network namespace can be made here (sysctl kernel.unprivileged_userns_clone=1, or run as root)")
    os.environ[INSIDE] = "yes"
    # All of it ends with this process: a namespace lives as long as a process is in it.
    os.execvp("unshare", ["unshare", "-Urn", "--kill-child", "--fork", sys.executable, "-B", *sys.argv])


def ip(*words):
    subprocess.run(["ip", *words], check=True, capture_output=True, text=True)


def wait_until(condition, what):
    """Looks again and again, and fails only when it has taken absurdly long."""
    end = time.monotonic() + PATIENCE
    while not (value := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"it never came about that {what}")
        time.sleep(0.002)
    return value


def ethtool(interface, command, value=0):
    """Asks for, or sets, an offload of an interface of this namespace."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as control:
        body = bytearray(struct.pack("II", command, value))
        # ifreq: a name and a pointer.
        pointed = (ctypes.c_char * len(body)).from_buffer(body)
        fcntl.ioctl(control, SIOCETHTOOL, struct.pack("16sP16x", interface.encode(), ctypes.addressof(pointed)))
        del pointed
        return struct.unpack("II", body)[1]


class Host:
    """The other end of a port's wire: sends and receives frames as they are."""

    def __init__(self, interface):
        self.interface = interface
        self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW | socket.SOCK_CLOEXEC, socket.htons(ETH_P_ALL))
        self.socket.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)
        self.socket.setsockopt(SOL_PACKET, PACKET_IGNORE_OUTGOING, 1)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 24)  # as much as the machine allows
        self.socket.bind((interface, 0))
        self.socket.setblocking(False)

    def close(self):
        self.socket.close()

    def send(self, frame):
        while True:
            try:
                self.socket.send(frame)
                return
            except OSError as problem:  # the other end has its queue full just now
                if problem.errno not in (errno.ENOBUFS, errno.EAGAIN):
                    raise

    def receive(self):
        """The next frame that has come, with the tag that the kernel keeps aside; None when there is none."""
        try:
            frame, extra, _, _ = self.socket.recvmsg(65536, 256)
        except OSError as problem:
            if problem.errno not in (errno.EAGAIN, errno.ENETDOWN):
                raise
            return None
        for level, kind, data in extra:
            if level == SOL_PACKET and kind == PACKET_AUXDATA:
                status, _, _, _, _, tci, tpid = struct.unpack("IIIHHHH", data[:20])
                if status & TP_STATUS_VLAN_VALID:
                    frame = frame[:12] + struct.pack("!HH", tpid, tci) + frame[12:]
        return frame

    def lost(self):
        """Frames that came while the socket was full, since the last call."""
        return struct.unpack("II", self.socket.getsockopt(SOL_PACKET, PACKET_STATISTICS, 8))[1]

    def receive_all(self):
        frames = []
        while (frame := self.receive()) is not None:
            frames.append(frame)
        return frames

    def expect(self, frame, what="a frame"):
        """Waits for a frame. Whatever comes before it is wrong."""
        found = wait_until(self.receive, f"{self.interface} received {what}")
        if found != frame:
            raise AssertionError(f"{self.interface} received\n  {found.hex()}\nin place of\n  {frame.hex()}")


class Wires(unittest.TestCase):
    """A store, hosts, and a switch that is started by `start`."""

    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="live-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.store = self.folder / "switch.db"
        self.environment = dict(os.environ, EMUSWITCH=str(self.store), TMPDIR=str(self.folder))
        self.hosts = {}
        self.live = None

    def wire(self, *ports):
        """Makes the wires of these ports. The kernel's own traffic stays away from them."""
        for port in ports:
            switch_end, host_end = f"sw{port}", f"host{port}"
            ip("link", "add", switch_end, "type", "veth", "peer", "name", host_end)
            self.addCleanup(subprocess.run, ["ip", "link", "del", switch_end], capture_output=True, check=False)
            for name in (switch_end, host_end):
                pathlib.Path(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6").write_text("1")
            ip("link", "set", host_end, "up", "mtu", "1530", "arp", "off")
            self.hosts[port] = Host(host_end)
            self.addCleanup(self.hosts[port].close)

    def emuswitch(self, *words, status=0, text=None):
        done = subprocess.run([EMUSWITCH, *words], env=self.environment, input=text, text=True, capture_output=True,
                              check=False)
        self.assertEqual(status, done.returncode, done.stdout + done.stderr)
        return done

    def play(self, sentences):
        self.emuswitch("play", "-", text=sentences)

    def say(self, sentence):
        """One sentence; returns whether the switch took it."""
        done = subprocess.run([TOLVANE, *sentence.split()], env=self.environment, text=True, capture_output=True,
                              check=True)
        self.assertEqual("", done.stderr, sentence)
        return "<result>OK</result>" in done.stdout

    def start(self, *bindings, options=()):
        """Starts the live switch and waits until it forwards."""
        words = bindings or [f"{port}=sw{port}" for port in self.hosts]
        errors = open(self.folder / "errors", "a+", encoding="utf-8")
        self.addCleanup(errors.close)
        self.live = subprocess.Popen([EMUSWITCH, "live", *options, *words], env=self.environment, text=True,
                                     stdout=subprocess.PIPE, stderr=errors)
        self.addCleanup(self.stop, signal.SIGKILL)
        line = self.live.stdout.readline()
        self.assertTrue(line.startswith("live on "), line + (self.folder / "errors").read_text())
        wait_until(self.are_wires_up, "the wires are up")

    def are_wires_up(self):
        """The kernel makes the ends ready to send a while after it has told that they are up."""
        shown = subprocess.run(["ip", "-j", "link"], check=True, capture_output=True).stdout
        states = {link["ifname"]: link["operstate"] for link in json.loads(shown)}
        bound = [f"{side}{port}" for port in self.hosts for side in ("sw", "host") if self.is_bound(port)]
        return all(states.get(name) == "UP" for name in bound)

    def is_bound(self, port):
        return any(word == f"{port}=sw{port}" for word in self.live.args)

    def stop(self, number=signal.SIGTERM):
        """Ends the live switch, and returns its exit status."""
        if self.live is None:
            return None
        self.live.send_signal(number)
        return self.wait()

    def wait(self):
        """Waits until the live switch has ended, and returns its exit status."""
        status = self.live.wait(PATIENCE)
        self.live.stdout.close()
        self.live = None
        return status

    def counters(self):
        return checked("counters", self.emuswitch("show", "counters", "--json").stdout)["counters"]

    def workers(self):
        """The process that forwards, a child of the one that was started."""
        children = pathlib.Path(f"/proc/{self.live.pid}/task/{self.live.pid}/children")
        return [int(pid) for pid in children.read_text().split()]
