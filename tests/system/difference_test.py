"""What makes one switch of another: emuswitch diff and apply.

PAIRS=1000 tries more pairs of random lives than the test run does, FIRST_PAIR=70 begins elsewhere, STEPS=40 says how many
single sentences each life is compared before and after.
"""

import contextlib
import os
import pathlib
import re
import sqlite3
import sys
import time
import unittest

from round_trip_test import Life, contents
from switch import Switch

PAIRS = int(os.environ.get("PAIRS", "6"))
FIRST_PAIR = int(os.environ.get("FIRST_PAIR", "1"))
STEPS = int(os.environ.get("STEPS", "25"))
VERSION_1 = pathlib.Path(__file__).resolve().parents[1] / "emulator/version1.sql"

# What can be changed, but not be taken back, so that the way back has to make an object anew.
LASTING = re.compile(r"set (port \d+ (link_|cosmap)|queue \S+ color|color |mirror )")


def difference(switch, one, other):
    """The status, the lines without remarks, and the remarks."""
    done = switch.companion("diff", str(one), str(other), check=False)
    if done.returncode not in (0, 1) or done.stderr:
        raise AssertionError(f"diff {one} {other}: {done}")
    lines = done.stdout.splitlines()
    return done.returncode, [line for line in lines if line[0] != "#"], [line for line in lines if line[0] == "#"]


class Differences(unittest.TestCase):
    maxDiff = None

    def test_the_difference_of_any_two_lives_makes_one_of_the_other(self):
        started = time.monotonic()
        total = whole = remarks = 0
        for pair in range(FIRST_PAIR, FIRST_PAIR + PAIRS):
            with self.subTest(pair=pair), Switch() as one, Switch() as other:
                lives = Life(2 * pair, one), Life(2 * pair + 1, other)
                for life in lives:
                    life.live()
                wanted = other.config()
                told = f"{lives[0].story()}\n\nto become\n\n{lives[1].story()}"
                status, lines, told_anew = difference(one, one.store, other.store)
                told += "\n\nby\n\n" + "\n".join(lines)
                self.assertEqual(1 if lines else 0, status, told)
                played = one.companion("play", "-", text="\n".join(lines), check=False)
                self.assertEqual((0, ""), (played.returncode, played.stderr), told)
                self.assertEqual(contents(other), contents(one), told)
                self.assertEqual(wanted, one.config(), told)
                self.assertEqual((0, [], []), difference(one, one.store, other.store), told)
                self.assertEqual((0, [], []), difference(one, one.store, one.store), told)
                self.assertEqual([], one.damage(), told)
                total += len(lines)
                whole += len(wanted.splitlines())
                remarks += len(told_anew)
            if pair % 50 == 0:
                print(f"all pairs before {pair + 1} are done", file=sys.stderr, flush=True)
        print(f"{PAIRS} pairs from {FIRST_PAIR} in {time.monotonic() - started:.0f} s: {total} lines where the wanted"
              f" switches have {whole}; {remarks} objects made anew", file=sys.stderr)

    def test_one_sentence_is_a_difference_of_one_and_so_is_its_way_back(self):
        kinds = set()
        for seed in range(FIRST_PAIR, FIRST_PAIR + PAIRS):
            with self.subTest(life=seed), Switch() as switch:
                life = Life(1000 + seed, switch)
                life.live()
                switch.companion("fail", "--clear")
                before = switch.folder / "before.db"
                for _ in range(STEPS):
                    # What is learned goes along with a membership, and is learned again on the way back.
                    switch.say("delete dfdbentry all in all")
                    before.write_bytes(switch.store.read_bytes())
                    sentence = life.model.next()[0]
                    if not switch.say(sentence).is_accepted:
                        continue
                    told = f"{life.story()}\n\nand then\n{sentence}"
                    _, there, _ = difference(switch, before, switch.store)
                    self.assertLessEqual(len(there), 1, f"{told}\n{there}")
                    _, back, _ = difference(switch, switch.store, before)
                    # A member leaves its VLAN without an IP interface, which is given back behind it; so is the
                    # registration of an object that is no more, as a killed sentence leaves it.
                    back = [line for line in back if not line.startswith(("emuswitch ipif ", "emuswitch call "))]
                    if there and self.has_short_way_back(sentence):
                        self.assertEqual(1, len(back), f"{told}\n{back}")
                    kinds.add(" ".join(sentence.split()[:2]))
        self.assertGreater(len(kinds), 8, kinds)

    def test_what_no_line_brings_about_is_a_difference_that_is_told(self):
        with Switch() as one, Switch() as other:
            for switch in one, other:
                switch.play("create port 1 npport 1 portType ether\ncreate vlan a\nadd port 1 to vlan a tag on\n")
            with contextlib.closing(sqlite3.connect(other.store)) as store, store:
                store.execute("UPDATE port SET in_lag = 1")
            remark = "# it joined VLANs before: emuswitch lag 1 on"
            self.assertEqual((1, [], [remark]), difference(one, one.store, other.store))
            self.assertEqual(f"{remark}\n", one.companion("apply", str(other.store)).stdout)
            self.assertEqual("nothing to change\n", one.companion("apply", str(one.store)).stdout)

    def test_a_store_that_is_named_is_read_and_no_more(self):
        sentences = "create vlan old vid 10\ncreate port 1 npport 1 portType ether\n"
        with Switch() as switch:
            switch.play(sentences)
            named = pathlib.Path(switch.folder) / "of version 1.db"
            with contextlib.closing(sqlite3.connect(named)) as store:
                store.executescript(VERSION_1.read_text())
            before = named.read_bytes()
            lines = difference(switch, named, switch.store)[1]
            self.assertIn("delete vlan", " ".join(difference(switch, switch.store, named)[1]))
            self.assertIn("create vlan old vid 10", lines)
            self.assertEqual(before, named.read_bytes())
            self.assertEqual([], [path.name for path in named.parent.glob("of version*-*")])
            named.write_bytes(b"x" + before[1:])
            done = switch.companion("diff", str(named), str(switch.store), check=False)
            self.assertEqual((2, 1), (done.returncode, done.stderr.count("\n")), done.stderr)
            self.assertIn("neither a switch's store nor a file of sentences", done.stderr)
            for change, said in (("PRAGMA user_version = 4", "made by a later emuswitch (version 4, this one knows 3)"),
                                 ("PRAGMA user_version = 0", "not the store of an emulated switch"),
                                 ("PRAGMA application_id = 1", "not the store of an emulated switch")):
                named.write_bytes(before)
                with contextlib.closing(sqlite3.connect(named)) as store:
                    store.execute(change)
                done = switch.companion("diff", str(named), str(switch.store), check=False)
                self.assertEqual(2, done.returncode, done.stdout)
                self.assertIn(f"emuswitch: {named}: {said}", done.stderr)

    @staticmethod
    def has_short_way_back(sentence):
        """What was made or set goes, or is set back; what goes took more along than its own sentence makes."""
        if LASTING.match(sentence) or sentence.startswith("set vlan all") or sentence.endswith("/-"):
            return False
        return not sentence.startswith("delete") and not sentence.startswith("remove classify")


if __name__ == "__main__":
    unittest.main()
