"""What emuswitch tells programs: every JSON output is as its schema says and follows the convention of docs/json.md."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

from json_schema import DOCUMENTS, TYPES, checked, problems, schema_of

EMUSWITCH = os.environ["EMUSWITCH_PROGRAM"]
SERVICE = DOCUMENTS / "example/service.play"
TOPICS = ("ports", "vlans", "members", "protgroups", "mirrors", "streams", "queues", "fdb", "clslists", "names",
          "porttable", "limits", "faults")
# What the service leaves out: values at their ends, and what only emuswitch brings about.
MORE = """\
create vlan lonely
create vlan "\\xfc" vid 200
create vlan "\\xef\\x9f\\xbc" vid 201
set port 3 pvid office
create mirror 2
create mirror 3
set mirror 3 source vlan guests
set mirror 3 dest port 4
create mirror 4
set mirror 4 source port 1 out
create clslist 2
add classify 1/0/red dscp 10.1.2.3 x x icmp x x 10/ff0 x 86dd x to clslist 2
emuswitch learn 00:00:5e:00:53:01 office 2
emuswitch ipif 101 on
create port 5 npport 5 portType ether
emuswitch lag 5 on
create port 102 npport 0 portType none
emuswitch call brgfdb_create_stream 700
emuswitch call brgfdb_create_stream 300
emuswitch call brgfdb_set_shaping_in_stream 300 64001 80 100000999 32000
emuswitch call brgfdb_create_queue 100 256 16384
emuswitch call portshm_create_port 7 9 7
emuswitch call portshm_set_port_linkmode 101 7
emuswitch call portshm_set_port_linkdepend 101 2 5
emuswitch call libev_BridgePort_Status 0 9 42 1
emuswitch call libev_Queue_Status 0 9 42 13 2
emuswitch fail brgfdb_create_mirror 2901 --at 4 --times 2
emuswitch fail brgfdb_create_port -7
"""


def keys_of(value):
    if isinstance(value, dict):
        for key, inner in value.items():
            yield key
            yield from keys_of(inner)
    elif isinstance(value, list):
        for inner in value:
            yield from keys_of(inner)


class OnSwitch(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="json-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.environment = dict(os.environ, EMUSWITCH=str(self.folder / "switch.db"), TMPDIR=str(self.folder))

    def emuswitch(self, *words, status=0, text=""):
        done = subprocess.run([EMUSWITCH, *words], env=self.environment, input=text.encode(), capture_output=True,
                              check=False)
        self.assertEqual(status, done.returncode, done.stdout + done.stderr)
        return done.stdout.decode()  # strict: names may be any bytes, JSON is UTF-8

    def lines(self, name, *words, **more):
        return [checked(name, line) for line in self.emuswitch(*words, **more).splitlines()]

    def fill(self):
        self.emuswitch("play", str(SERVICE))
        self.emuswitch("play", "-", text=MORE)


class State(OnSwitch):
    def setUp(self):
        super().setUp()
        self.fill()
        self.state = checked("show", self.emuswitch("show", "--json"))

    def one(self, topic, **keys):
        found = [row for row in self.state[topic] if all(row[key] == value for key, value in keys.items())]
        self.assertEqual(1, len(found), (topic, keys, found))
        return found[0]

    def test_each_topic_is_its_part_of_the_whole(self):
        self.assertEqual({*TOPICS, "ether_shapers"}, set(self.state))
        for topic in TOPICS:
            part = checked("show", self.emuswitch("show", topic, "--json"))
            self.assertEqual(part, {key: self.state[key] for key in part})

    def test_this_test_has_something_of_each_kind(self):
        for kind, objects in {**self.state, **self.state["fdb"]}.items():
            self.assertTrue(objects, kind)

    def test_keys_are_words_and_say_their_units(self):
        for key in keys_of(self.state):
            self.assertRegex(key, r"^[a-z][a-z0-9_]*$")
            self.assertNotRegex(key, r"^(min_|max_)?(rate|burst|length|aging|threshold|offset|width|drop)$")

    def test_words_addresses_and_none(self):
        self.assertEqual("office", self.one("members", port=2, vid=10)["vlan"])
        self.assertIsNone(self.one("members", port=2, vid=10)["tagtype"])
        self.assertEqual("88a8", self.one("members", port=1, vid=10)["tagtype"])
        self.assertEqual((10, None), (self.one("ports", port=3)["pvid"], self.one("ports", port=2)["pvid"]))
        self.assertEqual([2, 3], self.one("ports", port=101)["link_depend_ports"])
        self.assertEqual(["8874"], self.one("protgroups", protgroup=1)["protocols"])
        self.assertEqual({"class": 0, "rate_kbit_s": 10000, "burst_bytes": 16000, "color": "discard"},
                         self.one("ports", port=3)["class_policers"][0])
        self.assertEqual({"port": None, "direction": None, "vid": 20, "vlan": "guests"},
                         self.one("mirrors", mirror=3)["source"])
        self.assertEqual("out", self.one("mirrors", mirror=4)["source"]["direction"])
        self.assertIsNone(self.one("mirrors", mirror=2)["source"])
        self.assertEqual([None, "pq"], [self.one("streams", port=3, stream=189)["qos_type"],
                                        self.one("streams", port=1, stream=1)["qos_type"]])
        self.assertEqual({"min_rate_kbit_s": 64.001, "max_rate_kbit_s": 100000.999, "min_burst_bytes": 80,
                          "max_burst_bytes": 32000}, self.one("streams", port=2, stream=45)["shaping"])
        rule = self.one("clslists", list=2)["rules"][0]
        self.assertEqual([("da", "10.1.2.3", None), ("etype", "86dd", None), ("prot", 1, None), ("vid", 0, "ff0")],
                         [(match["field"], match["low"], match["mask"]) for match in rule["match"]])
        self.assertEqual(["taildrop", "wred"], [policy["drop_type"]
                                                for policy in self.one("streams", port=1, stream=2)["drop_policies"]])
        self.assertEqual((9, "logical"), (self.one("porttable", port=7)["kind"],
                                          self.one("porttable", port=101)["kind"]))
        self.assertEqual((7, [1, 3]), (self.one("porttable", port=101)["link_mode"],
                                       self.one("porttable", port=101)["link_depend_ports"]))
        self.assertIsNone(self.one("names", category="portvlan", name="2/office")["id"])

    def test_names_are_told_apart(self):
        names = [vlan["name"] for vlan in self.state["vlans"] if vlan["vid"] in (200, 201)]
        self.assertEqual(["\uf7fc", "\uf7ef\uf79f\uf7bc"], names)

    def test_limits_and_faults(self):
        self.assertEqual([{"function": "brgfdb_create_mirror", "status": 2901, "at_call": 4, "times": 2},
                          {"function": "brgfdb_create_port", "status": -7, "at_call": 1, "times": 1}],
                         self.state["faults"])
        self.assertEqual({"faults": self.state["faults"]},
                         checked("show", self.emuswitch("fail", "--list", "--json")))
        self.assertEqual({"limits": self.state["limits"]}, checked("show", self.emuswitch("limit", "--json")))
        changed = checked("show", self.emuswitch("limit", "vlans", "7", "--json"))["limits"]
        self.assertEqual([7], [limit["value"] for limit in changed if limit["name"] == "vlans"])
        self.emuswitch("fail", "--json", status=2)
        self.emuswitch("limit", "vlans", "--json", status=2)

    def test_an_empty_switch(self):
        self.emuswitch("reset")
        state = checked("show", self.emuswitch("show", "--json"))
        for topic in ("ports", "vlans", "queues", "faults"):
            self.assertEqual([], state[topic])

    def test_no_counters(self):
        self.assertEqual({"counters": None}, checked("counters", self.emuswitch("show", "counters", "--json")))


class Streams(OnSwitch):
    def test_the_log(self):
        self.emuswitch("play", "-k", "-", text='create vlan "a) = 5 status 6" vid 10\ncreate vlan "a) = 5 status 6"\n'
                       "create port 1 npport 1 portType ether\n", status=1)
        self.emuswitch("play", "-",
                       text="create clslist 1\nadd classify 1/0/green normal x x x udp x x x x x x to clslist 1\n")
        self.emuswitch("call", "brgfdb_delete_vlan", "99", status=1)
        calls = self.lines("log", "log", "--json")
        self.assertEqual([("tolvane", "brgfdb_create_vlan", 0, None), ("tolvane", "qual_register", 0, None),
                          ("tolvane", "brgfdb_create_vlan", -1, 1401)],
                         [(call["program"], call["function"], call["result"], call["status"]) for call in calls[:3]])
        self.assertEqual(("emuswitch", "call brgfdb_delete_vlan 99", 103),
                         (calls[-1]["program"], calls[-1]["sentence"], calls[-1]["status"]))
        self.assertIn(("getprotobyname", 0, None),
                      [(call["function"], call["result"], call["status"]) for call in calls])
        self.assertEqual(3 + 2 + 1, len({call["run"] for call in calls}), "a run is a sentence")
        # The text for people tells the same calls.
        text = re.findall(r"^(?:# )?> (.*)$", self.emuswitch("log"), re.M)
        self.assertEqual(text, [call["call"] for call in calls])

    def test_what_became_of_a_call_whose_operands_are_too_long_for_the_log(self):
        for length in (4010, 6000):
            self.emuswitch("exec", "tolvane", "create", "vlan", "a = 5 status 6 " + length * "b")
        calls = self.lines("log", "log", "--json")
        self.assertEqual(2 * [("brgfdb_create_vlan", -1, 1403)],
                         [(call["function"], call["result"], call["status"]) for call in calls])

    def test_the_events(self):
        self.fill()
        events = self.lines("events", "events", "--json")
        told = [(event["object"], event["event"], event["port"], event["type"], event["class"]) for event in events]
        for event in (("port", "created", 1, "ether", None), ("member", "joined", 2, None, None),
                      ("queue", "created", 1, None, 7), ("port", "created", 9, 42, None),
                      ("queue", "deleted", 9, None, 13)):
            self.assertIn(event, told)
        self.assertEqual(len(self.emuswitch("events").splitlines()), len(events))

    def test_following_tells_each_as_it_comes(self):
        for command in ("log", "events"):
            with subprocess.Popen([EMUSWITCH, command, "--json", "--follow"], env=self.environment,
                                  stdout=subprocess.PIPE) as follower:
                try:
                    self.emuswitch("reset")
                    for port in range(1, 4):
                        self.emuswitch("exec", "tolvane", "create", "port", str(port), "npport", "1", "portType", "ether")
                        while checked(command, follower.stdout.readline().decode()).get(
                                "port" if command == "events" else "sentence") not in (
                                    port, f"create port {port} npport 1 portType ether"):
                            pass
                finally:
                    follower.send_signal(signal.SIGTERM)
                    follower.stdout.read()

    def test_what_was_played(self):
        told = self.lines("play", "play", "-k", "--json", "-", status=1, text="""\
