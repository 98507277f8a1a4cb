"""emuswitch trace as its users meet it: frames in all their forms, bad input, and what it leaves of the switch."""

import hashlib
import json
import os
import pathlib
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path.append(str(TESTS / "dataplane"))
from frames import frame_of_words, told_tags  # noqa: E402  pylint: disable=wrong-import-position

from json_schema import problems  # noqa: E402  pylint: disable=wrong-import-position

EMUSWITCH = os.environ["COMPANION"]
SCHEMA = json.loads((TESTS.parent / "docs/trace.schema.json").read_text())
SERVICE = """\
create port 1 npport 1 portType ether
create port 2 npport 2 portType ether
create vlan "in side" vid 10
add port 1 to vlan "in side" tag on
add port 2 to vlan "in side" tag off
enable port 1
enable port 2
"""
FRAME = "ffffffffffff00112233445588b5" + "00" * 46


class Trace(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="trace-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.store = self.folder / "switch.db"
        self.environment = dict(os.environ, EMUSWITCH=str(self.store))
        self.emuswitch("play", "-", text=SERVICE)

    def emuswitch(self, *words, status=0, text=""):
        done = subprocess.run([EMUSWITCH, *words], env=self.environment, input=text, capture_output=True, check=False,
                              text=True)
        self.assertEqual(status, done.returncode, done.stdout + done.stderr)
        return done

    def trace(self, *words, **options):
        """The object that tells a frame, which is as the schema says."""
        answer = json.loads(self.emuswitch("trace", "--json", *words, **options).stdout)
        self.assertEqual([], problems(answer, SCHEMA))
        return answer

    def write_capture(self, frames):
        capture = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1)
        for data in frames:
            capture += struct.pack("<IIII", 0, 0, len(data), len(data)) + data
        path = self.folder / "frames.pcap"
        path.write_bytes(capture)
        return path

    def lines(self, text, *options, status=0):
        return [json.loads(line)
                for line in self.emuswitch("trace", "--json", *options, "-", text=text, status=status).stdout.splitlines()]


class Forms(Trace):
    def test_hexadecimal_digits_with_blanks_and_colons(self):
        for words in ([FRAME], [FRAME.upper()], [FRAME[:12], FRAME[12:]], ["ff:ff:ff:ff:ff:ff " + FRAME[12:]]):
            self.assertEqual(FRAME, self.trace("2", *words)["frame"])

    def test_fields(self):
        answer = self.trace("2", "sa", "00:11:22:33:44:55")
        self.assertEqual(FRAME, answer["frame"])
        self.assertEqual(("flooded", None, {"vid": 10, "name": "in side"}),
                         (answer["verdict"], answer["reason"], answer["vlan"]))
        self.assertEqual([{"port": 1, "frame": FRAME[:24] + "8100000a" + FRAME[24:], "queue": None, "mirror": None}],
                         answer["outputs"])

    def test_fields_make_the_frames_that_a_second_reader_makes_of_them(self):
        rng = random.Random(5)
        lines = [f"1 {' '.join(random_words(rng))}" for _ in range(2000)]
        answers = self.lines("".join(line + "\n" for line in lines))
        for line, answer in zip(lines, answers):
            self.assertEqual(b"".join(frame_of_words(line.split()[1:])).hex(), answer["frame"], line)

    def test_told_fields_make_the_same_frame_again(self):
        rng = random.Random(6)
        for _ in range(20):
            words = random_words(rng)
            told = self.emuswitch("trace", "1", *words).stdout.splitlines()[0].split(" bytes: ")[1]
            self.assertEqual(frame_of_words(words), frame_of_words(told.split()), told)

    def test_a_dump_of_tcpdump(self):
        dump = ("12:00:00.000000 IP 192.0.2.1.1024 > 192.0.2.2.9: UDP, length 0\n"
                "\t0x0000:  ffff ffff ffff 0011 2233 4455 88b5 0000\n"
                "\t0x0010:  0000 0000 0000 0000 0000 0000 0000 0000\n"
                "12:00:01.000000 ARP\n"
                "\t0x0000:  ffff ffff ffff 0011 2233 4455 0806 0001  .......\"3DU....\n")
        first, second = self.emuswitch("trace", "--json", "2", "-", text=dump).stdout.splitlines()
        self.assertEqual(FRAME[:64], json.loads(first)["frame"])
        self.assertEqual("ffffffffffff00112233445508060001", json.loads(second)["frame"])

    def test_a_capture(self):
        path = self.write_capture([bytes.fromhex(FRAME[:-2]) + bytes([last]) for last in (1, 2)])
        capture = path.read_bytes()
        self.assertEqual("01", self.trace("2", "--pcap", str(path))["frame"][-2:])
        self.assertEqual("02", self.trace("2", "--pcap", str(path), "--frame", "2")["frame"][-2:])
        done = self.emuswitch("trace", "2", "--pcap", str(path), "--frame", "3", status=1)
        self.assertEqual(f"emuswitch: {path}: has no frame 3, but 2\n", done.stderr)
        path.write_bytes(capture[:-1])
        self.assertIn(str(path), self.emuswitch("trace", "2", "--pcap", str(path), "--frame", "2", status=1).stderr)

    def test_a_frame_alone_is_told_as_in_a_line(self):
        self.emuswitch("play", "-", text="""\
create vlan guests vid 20
add port 1 to vlan guests tag on
add port 2 to vlan guests tag on
create sfdbentry 00:11:22:33:44:55 in vlan guests port 2 flag 1
create sfdbentry 00:11:22:33:44:66 in vlan "in side" discard
create lfdbentry 00:11:22:33:44:77 in port 2 both
create clslist 1
add classify 1/2/red normal x x x udp 53 x x x x x to clslist 1
add clslist 1 to port 1 vlan guests
emuswitch limit fdb_entries 39
""")
        lines = [f"{port} tag vid {vid} da 00:11:22:33:44:{last} {more}".strip()
                 for port, vid in ((1, 10), (1, 20), (2, 20)) for last in (55, 66, 77)
                 for more in ("", "prot udp dport 53")[:3 - port]]
        seen = set()
        for line in lines:
            answer = self.trace(*line.split())
            self.assertEqual(self.lines(line + "\n"), [answer])
            seen |= {step["step"] for step in answer["steps"]}
        self.assertLessEqual({"static_entry", "local_entry", "list_matched", "list_not_matched", "not_learned_full"}, seen)

    def test_the_text_names_what_decided_and_the_sentence_that_would_change_it(self):
        self.emuswitch("play", "-", text="create vlan guests vid 20\nset port 2 ingfil on\n")
        text = self.emuswitch("trace", "2", "tag", "vid", "20").stdout
        self.assertIn("port 2 is no member of VLAN guests (20) and has ingfil on\n"
                      "     (to change that: add port 2 to vlan guests tag on)\ndropped: not_a_member\n", text)
        self.assertIn('VLAN "in side" (10)', self.emuswitch("trace", "2", FRAME).stdout)


