"""Random sentences: the switch answers as a model of it does, and its configuration rebuilds it.

RANDOM_SEEDS="7 8 9" plays other seeds than the usual ones, RANDOM_SENTENCES=2000 more of each.
"""

import json
import os
import unittest

from model import Model, objects_of
from switch import Switch

SEEDS = [int(seed) for seed in os.environ.get("RANDOM_SEEDS", "1 2 3").split()]
SENTENCES = int(os.environ.get("RANDOM_SENTENCES", "300"))
SMALL_SENTENCES = 450

# Small switches: a seed, the limits, and the codes of being full that come up then.
SMALL = (
    (17,
     {"ports": 4, "vlans": 2, "ports_per_vlan": 1, "protgroups": 2, "protocols_per_protgroup": 1,
      "protgroups_per_port": 0, "streams": 3, "queues": 1, "clslists": 2, "rules_per_clslist": 3},
     {1201, 1404, 1605, 1616, 2302, 2502, 2602, 2603, 2801, 2804}),
    (1, {"fdb_entries": 70, "frame_buffers": 3000}, {1607, 2002, 2303}),
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
                self.assertEqual(model.objects(), objects_of(json.loads(switch.state())), place)
        self.assertEqual([], switch.damage())
        return codes

    def test_the_configuration_rebuilds_what_random_sentences_made(self):
        for seed in SEEDS:
            with self.subTest(seed=seed), Switch() as switch, Switch() as copy:
                model = Model(seed)
                self.play(switch, model, SENTENCES)
                self.assertEqual(model.objects(), objects_of(json.loads(switch.state())))
                config = switch.config()
                copy.play(config)
                self.assertEqual(config, copy.config())
                self.assertEqual(switch.state(), copy.state())

    def test_a_small_switch_is_full_when_the_model_is(self):
        for seed, limits, expected in SMALL:
            with self.subTest(limits=limits), Switch() as switch:
                for name, value in limits.items():
                    switch.companion("limit", name, str(value))
                model = Model(seed, limits)
                codes = self.play(switch, model, SMALL_SENTENCES)
                self.assertEqual(set(), expected - codes)
                self.assertEqual(model.objects(), objects_of(json.loads(switch.state())))


if __name__ == "__main__":
    unittest.main()
