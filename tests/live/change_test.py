"""Sentences under traffic: each frame leaves as one configuration says, that before a sentence or that behind it.

LIVE_SENTENCES=1000 plays so many accepted ones, LIVE_SEED=7 others. While they are said, frames that carry a number go
in on all ports. Afterwards `emuswitch trace` says for each configuration that there was what becomes of such a frame:
all that came out of the live switch for one number has to be what one of them says, one that was in force meanwhile.
What depends on traffic has two outcomes in one configuration: a host is known or not, a policer's bucket is full or
empty. And what a queue dropped has to be missing in no more frames than the queues have counted.
"""

import collections
import json
import os
import random
import sqlite3
import struct
import subprocess
import time

import wires
from frames import BROADCAST, frame, mac, tag
from wires import EMUSWITCH, TOLVANE, Wires, wait_until

SENTENCES = int(os.environ.get("LIVE_SENTENCES", "60"))
SEED = int(os.environ.get("LIVE_SEED", "1"))
RATE = int(os.environ.get("LIVE_FRAMES", "10000"))  # a second, on all ports together, as far as the machine goes
PORTS = (1, 2, 3, 4)
VLANS = {"red": 10, "green": 20, "blue": 30}

CLASSES = (0, 3, 6)
START = "".join(
    [f"create port {port} npport {port} portType ether\n" for port in PORTS] +
    [f"create vlan {name} vid {vid}\n" for name, vid in VLANS.items()] +
    [f"add port {port} to vlan red tag off\nadd port {port} to vlan green tag on\nenable port {port}\n" for port in PORTS] +
    [f"create stream {port}/1 qostype wfq\n" for port in PORTS] +
    [f"create queue {port}/1/{number}\nset port {port} default_class 1/{number}/green\n"
     for port in PORTS for number in CLASSES] +
    ["create mirror 1\ncreate mirror 2\ncreate protgroup 1\nset ether 2 shaping on rate 2000 burst 4 kbyte\n"
     f"set port 1 class_policing class {CLASSES[-1]} on rcolor discard rate 64 burst 1 kbyte\n"])

NUMBER = struct.Struct("!4sI")  # at the end of each frame
MARK = b"num:"

TAGS = (b"", tag(0x8100, 0, 4), tag(0x8100, 10, 3), tag(0x8100, 20, 6), tag(0x8100, 30), tag(0x88A8, 20, 1),
        tag(0x8100, 77), tag(0x88A8, 10) + tag(0x8100, 20))
GROUP = bytes.fromhex("01005e000005")
STATIC = mac(0x5A5A5A)  # where a sentence makes an entry for it; unknown otherwise, and never learned
HOST = {port: mac(0x100 * port) for port in PORTS}  # who sends into the port, and can be learned there


def other_host(port):
    return HOST[port % len(PORTS) + 1]


TEMPLATES = [(port, frame(HOST[port], destination, tags=tags, ether_type=ether_type, payload=b"change"))
             for port in PORTS for tags in TAGS for destination in (BROADCAST, GROUP, STATIC, other_host(port))
             for ether_type in (0x88B5, 0x88B6)]
TO_HOSTS = [number for number, (port, sent) in enumerate(TEMPLATES) if sent.startswith(other_host(port))]

# What depends on traffic, as it is where no frame taught anything and every bucket is full, and the other way round.
ALL_UNKNOWN = "UPDATE vlan SET learning_off = 1; DELETE FROM learned_entry;"
ALL_KNOWN = ALL_UNKNOWN + "".join(
    f"INSERT OR IGNORE INTO learned_entry SELECT vid, '{HOST[port].hex(':')}', port FROM vlan_member WHERE port = {port}"
    f" AND NOT EXISTS (SELECT 1 FROM static_entry WHERE vid = vlan_member.vid AND mac = '{HOST[port].hex(':')}');"
    for port in PORTS)
ALL_CONFORMING = "UPDATE class_policer SET rate = 2000000000, burst = 2000000000;"
ALL_EXCEEDING = "UPDATE class_policer SET rate = 1, burst = 1;"


def static_address():
    return ":".join(f"{byte:02x}" for byte in STATIC)