create vlan "a\\xff" vid 10
create vlan "a\\xff"
create vlan
delete port 1 now
set ether 1 color blue
create clslist 1
add classify 1/0/green normal x x x x x x x x x x to clslist 1
show clslist 1
emuswitch limit moons 7
emuswitch limit vlans 7
""")
        self.assertEqual([("OK", None), ("NG", 1401), ("usage", None), ("surplus", None), ("nothing", None),
                          ("OK", None), ("OK", None), ("display", None), ("failed", None), ("OK", None)],
                         [(line["answer"], line["code"]) for line in told[:-1]])
        self.assertEqual(list(range(1, 11)), [line["line"] for line in told[:-1]])
        self.assertEqual('VLAN "a\uf7ff" already exists.', told[1]["message"])
        self.assertIn("1/0/green", told[7]["display"])
        self.assertIn("moons", told[8]["message"])
        self.assertEqual((10, 4, 0, False), tuple(told[-1][key] for key in (
            "sentences", "refused", "not_played", "dry_run")))
        told = self.lines("play", "play", "--json", "-n", "-", status=1, text="create vlan x\ncreate vlan x\ncreate vlan y\n")
        self.assertEqual({"sentences": 3, "accepted": 1, "ignored": 0, "refused": 1, "not_played": 1, "interrupted": False,
                          "dry_run": True}, told[-1])

    def test_a_difference(self):
        wanted = self.folder / "wanted.play"
        wanted.write_text(f'{SERVICE.read_text()}\n{MORE}\ncreate vlan "in side"\n')
        self.emuswitch("play", str(SERVICE))
        words = ("diff", str(self.folder / "switch.db"), str(wanted))
        told = self.lines("diff", *words, "--json", status=1)
        plain = subprocess.run([EMUSWITCH, *words], capture_output=True, check=False).stdout.decode(errors="replace")
        self.assertEqual(plain.splitlines(), [line["sentence"] or "# " + line["remark"] for line in told])
        self.assertIn(["create", "vlan", "in side"], [(line["words"] or [])[:3] for line in told])
        self.assertIn("\uf7fc", [word for line in told for word in line["words"] or []])
        self.assertEqual([], self.lines("diff", "diff", "--json", str(wanted), str(wanted)))
        back = self.lines("diff", "diff", "--json", str(wanted), str(SERVICE), status=1)
        self.assertTrue([line["remark"] for line in told + back if line["remark"]])


class Schemas(unittest.TestCase):
    def test_each_is_sound_and_refuses_what_is_wrong(self):
        names = [path.name.removesuffix(".schema.json") for path in DOCUMENTS.glob("*.schema.json")]
        self.assertIn("show", names)
        for name in names:
            schema = schema_of(name)
            self.assertEqual("http://json-schema.org/draft-07/schema#", schema["$schema"])
            self.assertNotEqual([], problems({"odd": 1}, schema), name)
            self.assertNotEqual([], problems([], schema), name)
            for part in self.parts(schema):
                self.assertIn(part.get("type", "object"), TYPES, name)
                if part.get("type") == "object":
                    self.assertIn("additionalProperties", part, (name, part))
                    self.assertLessEqual(set(part.get("required", ())), set(part.get("properties", ())), name)
                if "$ref" in part:
                    self.assertIn(part["$ref"].removeprefix("#/definitions/"), schema["definitions"], name)

    def parts(self, value):
        if isinstance(value, dict):
            if "$ref" in value or isinstance(value.get("type"), str):
                yield value
            for inner in value.values():
                yield from self.parts(inner)
        elif isinstance(value, list):
            for inner in value:
                yield from self.parts(inner)

    def test_the_error_catalogue(self):
        checked("errors", (DOCUMENTS / "errors.json").read_text())

    def test_the_page_names_each(self):
        page = (DOCUMENTS / "json.md").read_text()
        for path in DOCUMENTS.glob("*.schema.json"):
            self.assertIn(f"({path.name})", page)


if __name__ == "__main__":
    unittest.main()
