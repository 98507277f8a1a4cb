"""Many processes on one switch, and processes that are killed. KILLED_IN_CROWD=3000 kills more of them.

The log of the switch is the witness: made again call by call on an empty switch, it has to lead to the same answers and
the same store. Then every call has happened whole or not at all, one after the other, and none was lost.
"""

import collections
import concurrent.futures
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import typing
import unittest

from model import FRONT_PORTS, Model
from switch import COMPANION, LIBRARIES, Switch

PROCESSES = 16
SENTENCES = 200
KILLED = int(os.environ.get("KILLED", "500"))
KILLED_IN_CROWD = int(os.environ.get("KILLED_IN_CROWD", "400"))
SHARED = 10  # objects that all processes try to make
REPLAY = pathlib.Path(__file__).with_name("replay.py")


class Run(typing.NamedTuple):
    pid: int
    sentence: str
    status: int
    output: str
    errors: str


def own_model(number):
    """Sentences about objects that no other process touches, so that their answers are known."""
    model = Model(number)
    model.ports = {port: {"type": "ether", "enabled": False, "reserved": 16, "tag_only": False} for port in FRONT_PORTS}
    model.port_pool = (101 + number, 121 + number)
    model.vlan_pool = tuple(f"{name}{number}" for name in ("a", "b", "c"))
    model.vid_pool = tuple(range(100 + 10 * number, 105 + 10 * number)) + (5000 + number,)
    model.protgroup_pool = (number,)
    model.ether_type_pool = (f"{0x9000 + number:04x}", f"{0xa000 + number:04x}")
    model.list_pool = (1 + number, 101 + number)
    model.stream_pool = ((1 + number % 4, 1 + number), (1 + number % 4, 101 + number))
    model.mirror_pool = (1 + number,)
    model.has_vlan_all = False
    model.rule_operands = lambda: " ".join("x" * 10)
    if number >= len(FRONT_PORTS):  # there are four mirrors
        model.ACTIONS = [(weight, action) for weight, action in Model.ACTIONS if "mirror" not in action.__name__]
    return model


def tables(switch):
    """All that is in the store, but what tells who and when."""
    contents = {name: sorted(rows, key=str) for name, rows in switch.tables("call_log", "trap_event").items()}
    contents["calls"] = [row[0] for row in switch.query(
        "SELECT call FROM call_log WHERE call NOT LIKE 'getprotobyname%' ORDER BY id")]
    contents["events"] = switch.query(
        "SELECT object, first, port, type, vlan, stream, traffic_class, event FROM trap_event ORDER BY id")
    return contents