class Speaker:
    """Sentences at random that change what becomes of frames, without regard to what the switch will say."""

    def __init__(self, seed):
        self.chance = random.Random(seed)

    def next(self):
        pick = self.chance.choice
        port, other, vlan = pick(PORTS), pick(PORTS), pick(list(VLANS))
        on, mirror, address = pick(("on", "off")), pick((1, 2)), static_address()
        number = pick(CLASSES)
        return pick((
            f"set port {port} class_policing class {number} on rcolor {pick(('discard', 'yellow'))}"
            f" rate {pick((64, 500, 20000))} burst {pick((1, 4, 32))} kbyte",
            f"set port {port} class_policing class {number} off",
            f"set ether {port} shaping {pick(('off', 'on rate 2000 burst 4 kbyte', 'on rate 40000 burst 16 kbyte'))}",
            f"set stream {port}/1 shaping {pick(('off', 'on rate 1000-2000 burst 2-4 kbyte', 'on rate 64-30000'))}",
            f"set stream {port}/1 priority {self.chance.randrange(8)}",
            f"set queue {port}/1/{number} pri {self.chance.randrange(8)} ratio {pick((1, 4))}",
            f"set queue {port}/1/{number} queue_length {pick((2048, 16384))}",
            f"set queue {port}/1/{number} color green drop_type"
            f" {pick(('taildrop', 'wred thresh 10-60 drop 5-60'))}",
            f"{pick(('create', 'delete'))} queue {port}/1/{number}",
            f"set vlan {vlan} learning {on}",
            f"set vlan {vlan} learninglimit {pick((1, 256))}",
            f"set mirror {mirror} classify 1/{number}/{pick(('green', 'yellow'))}",
            f"{pick(('enable', 'enable', 'disable'))} port {port}",
            f"set port {port} aftype {pick(('all', 'tagonly'))}",
            f"set port {port} ingfil {on}",
            f"set port {port} ignoretag {on}",
            f"set port {port} ignoreptag {on}",
            f"set port {port} ignorefdb {on}",
            f"set port {port} cosedit {on}",
            f"set port {port} tagtype {pick(('8100', '88a8'))}",
            f"set port {port} pvid {vlan}",
            f"set port {port} cosmap val {','.join(str(self.chance.randrange(8)) for _ in range(8))}",
            f"set port {port} default_class {pick((1, 2))}/{number}/green",
            f"set vlan {vlan} ignorefdb {on}",
            f"add port {port} to vlan {vlan} tag off",
            f"add port {port} to vlan {vlan} tag off protgroup 1",
            f"add port {port} to vlan {vlan} tag on tagtype {pick(('8100', '88a8', '9100'))}",
            f"remove port {port} from vlan {vlan}",
            f"{pick(('add', 'remove'))} protocol 88b6 {{}} protgroup 1",
            f"create sfdbentry {address} in vlan {vlan} {pick((f'port {port} flag 1', 'discard'))}",
            f"delete sfdbentry {address} in vlan {vlan}",
            f"delete dfdbentry all in vlan {vlan}",
            f"set mirror {mirror} source port {port} {pick(('in', 'out'))}",
            f"set mirror {mirror} source vlan {vlan}",
            f"set mirror {mirror} dest port {other}",
            f"set mirror {mirror} tag {pick(('off', 'on vid 99', 'on tagtype 88a8 vid 98'))}",
            f"{pick(('enable', 'enable', 'disable'))} mirror {mirror}",
        )).replace("add protocol 88b6 {}", "add protocol 88b6 to").replace("{}", "from")


