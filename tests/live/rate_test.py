"""Policers and shapers act live: no more passes than a bucket may have let through.

Only upper bounds are held, and they are counted from the time that has really gone by: however slow the machine is,
frames come late, never early.
"""

import time

import wires
from frames import frame
from wires import Wires, wait_until

# A rate is kbit/s; a frame counts with its FCS.
RATE = 1000
BURST = 4096
OFFICE = "create vlan office vid 10\n" + "".join(
    f"create port {port} npport {port} portType ether\nadd port {port} to vlan office tag off\nenable port {port}\n"
    for port in (1, 2))
PAYLOAD = bytes(200 - len(frame(1)) + len(b"payload"))
LENGTH = 200 + 4
COUNT = 2000  # frames, some 100 buckets full


class Rate(Wires):
    def setUp(self):
        super().setUp()
        self.play(OFFICE)
        self.wire(1, 2)

    def received(self):
        return self.counters()["ports"][0]["received"]["frames"]

    def send_all(self):
        """Sends the frames as fast as they go, and returns how many have come, and the seconds from first to last."""
        began = time.monotonic()
        before = self.received()
        for _ in range(COUNT):
            self.hosts[1].send(frame(1, 2, payload=PAYLOAD))
        came = 0
        while self.received() < before + COUNT:
            came += len(self.hosts[2].receive_all())
        came += len(self.hosts[2].receive_all())
        return came, time.monotonic() - began

    def bound(self, seconds):
        return (BURST + RATE * 1000 / 8 * seconds) / LENGTH + 1

    def test_a_policer_lets_its_rate_pass(self):
        self.play(f"set port 1 class_policing class 0 on rcolor discard rate {RATE} burst 4 kbyte\n")
        self.start()
        came, seconds = self.send_all()
        self.assertLessEqual(came, self.bound(seconds))
        self.assertGreater(came, 0)
        policed = self.counters()["ports"][0]["dropped"].get("policed", 0)
        self.assertEqual(COUNT, policed + self.counters()["frames"]["flooded"] + self.counters()["frames"]["forwarded"])
        print(f"policer: {came} of {COUNT} in {seconds:.3f} s, at most {self.bound(seconds):.1f}")

    def test_a_policer_acts_from_its_sentence_on_and_until_the_one_that_takes_it_away(self):
        self.start()
        self.assertTrue(self.say(f"set port 1 class_policing class 0 on rcolor discard rate {RATE} burst 4 kbyte"))
        came, seconds = self.send_all()
        self.assertLessEqual(came, self.bound(seconds))
        policed = self.counters()["ports"][0]["dropped"].get("policed", 0)
        self.assertTrue(self.say("set port 1 class_policing class 0 off"))
        self.send_all()
        self.assertEqual(policed, self.counters()["ports"][0]["dropped"].get("policed", 0))

    def shaped(self, began, sentences):
        """What came through a shaper, while it sends and to its end."""
        sent = 0
        looks = []

        def is_empty():
            nonlocal sent
            sent += len(self.hosts[2].receive_all())
            looks.append((sent, time.monotonic() - began))
            counters = self.counters()
            return sum(queue["waiting"]["frames"] for queue in counters["queues"]) == 0 and counters
        counters = wait_until(is_empty, "the queue is empty")
        sent += len(self.hosts[2].receive_all())
        looks.append((sent, time.monotonic() - began))
        for frames, seconds in looks:
            self.assertLessEqual(frames, self.bound(seconds), sentences)
        self.assertGreater(sent, 0)
        dropped = sum(queue["full"]["frames"] for queue in counters["queues"])
        self.assertEqual(COUNT, sent + dropped)
        print(f"{sentences}: {sent} in {looks[-1][1]:.3f} s, at most {self.bound(looks[-1][1]):.1f}; "
              f"{dropped} found the queue full")

    def shape(self, sentences, options=()):
        self.play(sentences)
        self.start(options=options)
        self.hosts[2].send(frame(2))  # known from now on
        self.hosts[1].expect(frame(2))
        began = time.monotonic()
        for _ in range(COUNT):
            self.hosts[1].send(frame(1, 2, payload=PAYLOAD))
        wait_until(lambda: self.received() == COUNT, "the switch has taken every frame")
        self.shaped(began, sentences.splitlines()[-1])

    def test_a_shaper_of_an_interface(self):
        self.shape(f"set ether 2 shaping on rate {RATE} burst 4 kbyte\n")

    def test_a_shaper_of_a_stream(self):
        self.shape("create stream 2/1 qostype pq\ncreate queue 2/1/0\nset port 1 default_class 1/0/green\n"
                   f"set stream 2/1 shaping on rate 64-{RATE} burst 1-4 kbyte\n")

    def test_a_line_of_a_rate(self):
        self.shape("set port 1 ingfil on\n", ["--line-rate", str(RATE // 1000)])


if __name__ == "__main__":
    wires.main()
