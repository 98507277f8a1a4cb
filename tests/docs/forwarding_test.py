"""docs/forwarding.md has a row for each setting, each row is shown by a test, and its assumptions are those of the code."""

import re
import sqlite3
import unittest

from sentences import SOURCE, dispatch_rows, port_parameters

PAGE = SOURCE / "docs/forwarding.md"
REPLAY = SOURCE / "docs/replay.md"
TESTS = SOURCE / "tests/dataplane"
ASSUMPTIONS = SOURCE / "emulator/dataplane/assumptions.h"

# What the companion can set. Its other commands only look.
COMPANION = {f"emuswitch {command}" for command in ("learn", "lag", "ipif", "limit", "fail", "reset")}
# What a sentence chooses by one of its words, and how a frame can tell.
CHOICES = {"add classify normal", "add classify dot1p", "add classify dscp", "create stream qostype"}


# Its commands that set nothing, or nothing but what sentences and the others set.
LOOKS = {"show", "config", "log", "events", "graph", "trace", "replay", "live", "top", "play", "check", "diff", "apply",
         "shell", "exec", "run", "call"}

# What sets each column of the store that a frame could meet; "": it says which object the row is of. A new column needs
# its setting here, and that a row in the page. `elsewhere` is no part of what a frame meets.
COLUMNS = {
    "port": {
        "port": "", "ether": "create port", "type": "create port", "enabled": "enable port",
        "accept_all_frames": "set port aftype", "ingress_filtering": "set port ingfil",
        "accept_tagged": "set port ignoretag", "accept_priority_tagged": "set port ignoreptag",
        "cos_editing": "set port cosedit", "ignore_fdb": "set port ignorefdb", "tag_type": "set port tagtype",
        "pvid": "set port pvid", "aging": "set port aging", "loop_breaker": "set port sldbreaker",
        "default_stream": "set port default_class", "default_class": "set port default_class",
        "default_color": "set port default_class", "bandwidth_mode": "set port bandwidth",
        "link_mode": "set port link_mode", "link_depend": "set port link_depend",
        "link_depend_ports": "set port link_depend", "in_lag": "emuswitch lag", "ip_interface": "emuswitch ipif"},
    "cos_map": {"port": "", "priority": "", "traffic_class": "set port cosmap"},
    "class_policer": {"port": "", "traffic_class": "", "rate": "set port class_policing",
                      "burst": "set port class_policing", "color": "set port class_policing"},
    "link_frame": {"port": "", "kind": "", "action": "set port link_frame"},
    "ether_shaper": {"ether": "", "rate": "set ether shaping", "burst": "set ether shaping"},
    "protgroup": {"protgroup": "create protgroup"},
    "protocol": {"protgroup": "", "ether_type": "add protocol"},
    "vlan": {"vid": "create vlan", "name": "create vlan", "loop_detection": "set vlan simple_loop_detection",
             "learning_limit": "set vlan learninglimit", "ignore_fdb": "set vlan ignorefdb",
             "learning_off": "set vlan learning"},
    "vlan_member": {"vid": "", "port": "", "tagged": "add port", "tag_type": "add port", "protgroup": "add port"},
    "mirror": {
        "mirror": "create mirror", "enabled": "enable mirror", "source_type": "set mirror source",
        "source_port": "set mirror source", "source_vid": "set mirror source", "destination": "set mirror dest",
        "stream": "set mirror classify", "traffic_class": "set mirror classify", "color": "set mirror classify",
        "tagged": "set mirror tag", "tag_type": "set mirror tag", "tag_vid": "set mirror tag"},
    "stream": {"stream_index": "", "port": "create stream", "qos_type": "create stream qostype",
               "qos_first": "create stream qostype", "qos_second": "create stream qostype",
               "min_rate": "set stream shaping", "min_burst": "set stream shaping", "max_rate": "set stream shaping",
               "max_burst": "set stream shaping", "priority": "set stream priority"},
    "tos_map": {"stream_index": "", "entry": "", "value": "set stream tosmap", "mask": "set stream tosmap"},
    "drop_policy": {"stream_index": "", "traffic_class": "", "color": "", "min_threshold": "set queue color",
                    "max_threshold": "set queue color", "min_drop": "set queue color", "max_drop": "set queue color"},
    "queue": {"stream_index": "", "traffic_class": "", "blocks": "set queue queue_length",
              "length": "set queue queue_length"},
    "queue_in_stream": {"stream_index": "", "traffic_class": "", "stream_type": "create queue",
                        "weighted": "create queue", "priority": "set queue pri", "ratio": "set queue pri"},
    "static_entry": {"vid": "", "mac": "", "port": "create sfdbentry", "action": "create sfdbentry",
                     "of_system": "add port"},
    "learned_entry": {"vid": "", "mac": "", "port": "emuswitch learn"},
    "local_entry": {"port": "", "mac": "", "type": "create lfdbentry", "of_system": "create port"},
    "classify_list": {"list": "create clslist", "marking": "add classify dot1p"},
    "classify_rule": {"list": "", "line": "add classify", "stream": "add classify", "traffic_class": "add classify",
                      "color": "add classify"},
    "classify_match": {"list": "", "line": "", "field": "add classify", "low": "add classify", "high": "add classify",
                       "mask": "add classify"},
    "list_binding": {"vid": "", "port": "", "list": "add clslist"},
    "extraction_point": {"vid": "", "port": "", "point": "", "byte_offset": "add clslist", "width": "add clslist"},
    "limits": {"name": "", "value": "emuswitch limit", "in_use": ""},
    "fault": {"id": "", "function": "emuswitch fail", "status": "emuswitch fail", "skip": "emuswitch fail",
              "times": "emuswitch fail"},
}
ELSEWHERE = {"port_table", "port_table_vlan", "qualifier", "trap_event", "call_log"}  # of the other libraries; the past