class Change(Wires):
    def setUp(self):
        super().setUp()
        self.play(START)
        self.wire(*PORTS)
        self.start()
        self.number = 0
        self.sent = []                                     # by number: the sentences that had ended by then
        self.came = collections.defaultdict(list)          # by number: port and frame without it
        self.last_seen = {}                                # by number: the sentences that had begun by then
        self.ended = self.begun = 0
        self.due = time.monotonic()
        self.lost = collections.Counter()                  # by port: what the test itself was too slow for

    # --- Traffic ---

    def send_some(self):
        now = time.monotonic()
        for _ in range(min(20, int((now - self.due) * RATE))):
            port, start = TEMPLATES[self.number % len(TEMPLATES)]
            self.hosts[port].send(start + NUMBER.pack(MARK, self.number))
            self.sent.append(self.ended)
            self.number += 1
            self.due += 1 / RATE
        self.due = max(self.due, now - 0.01)  # what cannot be made up for is not

    def receive_some(self):
        for port, host in self.hosts.items():
            for received in host.receive_all():
                mark, number = NUMBER.unpack(received[-NUMBER.size:])
                self.assertEqual(MARK, mark, received.hex())
                self.came[number].append((port, received[:-NUMBER.size]))
                self.last_seen[number] = self.begun

    def say_under_traffic(self, sentence):
        self.begun += 1
        process = subprocess.Popen([TOLVANE, *sentence.split()], env=self.environment, stdout=subprocess.PIPE)
        while process.poll() is None:
            self.send_some()
            self.receive_some()
        with process.stdout:
            is_accepted = b"<result>OK</result>" in process.stdout.read()
        self.ended += 1
        return is_accepted

    def snapshot(self, number):
        """What the switch is told now."""
        copy = self.folder / f"switch{number}.db"
        with sqlite3.connect(self.store) as source, sqlite3.connect(copy) as target:
            source.backup(target)
        source.close()
        target.close()
        return copy

    # --- Judgement ---

    def told(self, store, templates):
        """Of each of these templates, what leaves through the ports."""
        lines = "".join(f"{port} {(start + NUMBER.pack(MARK, 0)).hex()}\n"
                        for port, start in (TEMPLATES[number] for number in templates))
        done = subprocess.run([EMUSWITCH, "trace", "--json", "-"], env=dict(self.environment, EMUSWITCH=str(store)),
                              input=lines, text=True, capture_output=True, check=True)
        told = []
        for line in done.stdout.splitlines():
            outputs = json.loads(line)["outputs"]
            told.append(sorted((output["port"], bytes.fromhex(output["frame"])[:-NUMBER.size]) for output in outputs
                               if output["port"] in PORTS))
        self.assertEqual(len(templates), len(told))
        return told

    def outcomes(self, store):
        """Of each template, the outcomes that one configuration has for it, first the one without traffic."""
        everything = range(len(TEMPLATES))
        with sqlite3.connect(store, isolation_level=None) as changed:
            changed.executescript(ALL_UNKNOWN + ALL_CONFORMING)
            found = [[one] for one in self.told(store, everything)]
            changed.executescript(ALL_KNOWN)
            for number, outcome in zip(TO_HOSTS, self.told(store, TO_HOSTS)):
                found[number].append(outcome)
            if changed.execute("SELECT count(*) FROM class_policer").fetchone() != (0,):
                changed.executescript(ALL_EXCEEDING)
                for number, outcome in zip(TO_HOSTS, self.told(store, TO_HOSTS)):
                    found[number].append(outcome)
                changed.executescript(ALL_UNKNOWN)
                for number, outcome in zip(everything, self.told(store, everything)):
                    found[number].append(outcome)
        changed.close()
        return found

    def missing(self, came, possible, what):
        """The ports whose frame is not there, where one configuration has all that came and more."""
        short = [collections.Counter(one) - collections.Counter(came) for one in possible
                 if not collections.Counter(came) - collections.Counter(one)]
        self.assertTrue(short, f"{what}: {came}, not one of {possible}")
        return collections.Counter(port for port, _ in min(short, key=collections.Counter.total).elements())

    def test_each_frame_leaves_as_one_configuration_says(self):
        speaker = Speaker(SEED)
        stores = [self.snapshot(0)]
        accepted = 0
        while accepted < SENTENCES:
            is_accepted = self.say_under_traffic(speaker.next())
            accepted += is_accepted
            stores.append(self.snapshot(len(stores)) if is_accepted else stores[-1])
            for _ in range(5):
                self.send_some()
                self.receive_some()

        def is_quiet():
            self.receive_some()
            counters = self.counters()
            return sum(port["received"]["frames"] for port in counters["ports"]) >= self.number and counters
        counters = wait_until(is_quiet, "the switch has taken every frame")
        self.assertEqual([0] * 4, [port["missed"] + port["unsent"] for port in counters["ports"]])

        def has_all_come():
            self.receive_some()
            for port, host in self.hosts.items():
                self.lost[port] += host.lost()
            counters = self.counters()
            sent = sum(port["sent"]["frames"] for port in counters["ports"])
            waiting = sum(queue["waiting"]["frames"] for queue in counters["queues"])
            return waiting == 0 and sum(map(len, self.came.values())) + self.lost.total() == sent and counters
        counters = wait_until(has_all_come, "what was sent has come")
        queued = collections.Counter()
        for queue in counters["queues"]:
            queued[queue["port"]] += sum(queue[reason]["frames"] for reason in ("full", "early", "removed"))
        policed = sum(port["dropped"].get("policed", 0) for port in counters["ports"])

        outcomes, told = [], {}
        for store in stores:
            if store not in told:
                told[store] = self.outcomes(store)
            outcomes.append(told[store])
        between = known = 0
        missing = collections.Counter()
        for number in range(self.number):
            came = sorted(self.came.get(number, []))
            first = self.sent[number]
            last = max(self.last_seen.get(number, 0), min(first + 2, len(stores) - 1))
            template = number % len(TEMPLATES)
            possible = [outcome for sentence in range(first, last + 1) for outcome in outcomes[sentence][template]]
            between += len({str(outcomes[sentence][template]) for sentence in range(first, last + 1)}) > 1
            known += template in TO_HOSTS and all(came == outcomes[sentence][template][1] != outcomes[sentence][template][0]
                                                  for sentence in range(first, last + 1))
            if came not in possible:
                missing.update(self.missing(came, possible, f"frame {number}, between sentences {first} and {last}"))
        for port, count in missing.items():
            self.assertLessEqual(count, self.lost[port] + queued[port] + counters["no_buffer"], f"port {port}")
        print(f"{accepted} of {self.begun} sentences accepted, {self.number} frames in, "
              f"{sum(map(len, self.came.values()))} out, {between} near a change that concerned them, {known} to hosts "
              f"that were known, {policed} policed; queues dropped {queued.total()}, and {missing.total()} are missing; "
              f"{self.lost.total()} came faster than the test could read them")
        self.assertGreater(between, 0)
        self.assertGreater(known, 0)
        self.assertGreater(policed, 0)


if __name__ == "__main__":
    wires.main()
