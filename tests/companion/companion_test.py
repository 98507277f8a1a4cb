"""emuswitch as its users meet it: what it prints, where, and with which exit status."""

import json
import os
import pathlib
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import unittest

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
        return json.loads(self.emuswitch("show", *arguments, "--json").stdout)


class Play(Companion):
    def test_tells_how_many_sentences_were_accepted(self):
        result = self.emuswitch("play", self.file(SERVICE))
        self.assertEqual(f"{len(SENTENCES)} of {len(SENTENCES)} sentences accepted\n", result.stdout)
        self.assertEqual("", result.stderr)

    def test_names_file_line_sentence_code_and_message_of_a_refusal_and_stops(self):
        path = self.file("create vlan a vid 7\n\ncreate vlan a vid 8\ncreate vlan b\n")
        result = self.emuswitch("play", path, status=1)
        self.assertEqual(f'{path}:3: create vlan a vid 8: NG 1401: VLAN "a" already exists.\n', result.stderr)
        self.assertEqual("1 of 3 sentences accepted, 1 refused, 1 not played\n", result.stdout)
        self.assertEqual(["a"], [vlan["name"] for vlan in self.json("vlans")["vlans"]])

    def test_keep_going_goes_on(self):
        path = self.file("create vlan a\nmake vlan b\ncreate vlan c extra\ncreate protgroup 1\ndelete port 1 2\n")
        result = self.emuswitch("play", "--keep-going", path, status=1)
        self.assertEqual([
            f"{path}:2: make vlan b: not a sentence that tolvane knows (it shows its usage text)",
            f"{path}:3: create vlan c extra: not a sentence that tolvane knows (it shows its usage text)",
            f"{path}:5: delete port 1 2: surplus words (no more argument)",
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
        self.assertIn('standard input:2: create vlan a: NG 1401: VLAN "a" already exists.', result.stderr)

    def test_passes_on_what_a_list_displays(self):
        self.played()
        result = self.emuswitch("play", "-", text="show clslist 1\n")
        self.assertIn("10.0.0.0", result.stdout)

    def test_says_what_is_wrong_with_a_file(self):
        result = self.emuswitch("play", str(self.folder / "none.play"), status=1)
        self.assertEqual(f"emuswitch: {self.folder}/none.play: cannot be read\n", result.stderr)
        path = self.file('create vlan a\ncreate vlan "b\n', "bad.play")
        result = self.emuswitch("play", path, status=1)
        self.assertEqual(f"emuswitch: {path}:2: a closing quotation mark is missing\n", result.stderr)
        self.assertEqual([], self.json("vlans")["vlans"], "nothing is played of a file that cannot be read")

    def on_terminal(self, path, interrupt):
        """Plays with a terminal as standard error; interrupts when the bar is there. Returns process and bar."""
        master, slave = pty.openpty()
        process = subprocess.Popen([EMUSWITCH, "play", path], env=self.environment, stdout=subprocess.PIPE, stderr=slave,
                                   text=True)
        os.close(slave)
        shown = b""
        while select.select([master], [], [], 60)[0]:
            try:
                piece = os.read(master, 4096)
            except OSError:  # the terminal is closed
                break
            if not piece:
                break
            if interrupt and b"[" in piece:
                process.send_signal(signal.SIGINT)
                interrupt = False
            shown += piece
        os.close(master)
        output = process.communicate()[0]
        return process.returncode, output, shown.decode()

    def test_shows_progress_on_a_terminal_and_none_in_a_pipe(self):
        path = self.file("".join(f"create vlan v{i}\n" for i in range(20)))
        status, output, shown = self.on_terminal(path, interrupt=False)
        self.assertEqual((0, "20 of 20 sentences accepted\n"), (status, output))
        self.assertIn("10/20", shown)
        self.assertTrue(shown.endswith("\x1b[K"), "the bar is taken away at the end")

    def test_an_interrupt_stops_between_sentences_and_says_how_far_it_came(self):
        count = 5000
        path = self.file("".join(f"create protgroup {i}\n" for i in range(count)))
        status, output, _ = self.on_terminal(path, interrupt=True)
        self.assertEqual(1, status)
        self.assertRegex(output, rf"^\d+ of {count} sentences accepted, interrupted after \d+\n$")
        accepted = int(output.split()[0])
        self.assertLess(accepted, count)
        self.assertEqual(list(range(accepted)), [group["protgroup"] for group in self.json("protgroups")["protgroups"]])


class Looking(Companion):
    def test_every_topic_has_a_table_and_json(self):
        self.played()
        whole = self.json()
        for topic in ("ports", "vlans", "members", "protgroups", "mirrors", "streams", "queues", "fdb", "clslists",
                      "names", "porttable", "limits"):
            self.assertNotEqual("", self.emuswitch("show", topic).stdout, topic)
            state = self.json(topic)
            self.assertEqual(state[topic], whole[topic], topic)

    def test_a_table_fits_a_terminal_and_shows_the_object(self):
        self.played()
        lines = self.emuswitch("show", "members").stdout.splitlines()
        self.assertEqual("VLAN     PORT  MEMBER       CLSLIST  EXTRACTION", lines[0])
        self.assertEqual("in side     1  tagged 8100  -        -", lines[1])
        for topic in ("ports", "vlans", "mirrors", "streams", "queues", "fdb", "clslists"):
            for line in self.emuswitch("show", topic).stdout.splitlines():
                self.assertLessEqual(len(line), 80, topic)

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

    def test_exec_runs_on_the_switch(self):
        self.assertIn("OK", self.emuswitch("exec", "tolvane", "create", "vlan", "q").stdout)
        self.assertEqual(["q"], [vlan["name"] for vlan in self.json("vlans")["vlans"]])
        self.assertIn("cannot be run", self.emuswitch("exec", "/nowhere/at/all", status=1).stderr)

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

    def test_what_cannot_be_done_is_said(self):
        self.played()
        for arguments, reason in ((("learn", "1:2", "in side", "1"), '"1:2" is not a MAC address'),
                                  (("learn", "00:11:22:33:44:55", "x", "1"), 'there is no VLAN "x"'),
                                  (("learn", "00:11:22:33:44:55", "in side", "4"), "port 4 is not a member"),
                                  (("lag", "9", "on"), "there is no port 9"),
                                  (("limit", "moons", "3"), 'there is no limit "moons"'),
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
                          ("fail",), ("fail", "brgfdb_create_vlan", "99999999999"), ("play",)):
            self.assertNotEqual("", self.emuswitch(*arguments, status=2).stderr, arguments)
        for arguments in (("--help",), ("show", "--help"), ("--version",)):
            self.assertNotEqual("", self.emuswitch(*arguments).stdout)

    def test_output_that_cannot_be_written_is_a_failure(self):
        self.played()
        with open("/dev/full", "w", encoding="ascii") as full:
            result = subprocess.run([EMUSWITCH, "config"], env=self.environment, stdout=full, stderr=subprocess.PIPE,
                                    text=True, check=False)
        self.assertEqual((1, "emuswitch: standard output cannot be written\n"), (result.returncode, result.stderr))


if __name__ == "__main__":
    unittest.main(verbosity=2)
