"""Random sentences: the switch answers as a model of it does, and its configuration rebuilds it.

RANDOM_SEEDS="7 8 9" plays other seeds than the usual ones, RANDOM_SENTENCES=2000 more of each.
"""

import collections
import os
import unittest

from model import Model, objects_of
from switch import Switch

SEEDS = [int(seed) for seed in os.environ.get("RANDOM_SEEDS", "1 2 31").split()]
SENTENCES = int(os.environ.get("RANDOM_SENTENCES", "400"))
SMALL_SENTENCES = 300

# Small switches: a seed, the limits, and the codes of being full that come up then.
SMALL = (
    (8,
     {"ports": 4, "vlans": 2, "ports_per_vlan": 1, "protgroups": 1, "protocols_per_protgroup": 1,
      "protgroups_per_port": 0, "streams": 2, "queues": 1, "clslists": 1, "rules_per_clslist": 3},
     {1201, 1404, 1605, 1616, 2302, 2502, 2602, 2603, 2801, 2804}),
    (3, {"fdb_entries": 70, "frame_buffers": 3000}, {1607, 2002, 2303}),
)


# Sentences as they come from scripts gone wrong: what the switch takes of them, its configuration has to bring back.
ODD_SENTENCES = (
    ["create", "vlan", 'a "quoted" name', "vid", "30"], ["create", "vlan", "#1"], ["create", "vlan", "back\\slash"],
    ["create", "vlan", ""], ["create", "vlan", "t\tab and\nline"], ["create", "vlan", "\xfc\xf6"], ["create", "vlan", "{a*3}"],
    ["create", "vlan", " "], ["create", "vlan", "-1"], ["create", "vlan", "'"], ["create", "vlan", "8191", "vid", "8191"],
    "create port 1 npport 1 portType ether", "create port 2 npport -7 portType none",
    "create port 2147483647 npport 2147483647 portType vif", "create port 0x3 npport 08 portType ether",
    "create port 101 npport 0 portType vif", "create port 74 npport 99999999999 portType ether",
    ["add", "port", "1", "to", "vlan", "#1", "tag", "on", "tagtype", "0"],
    ["add", "port", "2", "to", "vlan", 'a "quoted" name', "tag", "off"],
    ["add", "port", "74", "to", "vlan", "", "tag", "on", "tagtype", "ffff"],
    ["set", "port", "1", "pvid", "#1"], "set port 2 pvid 8191", "set port 2 tagtype 0", "set port 1 tagtype ffff",
    "set port 1 aging +60x", "set port 1 default_class 0/9/red", "set port 1 default_class 256/7/red",
    "set port 2 default_class 1/-1/green", "set port 1 cosmap val 7,,,,,,,", "set port 2 cosmap bit 0 val 1,2,3,4,5,6,7,0",
    "set port 74 cosmap bit ffffffff val 1,2,3,4,5,6,7,9", "set port 101 link_depend port 0",
    "set port 101 link_depend port 1-10", "set port 101 link_depend port 32,33", "set port 101 link_mode and",
    # A thousandfold rate that wraps at 32 bits into the range, and is no multiple of a thousand any more.
    "set ether 1 shaping on rate 4295032 burst 80 byte", "set ether 2 shaping on rate 4390000",
    "set port 1 class_policing class 7 on rcolor discard rate 4295100 burst 32000 byte",
    "set port 1 class_policing class 0 on rcolor red rate 8590000 burst 4294968 kbyte",
    "create stream 1/256 qostype pq", "create stream 2/1 qostype wfq", "create stream 1/1 qostype wfq",
    "set stream 1/256 shaping on rate 64-100000 burst 80-32000 byte", "set stream 2/1 shaping on rate 4295040-4295100",
    "set stream 1/1 shaping on maxrate 1000 minrate 500 maxburst 8 min 16",
    "set stream 1/1 tosmap ffffffff,,,,,,,80000000/7fffffff", "set stream 2/1 tosmap ,", "set stream 1/256 tosmap 0/0",
    "create queue 1/256/-", "create queue 2/1/7", "set queue 1/256/0 pri 7 ratio 2147483647",
    "set queue 1/256/1 queue_length -1", "set queue 1/256/2 queue_length 4194304",
    "set queue 1/256/3 queue_length 4194241", "set queue 2/1/7 pri 0 ratio 0", "set queue 2/1/7 pri 9",
    "set queue 2/1/0 color red drop_type wred thresh 100-0 drop 0-0",
    "set queue 2/1/1 color red drop_type wred thresh 0-100 drop 100-0", "set color 2/1/1/green drop_type taildrop",
    "create clslist 2147483647", "create clslist 7", "create clslist -1", "create clslist 0",
    "add classify 1/0/green normal 1.2.3.4/0 300.1.2.3 255-1 0-255/0 65535-65536 70000 4095/fff 9-15/8 ffff/0 ,,, to clslist 7",
    "add classify 256/263/red normal 0.0.0.0 1.2.3.4-1.2.3.3 -1 icmp -5--3 1-2/fffe 0-4096 7/5 10-1f/f0 ffffffff/1,0/0"
    " to clslist 7 line 65536",
    "add classify 1/0/green normal 10.0.0.0/33 x 1-1 x 0 0-0 0/0 0 0 1,2,3,4 to clslist 7 line 3",
    "add classify 1/0/yellow dscp x x x x x x x x x x to clslist 2147483647 line 1",
    ["add", "clslist", "7", "to", "port", "1", "vlan", "#1", "-1/4,1532/2,0/1,5"],
    ["add", "clslist", "2147483647", "to", "port", "74", "vlan", "", "0,0/0,1533/4,-65000/1"],
    ["create", "sfdbentry", "ff:ff:ff:ff:ff:ff", "in", "vlan", "", "port", "1", "flag", "1ff"],
    ["create", "sfdbentry", "00:11:22:33:44:55", "in", "vlan", "#1", "port", "1", "flag", "4"],
    ["create", "sfdbentry", "0g:z1:  :33:44:5x", "in", "vlan", "{a*3}", "discard"],
    "create lfdbentry 01:80:c2:00:00:10 in port 2147483647 both", "create protgroup 65535", "create protgroup 0",
    "add protocol 0 to protgroup 0", "add protocol ffff to protgroup 65535",
    ["add", "port", "1", "to", "vlan", "{a*3}", "tag", "off", "protgroup", "0"],
    "create mirror 4", ["set", "mirror", "4", "source", "port", "1", "out", "vlan", "#1"], "set mirror 4 dest port 2",
    "set mirror 4 classify 256/7/red", "set mirror 4 tag on tagtype 0 vid 8191", "enable mirror 4", "create mirror 1",
    ["set", "mirror", "1", "source", "vlan", 'a "quoted" name'], "enable port 2147483647",
)