class Row:
    def __init__(self, line):
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        self.settings = re.findall(r"`([^`]+)`", cells[0])
        self.effect, self.source, self.sure, self.shown = cells[1:]
        self.assumptions = {int(number) for found in re.findall(r"assumed ([\d, ]+)", self.source)
                            for number in re.findall(r"\d+", found)}
        self.tests = re.findall(r"`([^`]+)`", self.shown)


def rows():
    lines = PAGE.read_text().splitlines()
    return [Row(line) for line in lines if line.startswith("| `")]


def settings_of_sentences():
    settings = set()
    for verb, thing, keyword in dispatch_rows():
        if (verb, thing, keyword) == ("set", "port", ""):
            settings |= {f"set port {name}" for name in port_parameters()}
        else:
            settings.add(f"{verb} {thing} {keyword}".strip())
    return settings


def columns_of_store():
    store = sqlite3.connect(":memory:")
    store.executescript((SOURCE / "emulator/schema.sql").read_text())
    tables = [name for (name,) in store.execute("SELECT name FROM sqlite_schema WHERE type = 'table'")]
    return {table: {row[1] for row in store.execute(f"PRAGMA table_info({table})")} for table in tables
            if not table.startswith("sqlite_")}


def companion_commands():
    """The words by which the companion's commands are called."""
    names = set(re.findall(r"\badd_(\w+),", (SOURCE / "emulator/companion/commands.cpp").read_text()))
    several = {"port_flags": {"lag", "ipif"}, "exec": {"exec", "run"}}
    return set().union(*(several.get(name, {name}) for name in names))


def told_assumptions():
    text = PAGE.read_text()
    return {int(number) for number in re.findall(r"^(\d+)\. \*\*", text[text.index("## Assumptions"):], re.M)}


def assumptions_of_code():
    return {int(number) for number in re.findall(r"^    \w+ = (\d+),", ASSUMPTIONS.read_text(), re.M)} - {0}


