"""Random lives of a switch: sentences, calls that fail, processes that are killed, what only emuswitch brings about.
Whatever became of it, its configuration makes the same switch again.

LIVES=1000 plays more of them than the test run does, FIRST_LIFE=70 begins elsewhere.
"""

import os
import random
import re
import resource
import signal
import subprocess
import sys
import unittest

from model import Model
from switch import SOURCE, TOOL, Switch, words_of

LIVES = int(os.environ.get("LIVES", "8"))
FIRST_LIFE = int(os.environ.get("FIRST_LIFE", "1"))
KILLER = os.environ["KILLER_LIBRARY"]

LIMITS = ("ports", "vlans", "ports_per_vlan", "fdb_entries", "frame_buffers", "streams", "queues", "clslists",
          "rules_per_clslist", "vlan_name_length", "mirrors", "ethers", "protgroups")
# Those that sentences call; a failure of the others shows nowhere.
HEADERS = ("brgfdb", "portshm", "qual")
FUNCTIONS = sorted(name for header in HEADERS
                   for name in re.findall(r"^int32_t (\w+)\(", (SOURCE / f"src/platform/{header}.h").read_text(), re.M))


class Life:
    def __init__(self, seed, switch):
        self.random = random.Random(seed)
        self.model = Model(seed)
        self.switch = switch
        self.told = []  # what was done, to be read when it went wrong

    def live(self):
        self.command("show")  # makes the switch
        for _ in range(self.random.randrange(20, 90)):
            way = self.random.randrange(20)
            if way < 13:
                self.tell(self.model.next()[0])
            elif way < 15:
                self.tell_killed(self.model.next()[0])
            elif way < 17:
                self.command("fail", self.random.choice(FUNCTIONS), str(self.random.choice((-5, 1, 2002, 4711))),
                             "--at", str(self.random.randrange(1, 5)), "--times", str(self.random.randrange(1, 4)))
            else:
                self.steer()

    def steer(self):
        port = str(self.random.choice(Model.port_pool))
        name = self.random.choice(Model.vlan_pool)
        state = self.random.choice(("on", "off"))
        if self.random.randrange(2) == 0 and (found := self.switch.query(
                "SELECT name, port FROM vlan_member JOIN vlan USING (vid) ORDER BY vid, port")):
            name, port = self.random.choice(found)
            self.tell(f"enable port {port}")
            self.command("learn", f"00:00:5e:00:53:{self.random.randrange(8):02x}", name, str(port))
            return
        self.command(*self.random.choice((
            ("lag", port, state), ("ipif", port, state),
            ("learn", f"00:00:5e:00:53:{self.random.randrange(8):02x}", name, port),
            ("limit", self.random.choice(LIMITS), str(self.random.choice((0, 1, 3, 40, 200, 9000)))),
        )))

    def tell(self, sentence):
        self.told.append(f"tolvane {sentence}")
        answer = self.switch.say(sentence)
        if answer.errors or answer.status != 0:
            raise AssertionError(f"{answer}\n{self.story()}")

    def tell_killed(self, sentence):
        at = self.random.randrange(1, 60)
        self.told.append(f"tolvane {sentence}  # killed at write {at}, if it came to that")
        with subprocess.Popen([TOOL, *words_of(sentence)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env={**self.switch.environment, "LD_PRELOAD": KILLER, "KILLED_AT_WRITE": str(at)}) as tool:
            errors = tool.communicate()[1]
        if errors or tool.returncode not in (0, -signal.SIGKILL):
            raise AssertionError(f"{tool.returncode} {errors}\n{self.story()}")

    def command(self, *words):
        """Done, or refused with a reason."""
        self.told.append(f"emuswitch {' '.join(words)}")
        done = self.switch.companion(*words, check=False)
        if done.returncode not in (0, 1) or (done.returncode == 1) != done.stderr.startswith("emuswitch: "):
            raise AssertionError(f"{done}\n{self.story()}")

    def story(self):
        return "\n".join(self.told)


def contents(switch):
    """Everything but the history, and the numbers that faults have among themselves."""
    rows = {name: sorted(found, key=str) for name, found in switch.tables("call_log", "trap_event", "fault").items()}
    rows["fault"] = switch.query("SELECT function, status, skip, times FROM fault ORDER BY id")
    return rows


def processor_seconds():
    used = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
    return sum(each.ru_utime + each.ru_stime for each in used)


class RoundTrip(unittest.TestCase):
    maxDiff = None

    def tell(self, seed, lines):
        print(f"lives {FIRST_LIFE} to {seed}: {processor_seconds():.0f} s of processor time; lines for emuswitch: {lines}",
              file=sys.stderr, flush=True)

    def test_the_configuration_of_any_life_makes_the_same_switch(self):
        done = {}
        for seed in range(FIRST_LIFE, FIRST_LIFE + LIVES):
            with self.subTest(life=seed), Switch() as switch, Switch() as copy:
                life = Life(seed, switch)
                life.live()
                config = switch.config()
                told = f"life {seed}\n{life.story()}\nwhich is\n{config}"
                played = copy.companion("play", "-", text=config, check=False)
                self.assertEqual((0, ""), (played.returncode, played.stderr), told)
                self.assertEqual(contents(switch), contents(copy), told)
                self.assertEqual(config, copy.config(), told)
                self.assertEqual([], copy.damage(), told)
                for word in re.findall(r"(?m)^emuswitch (\w+)", config):
                    done[word] = done.get(word, 0) + 1
            if (seed + 1 - FIRST_LIFE) % 50 == 0 or seed == FIRST_LIFE + LIVES - 1:
                self.tell(seed, done)


if __name__ == "__main__":
    unittest.main()