class RandomSentences(unittest.TestCase):
    maxDiff = None

    def play(self, switch, model, count):
        """Plays so many sentences, each answered as the model does. Returns the codes that came up."""
        codes = set()
        for number in range(1, count + 1):
            sentence, code = model.next()
            answer = switch.say(sentence)
            place = f"sentence {number}: {sentence}"
            self.assertEqual(("", 0), (answer.errors, answer.status), place)
            if code is None:
                continue
            self.assertEqual(code, answer.code, f"{place}: {answer.outcome}")
            self.assertEqual(code == 0, answer.is_accepted, f"{place}: {answer.outcome}")
            codes.add(code)
            if number % 100 == 0:
                self.assertEqual(model.objects(), objects_of(switch.shown()), place)
        self.assertEqual([], switch.damage())
        return codes

    def test_the_configuration_rebuilds_what_random_sentences_made(self):
        answers = collections.Counter()
        for seed in SEEDS:
            with self.subTest(seed=seed), Switch() as switch, Switch() as copy:
                model = Model(seed)
                self.play(switch, model, SENTENCES)
                answers += model.answers
                self.assertEqual(model.objects(), objects_of(switch.shown()))
                config = switch.config()
                copy.play(config)
                self.assertEqual(config, copy.config())
                self.assertEqual(switch.state(), copy.state())
        if "RANDOM_SEEDS" not in os.environ:
            never = [action.__name__ for _, action in Model.ACTIONS if answers[action.__name__, 0] == 0]
            self.assertEqual([], never, "never accepted; choose other seeds")

    def test_the_configuration_brings_back_what_odd_sentences_made(self):
        with Switch() as switch, Switch() as copy:
            answers = [switch.say(sentence) for sentence in ODD_SENTENCES]
            self.assertEqual([], [answer for answer in answers if answer.errors or answer.status != 0])
            self.assertGreater(sum(answer.is_accepted for answer in answers), len(answers) // 2)
            config = switch.config()
            copy.play(config)
            self.assertEqual(config, copy.config())
            self.assertEqual(switch.state(), copy.state())
            self.assertEqual([], switch.damage())

    def test_a_small_switch_is_full_when_the_model_is(self):
        for seed, limits, expected in SMALL:
            with self.subTest(limits=limits), Switch() as switch:
                for name, value in limits.items():
                    switch.companion("limit", name, str(value))
                model = Model(seed, limits)
                codes = self.play(switch, model, SMALL_SENTENCES)
                self.assertEqual(set(), expected - codes)
                self.assertEqual(model.objects(), objects_of(switch.shown()))


if __name__ == "__main__":
    unittest.main()
