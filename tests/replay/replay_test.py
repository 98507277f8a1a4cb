"""emuswitch replay on the command line: captures in every way, sentences in between, and what is said of bad ones."""

import errno
import fcntl
import os
import pathlib
import pty
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import unittest
import xml.etree.ElementTree

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "companion"))
from json_schema import checked  # noqa: E402  pylint: disable=wrong-import-position

EMUSWITCH = os.environ["COMPANION"]
BEGIN = 1_700_000_000


def pcap(frames, order="<"):
    """Seconds from the beginning and bytes of each frame."""
    header = struct.pack(order + "IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1)
    return header + b"".join(
        struct.pack(order + "IIII", BEGIN + int(time), round(time % 1 * 1e6), len(data), len(data)) + data
        for time, data in frames)


def frame(source, tag=b"", length=60):
    start = bytes.fromhex("ffffffffffff") + bytes.fromhex("0200000000") + bytes([source]) + tag + b"\x08\x00"
    return start + bytes(length - len(start))


def wait_until_it_reads(process):
    """Until it has taken all that is in its standard input, a pipe, and sleeps there."""
    while True:
        waiting = struct.unpack("i", fcntl.ioctl(process.stdin, termios.FIONREAD, bytes(4)))[0]
        state = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
        if waiting == 0 and state == "S":
            return
        os.sched_yield()


def everything_on(master):
    """What came to a terminal that nobody has open any more: the kernel hands it over in pieces, and late."""
    pieces = []
    while True:
        try:
            pieces.append(os.read(master, 65536))
        except OSError as reason:
            if reason.errno != errno.EIO:
                raise
            return b"".join(pieces).decode()


class Replay(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="replay-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.environment = dict(os.environ, HOME=str(self.folder), EMUSWITCH=str(self.folder / "switch.db"),
                                TMPDIR=str(self.folder))
        self.run_(["play", "-"], input="create port 1 npport 1 portType ether\ncreate port 2 npport 2 portType ether\n"
                                       "create vlan sales vid 10\nadd port 1 to vlan sales tag on\n"
                                       "add port 2 to vlan sales tag off\nenable port 1\nenable port 2\n")

    def run_(self, words, input=None, status=0):
        binary = isinstance(input, bytes)
        done = subprocess.run([EMUSWITCH, *words], cwd=self.folder, env=self.environment, input=input,
                              capture_output=True, text=not binary)
        self.assertEqual(status, done.returncode, done.stderr)
        return done

    def replay(self, *words, **more):
        return self.run_(["replay", *words], **more)

    def summary(self, *words, **more):
        return checked("replay", self.replay(*words, "--json", **more).stdout)

    def write(self, name, frames, order="<"):
        (self.folder / name).write_bytes(pcap(frames, order))

    def test_the_summary_for_programs(self):
        self.write("in.pcap", [(i / 1000, frame(1)) for i in range(100)] + [(1, frame(1)[:10])], ">")
        found = self.summary("2=in.pcap")
        self.assertEqual({"frames": 101, "bytes": 6010}, found["received"])
        self.assertEqual({"frames": 100, "bytes": 6400}, found["sent"])
        self.assertEqual({"too_short": {"frames": 1, "bytes": 10}}, found["reasons"])
        self.assertEqual((0, 0), (found["waiting"], found["copies"]))
        self.assertEqual([(10, "sales", 100)], [(v["vid"], v["name"], v["received"]["frames"]) for v in found["vlans"]])
        self.assertEqual([1, 2], [port["port"] for port in found["ports"]])
        self.assertEqual((BEGIN * 10**9, (BEGIN + 1) * 10**9), (found["begin_ns"], found["end_ns"]))

    def test_captures_are_merged_by_time(self):
        self.write("one.pcap", [(0.0, frame(1)), (0.3, frame(1))])
        self.write("two.pcap", [(0.1, frame(2, bytes.fromhex("8100000a"))), (0.2, frame(2, bytes.fromhex("8100000a")))])
        self.replay("2=one.pcap", "1=two.pcap", "--split", "out")
        sent = (self.folder / "out/port2.pcap").read_bytes()
        self.assertEqual(24 + 2 * (16 + 56), len(sent), "two frames without their tags")
        found = self.summary("2=one.pcap", "1=two.pcap")
        self.assertEqual(4, found["received"]["frames"])
        self.assertEqual([0, 0], [capture["out_of_order"] for capture in found["captures"]])

    def test_pipes(self):
        self.write("in.pcap", [(i / 10, frame(1)) for i in range(20)])
        self.replay("2=in.pcap", "-o", "file.pcapng")
        done = self.replay("2=-", "-o", "-", input=(self.folder / "in.pcap").read_bytes())
        self.assertEqual((self.folder / "file.pcapng").read_bytes(), done.stdout)
        self.assertIn(b"20 frames in", done.stderr)

    def test_its_own_output_goes_in_again(self):
        self.write("in.pcap", [(i / 1000, frame(i % 7)) for i in range(500)])
        self.replay("2=in.pcap", "-o", "out.pcapng")
        found = self.summary("out.pcapng", "-o", "again.pcapng")
        self.assertEqual((self.folder / "out.pcapng").read_bytes(), (self.folder / "again.pcapng").read_bytes())
        self.assertEqual([500], [capture["left_out"] for capture in found["captures"]])

    def test_sentences_in_between(self):
        self.write("in.pcap", [(i / 10, frame(1)) for i in range(40)])
        (self.folder / "changes.play").write_text("# a comment\nat 1 disable port 1\n\nat 3.05 enable port 1\n"
                                                  "at 2 set port 9 pvid 10\nat 3.5 delete vlan sales\n"
                                                  "at 3.6 set ether 1 color blue\n")
        done = self.replay("2=in.pcap", "--play", "changes.play", "--json", status=1)
        found = checked("replay", done.stdout)
        self.assertEqual({"accepted": 2, "ignored": 1, "refused": 2}, found["sentences"])
        self.assertEqual(21, found["reasons"]["nobody_to_send_to"]["frames"])
        self.assertEqual(19, found["sent"]["frames"])
        self.assertIn("changes.play:5:6: error: set port 9 pvid 10: NG 102", done.stderr)
        self.assertIn("changes.play:6:8: error: delete vlan sales: NG 1501", done.stderr)
        self.assertIn("changes.play:7:8: warning: set ether 1 color blue: ignored", done.stderr)
        done = self.replay("2=in.pcap", "--play", "changes.play", status=1)
        self.assertIn("\n2 sentences accepted, 1 ignored, 2 refused\n", done.stdout)
        config = self.run_(["config"]).stdout
        self.assertIn("enable port 1", config, "the switch stays as it is")

    def test_with_learn_the_switch_keeps_it(self):
        self.write("in.pcap", [(0, frame(5)), (1, frame(5))])
        (self.folder / "changes.play").write_text("at 0.5 create vlan guests vid 20\n")
        self.replay("2=in.pcap", "--play", "changes.play")
        self.assertNotIn("guests", self.run_(["show", "vlans"]).stdout)
        self.assertNotIn("02:00:00:00:00:05", self.run_(["show", "fdb"]).stdout)
        self.replay("2=in.pcap", "--play", "changes.play", "--learn")
        self.assertIn("guests", self.run_(["show", "vlans"]).stdout)
        self.assertIn("02:00:00:00:00:05", self.run_(["show", "fdb"]).stdout)

    def test_a_capture_that_is_cut_off(self):
        self.write("in.pcap", [(i / 10, frame(1)) for i in range(5)])
        whole = (self.folder / "in.pcap").read_bytes()
        (self.folder / "in.pcap").write_bytes(whole[:-10])
        done = self.replay("2=in.pcap", "-o", "out.pcapng", status=1)
        self.assertIn("4 frames in", done.stdout)
        self.assertIn("emuswitch: in.pcap: byte 328, behind packet 4: a packet is cut off: 76 bytes are due, 66 are "
                      "there\n", done.stderr)
        self.assertGreater((self.folder / "out.pcapng").stat().st_size, 500)

    def test_what_ends_it_while_it_waits_for_a_pipe(self):
        """What came is told, and the copy of the switch that sentences change is removed."""
        (self.folder / "changes.play").write_text("at 1000 create vlan guests vid 20\n")
        copies = self.folder / "copies"
        copies.mkdir()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(signal=number), subprocess.Popen(
                    [EMUSWITCH, "replay", "2=-", "-o", "out.pcapng", "--play", "changes.play"], cwd=self.folder,
                    env={**self.environment, "TMPDIR": str(copies)}, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                    stderr=subprocess.PIPE) as process:
                process.stdin.write(pcap([(0, frame(1)), (1, frame(1))]))
                process.stdin.flush()
                wait_until_it_reads(process)
                process.send_signal(number)
                printed, said = (stream.read().decode() for stream in (process.stdout, process.stderr))
                process.wait()
                self.assertEqual((1, "emuswitch: standard input: interrupted\n"), (process.returncode, said))
                self.assertIn("2 frames in", printed)
                self.assertGreater((self.folder / "out.pcapng").stat().st_size, 300)
                self.assertEqual([], list(copies.iterdir()))

    def test_a_terminal_shows_how_far_it_is_and_is_left_clean(self):
        self.write("in.pcap", [(i / 1e5, frame(1)) for i in range(20000)])
        master, terminal = pty.openpty()
        subprocess.run([EMUSWITCH, "replay", "2=in.pcap"], cwd=self.folder, env=self.environment, check=True,
                       stdout=subprocess.DEVNULL, stderr=terminal)
        os.close(terminal)
        shown = everything_on(master)
        os.close(master)
        self.assertRegex(shown, r"^(\r\[#* *\] \d+/1 MiB)+\r\x1b\[K$")

    def test_what_is_wrong_is_said(self):
        self.write("in.pcap", [(0, frame(1))])
        (self.folder / "bad.play").write_text("at soon enable port 1\n")
        for words, said, status in [
                ([], "replay needs a capture", 2),
                (["9=in.pcap"], "port 9 does not exist", 1),
                (["0=in.pcap"], "ports are numbered from 1", 2),
                (["2=none.pcap"], "none.pcap: cannot be read", 1),
                (["in.pcap"], "an interface without a name; say PORT=in.pcap", 1),
                (["2=in.pcap", "-o", "none/out.pcapng"], "none/out.pcapng: cannot be written", 1),
                (["2=in.pcap", "--plot", "none/out.svg"], "none/out.svg: cannot be written", 1),
                (["2=in.pcap", "-o", "a", "--split", "b"], "not both", 2),
                (["2=in.pcap", "--seed", "-1"], "--seed", 2),
                (["2=in.pcap", "--play", "none.play"], "none.play: cannot be read", 1),
                (["2=in.pcap", "--play", "bad.play"], "bad.play:1:1: error: not \"at SECONDS SENTENCE\"", 1)]:
            with self.subTest(words=words):
                done = self.replay(*words, status=status)
                self.assertIn(said, done.stderr)
                self.assertNotIn("terminate", done.stderr)

    def test_the_picture_is_sound(self):
        self.write("in.pcap", [(i / 10000, frame(1, length=1514)) for i in range(2000)])
        (self.folder / "changes.play").write_text("at 0.1 set ether 1 shaping on rate 10000\n")
        self.replay("2=in.pcap", "--plot", "plot.svg", "--play", "changes.play")
        root = xml.etree.ElementTree.parse(self.folder / "plot.svg").getroot()
        texts = [text.text for text in root.iter("{http://www.w3.org/2000/svg}text")]
        self.assertIn("port 1", texts)
        self.assertIn("1: at 0.100 set ether 1 shaping on rate 10000", texts)
        self.assertTrue(any("dropped" in text for text in texts))

    def test_tshark_shows_names_directions_and_comments(self):
        if not shutil.which("tshark"):
            self.skipTest("needs tshark; apt-get install tshark")
        self.write("in.pcap", [(0, frame(1))])
        self.replay("2=in.pcap", "-o", "out.pcapng")
        fields = ["frame.interface_name", "frame.packet_flags_direction", "frame.packet_id", "frame.comment"]
        done = subprocess.run(["tshark", "-r", "out.pcapng", "-T", "fields", *(w for f in fields for w in ("-e", f))],
                              cwd=self.folder, env=self.environment, capture_output=True, text=True, check=True)
        rows = [line.split("\t") for line in done.stdout.splitlines()]
        self.assertEqual(["port2", "port1"], [row[0] for row in rows])
        self.assertEqual([1, 2], [int(row[1], 16) & 3 for row in rows])
        self.assertEqual(["1", "1"], [row[2] for row in rows])
        self.assertEqual(["VLAN sales (10), class 1/0/green, flooded; to port1 queue best effort of port 1",
                          "from port2, queue best effort of port 1, waited 0 ns"], [row[3] for row in rows])


if __name__ == "__main__":
    unittest.main()
