"""emuswitch as its users meet it: what it prints, where, and with which exit status."""

import contextlib
import fcntl
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import sqlite3
import struct
import subprocess
import tempfile
import termios
import unittest

from json_schema import checked
from sentences import SOURCE, expand, manual_sentences, say

EMUSWITCH = os.environ["EMUSWITCH_PROGRAM"]
TOLVANE = os.environ["TOLVANE_PROGRAM"]
CONTRACT_TESTS = os.environ["CONTRACT_TESTS"]

SERVICE = """\
# A small service.
create port 1 npport 1 portType ether
create port 2 npport 2 portType ether
enable port 1

create vlan "in side" vid 10
add port 1 to vlan "in side" tag on
add port 2 to vlan "in side" tag off
create stream 1/1 qostype wfq
create queue 1/1/-
create mirror 1
set mirror 1 source port 1 in
set mirror 1 dest port 2
create clslist 1
add classify 1/0/red normal 10.0.0.0/8 x x tcp x x x x x x to clslist 1
"""
SENTENCES = [line for line in SERVICE.splitlines() if line and not line.startswith("#")]


class Companion(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="companion-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.store = self.folder / "switch.db"
        self.environment = dict(os.environ, EMUSWITCH=str(self.store), TMPDIR=str(self.folder))

    def emuswitch(self, *arguments, status=0, text=None):
        """Runs emuswitch, expects this exit status, and returns what it printed."""
        result = subprocess.run([EMUSWITCH, *arguments], env=self.environment, input=text, text=True,
                                capture_output=True, check=False)
        self.assertEqual(status, result.returncode, result.stdout + result.stderr)
        return result

    def tolvane(self, *words):
        return subprocess.run([TOLVANE, *words], env=self.environment, text=True, capture_output=True,
                              check=True).stdout

    def file(self, text, name="service.play"):
        path = self.folder / name
        path.write_text(text)
        return str(path)

    def played(self):
        self.emuswitch("play", self.file(SERVICE))

    def json(self, *arguments):
        schema = "counters" if arguments == ("counters",) else "show"
        return checked(schema, self.emuswitch("show", *arguments, "--json").stdout)


class Play(Companion):
    def test_tells_how_many_sentences_were_accepted(self):
        result = self.emuswitch("play", self.file(SERVICE))
        self.assertEqual(f"{len(SENTENCES)} of {len(SENTENCES)} sentences accepted\n", result.stdout)
        self.assertEqual("", result.stderr)

    def test_names_file_line_sentence_code_and_message_of_a_refusal_and_stops(self):
        path = self.file("create vlan a vid 7\n\ncreate vlan a vid 8\ncreate vlan b\n")
        result = self.emuswitch("play", path, status=1)
        self.assertEqual(f'{path}:3:1: error: create vlan a vid 8: NG 1401: VLAN "a" already exists.\n', result.stderr)
        self.assertEqual("1 of 3 sentences accepted, 1 refused, 1 not played\n", result.stdout)
        self.assertEqual(["a"], [vlan["name"] for vlan in self.json("vlans")["vlans"]])

    def test_keep_going_goes_on(self):
        path = self.file("create vlan a\nmake vlan b\ncreate vlan c extra\ncreate protgroup 1\ndelete port 1 2\n")
        result = self.emuswitch("play", "--keep-going", path, status=1)
        self.assertEqual([
            f'{path}:2:1: error: "make" does not fit here, where "create", "delete", "enable", "disable", "set", "add", '
            '"remove" or "show" belongs; the nearest form is: create vlan <name> [vid <vid>]',
            f'{path}:3:15: error: "vid" is missing before "extra"; the nearest form is: create vlan <name> [vid <vid>]',
            f'{path}:5:15: error: "2" is one word too many; the nearest form is: delete port <port>',
        ], result.stderr.splitlines())
        self.assertEqual("2 of 5 sentences accepted, 3 refused\n", result.stdout)

    def test_dry_run_leaves_the_switch_alone(self):
        self.played()
        before = self.emuswitch("show", "--json").stdout
        result = self.emuswitch("play", "--dry-run", self.file("create vlan b\ncreate vlan c\n", "more.play"))
        self.assertEqual("2 of 2 sentences accepted (on a copy)\n", result.stdout)
        self.assertEqual(before, self.emuswitch("show", "--json").stdout)
        self.assertEqual(["more.play", "service.play"],
                         sorted(path.name for path in self.folder.iterdir() if path.suffix == ".play"))
        self.assertEqual([], list(self.folder.glob("emuswitch-*")), "the copy is removed")

    def test_reads_standard_input(self):
        result = self.emuswitch("play", "-", text="create vlan a\ncreate vlan a\n", status=1)
        self.assertIn('<stdin>:2:1: error: create vlan a: NG 1401: VLAN "a" already exists.', result.stderr)

    def test_passes_on_what_a_list_displays(self):
        self.played()
        result = self.emuswitch("play", "-", text="show clslist 1\n")
        self.assertIn("10.0.0.0", result.stdout)

    def test_says_what_is_wrong_with_a_file(self):
        result = self.emuswitch("play", str(self.folder / "none.play"), status=1)
        self.assertEqual(f"emuswitch: {self.folder}/none.play: cannot be read\n", result.stderr)
        for command in "play", "check":
            self.assertEqual(f"emuswitch: {self.folder}: is a folder; name a file of sentences\n",
                             self.emuswitch(command, str(self.folder), status=1).stderr)
        path = self.file('create vlan a\ncreate vlan "b\n', "bad.play")
        result = self.emuswitch("play", path, status=1)
        self.assertEqual(f"{path}:2:13: error: a closing quotation mark is missing\n", result.stderr)
        self.assertEqual([], self.json("vlans")["vlans"], "nothing is played of a file that cannot be read")

    def on_terminal(self, path, interrupt, *options):
        """Plays with a terminal as standard error; sends a signal, if any, when the bar is there. Returns status, output
        and bar."""
        master, slave = pty.openpty()
        process = subprocess.Popen([EMUSWITCH, "play", *options, path], env=self.environment, stdout=subprocess.PIPE, stderr=slave,
                                   text=True)
        os.close(slave)
        shown = b""
        while True:
            try:
                piece = os.read(master, 4096)
            except OSError:  # the terminal is closed
                break
            if not piece:
                break
            if interrupt and b"[" in piece:
                process.send_signal(interrupt)
                interrupt = None
            shown += piece
        os.close(master)
        output = process.communicate()[0]
        return process.returncode, output, shown.decode()

    def test_shows_progress_on_a_terminal_and_none_in_a_pipe(self):
        path = self.file("".join(f"create vlan v{i}\n" for i in range(20)))
        status, output, shown = self.on_terminal(path, None)
        self.assertEqual((0, "20 of 20 sentences accepted\n"), (status, output))
        self.assertIn("10/20", shown)
        self.assertTrue(shown.endswith("\x1b[K"), "the bar is taken away at the end")

    def test_an_interrupt_stops_between_sentences_and_says_how_far_it_came(self):
        count = 5000
        path = self.file("".join(f"create protgroup {i}\n" for i in range(count)))
        status, output, _ = self.on_terminal(path, signal.SIGINT)
        self.assertEqual(1, status)
        self.assertRegex(output, rf"^\d+ of {count} sentences accepted, interrupted after \d+\n$")
        accepted = int(output.split()[0])
        self.assertLess(accepted, count)
        self.assertEqual(list(range(accepted)), [group["protgroup"] for group in self.json("protgroups")["protgroups"]])

    def test_a_signal_that_is_ignored_stays_ignored(self):
        """As below nohup, when the terminal goes."""
        path = self.file("".join(f"create vlan v{i}\n" for i in range(20)))
        before = signal.signal(signal.SIGHUP, signal.SIG_IGN)
        try:
            status, output, _ = self.on_terminal(path, signal.SIGHUP)
        finally:
            signal.signal(signal.SIGHUP, before)
        self.assertEqual((0, "20 of 20 sentences accepted\n"), (status, output))

    def test_what_ends_a_dry_run_leaves_no_copy(self):
        path = self.file("".join(f"create protgroup {i}\n" for i in range(5000)))
        self.emuswitch("show")
        for number in (signal.SIGTERM, signal.SIGHUP):
            status, output, _ = self.on_terminal(path, number, "--dry-run")
            self.assertEqual(1, status)
            self.assertRegex(output, r"interrupted after \d+ \(on a copy\)\n$")
            self.assertEqual([], list(self.folder.glob("emuswitch-*")), "the copy is removed")
        self.assertEqual([], self.json("protgroups")["protgroups"])

    def test_no_folder_for_a_copy_is_told(self):
        path = self.file("create vlan a\n")
        self.environment["TMPDIR"] = str(self.folder / "nowhere")
        self.assertEqual("emuswitch: there is no folder for temporary files (No such file or directory); set TMPDIR to one\n",
                         self.emuswitch("play", "-n", path, status=1).stderr)

    def test_lines_for_emuswitch_stand_between_sentences(self):
        path = self.file("emuswitch limit vlans 1\ncreate vlan a\ncreate vlan b\nemuswitch lag 7 on\n")
        result = self.emuswitch("play", "-k", path, status=1)
        self.assertEqual([f"{path}:3:1: error: create vlan b: NG 1404: maximum number of VLAN.",
                          f"{path}:4:1: error: emuswitch lag 7 on: there is no port 7; emuswitch show ports lists them"],
                         result.stderr.splitlines())
        self.assertEqual("2 of 4 sentences accepted, 2 refused\n", result.stdout)
        for line in ("emuswitch play x", "emuswitch", "emuswitch show"):
            self.assertIn("<stdin>:1:1: error: a file of sentences can have emuswitch call,",
                          self.emuswitch("play", "-", text=line, status=1).stderr)

    def test_a_silent_sentence_is_ignored_not_accepted(self):
        path = self.file("set ether 1 colour blue\ncreate vlan a\n")
        result = self.emuswitch("play", path)
        self.assertEqual("1 of 2 sentences accepted, 1 ignored\n", result.stdout)
        self.assertEqual(f"{path}:1:1: warning: set ether 1 colour blue: ignored: tolvane takes these words and does "
                         "nothing\n", result.stderr)

    def test_strict_plays_nothing_of_a_file_with_something_to_tell(self):
        path = self.file("create vlan a\ndelete port 12ab\n")
        result = self.emuswitch("play", "--strict", path, status=1)
        self.assertEqual(f'{path}:2:13: warning: "12ab" is read as 12\n'
                         "emuswitch: nothing is played of a file with something to tell\n", result.stderr)
        self.assertEqual([], self.json("vlans")["vlans"])
        self.assertIn("1 of 1 sentences accepted", self.emuswitch("play", "-s", "-", text="create vlan a\n").stdout)


class Check(Companion):
    def told(self, data, status=1):
        """What is told of a file, without its name."""
        path = self.folder / "x.play"
        path.write_bytes(data if isinstance(data, bytes) else data.encode())
        lines = self.emuswitch("check", str(path), status=status).stdout.splitlines()
        for line in lines:
            self.assertTrue(line.startswith(f"{path}:"), line)
        return [line[len(f"{path}:"):] for line in lines]

    def test_nothing_of_what_is_written_well(self):
        self.assertEqual([], self.told(SERVICE + "emuswitch limit vlans 5\r\n", status=0))
        self.assertFalse(self.store.exists(), "no switch is made for it")

    def test_errors_and_warnings_with_line_and_column(self):
        self.assertEqual([
            '2:24: error: "portTyp" does not fit here, did you mean "portType"?; the nearest form is: '
            "create port <port> npport <ether> portType {none | ether | vif}",
            '3:19: error: "9999" is not a VLAN id from 1 to 4094 or from 4096 to 8191 (NG 201)',
            '4:14: warning: "1/1/0-3" is read as 1/1/0',
            '5:29: warning: "300.0.0.0/8" is read as 44.0.0.0/8',
            '5:45: warning: "tcpp" is no protocol that this machine knows, and stands for any',
            '6:13: warning: "colour" is no setting of an interface: the sentence is ignored',
        ], self.told("# a comment\ncreate port 1 npport 1 portTyp ether\ncreate vlan a vid 9999\n"
                     "create queue 1/1/0-3\nadd classify 1/0/red normal 300.0.0.0/8 x x tcpp x x x x x x to clslist 1\n"
                     "set ether 1 colour blue\n"))

    def test_lines_that_are_no_sentences(self):
        most = 131071
        self.assertEqual([
            "1:1: error: the file begins with a byte-order mark (ef bb bf); save it without one",
            '2:1: error: a line is a sentence without the name of the program; leave "tolvane" out',
            r'3:15: error: \q means nothing; there are \" \\ \n \t and \xHH',
            "4:15: error: no word can have a NUL in it",
            "5:14: error: no word can have a NUL in it",
            r"6:15: error: \x needs two hexadecimal digits",
            "7:16: error: behind the closing quotation mark a blank is missing",
            "8:13: error: a closing quotation mark is missing",
            f"9:13: error: a word of {most + 1} bytes is too long; {most} are the most",
            "11:1: error: a file of sentences can have emuswitch call, fail, ipif, lag, learn, limit and reset",
        ], self.told(b"\xef\xbb\xbfcreate vlan a\ntolvane create vlan b\n"
                     b'create vlan "a\\qb"\ncreate vlan "a\\x00"\ncreate vlan a\0b\ncreate vlan "a\\x1"\n'
                     b'create vlan "a"b\ncreate vlan "a\n'
                     b"create vlan " + b"a" * (most + 1) + b"\ncreate vlan " + b"a" * 40 + b"\nemuswitch show\n"))
        self.assertEqual(0, len(self.told(b"create vlan " + b"a" * most, status=0)))

    def test_reads_standard_input_and_is_used_rightly(self):
        self.assertEqual('<stdin>:1:13: warning: "1x" is read as 1\n',
                         self.emuswitch("check", "-", text="delete port 1x\n", status=1).stdout)
        self.assertIn("none.play: cannot be read", self.emuswitch("check", "none.play", status=1).stderr)
        for words in ((), ("--forms", "x")):
            self.assertIn("check takes a file or --forms", self.emuswitch("check", *words, status=2).stderr)

    def test_the_forms_are_those_of_the_manual(self):
        manual = [re.sub(r" \[?<word> <\.\.\.>\]|( <word>)? \[<word> <\.\.\.>\]", lambda found: found[1] or "", form)
                  for form in manual_sentences()]
        self.assertEqual(sorted(manual), sorted(self.emuswitch("check", "--forms").stdout.splitlines()))

    def test_every_way_to_say_a_form_of_the_manual_is_good(self):
        for form in manual_sentences():
            for way in expand(form):
                words = say(way)
                if words[:2] == ["set", "ether"] and words[3] != "shaping":
                    continue
                if "off" in words and "byte" in words:
                    continue
                with self.subTest(words=words):
                    line = " ".join("10.0.0.1" if place in ("<da>", "<sa>") else word for place, word in zip(way, words))
                    self.assertEqual("", self.emuswitch("check", "-", text=line).stdout)

    def test_every_form_of_the_usage_text_is_known(self):
        text = (SOURCE / "tests/contract/usage.golden").read_text().split("\n", 1)[1]
        forms = re.sub(r"\n\s{5,}", " ", text).splitlines()
        self.assertEqual(63, len(forms))
        # It calls a type what is a word, and brackets what has to be there.
        self.assertIn("    show clslist [<listno | all]>", forms)
        forms.remove("    show clslist [<listno | all]>")
        told = set()
        for form in forms:
            for text, value in (("portType <type>", "portType {none|ether|vif}"), ("<color>", "red"),
                                ("rate <min-max>", "rate <rates>"), ("burst <min-max>", "burst <bursts>")):
                form = form.replace(text, value)
            for way in expand(form):
                line = " ".join("300" if word == "<time>" else word for word in say(way))
                result = subprocess.run([EMUSWITCH, "check", "-"], input=line, text=True, capture_output=True, check=False)
                if "error" in result.stdout:
                    told.add(" ".join(way))
        self.assertEqual({"add port <port> to vlan <name>"},
                         {form for form in told if not form.startswith("set ether <ether> share")})


class Looking(Companion):
    def test_every_topic_has_a_table_and_json(self):
        self.played()
        whole = self.json()
        for topic in ("ports", "vlans", "members", "protgroups", "mirrors", "streams", "queues", "fdb", "clslists",
                      "names", "porttable", "limits"):
            self.assertNotEqual("", self.emuswitch("show", topic).stdout, topic)
            state = self.json(topic)
            self.assertEqual(state[topic], whole[topic], topic)

    def test_tables_say_it_as_sentences_do(self):
        self.emuswitch("play", "-", text="create port 1 npport 1 portType ether\ncreate port 101 npport 0 portType vif\n"
                       "set port 1 class_policing class 2 on rcolor discard rate 128 burst 9 kbyte\n"
                       "set ether 1 shaping on rate 2000\nset port 101 link_depend port 4,1-2\n"
                       "create stream 1/3 qostype wfq\nset stream 1/3 shaping on rate 64-100 burst 8-16 kbyte\n")
        ports, streams = (self.emuswitch("show", what).stdout for what in ("ports", "streams"))
        self.assertRegex(ports, r"(?m)^PORT  CLASS  KBIT/S  BYTES  ABOVE\n +1 +2 +128 +9000  discard$")
        self.assertRegex(ports, r"(?m)^INTERFACE  KBIT/S  BYTES\nether 1 +2000 +8000$")
        self.assertRegex(ports, r"(?m)^ +101 .* port 1,2,4$")
        self.assertIn("64-100 kbit/s, 8000-16000 bytes", streams)
        self.emuswitch("call", "brgfdb_set_ph_shaping", "1", "64500", "80")
        self.assertRegex(self.emuswitch("show", "ports").stdout, r"(?m)^ether 1 +64\.5 +80$")
        self.assertNotIn("ether 1 ", self.emuswitch("show", "port", "1").stdout, "of an interface, whose ever it is")

    def test_a_table_fits_a_terminal_and_shows_the_object(self):
        self.played()
        lines = self.emuswitch("show", "members").stdout.splitlines()
        self.assertEqual("VLAN     PORT  MEMBER       CLSLIST  EXTRACTION", lines[0])
        self.assertEqual("in side     1  tagged 8100  -        -", lines[1])

    def on_screen(self, columns, *arguments):
        """The lines that it prints on a terminal of so many columns."""
        master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        with subprocess.Popen([EMUSWITCH, *arguments], env=self.environment, stdout=slave) as process:
            os.close(slave)
            shown = b""
            while True:
                try:
                    piece = os.read(master, 4096)
                except OSError:  # the terminal is closed
                    break
                if not piece:
                    break
                shown += piece
            os.close(master)
            self.assertEqual(0, process.wait())
        return shown.decode().splitlines()

    def test_a_table_takes_the_width_of_the_terminal_and_is_not_folded_in_a_pipe(self):
        self.played()
        for vid in range(1000, 1030):
            self.tolvane("create", "protgroup", str(vid))
            self.tolvane("add", "protocol", hex(vid), "to", "protgroup", "1000")
        for columns in (60, 80, 120):
            widths = [len(line) for line in self.on_screen(columns, "show", "protgroups")]
            self.assertLessEqual(max(widths), columns)
            self.assertGreater(max(widths), columns - 10)
        lines = self.emuswitch("show", "protgroups").stdout.splitlines()
        self.assertEqual(31, len(lines))
        self.assertEqual(max(len(line) for line in lines), len(self.on_screen(1000, "show", "protgroups")[1]))

    def test_one_object_by_its_number_or_name_and_the_kind_in_singular(self):
        self.played()
        for arguments, lines in ((("ports", "1"), 2), (("port", "2"), 2), (("vlan", "in side"), 2), (("vlans", "10"), 2),
                                 (("members", "in side"), 3), (("stream", "1/1"), 2), (("queues", "1"), 9),
                                 (("queue", "1/1"), 9), (("queue", "1/1/3"), 2), (("mirror", "1"), 2),
                                 (("limit", "vlans"), 2), (("name", "1/in side"), 2)):
            shown = self.emuswitch("show", *arguments).stdout.splitlines()
            self.assertEqual(lines, len(shown), (arguments, shown))
        self.assertEqual(self.json("vlans"), checked("show", self.emuswitch("show", "vlan", "--json").stdout))
        self.emuswitch("play", "-", text="create vlan a/b\n")
        self.emuswitch("show", "vlan", "a", status=1)  # "a/b" is no part of it
        self.assertEqual('emuswitch: there is no "9" among the ports; emuswitch show ports lists them\n',
                         self.emuswitch("show", "port", "9", status=1).stderr)
        self.assertIn('did you mean "vlans"?', self.emuswitch("show", "vlsn", status=2).stderr)
        self.assertIn("leave \"1\" out", self.emuswitch("show", "ports", "1", "--json", status=2).stderr)

    def test_the_end_of_the_log_and_its_times(self):
        self.played()
        log = self.emuswitch("log").stdout
        for count in (1, 3):
            last = self.emuswitch("log", "--last", str(count)).stdout
            self.assertEqual(count, last.count("$ "))
            self.assertTrue(log.endswith(last))
        self.assertEqual(log, self.emuswitch("log", "--last", "1000").stdout)
        timed = self.emuswitch("log", "--times").stdout
        self.assertEqual(log, re.sub(r"(?m)^# \d{4}-\d\d-\d\d.*\n(?=\$ )", "", timed))
        self.assertEqual(log.count("$ "), timed.count("# 2"))
        events = self.emuswitch("events").stdout.splitlines()
        self.assertEqual(events[-2:], self.emuswitch("events", "--last", "2").stdout.splitlines())
        self.assertEqual(last.count("> "), len(self.emuswitch("log", "--last", "3", "--json").stdout.splitlines()))

    def test_the_end_of_the_log_has_no_call_of_an_older_sentence_that_came_in_between(self):
        for name in ("older", "newer"):
            self.tolvane("create", "vlan", name)
        newer = self.emuswitch("log", "--last", "1").stdout
        self.assertEqual(2, newer.count("> "))
        with contextlib.closing(sqlite3.connect(self.store)) as store, store:
            places = [row[0] for row in store.execute("SELECT id FROM call_log ORDER BY id DESC")]
            for place, to in ((places[0], places[0] + 1), (places[2], places[0])):
                store.execute("UPDATE call_log SET id = ? WHERE id = ?", (to, place))
        self.assertEqual(newer, self.emuswitch("log", "--last", "1").stdout)

    def test_the_systems_own_entries_are_left_out_unless_asked_for(self):
        self.played()
        self.assertEqual("no entries but the system's own (--all)\n", self.emuswitch("show", "fdb").stdout)
        self.assertIn("01:80:c2:00:00:0f", self.emuswitch("show", "fdb", "--all").stdout)

    def test_the_overview_counts(self):
        self.played()
        shown = self.emuswitch("show").stdout
        self.assertTrue(shown.startswith(f"{self.store}\n"))
        self.assertRegex(shown, r"\nports +2 +1 enabled\n")
        self.assertRegex(shown, r"\nqueues +8 ")

    def test_config_rebuilds_the_switch(self):
        self.played()
        config = self.emuswitch("config").stdout
        before = self.emuswitch("show", "--json").stdout
        self.assertIn('add port 1 to vlan "in side" tag on tagtype 8100\n', config)
        self.emuswitch("reset")
        self.assertEqual("", self.emuswitch("config").stdout)
        self.emuswitch("play", self.file(config, "config.play"))
        self.assertEqual(before, self.emuswitch("show", "--json").stdout)
        self.assertEqual(config, self.emuswitch("config").stdout)

    def test_a_log_is_a_contract_test(self):
        self.played()
        self.emuswitch("play", "-k", self.file(SERVICE), status=1)
        transcripts = self.folder / "transcripts"
        transcripts.mkdir()
        log = self.emuswitch("log").stdout
        self.assertIn('$ create vlan "in side" vid 10\n> brgfdb_create_vlan("in side", 10) = 0 vid 10\n', log)
        self.assertIn("> brgfdb_create_port(1, 1, 1) = -1 status 1202\n...\n", log)
        (transcripts / "service.txt").write_text(log)
        result = subprocess.run([CONTRACT_TESTS, "--gtest_filter=service.*"], text=True, capture_output=True, check=False,
                                env=dict(self.environment, CONTRACT_TRANSCRIPTS=str(transcripts)))
        self.assertEqual(0, result.returncode, result.stdout)
        self.assertRegex(result.stdout, rf"PASSED  \] {log.count('$ ')} tests")

    def test_events_come_in_order(self):
        self.played()
        events = [line.split("  ")[1] for line in self.emuswitch("events").stdout.splitlines()]
        self.assertEqual(["port 1 created, type ether", "port 2 created, type ether", "port 1 joined vlan in side",
                          "port 2 joined vlan in side"] + [f"queue 1/1/{i} created" for i in range(8)], events)

    def test_config_brings_back_what_no_sentence_does(self):
        self.played()
        self.emuswitch("play", "-", text="""\
emuswitch limit rules_per_clslist 7
emuswitch limit vlan_name_length 40
create vlan a234567890123456789012345678901234567 vid 20
emuswitch learn 00:00:5e:00:53:01 "in side" 1
create port 3 npport 3 portType ether
emuswitch lag 3 on
emuswitch fail brgfdb_set_qostype_in_stream 106
""")
        self.tolvane("create", "stream", "2/5", "qostype", "pq")  # stays without a type
        self.tolvane("create", "queue", "2/5/3")
        self.emuswitch("fail", "brgfdb_create_mirror", "2901", "--at", "4", "--times", "2")
        config = self.emuswitch("config").stdout
        for line in ("emuswitch limit vlan_name_length 40", 'emuswitch learn 00:00:5e:00:53:01 "in side" 1',
                     "emuswitch lag 3 on", "# stream 2/5 was not made or deleted to its end",
                     "emuswitch call brgfdb_create_stream 260", "create queue 2/5/3", "emuswitch limit rules_per_clslist 7",
                     "emuswitch fail brgfdb_create_mirror 2901 --at 4 --times 2"):
            self.assertIn(line, config.splitlines())
        before = self.emuswitch("show", "--json").stdout
        self.emuswitch("reset")
        self.emuswitch("play", self.file(config, "config.play"))
        self.assertEqual(before, self.emuswitch("show", "--json").stdout)
        self.assertEqual(config, self.emuswitch("config").stdout)

    def test_a_vlan_with_the_name_of_all_is_one_of_them(self):
        """No sentence makes it, and one that names it can mean every VLAN."""
        self.emuswitch("play", "-", text="""\
create vlan other vid 20
create port 1 npport 1 portType ether
create port 2 npport 2 portType ether
emuswitch call brgfdb_create_vlan all 10
emuswitch call brgfdb_set_vlan_sld 10 1
emuswitch call brgfdb_set_vlan_ignore_fdb 10 1
emuswitch call brgfdb_set_vlan_learninglimit 10 50
emuswitch call brgfdb_set_vlan_learning_off 10 1
add port 1 to vlan all tag on
create mirror 1
emuswitch call brgfdb_set_mirror_source 1 2 1 10
create mirror 2
set mirror 2 source vlan all
""")
        state, config = self.emuswitch("show", "--json").stdout, self.emuswitch("config").stdout
        self.assertNotIn("set vlan", config)
        self.emuswitch("reset")
        self.emuswitch("play", self.file(config, "config.play"))
        self.assertEqual(state, self.emuswitch("show", "--json").stdout)
        self.emuswitch("reset")
        self.emuswitch("apply", str(self.folder / "config.play"))
        self.assertEqual((state, config), (self.emuswitch("show", "--json").stdout, self.emuswitch("config").stdout))

    def test_a_configuration_is_of_one_moment(self):
        self.emuswitch("play", "-", text="".join(f"create port {p} npport {p} portType ether\n" for p in (1, 2)))
        writers = []
        for port in (1, 2):
            round_of = (f"create vlan v{port}\nadd port {port} to vlan v{port} tag on\n"
                        f"remove port {port} from vlan v{port}\ndelete vlan v{port}\n")
            path = self.file(60 * round_of, f"writer{port}.play")
            writers.append(subprocess.Popen([EMUSWITCH, "play", path], env=self.environment, stdout=subprocess.DEVNULL))
        seen = 0
        while any(writer.poll() is None for writer in writers):
            config = self.emuswitch("config").stdout
            created = set(re.findall(r"(?m)^create vlan (\S+)", config))
            self.assertEqual(set(), set(re.findall(r"(?m)^add port \d+ to vlan (\S+)", config)) - created, config)
            state = self.json()
            self.assertEqual(set(), {member["vlan"] for member in state["members"]} -
                             {vlan["name"] for vlan in state["vlans"]})
            seen += 1
        self.assertEqual([0, 0], [writer.returncode for writer in writers])
        self.assertGreater(seen, 0)

    def followed(self, command):
        """A process that follows, which is ended behind the test."""
        self.emuswitch("show")
        process = subprocess.Popen([EMUSWITCH, command, "--follow"], env=self.environment, stdout=subprocess.PIPE,
                                   text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def expect(self, process, *expected):
        """Reads up to each of these lines in turn; no other that was waited for comes before it."""
        for line in expected:
            read = process.stdout.readline()
            while read and line not in read:
                read = process.stdout.readline()
            self.assertIn(line, read)

    def test_a_follower_survives_a_reset(self):
        for command, first, second in (("log", '> brgfdb_create_port(1, 1, 1)', '> brgfdb_create_port(2, 1, 1)'),
                                       ("events", "port 1 created", "port 2 created")):
            process = self.followed(command)
            self.tolvane("create", "port", "1", "npport", "1", "portType", "ether")
            self.expect(process, first)
            self.emuswitch("reset")
            self.tolvane("create", "port", "2", "npport", "1", "portType", "ether")
            self.expect(process, second)
            self.emuswitch("reset")

    def test_a_follower_survives_a_file_that_takes_the_place_of_the_switch(self):
        process = self.followed("log")
        self.tolvane("create", "port", "1", "npport", "1", "portType", "ether")
        self.expect(process, "> brgfdb_create_port(1, 1, 1)")
        other = dict(self.environment, EMUSWITCH=str(self.folder / "other.db"))
        subprocess.run([TOLVANE, "create", "port", "5", "npport", "1", "portType", "ether"], env=other, check=True,
                       stdout=subprocess.DEVNULL)
        self.store.unlink()
        for beside in self.folder.glob("switch.db-*"):
            beside.unlink()
        (self.folder / "other.db").rename(self.store)
        self.expect(process, "> brgfdb_create_port(5, 1, 1)")
        self.tolvane("create", "port", "6", "npport", "1", "portType", "ether")
        self.expect(process, "> brgfdb_create_port(6, 1, 1)")

    def test_a_follower_survives_a_log_that_forgets(self):
        self.emuswitch("limit", "calls", "1")
        process = self.followed("log")
        for group in range(200):
            self.tolvane("create", "protgroup", str(group))
        # What was forgotten before the follower came to it is gone; what is still there comes, in its order.
        kept = re.findall(r"> brgfdb_create_protgroup\((\d+)\)", self.emuswitch("log").stdout)
        self.assertEqual("199", kept[-1])
        self.expect(process, *(f"> brgfdb_create_protgroup({group})" for group in kept))

    def follow(self, command, expected):
        """Starts following, changes the switch, and waits for the line that has to come."""
        self.emuswitch("show")
        process = subprocess.Popen([EMUSWITCH, command, "--follow"], env=self.environment, stdout=subprocess.PIPE,
                                   text=True)
        port = 0
        try:
            while not select.select([process.stdout], [], [], 0.2)[0] and port < 100:
                port += 1  # the first may come before the follower watches
                self.tolvane("create", "port", str(port), "npport", "1", "portType", "ether")
            lines = [process.stdout.readline()]
            while expected not in lines[-1] and lines[-1]:
                lines.append(process.stdout.readline())
            self.assertIn(expected, lines[-1])
        finally:
            process.send_signal(signal.SIGINT)
            process.stdout.read()
            process.stdout.close()
            self.assertEqual(0, process.wait())

    def test_the_log_can_be_followed(self):
        self.follow("log", "> brgfdb_create_port(1, 1, 1)")

    def test_the_events_can_be_followed(self):
        self.follow("events", "port 1 created, type ether")

    def test_the_drawing_has_ports_vlans_mirrors_and_queues(self):
        self.played()
        switch = self.emuswitch("graph").stdout
        for part in ('port1 [label="port 1', 'vlan10 [label="in side', 'port1 -> vlan10 [dir=none label="tagged',
                     'port1 -> mirror1 [label="in"', 'mirror1 -> port2 [label="copy"'):
            self.assertIn(part, switch)
        tree = self.emuswitch("graph", "--qos", "1").stdout
        self.assertIn("stream0 -> queue0_7", tree)
        for drawing in (switch, tree):
            svg = subprocess.run(["dot", "-Tsvg"], input=drawing, text=True, capture_output=True, check=True).stdout
            self.assertIn("</svg>", svg)
        self.assertIn("there is no port 9", self.emuswitch("graph", "--qos", "9", status=1).stderr)

    def drawn(self, *arguments):
        text = self.emuswitch("graph", *arguments).stdout
        return text, subprocess.run(["dot", "-Tsvg"], input=text, text=True, capture_output=True, check=True).stdout

    def test_a_drawing_of_nothing_of_one_vlan_and_of_many(self):
        self.assertIn("an empty switch", self.drawn()[1])
        self.played()
        text, _ = self.drawn("--vlan", "in side")
        self.assertIn("port2 -> vlan10", text)
        self.assertNotIn("mirror1", text)
        self.assertIn('there is no VLAN "x"', self.emuswitch("graph", "--vlan", "x", status=1).stderr)
        self.assertIn("not both", self.emuswitch("graph", "--vlan", "x", "--qos", "1", status=2).stderr)
        sentences = "".join(f'create vlan "<v&{i}>" vid {100 + i}\nadd port 1 to vlan "<v&{i}>" tag on\n' for i in range(120))
        self.emuswitch("play", "-", text=sentences + "set mirror 1 source vlan \"<v&3>\"\n")
        text, svg = self.drawn()
        self.assertEqual(3, len(re.findall(r"(?m)^  vlans\d+ \[", text)), "a table for each fifty")
        self.assertNotRegex(text, r"port1 -> vlan\d")
        self.assertIn("&lt;v&amp;119&gt;", svg)
        self.assertIn("vlan103 -> mirror1", text)


class Names(Companion):
    """Names are bytes; the tool takes any."""

    def create(self, *names):
        for name in names:
            self.assertIn("OK", self.tolvane("create", "vlan", os.fsdecode(name)))

    def test_json_is_valid_and_different_names_stay_different(self):
        names = [b"f\xfc", b"f\xfd", "f\uf7fc".encode(), "fü".encode(), b"f\xc3", b"\xed\xa0\x80", b"a\nb\x1b[31m", b'"\\']
        self.create(*names)
        output = subprocess.run([EMUSWITCH, "show", "--json"], env=self.environment, capture_output=True, check=True).stdout
        state = json.loads(output.decode())  # strict
        shown = [vlan["name"] for vlan in state["vlans"]]
        self.assertEqual(len(names), len(set(shown)))
        self.assertEqual(["f\uf7fc", "f\uf7fd", "f\uf7ef\uf79f\uf7bc", "fü", "f\uf7c3", "\uf7ed\uf7a0\uf780", "a\nb\x1b[31m",
                          '"\\'], shown)
        self.assertEqual(set(shown), {name["name"] for name in state["names"] if name["category"] == "vlan"})

    def test_a_name_forges_no_line_and_colors_no_terminal(self):
        self.tolvane("create", "port", "1", "npport", "1", "portType", "ether")
        forged = b"x\n2026-01-01  port 9 deleted"
        self.create(forged, b"\x1b[31mred", "\u202eevil".encode())
        for name in (forged, b"\x1b[31mred", "\u202eevil".encode()):
            self.assertIn("OK", self.tolvane("add", "port", "1", "to", "vlan", os.fsdecode(name), "tag", "on"))
        events = self.emuswitch("events").stdout
        self.assertEqual(4, len(events.splitlines()), events)
        self.assertIn(r"joined vlan x\n2026-01-01", events)
        everything = events + "".join(self.emuswitch(*arguments).stdout for arguments in (
            ("show",), ("show", "vlans"), ("show", "members"), ("show", "names"), ("config",), ("graph",), ("log",)))
        self.assertNotIn("\x1b", everything)
        self.assertNotIn("\u202e", everything)
        self.assertIn(r"\x1b[31mred", everything)

    def test_tables_align_by_columns_on_the_screen(self):
        self.create("日本".encode(), "é".encode(), b"plain")
        lines = self.emuswitch("show", "vlans").stdout.splitlines()
        self.assertEqual(["VID  NAME   PORTS  LEARNING  LIMIT  FLAGS",
                          "  1  日本       0  on        none",
                          "  2  é          0  on        none",
                          "  3  plain      0  on        none"], lines)

    def test_the_log_quotes_what_a_file_of_sentences_reads_otherwise(self):
        self.create(b"#hash", b"{a*3}", b"f\xfc")
        sentences = [line for line in self.emuswitch("log").stdout.splitlines() if line.startswith("$ ")]
        self.assertEqual(['$ create vlan "#hash"', r'$ create vlan "\x7ba*3}"', r'$ create vlan "f\xfc"'], sentences)
        before = self.json("vlans")
        self.emuswitch("reset")
        self.emuswitch("play", "-", text="\n".join(sentence[2:] for sentence in sentences))
        self.assertEqual(before, self.json("vlans"))

    def test_any_name_comes_back(self):
        self.create(b"f\xfc", b"#hash", b"a\nb", b'"', b"\\", b" ", b"{a*3}", "日本".encode())
        config = self.emuswitch("config").stdout
        before = self.emuswitch("show", "--json").stdout
        self.emuswitch("reset")
        self.emuswitch("play", self.file(config, "config.play"))
        self.assertEqual(before, self.emuswitch("show", "--json").stdout)


class Doing(Companion):
    def test_run_gives_a_private_switch_and_the_status_of_the_command(self):
        self.played()
        before = self.emuswitch("show", "--json").stdout
        result = self.emuswitch("run", "sh", "-c", "tolvane create vlan q >/dev/null && emuswitch show vlans; exit 7",
                                status=7)
        self.assertRegex(result.stdout, r"\n +1  q ")
        self.assertNotIn("in side", result.stdout)
        self.assertEqual(before, self.emuswitch("show", "--json").stdout)
        self.assertEqual([], list(self.folder.glob("emuswitch-*")), "the private switch is removed")
        self.assertEqual(143, self.emuswitch("run", "sh", "-c", "kill -TERM $$", status=143).returncode)

    def test_what_ends_run_ends_the_command_and_removes_its_switch(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            process = subprocess.Popen([EMUSWITCH, "run", "sh", "-c", "tolvane create vlan a; echo $$; exec cat"],
                                       env=self.environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
            line = process.stdout.readline()
            while not line.strip().isdigit():
                line = process.stdout.readline()
            self.assertEqual(1, len(list(self.folder.glob("emuswitch-*"))))
            process.send_signal(number)
            self.assertEqual(128 + number, process.wait())
            process.communicate()
            self.assertEqual([], list(self.folder.glob("emuswitch-*")), "the private switch is removed")
            self.assertRaises(ProcessLookupError, os.kill, int(line), 0)

    def test_a_call_is_made_and_answered(self):
        self.emuswitch("call", "brgfdb_create_stream", "0")
        self.assertEqual("# emuswitch call brgfdb_create_stream 0\n# > brgfdb_create_stream(0)\n\n",
                         self.emuswitch("log").stdout)
        for words, reason in ((("brgfdb_create_stream", "0"), "brgfdb_create_stream answers -1 with status 2501"),
                              (("brgfdb_fly",), 'no library has a function "brgfdb_fly"'),
                              (("qual_unregister", "vlan", "x"), "qual_unregister answers -1")):
            self.assertIn(reason, self.emuswitch("call", *words, status=1).stderr)
        for words, reason in ((("brgfdb_create_stream",), "takes 1 operands, not 0"),
                              (("brgfdb_create_stream", "1x"), '"1x" is not a number from -2147483648 to 2147483647'),
                              (("brgfdb_create_protgroup", "65536"), '"65536" is not a number from 0 to 65535'),
                              (("brgfdb_create_lfil", "1", "0:1", "1", "0"), '"0:1" is not a MAC address'),
                              (("brgfdb_set_stream_tosmap", "0", "1", "1,2", "0"), '"1,2" is not eight numbers'),
                              (("brgfdb_add_classify_action_to_profile", "1", "1", "x"), "takes a record"), ((), "call needs")):
            self.assertIn(reason, self.emuswitch("call", *words, status=2).stderr)

    def test_exec_runs_on_the_switch(self):
        self.assertIn("OK", self.emuswitch("exec", "tolvane", "create", "vlan", "q").stdout)
        self.assertEqual(["q"], [vlan["name"] for vlan in self.json("vlans")["vlans"]])
        self.assertIn("cannot be run", self.emuswitch("exec", "/nowhere/at/all", status=1).stderr)

    def test_exec_tells_the_answer_by_its_status(self):
        for status, words, output in (
                (0, "create vlan sales", "<result>OK</result>"),
                (1, "create vlan sales", "<errcode>1401</errcode>"),
                (1, "show clslist all", "<errcode>112</errcode>"),
                (2, "create vlan", "Usage:tolvane\n"),
                (2, "delete vlan sales now", "no more argument\n"),
                (2, "set ether 1 color blue", ""),
                (0, "create clslist 1", "<result>OK</result>"),
                (0, "add classify 1/0/green normal x x x x x x x x x x to clslist 1", "<result>OK</result>"),
                (0, "show clslist 1", "1/0/green")):
            done = self.emuswitch("exec", "--status", "tolvane", *words.split(), status=status)
            self.assertIn(output, done.stdout)
        # Any other program: its own status, and no answer is none.
        self.emuswitch("exec", "--status", "sh", "-c", "exit 7", status=7)
        self.emuswitch("exec", "--status", "true", status=0)

    def test_what_no_sentence_makes(self):
        self.played()
        self.emuswitch("learn", "00:11:22:33:44:AA", "in side", "1")
        self.assertEqual([{"vid": 10, "vlan": "in side", "mac": "00:11:22:33:44:aa", "port": 1}],
                         self.json("fdb")["fdb"]["learned"])
        self.tolvane("delete", "dfdbentry", "all", "in", "all")
        self.assertEqual([], self.json("fdb")["fdb"]["learned"])
        for port in ("3", "4"):
            self.tolvane("create", "port", port, "npport", port, "portType", "ether")
        self.emuswitch("lag", "3", "on")
        self.emuswitch("ipif", "4", "on")
        ports = {port["port"]: port for port in self.json("ports")["ports"]}
        self.assertTrue(ports[3]["in_lag"] and ports[4]["ip_interface"])
        self.emuswitch("lag", "3", "off")
        self.assertFalse(self.json("ports")["ports"][2]["in_lag"])

    def test_an_address_is_learned_where_the_vlan_learns_and_has_room(self):
        self.played()
        self.tolvane("set", "vlan", "in side", "learninglimit", "2")
        for last in ("01", "02", "01"):  # a known one takes no room
            self.emuswitch("learn", f"00:00:5e:00:53:{last}", "in side", "1")
        self.assertIn("has learned as many addresses as its limit allows, 2",
                      self.emuswitch("learn", "00:00:5e:00:53:03", "in side", "1", status=1).stderr)
        self.tolvane("set", "vlan", "in side", "learning", "off")
        self.assertIn("learns nothing", self.emuswitch("learn", "00:00:5e:00:53:01", "in side", "1", status=1).stderr)

    def test_what_cannot_be_done_is_said(self):
        self.played()
        for arguments, reason in ((("learn", "1:2", "in side", "1"), '"1:2" is not a MAC address'),
                                  (("learn", "00:11:22:33:44:55", "x", "1"), 'there is no VLAN "x"'),
                                  (("learn", "00:11:22:33:44:55", "in side", "4"), "port 4 is not a member"),
                                  (("learn", "01:00:5e:00:00:01", "in side", "1"), "it is a group address"),
                                  (("learn", "02:00:00:00:00:01", "in side", "1"), "it is a port's own"),
                                  (("learn", "02:00:00:00:00:02", "in side", "1"), "it is a port's own"),
                                  (("learn", "00:11:22:33:44:55", "in side", "2"), "port 2 is disabled"),
                                  (("lag", "1", "on"), 'port 1 is a member of VLAN "in side"'),
                                  (("ipif", "1", "on"), 'VLAN "in side" of port 1 has port 2 too'),
                                  (("lag", "9", "on"), "there is no port 9"),
                                  (("limit", "moons", "3"), 'there is no limit "moons"; emuswitch show limits'),
                                  (("limit", "vlan", "3"), 'there is no limit "vlan", did you mean "vlans"?'),
                                  (("fail", "brgfdb_fly", "1"), 'no library has a function "brgfdb_fly"')):
            self.assertIn(reason, self.emuswitch(*arguments, status=1).stderr)

    def test_a_limit_is_reached(self):
        self.emuswitch("limit", "vlans", "1")
        self.assertIn("OK", self.tolvane("create", "vlan", "a"))
        self.assertIn("<errcode>1404</errcode>", self.tolvane("create", "vlan", "b"))

    def test_a_fault_hits_the_calls_it_is_meant_for(self):
        self.emuswitch("fail", "brgfdb_create_protgroup", "4711", "--at", "2", "--times", "2")
        self.assertRegex(self.emuswitch("fail", "--list").stdout, r"brgfdb_create_protgroup +4711 +2 +2\n")
        codes = ["OK" if "OK" in self.tolvane("create", "protgroup", str(i)) else "NG" for i in range(4)]
        self.assertEqual(["OK", "NG", "NG", "OK"], codes)
        self.assertEqual("no call is made to fail\n", self.emuswitch("fail", "--list").stdout)
        self.emuswitch("fail", "brgfdb_create_protgroup", "4711")
        self.emuswitch("fail", "--clear")
        self.assertIn("OK", self.tolvane("create", "protgroup", "9"))

    def test_reset_makes_it_a_new_switch(self):
        new = self.emuswitch("show", "--json").stdout
        self.played()
        self.emuswitch("limit", "vlans", "1")
        self.emuswitch("fail", "brgfdb_create_vlan", "1")
        self.emuswitch("reset")
        self.assertEqual(new, self.emuswitch("show", "--json").stdout)
        self.assertEqual("", self.emuswitch("log").stdout + self.emuswitch("events").stdout)
        self.assertEqual("no call is made to fail\n", self.emuswitch("fail", "--list").stdout)

    def test_wrong_use_ends_with_2(self):
        for arguments in ((), ("fly",), ("show", "moons"), ("lag", "1", "maybe"), ("limit", "vlans", "-1"), ("run",),
                          ("limit", "vlans", "010"), ("limit", "vlans", "0x10"), ("limit", "vlans", "99999999999999999999"),
                          ("limit", "rules_per_clslist", "9223372036854775807"), ("fail", "brgfdb_create_vlan", "0"),
                          ("fail", "--list", "--clear"),
                          ("fail",), ("fail", "brgfdb_create_vlan", "99999999999"), ("play",)):
            self.assertNotEqual("", self.emuswitch(*arguments, status=2).stderr, arguments)
        for arguments in (("--help",), ("show", "--help"), ("--version",)):
            self.assertNotEqual("", self.emuswitch(*arguments).stdout)

    def test_wrong_words_are_named_with_what_was_meant(self):
        for words, said in (
            ("", "a command is missing; emuswitch help lists them"),
            ("shwo", 'there is no command "shwo", did you mean "show"?'),
            ("fly", 'there is no command "fly"; emuswitch help lists them'),
            ("help shwo", 'there is no command "shwo", did you mean "show"?'),
            ("--vresion", 'there is no option --vresion, did you mean "--version"?'),
            ("show --jsn", 'show: there is no option --jsn, did you mean "--json"?'),
            ("show -x", "show: there is no option -x; emuswitch help show lists them"),
            ("show --json=3", "show: --json takes no value"),
            ("play a b c", 'play: "b" is one word too many; usage: emuswitch play [options] <file>'),
            ("play", "play: <file> is missing; usage: emuswitch play [options] <file>"),
            ("lag 1", "lag: <state> is missing; usage: emuswitch lag <port> {on|off}"),
            ("lag 1 maybe", 'lag: state: "maybe" is not one of on, off'),
            ("lag one on", 'lag: port: "one" is not a number from 1 to 2147483647'),
            ("graph --qos", "graph: --qos needs a value; usage: emuswitch graph [options]"),
            ("graph --qos 1 --qos 2", "graph: --qos is there more than once"),
            ("replay --seed -1 x", 'replay: --seed: "-1" is not a number from 0 on'),
            ("exec", "exec needs a command; emuswitch help exec tells more"),
            ("exec -x", "exec: there is no option -x; emuswitch help exec lists them"),
        ):
            with self.subTest(words=words):
                result = self.emuswitch(*words.split(), status=2)
                self.assertEqual(("", f"emuswitch: {said}\n"), (result.stdout, result.stderr))
        self.assertIn('"\\x1b[31mx"', self.emuswitch("\x1b[31mx", status=2).stderr, "nothing steers the terminal")

    def test_help_and_version_are_commands_too(self):
        self.assertEqual(self.emuswitch("--help").stdout, self.emuswitch("help").stdout)
        self.assertEqual(self.emuswitch("play", "--help").stdout, self.emuswitch("help", "play").stdout)
        self.assertEqual(self.emuswitch("--version").stdout, self.emuswitch("version").stdout)

    def test_what_stands_behind_two_dashes_is_a_command(self):
        for words in (("exec", "--", "echo", "-n", "--", "x"), ("run", "echo", "-n", "--", "x")):
            self.assertEqual("-- x", self.emuswitch(*words).stdout)
        self.assertIn("-x: cannot be run", self.emuswitch("exec", "--", "-x", status=1).stderr)

    def test_output_that_cannot_be_written_is_a_failure(self):
        self.played()
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run([EMUSWITCH, "config"], env=self.environment, stdout=full, stderr=subprocess.PIPE,
                                    text=True, check=False)
        self.assertEqual((1, "emuswitch: standard output cannot be written\n"), (result.returncode, result.stderr))


if __name__ == "__main__":
    unittest.main(verbosity=2)
