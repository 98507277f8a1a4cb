"""The live switch on real interfaces: what goes in comes out as it should, and nothing is left behind."""

import contextlib
import fcntl
import json
import os
import pathlib
import re
import signal
import socket
import sqlite3
import struct
import subprocess
import termios

import wires
from frames import frame, mac, tag
from wires import EMUSWITCH, PATIENCE, Wires, ethtool, ip, wait_until

# Two ports in one VLAN without tags, two that carry it with theirs.
OFFICE = """\
create vlan office vid 10
create port 1 npport 1 portType ether
create port 2 npport 2 portType ether
create port 3 npport 3 portType ether
create port 4 npport 4 portType ether
set port 4 tagtype 88a8
add port 1 to vlan office tag off
add port 2 to vlan office tag off
add port 3 to vlan office tag on
add port 4 to vlan office tag on tagtype 88a8
enable port 1
enable port 2
enable port 3
enable port 4
"""
ETHTOOL_GTXCSUM, ETHTOOL_STXCSUM, ETHTOOL_GTSO, ETHTOOL_GGSO, ETHTOOL_GGRO = 0x16, 0x17, 0x1E, 0x23, 0x2B


class Frames(Wires):
    def setUp(self):
        super().setUp()
        self.play(OFFICE)
        self.wire(1, 2, 3, 4)
        self.start()

    def flood(self, port, sent, **expected):
        """A frame to everybody, and what each of the others gets of it."""
        self.hosts[port].send(sent)
        for name, received in expected.items():
            self.hosts[int(name[4:])].expect(received, f"what port {port} was sent")

    def test_tags_come_and_go_byte_for_byte(self):
        plain = frame(1)
        customer, service = tag(0x8100, 10), tag(0x88A8, 10)
        self.flood(1, plain, host2=plain, host3=frame(1, tags=customer), host4=frame(1, tags=service))
        self.flood(3, frame(3, tags=customer), host1=frame(3), host2=frame(3), host4=frame(3, tags=service))
        self.flood(4, frame(4, tags=service), host1=frame(4), host2=frame(4), host3=frame(4, tags=customer))

    def test_priority_and_drop_eligible_stay_in_the_tag(self):
        for priority in range(8):
            for drop_eligible in (0, 1):
                there = frame(3, tags=tag(0x8100, 10, priority, drop_eligible))
                back = frame(3, tags=tag(0x88A8, 10, priority, drop_eligible))
                self.flood(3, there, host1=frame(3), host4=back)

    def test_a_priority_tag_is_taken_off(self):
        self.flood(1, frame(1, tags=tag(0x8100, 0, 5)), host2=frame(1), host3=frame(1, tags=tag(0x8100, 10, 5)))

    def test_of_two_tags_the_inner_one_is_payload(self):
        for inner in (tag(0x8100, 77, 3), tag(0x88A8, 78), tag(0x8100, 0), tag(0x9100, 79)):
            sent = frame(4, tags=tag(0x88A8, 10, 6) + inner)
            self.flood(4, sent, host1=frame(4, tags=inner), host3=frame(4, tags=tag(0x8100, 10, 6) + inner))

    def test_a_tag_of_another_type_is_payload(self):
        for foreign in (tag(0x88A8, 10), tag(0x9100, 10), tag(0x88A8, 0, 7) + tag(0x8100, 10)):
            sent = frame(1, tags=foreign)
            self.flood(1, sent, host2=sent, host3=frame(1, tags=tag(0x8100, 10) + foreign))

    def test_frames_of_every_length(self):
        # Kernels drop frames with a tag that are shorter. Interfaces pad frames to 60 bytes anyway.
        for length in (2, 3, 45, 46, 47, 1000, 1486, 1499, 1500):
            payload = bytes(i * 7 & 0xFF for i in range(length))
            self.flood(1, frame(1, payload=payload), host2=frame(1, payload=payload),
                       host4=frame(1, tags=tag(0x88A8, 10), payload=payload))
        # With two tags, the longest that there is.
        payload = bytes(i & 0xFF for i in range(1500))
        tags = tag(0x88A8, 10) + tag(0x8100, 5)
        self.flood(4, frame(4, tags=tags, payload=payload), host2=frame(4, tags=tags[4:], payload=payload))

    def test_what_is_known_goes_to_its_port_alone(self):
        self.flood(1, frame(1), host2=frame(1), host3=frame(1, tags=tag(0x8100, 10)), host4=frame(1, tags=tag(0x88A8, 10)))
        for number in range(50):
            self.hosts[2].send(frame(2, 1, payload=number.to_bytes(4, "big")))
        for number in range(50):
            self.hosts[1].expect(frame(2, 1, payload=number.to_bytes(4, "big")))
        self.flood(1, frame(1, payload=b"last"), host3=frame(1, tags=tag(0x8100, 10), payload=b"last"))

    def test_checksums_that_hosts_leave_to_their_hardware_are_whole(self):
        ethtool("host1", ETHTOOL_STXCSUM, 1)  # against what the live switch has set
        namespace = subprocess.Popen(["unshare", "-n", "sleep", str(PATIENCE)])
        self.addCleanup(namespace.wait)
        self.addCleanup(namespace.kill)
        outside = pathlib.Path("/proc/self/ns/net").stat().st_ino
        wait_until(lambda: pathlib.Path(f"/proc/{namespace.pid}/ns/net").stat().st_ino != outside, "it has a namespace")
        ip("link", "set", "host2", "netns", str(namespace.pid))
        inside = ["nsenter", "-t", str(namespace.pid), "-n"]
        subprocess.run([*inside, "sh", "-c", "ip addr add 10.1.0.2/24 dev host2 && ip link set host2 up arp on"],
                       check=True)
        ip("addr", "add", "10.1.0.1/24", "dev", "host1")
        ip("link", "set", "host1", "arp", "on")
        listener = subprocess.Popen(
            [*inside, "python3", "-c",
             "import socket; s = socket.socket(type=socket.SOCK_DGRAM); s.bind(('10.1.0.2', 7)); print('ready', "
             "flush=True); data, peer = s.recvfrom(2000); s.sendto(data, peer)"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(listener.wait)
        self.addCleanup(listener.kill)
        self.addCleanup(listener.stdout.close)
        self.assertEqual("ready\n", listener.stdout.readline())
        with socket.socket(type=socket.SOCK_DGRAM) as sender:
            sender.bind(("10.1.0.1", 0))
            sender.settimeout(PATIENCE)
            sender.sendto(b"odd", ("10.1.0.2", 7))  # a wrong checksum would not arrive
            self.assertEqual(b"odd", sender.recv(100))
        self.hosts.pop(2).close()
        listener.wait()
        # The wire ends with its namespace.
        namespace.kill()
        namespace.wait()
        wait_until(lambda: "sw2 is gone" in (self.folder / "errors").read_text(), "the switch says what is gone")


class Configuration(Wires):
    def setUp(self):
        super().setUp()
        self.play(OFFICE)
        self.wire(1, 2, 3)
        self.start()

    def send_to_all(self, number):
        """Sends a frame from 1 to everybody, which 3 gets in any case."""
        sent = frame(1, payload=number.to_bytes(4, "big"))
        self.hosts[1].send(sent)
        self.hosts[3].expect(frame(1, tags=tag(0x8100, 10), payload=number.to_bytes(4, "big")))
        return sent

    def passes(self, number):
        """2 gets it. It may do so later than 3: on a busy machine the kernel hands frames on when it finds the time."""
        self.hosts[2].expect(self.send_to_all(number))

    def is_blocked(self, number):
        """2 does not get it. Were it only late, it would be wrong where the next one is expected."""
        self.send_to_all(number)
        self.assertIsNone(self.hosts[2].receive())

    def test_a_sentence_is_in_effect_when_it_has_ended(self):
        for number in range(0, 40, 2):
            self.passes(number)
            self.assertTrue(self.say("disable port 2"))
            self.is_blocked(number + 1)
            self.assertTrue(self.say("enable port 2"))

    def test_members_come_and_go(self):
        self.passes(1)
        self.assertTrue(self.say("remove port 2 from vlan office"))
        self.is_blocked(2)
        self.assertTrue(self.say("add port 2 to vlan office tag off"))
        self.passes(3)

    def test_a_port_may_be_bound_before_it_exists(self):
        for sentence in ("disable port 2", "remove port 2 from vlan office", "delete port 2"):
            self.assertTrue(self.say(sentence), sentence)
        self.is_blocked(1)
        for sentence in ("create port 2 npport 2 portType ether", "add port 2 to vlan office tag off", "enable port 2"):
            self.assertTrue(self.say(sentence), sentence)
        self.passes(2)

    def test_a_mirror_copies_from_its_sentence_on(self):
        self.play("remove port 4 from vlan office\ncreate mirror 1\nset mirror 1 source port 1 in\n"
                  "set mirror 1 dest port 4\n")
        self.stop()
        self.wire(4)
        self.start()
        self.passes(1)
        self.assertIsNone(self.hosts[4].receive())
        self.assertTrue(self.say("enable mirror 1"))
        self.passes(2)
        self.hosts[4].expect(frame(1, payload=(2).to_bytes(4, "big")))

    def flood(self, port, source):
        """A frame from port 1 or 2, which all others get."""
        self.hosts[port].send(frame(source))
        self.hosts[3 - port].expect(frame(source))
        self.hosts[3].expect(frame(source, tags=tag(0x8100, 10)))

    def learned(self):
        rows = self.emuswitch("show", "fdb").stdout.splitlines()
        return {tuple(row.split()[2:5]) for row in rows if row.startswith("learned")}

    def address(self, number):
        return ":".join(f"{byte:02x}" for byte in mac(number))

    def test_what_is_learned_is_shown_and_flushed(self):
        self.flood(1, 21)
        self.flood(2, 22)
        both = {(self.address(21), "port", "1"), (self.address(22), "port", "2")}
        wait_until(lambda: self.learned() == both, "both addresses are shown")
        self.flood(1, 22)  # moved
        moved = {(self.address(21), "port", "1"), (self.address(22), "port", "1")}
        wait_until(lambda: self.learned() == moved, "the address has moved")
        self.assertTrue(self.say("delete dfdbentry all in vlan office"))
        self.assertEqual(set(), self.learned())
        sent = frame(3, 21, tags=tag(0x8100, 10))
        self.hosts[3].send(sent)
        self.hosts[1].expect(frame(3, 21))
        self.hosts[2].expect(frame(3, 21), "what is flooded again")

    def test_learned_addresses_are_in_the_store_at_the_end_and_known_at_the_next_beginning(self):
        self.flood(1, 31)
        self.assertEqual(0, self.stop())
        self.assertEqual({(self.address(31), "port", "1")}, self.learned())
        self.start()
        self.hosts[2].send(frame(32, 31))
        self.hosts[1].expect(frame(32, 31))
        self.assertIsNone(self.hosts[3].receive())

    def test_frames_go_on_while_what_is_learned_cannot_be_written(self):
        def change(statement):
            with sqlite3.connect(self.store) as store:
                store.execute(statement)
            store.close()
        change("CREATE TRIGGER full_disk BEFORE INSERT ON learned_entry BEGIN SELECT RAISE(ABORT, 'no room'); END")
        self.flood(1, 41)
        wait_until(lambda: "frames go on" in (self.folder / "errors").read_text(), "the switch says what is wrong")
        self.flood(2, 42)
        self.assertTrue(self.say("remove port 2 from vlan office"))
        self.is_blocked(1)
        self.assertEqual(set(), self.learned())
        change("DROP TRIGGER full_disk")
        wait_until(lambda: (self.address(41), "port", "1") in self.learned(), "it is written after all")
        self.assertEqual(1, (self.folder / "errors").read_text().count("no room"))


class Watching(Wires):
    def setUp(self):
        super().setUp()
        self.play(OFFICE)
        self.wire(1, 2, 3)

    def test_counters_tell_what_came_and_went_and_why_not(self):
        self.assertIn("no counters; emuswitch live makes them", self.emuswitch("show", "counters").stdout)
        self.assertIsNone(self.counters())
        self.assertIn("no counters", self.emuswitch("top", status=1).stderr)
        self.start()
        for _ in range(10):
            self.hosts[1].send(frame(1))
        for _ in range(10):
            self.hosts[2].expect(frame(1))
        self.assertTrue(self.say("disable port 1"))
        for _ in range(3):
            self.hosts[1].send(frame(1))
        counters = wait_until(lambda: (now := self.counters())["ports"][0]["dropped"].get("port_disabled") == 3 and now,
                              "three drops are counted")
        self.assertTrue(counters["live"])
        one, two, three = counters["ports"]
        self.assertEqual({"frames": 13, "bytes": 13 * len(frame(1))}, one["received"])
        self.assertEqual({"port_disabled": 3}, one["dropped"])
        self.assertEqual([0, 10, 10], [port["sent"]["frames"] for port in (one, two, three)])
        self.assertEqual((10, 3, 10), (counters["frames"]["flooded"], counters["frames"]["dropped"], counters["copies"]))
        # Every frame has an outcome: frames in are outputs and drops, less the copies.
        outputs = sum(port["sent"]["frames"] for port in (one, two, three))
        self.assertEqual(13, outputs + 3 - counters["copies"])
        self.assertIn("port_disabled 3", self.emuswitch("show", "counters").stdout)
        self.assertIn("sw1", self.emuswitch("top", "--count", "1").stdout)
        self.stop()
        self.assertFalse(self.counters()["live"])
        self.assertIn("not live any more", self.emuswitch("top").stdout)

    def test_top_fits_its_window(self):
        name = "größe–€"  # more bytes than columns
        ip("link", "set", "sw2", "name", name)
        self.addCleanup(subprocess.run, ["ip", "link", "del", name], capture_output=True, check=False)
        self.start("1=sw1", f"2={name}", "3=sw3")
        for rows, columns in ((30, 120), (12, 60), (4, 30), (12, 9), (12, 12), (1, 1)):
            with self.subTest(rows=rows, columns=columns):
                reading, writing = os.openpty()
                fcntl.ioctl(writing, termios.TIOCSWINSZ, struct.pack("4H", rows, columns, 0, 0))
                done = subprocess.run([EMUSWITCH, "top", "--count", "1"], env=self.environment, stdout=writing, check=True)
                self.assertEqual(0, done.returncode)
                os.close(writing)
                with open(reading, "rb", buffering=0) as terminal:
                    shown = b""
                    with contextlib.suppress(OSError):  # nobody has the other end any more
                        while more := terminal.read(4096):
                            shown += more
                lines = re.sub(r"\x1b\[[HJK]", "", shown.decode()).splitlines()
                self.assertTrue(lines[0].startswith("live, 0 addresses"[:columns]), lines)
                self.assertLessEqual(max(map(len, lines)), columns)
                if rows > 1:
                    self.assertLess(len(lines), rows)
                self.assertEqual(1 < rows < 5, len(lines) < 5)

    def test_a_record_has_what_came_and_went_and_why(self):
        record = self.folder / "record.pcapng"
        self.start(options=["--record", str(record)])
        self.hosts[1].send(frame(1, payload=b"recorded"))
        self.hosts[2].expect(frame(1, payload=b"recorded"))
        self.assertTrue(self.say("disable port 1"))
        self.hosts[1].send(frame(1, payload=b"refused"))
        wait_until(lambda: self.counters()["frames"]["dropped"] == 1, "the second frame is dropped")
        self.assertEqual(0, self.stop())
        written = record.read_bytes()
        self.assertEqual(bytes.fromhex("0a0d0d0a"), written[:4])
        # Received on 1, sent on 2, and with a tag on 3.
        self.assertEqual(2, written.count(frame(1, payload=b"recorded")))
        self.assertEqual(1, written.count(frame(1, tags=tag(0x8100, 10), payload=b"recorded")))
        self.assertEqual(1, written.count(frame(1, payload=b"refused")))
        for words in (b"port1", b"port2", b"port3", b"flooded", b"port_disabled"):
            self.assertIn(words, written)

    def test_a_shaper_holds_frames_back_and_drops_what_finds_no_room(self):
        self.assertTrue(self.say("set ether 2 shaping on rate 64 burst 2 kbyte"))
        self.start()
        payload = bytes(986)
        for _ in range(60):  # some 60 KB at once, into a queue of 16 KB
            self.hosts[1].send(frame(1, payload=payload))
        counters = wait_until(lambda: (now := self.counters())["ports"][2]["sent"]["frames"] == 60 and now,
                              "the port without a shaper has sent all")
        queue, = counters["queues"]
        self.assertEqual((2, None), (queue["port"], queue["queue"]))
        self.assertEqual(60, queue["sent"]["frames"] + queue["waiting"]["frames"] + queue["full"]["frames"])
        self.assertGreater(queue["full"]["frames"], 0)
        self.assertLessEqual(queue["highest_fill_bytes"], queue["length_bytes"])
        # Without the shaper what waits goes at once.
        self.assertTrue(self.say("set ether 2 shaping off"))
        wait_until(lambda: self.counters()["queues"][0]["waiting"]["frames"] == 0, "nothing waits")


class Interfaces(Wires):
    def settings(self):
        shown = json.loads(subprocess.run(["ip", "-d", "-j", "link"], check=True, capture_output=True).stdout)
        links = {link["ifname"]: (link["mtu"], "UP" in link["flags"], link["promiscuity"]) for link in shown}
        offloads = [ethtool(name, command) for name in ("sw1", "host1", "sw2", "host2")
                    for command in (ETHTOOL_GTXCSUM, ETHTOOL_GTSO, ETHTOOL_GGSO, ETHTOOL_GGRO)]
        return links, offloads

    def setUp(self):
        super().setUp()
        self.play(OFFICE)
        self.wire(1, 2)

    def test_everything_is_put_back_at_the_end(self):
        before = self.settings()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(signal=number):
                self.start()
                self.assertNotEqual(before, self.settings())
                self.assertEqual([0] * 3, [ethtool("host1", command) for command in
                                           (ETHTOOL_GTXCSUM, ETHTOOL_GTSO, ETHTOOL_GGSO)])
                self.assertEqual(0, self.stop(number))
                wait_until(lambda: self.settings() == before, "everything is as before")

    def test_also_when_the_process_that_forwards_is_killed(self):
        before = self.settings()
        self.start()
        worker, = self.workers()
        subprocess.run(["kill", "-9", str(worker)], check=True)
        self.assertEqual(128 + 9, self.wait())
        wait_until(lambda: self.settings() == before, "everything is as before")

    def test_and_that_process_ends_when_the_other_is_killed(self):
        self.start()
        worker, = self.workers()
        self.stop(signal.SIGKILL)
        wait_until(lambda: not pathlib.Path(f"/proc/{worker}").exists() or
                   "\nState:\tZ" in pathlib.Path(f"/proc/{worker}/status").read_text(), "it has ended")
        self.start()  # nothing is in its way
        self.hosts[1].send(frame(1))
        self.hosts[2].expect(frame(1))

    def test_rights_are_given_up(self):
        self.start()
        worker, = self.workers()
        status = pathlib.Path(f"/proc/{worker}/status").read_text()
        for kind in ("CapInh", "CapPrm", "CapEff", "CapAmb"):
            self.assertIn(f"{kind}:\t0000000000000000\n", status)
        self.assertIn("NoNewPrivs:\t1\n", status)

    def test_a_carrier_that_goes_and_comes(self):
        self.start()
        ip("link", "set", "host2", "down")
        ip("link", "set", "host2", "up")
        # A frame that comes before the carrier is noticed is lost, as on a line.
        def arrives():
            self.hosts[1].send(frame(1))
            return frame(1) in self.hosts[2].receive_all()
        wait_until(arrives, "frames pass again")

    def test_a_tap_is_made_and_removed(self):
        if not pathlib.Path("/dev/net/tun").exists():
            self.skipTest("there is no /dev/net/tun")
        self.start("1=sw1", "2=tap:vm")
        shown = subprocess.run(["ip", "-d", "link", "show", "vm"], check=True, capture_output=True, text=True).stdout
        self.assertIn("tap", shown)
        pathlib.Path("/proc/sys/net/ipv6/conf/vm/disable_ipv6").write_text("1")
        # As a virtual machine does.
        with open("/dev/net/tun", "r+b", buffering=0) as tap:
            fcntl.ioctl(tap, 0x400454CA, struct.pack("16sH22x", b"vm", 0x1002))  # TUNSETIFF, a tap without headers
            os.set_blocking(tap.fileno(), False)

            def exchanged():
                try:
                    tap.write(frame(2, tags=b""))
                except OSError:  # not up yet
                    return False
                return frame(2) in self.hosts[1].receive_all()
            wait_until(exchanged, "a frame of the machine reaches the host")
            self.hosts[1].send(frame(1, 2))
            self.assertEqual(frame(1, 2), wait_until(lambda: tap.read(2000), "the answer has come"))
        self.assertEqual(0, self.stop())
        self.assertNotEqual(0, subprocess.run(["ip", "link", "show", "vm"], capture_output=True, check=False).returncode)

    # --- What can be wrong ---

    def fails(self, *words, status=1):
        done = subprocess.run([EMUSWITCH, "live", *words], env=self.environment, text=True, capture_output=True,
                              check=False, timeout=PATIENCE)
        self.assertEqual((status, ""), (done.returncode, done.stdout), done.stderr)
        errors = [line for line in done.stderr.splitlines() if "no real-time priority" not in line]
        self.assertEqual(1, len(errors), done.stderr)
        return errors[0]

    def test_each_thing_that_is_wrong_has_a_line(self):
        ip("link", "add", "bridge", "type", "bridge")
        self.addCleanup(ip, "link", "del", "bridge")
        before = self.settings()
        self.assertIn("there is no such interface here; make it", self.fails("1=sw1", "2=nowhere"))
        self.assertIn("carries no Ethernet frames", self.fails("1=lo"))
        ip("link", "set", "sw2", "master", "bridge")
        self.assertIn("belongs to bridge", self.fails("1=sw1", "2=sw2"))
        ip("link", "set", "sw2", "nomaster")
        self.assertIn("is there and no tap", self.fails("1=tap:sw1"))
        self.assertEqual(before, self.settings())

    def test_words_that_are_no_bindings(self):
        for words in (["1"], ["=sw1"], ["1="], ["0=sw1"], ["-1=sw1"], ["x=sw1"], ["1x=sw1"], ["1=tap:"],
                      ["99999999999=sw1"]):
            self.assertIn("is not PORT=INTERFACE", self.fails(*words, status=2), words)
        self.assertIn("port 1 is bound twice", self.fails("1=sw1", "1=sw2", status=2))
        self.assertIn("sw1 is bound twice", self.fails("1=sw1", "2=sw1", status=2))

    def test_without_the_rights(self):
        # In another user namespace we are nobody here.
        done = subprocess.run(["unshare", "-U", EMUSWITCH, "live", "1=sw1", "2=sw2"], env=self.environment, text=True,
                              capture_output=True, check=False, timeout=PATIENCE)
        self.assertEqual(1, done.returncode)
        self.assertIn("run as root, or inside unshare -Urn", done.stderr)
        self.assertEqual(1, done.stderr.count("\n"), done.stderr)

    def test_one_live_switch_a_store(self):
        self.start("1=sw1")
        self.assertIn("another live switch runs on it", (self.fails("2=sw2")))
        self.hosts[1].send(frame(1))
        self.assertEqual(0, self.stop())

    def test_a_store_that_is_taken_away(self):
        self.start()
        self.store.unlink()
        self.assertEqual(1, self.wait())
        self.assertIn("was removed or moved away under the live switch", (self.folder / "errors").read_text())


if __name__ == "__main__":
    wires.main()