class Concurrency(unittest.TestCase):
    maxDiff = 4000

    def check_against_log(self, switch):
        """The store is sound, and is what its log makes of an empty one."""
        self.assertEqual([], switch.damage())
        expected = tables(switch)
        with Switch() as copy:
            subprocess.run([sys.executable, REPLAY], input="\n".join(expected["calls"]) + "\n", text=True, check=True,
                           env={**copy.environment, "EMULATED_LIBRARIES": LIBRARIES})
            replayed = tables(copy)
        for name, rows in expected.items():
            self.assertEqual(rows, replayed[name], name)

    def test_processes_at_once_lose_nothing_and_are_refused_by_the_state_only(self):
        with Switch() as switch:
            for port in FRONT_PORTS:
                switch.say(f"create port {port} npport {port} portType ether")
            models = [own_model(number) for number in range(PROCESSES)]
            scripts = []
            for number, model in enumerate(models):
                sentences = [model.next() for _ in range(SENTENCES - SHARED)]
                for each in range(SHARED):
                    sentences.insert((number + 17 * each) % len(sentences), (f"create clslist {1000 + each}", [0, 2601]))
                scripts.append(sentences)

            processes = []
            for sentences in scripts:
                process = subprocess.Popen([COMPANION, "play", "--keep-going", "-"], env=switch.environment, text=True,
                                           stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                process.stdin.write("".join(f"{sentence}\n" for sentence, _ in sentences))
                process.stdin.close()
                processes.append(process)
            with concurrent.futures.ThreadPoolExecutor(PROCESSES) as pool:
                errors = list(pool.map(lambda process: process.stderr.read(), processes))
            for process in processes:
                process.wait(60)
                process.stdout.close()
                process.stderr.close()

            makers = collections.Counter()
            for number, (sentences, text) in enumerate(zip(scripts, errors)):
                refused = {}
                for line in text.splitlines():
                    match = re.fullmatch(r"<stdin>:(\d+):\d+: error: (?:.*: NG (-?\d+): .*|.*; the nearest form is: .*)", line)
                    self.assertIsNotNone(match, line)
                    refused[int(match[1])] = match[2] and int(match[2])
                for line, (sentence, code) in enumerate(sentences, 1):
                    answer = refused.get(line, 0)
                    if isinstance(code, list):
                        self.assertIn(answer, code, sentence)
                        makers[sentence] += answer == 0
                    else:
                        self.assertEqual(code, answer, f"process {number}, line {line}: {sentence}")
            self.assertEqual({f"create clslist {1000 + each}": 1 for each in range(SHARED)}, makers)
            self.check_against_log(switch)

    def run_at_most(self, switch, sentence, longest):
        """The tool with a sentence, killed where it takes longer."""
        with switch.start(sentence) as process:
            try:
                output, errors = process.communicate(timeout=longest)
            except subprocess.TimeoutExpired:
                process.kill()
                output, errors = process.communicate()
        return Run(process.pid, sentence, process.returncode, output, errors)

    def test_a_crowd_that_is_killed_one_by_one_loses_nothing(self):
        with Switch() as switch:
            for port in FRONT_PORTS:
                switch.say(f"create port {port} npport {port} portType ether")

            def writer(number):
                chance, model, runs, longest = random.Random(number), own_model(number), [], 0.05
                while sum(each.status == -signal.SIGKILL for each in runs) < KILLED_IN_CROWD // PROCESSES:
                    runs.append(self.run_at_most(switch, model.next()[0], chance.uniform(0.2, 1) * longest))
                    longest *= 1.02 if runs[-1].status == -signal.SIGKILL else 0.97
                return runs

            with concurrent.futures.ThreadPoolExecutor(PROCESSES) as pool:
                runs = [run for runs in pool.map(writer, range(PROCESSES)) for run in runs]
            self.assertEqual({0, -signal.SIGKILL}, {each.status for each in runs})
            self.assertEqual([], [each for each in runs if each.errors])
            calls = collections.Counter(row[0] for row in switch.query("SELECT pid FROM call_log"))
            lost = [each for each in runs if "<result>OK" in each.output and calls[each.pid] == 0]
            self.assertEqual([], lost, "accepted, and not in the log")
            killed = [each for each in runs if each.status == -signal.SIGKILL]
            print(f"{len(runs)} processes of {PROCESSES} writers, {len(killed)} killed,"
                  f" {sum(calls[each.pid] > 0 for each in killed)} of them behind a call")
            self.check_against_log(switch)
            self.assertTrue(switch.say("create clslist 4000").is_accepted)

    def test_killed_processes_leave_nothing_half_made(self):
        chance = random.Random(1)
        model = Model(1)
        model.rule_operands = lambda: " ".join("x" * 10)
        # Sentences of many calls above all.
        model.ACTIONS = [*Model.ACTIONS, (60, Model.create_port), (30, Model.delete_port), (60, Model.create_queue),
                         (30, Model.delete_queue), (20, Model.create_stream)]
        with Switch() as switch:
            # The right time to kill depends on the machine: it follows what came of the last processes.
            longest, runs, killed = 0.01, [], []
            while len(killed) < KILLED and len(runs) < 6 * KILLED:
                runs.append(self.run_at_most(switch, model.next()[0], chance.uniform(0.4, 1) * longest))
                if runs[-1].status == -signal.SIGKILL:
                    killed.append(runs[-1])
                    longest *= 1.02
                else:
                    longest *= 0.97

            self.assertEqual(KILLED, len(killed))
            self.assertEqual({0, -signal.SIGKILL}, {each.status for each in runs})
            self.assertEqual([], [each for each in runs if each.errors])
            calls = collections.Counter(row[0] for row in switch.query("SELECT pid FROM call_log"))
            for each in runs:
                if "<result>OK" in each.output:
                    self.assertGreater(calls[each.pid], 0, f"accepted, and not in the log: {each.sentence}")
            cut_short = sum(calls[each.pid] > 0 and not each.output for each in killed)
            print(f"{len(runs)} processes, {KILLED} killed, {cut_short} of them behind a call and before the document")
            self.assertGreater(cut_short, 0)
            self.check_against_log(switch)
            self.assertTrue(switch.say("create clslist 4000").is_accepted)


if __name__ == "__main__":
    unittest.main()