class Forwarding(unittest.TestCase):
    maxDiff = None

    def test_each_setting_has_one_row(self):
        told = [setting for row in rows() for setting in row.settings]
        self.assertEqual(len(told), len(set(told)), "twice")
        self.assertEqual(settings_of_sentences() | COMPANION | CHOICES, set(told))

    def test_each_column_of_the_store_has_a_setting_that_has_a_row(self):
        told = {setting for row in rows() for setting in row.settings}
        store = columns_of_store()
        self.assertEqual(set(store), set(COLUMNS) | ELSEWHERE)
        for table, settings in COLUMNS.items():
            with self.subTest(table=table):
                self.assertEqual(store[table], set(settings))
                self.assertEqual(set(), set(settings.values()) - told - {""})

    def test_each_command_of_the_companion_has_a_row_or_only_looks(self):
        self.assertEqual(companion_commands(), LOOKS | {command.split()[1] for command in COMPANION})

    def test_each_row_is_shown_by_a_test_that_says_the_setting(self):
        for row in rows():
            with self.subTest(settings=row.settings):
                if row.shown == "none":
                    self.assertRegex(row.effect, "Nothing")
                    continue
                self.assertTrue(row.tests)
                text = "".join((TESTS / name).read_text() for name in row.tests)
                for setting in row.settings if row.tests[0].endswith(".txt") else []:
                    verb, *words = setting.split()
                    said = [line for line in text.splitlines() if line.startswith(f"$ {verb} ")]
                    is_said = any(all(word in line.split() for word in words) for line in said)
                    # Taking away is told together with making.
                    self.assertTrue(is_said or setting in {"delete protgroup", "delete clslist", "show clslist"}, setting)

    def test_what_is_kept_is_kept_in_the_trace(self):
        kept = (TESTS / "kept.txt").read_text()
        for row in rows():
            if row.effect == "Kept.":
                self.assertEqual(["kept.txt"], row.tests)
        words = set(re.findall(r'return "(\w+)"', function_of("const char* word_of(KeptSetting")))
        self.assertEqual(words, set(re.findall(r"; kept (\w+)", kept)))

    def test_every_source_is_told_how_sure(self):
        for row in rows():
            with self.subTest(settings=row.settings):
                self.assertRegex(row.sure, r"^(high|medium|low)(; [\w\s]+ (high|medium|low))?$")
                if row.effect != "Kept.":
                    self.assertRegex(row.source, r"contract|802\.|RFC|assumed")

    def test_assumptions_are_those_of_the_code(self):
        self.assertEqual(assumptions_of_code(), told_assumptions())
        used = set().union(*(row.assumptions for row in rows()))
        general = {1, 27, 28}  # of every frame, not of a setting
        self.assertEqual(told_assumptions() - general, used)

    def test_each_assumption_is_played_or_decides_between_frames(self):
        played = "".join(path.read_text() for path in TESTS.glob("*.txt"))
        cited = {int(number) for number in re.findall(r"; assumption (\d+)", played)}
        in_time = {int(number) for number in re.findall(r"^(\d+)\. \*\*In time: ", PAGE.read_text(), re.M)}
        self.assertEqual(told_assumptions() - in_time, cited)

    def test_what_waits_leans_on_assumptions_that_are_told(self):
        rows = re.findall(r"^\| .* \| ([\d, ]+) \|$", REPLAY.read_text(), re.M)
        named = {int(number) for numbers in rows for number in numbers.split(",")}
        in_time = {int(number) for number in re.findall(r"^(\d+)\. \*\*In time: ", PAGE.read_text(), re.M)}
        self.assertEqual(in_time | {26, 27}, named)

    def test_each_reason_and_step_is_played(self):
        played = "".join(path.read_text() for path in TESTS.glob("*.txt"))
        reasons = set(re.findall(r'return "(\w+)"', function_of("const char* word_of(DropReason")))
        elsewhere = {"none", "queue_full", "red", "no_buffer", "queue_removed", "port_missing"}  # frames that wait or replay
        self.assertEqual(reasons - elsewhere, set(re.findall(r"^dropped: (\w+)", played, re.M)))


def function_of(beginning):
    text = (SOURCE / "emulator/dataplane/words.cpp").read_text()
    start = text.index(beginning)
    return text[start:text.index("\n}", start)]


if __name__ == "__main__":
    unittest.main()