def random_words(rng):
    words = []
    for _ in range(rng.randint(0, 2)):
        words += ["tag", "vid", str(rng.randint(0, 4095)), "pri", str(rng.randint(0, 7))]
        words += rng.choice([[], ["dei"]]) + rng.choice([[], ["tagtype", "88a8"]])
    choices = {"src": "10.1.2.3", "dst": "10.4.5.6", "prot": rng.choice(["tcp", "udp", "icmp", "igmp", "47"]),
               "tos": str(rng.randint(0, 255)), "fragment": str(rng.choice([0, 0, 100])),
               "length": str(rng.randint(0, 200)), "da": "00:11:22:33:44:55", "sa": "00:11:22:33:44:66"}
    if choices["prot"] in ("tcp", "udp") and choices["fragment"] == "0":
        choices |= {"sport": str(rng.randint(0, 65535)), "dport": str(rng.randint(0, 65535))}
    for name in rng.sample(sorted(choices), rng.randint(1, len(choices))):
        words += [name, choices[name]]
    return words


class BadInput(Trace):
    def refused(self, *words, text=""):
        done = self.emuswitch("trace", *words, status=2, text=text)
        self.assertEqual("", done.stdout)
        return done.stderr

    def test_one_line_says_what_is_wrong(self):
        for words, problem in {
                ("1", "001"): "frame: the number of hexadecimal digits is odd; a byte has two",
                ("1", "00zz"): 'frame: "z" is no hexadecimal digit',
                ("1",): 'frame: behind the port stands a frame: hexadecimal digits, fields such as "tag vid 10", or "-"',
                ("1", "vid", "10"): 'frame: vid belongs behind "tag"',
                ("1", "tag", "vid", "4096"): 'frame: vid takes a number from 0 to 4095, not "4096"',
                ("1", "tag", "vid"): "frame: vid needs a number from 0 to 4095 behind it",
                ("1", "sa", "x"): 'frame: sa takes an address such as 00:11:22:33:44:55, not "x"',
                ("1", "src", "10.0.0.256"): 'frame: src takes an address such as 192.0.2.1, not "10.0.0.256"',
                ("1", "prot", "tcpp"): 'frame: prot takes tcp, udp, icmp, igmp or a number from 0 to 255, not "tcpp"',
                ("1", "etype", "0806", "tos", "1"): "frame: only a frame of Ethernet type 0800 has fields of IPv4",
                ("1", "tag", "vid", "10", "pri", "1", "vid", "20"): 'frame: "vid" stands there twice',
                ("1", "length", "5", "length", "5"): 'frame: "length" stands there twice',
                ("1", "prot", "icmp", "dport", "5"): "frame: only tcp and udp have sport and dport, in their first fragment",
                ("1", "fragment", "1", "sport", "5"): "frame: only tcp and udp have sport and dport, in their first fragment",
                ("1", "da", "x"): 'frame: da takes an address such as 00:11:22:33:44:55, not "x"',
                ("1", "da", "001122334455"): 'frame: da takes an address such as 00:11:22:33:44:55, not "001122334455"',
                ("1", "--frame", "2", "00"): "--frame: counts in the capture that --pcap names",
                ("-",): "trace - answers with lines of JSON; say trace --json -",
                ("x", "00"): 'port: "x" is not the number of a port; or "-" for lines of standard input',
        }.items():
            with self.subTest(words=words):
                self.assertEqual(f"emuswitch: {problem}\n", self.refused(*words))

    def test_a_port_that_is_not_there(self):
        done = self.emuswitch("trace", "9", "00", status=1)
        self.assertEqual("emuswitch: there is no port 9; emuswitch show ports lists them\n", done.stderr)

    def test_frames_of_any_length(self):
        for length in (0, 1, 13, 14, 17, 60, 1536, 1537, 100000):
            answer = self.lines(f"1 {'00' * length}\n")[0]
            self.assertEqual(length, len(answer["frame"]) // 2)
            self.assertEqual([], problems(answer, SCHEMA))
            if not 14 <= length <= 1536:
                self.assertIn(answer["reason"], ("too_short", "too_long"))

    def test_a_dump_without_ethernet_headers(self):
        for packet, begin, length in (("IPv4", "4500 0054", 84), ("IPv4", "4500 001c", 46),
                                      ("IPv6", "6000 0000 0014 06", 60), ("ARP", "0001 0800 0604", 28)):
            digits = begin.replace(" ", "").ljust(2 * length, "0")
            dump = "".join(f"\t0x{at // 2:04x}:  {digits[at:at + 32]}\n" for at in range(0, len(digits), 32))
            self.assertEqual(f"emuswitch: frame: frame 1 is an {packet} packet without its Ethernet header, as tcpdump -x "
                             "prints it; say tcpdump -xx\n", self.refused("1", "-", text=dump))
            longer = dump + f"\t0x{length:04x}:  0000\n"
            self.assertEqual(0 if packet != "ARP" else 2, subprocess.run(
                [EMUSWITCH, "trace", "1", "-"], env=self.environment, input=longer, capture_output=True, text=True,
                check=False).returncode, "another length: it may be a frame")

    def test_bytes_that_begin_with_da(self):
        for words in (["da", "00", "11"], ["da00", "11"], ["da", "0011"], ["da:00:11"]):
            self.assertEqual("da0011", self.trace("1", *words)["frame"])

    def test_a_dump_that_is_none(self):
        self.assertIn("there is no line of bytes", self.refused("1", "-", text="hello\n"))
        self.assertIn("line 2: its offset does not follow", self.refused(
            "1", "-", text="\t0x0000:  ffff ffff\n\t0x0010:  ffff\n"))

    def test_bad_lines_are_answered_and_the_rest_goes_on(self):
        text = f"2 {FRAME}\n\n9 {FRAME}\n2 0\nx\n2 {'0' * 1100000}\n2 {FRAME}"
        answers = self.lines(text, status=1)
        self.assertEqual([
            None,
            {"line": 2, "error": "line 2: it is empty; a line is PORT FRAME"},
            {"line": 3, "error": "line 3: there is no port 9"},
            {"line": 4, "error": "line 4: the number of hexadecimal digits is odd; a byte has two"},
            {"line": 5, "error": "line 5: it begins with no port; a line is PORT FRAME"},
            {"line": 6, "error": "line 6: it is longer than a frame can be"},
            None,
        ], [answer if "error" in answer else None for answer in answers])

    def test_any_bytes_in_a_line(self):
        rng = random.Random(9)
        noise = b"".join(bytes(rng.choice(b"0123456789abcdef: tagvid\0\xff\n\"\\") for _ in range(rng.randint(0, 60)))
                         + b"\n" for _ in range(3000))
        done = subprocess.run([EMUSWITCH, "trace", "--json", "-"], env=self.environment, input=noise,
                              capture_output=True, check=False)
        self.assertEqual((1, b""), (done.returncode, done.stderr))
        answers = [json.loads(line) for line in done.stdout.splitlines()]
        self.assertEqual(noise.count(b"\n"), len(answers))


class Learning(Trace):
    def digest(self):
        return hashlib.sha256(self.store.read_bytes()).hexdigest()

    def test_the_switch_stays_as_it_is_without_learn(self):
        before = self.digest()
        self.emuswitch("trace", "2", FRAME)
        self.lines(f"2 {FRAME}\n1 {FRAME}\nx\n", status=1)
        self.assertEqual(before, self.digest())

    def test_no_form_changes_the_switch_without_learn(self):
        rng = random.Random(11)
        self.emuswitch("learn", "00:11:22:33:44:77", "in side", "2")
        self.write_capture([bytes.fromhex(FRAME)] * 3)
        dump = "\t0x0000:  " + " ".join(FRAME[at:at + 4] for at in range(0, 32, 4)) + "\n"
        before = (self.digest(), sorted(path.name for path in self.folder.iterdir()))
        for _ in range(60):
            port = rng.choice(["1", "2", "9"])
            words = rng.choice([[FRAME], random_words(rng), [FRAME[:rng.randint(0, 120)]], ["-"],
                                ["--pcap", str(self.folder / "frames.pcap"), "--frame", str(rng.randint(1, 4))]])
            subprocess.run([EMUSWITCH, "trace", *rng.choice([[], ["--json"]]), port, *words], env=self.environment,
                           input=rng.choice([dump, "", dump[3:]]), capture_output=True, text=True, check=False)
        lines = "".join(f"at {i * 100} {rng.choice([1, 2, 9])} {' '.join(random_words(rng))}\n" for i in range(500))
        self.lines(lines, status=1)
        self.assertEqual(before, (self.digest(), sorted(path.name for path in self.folder.iterdir())))

    def test_learn_is_seen_by_show_and_by_the_next_frame(self):
        self.emuswitch("trace", "--learn", "2", FRAME)
        self.assertIn("00:11:22:33:44:55", self.emuswitch("show", "fdb").stdout)
        answer = self.trace("1", "tag", "vid", "10", "da", "00:11:22:33:44:55")
        self.assertEqual("forwarded", answer["verdict"])

    def test_lines_meet_what_those_before_them_taught(self):
        back = "1 tag vid 10 da 00:11:22:33:44:55 sa 00:11:22:33:44:66\n"
        self.assertEqual(["flooded", "flooded", "forwarded"],
                         [answer["verdict"] for answer in self.lines(back + f"2 {FRAME}\n" + back)])

    def test_time_moves_on_and_never_back(self):
        back = "1 tag vid 10 da 00:11:22:33:44:55 sa 00:11:22:33:44:66\n"
        answers = self.lines(f"2 {FRAME}\nat 300 {back}at 300.1 {back}at 1 {back}", status=1)
        self.assertEqual(["flooded", "forwarded", "flooded", None], [answer.get("verdict") for answer in answers])

    def test_a_sentence_in_between_counts(self):
        with subprocess.Popen([EMUSWITCH, "trace", "--json", "-"], env=self.environment, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as process:
            verdicts = []
            for sentence in ("set port 2 pvid 10", "disable port 2", "enable port 2"):
                self.emuswitch("play", "-", text=sentence + "\n")
                process.stdin.write(f"2 {FRAME}\n")
                process.stdin.flush()
                verdicts.append(json.loads(process.stdout.readline())["verdict"])
            process.stdin.close()
        self.assertEqual(["flooded", "dropped", "flooded"], verdicts)


class Names(Trace):
    def test_json_is_valid_whatever_the_name(self):
        for vid, name in enumerate(['a"b', "a\\b", "a\nb", "ä€😀", "\udcff\udc80"], 100):
            words = ["create", "vlan", name, "vid", str(vid)]
            subprocess.run([EMUSWITCH, "exec", "tolvane", *(os.fsencode(word) for word in words)],
                           env=self.environment, check=True, capture_output=True)
            told = name.replace("\udcff\udc80", "\uf7ff\uf780")  # as everywhere in JSON
            self.assertEqual(told, self.trace("1", "tag", "vid", str(vid))["vlan"]["name"])


class Tags(unittest.TestCase):
    def test_tags_are_told_from_the_outermost_on(self):
        frame = b"".join(frame_of_words("tag tagtype 88a8 vid 7 pri 1 tag vid 9".split()))
        self.assertEqual("tag tagtype 88a8 vid 7 pri 1 tag vid 9 pri 0", told_tags(frame)[0])


if __name__ == "__main__":
    unittest.main()
