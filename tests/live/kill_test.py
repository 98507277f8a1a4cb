"""A live switch that is killed at any moment leaves a sound store, and no sentence is refused because of it.

LIVE_KILLS=100 kills it so often, LIVE_SEED=7 at other moments. New addresses come in all the time, so that it has
something to write, and sentences are said all the time.
"""

import os
import random
import signal
import sqlite3
import subprocess
import threading
import time

import wires
from frames import frame
from wires import TOLVANE, PATIENCE, Wires

KILLS = int(os.environ.get("LIVE_KILLS", "10"))
SEED = int(os.environ.get("LIVE_SEED", "1"))

OFFICE = "create vlan office vid 10\n" + "".join(
    f"create port {port} npport {port} portType ether\nadd port {port} to vlan office tag off\nenable port {port}\n"
    for port in (1, 2))


class Kill(Wires):
    def setUp(self):
        super().setUp()
        self.play(OFFICE)
        self.wire(1, 2)
        self.said = 0
        self.refused = []
        self.is_over = threading.Event()

    def say_on_and_on(self):
        while not self.is_over.is_set():
            for sentence in ("create vlan guests vid 20", "add port 1 to vlan guests tag on",
                             "remove port 1 from vlan guests", "delete vlan guests"):
                done = subprocess.run([TOLVANE, *sentence.split()], env=self.environment, text=True,
                                      capture_output=True, check=False)
                self.said += 1
                if "<result>OK</result>" not in done.stdout or done.stderr:
                    self.refused.append((sentence, done.stdout, done.stderr))

    def check_store(self):
        with sqlite3.connect(self.store, timeout=PATIENCE) as store:
            self.assertEqual([("ok",)], store.execute("PRAGMA integrity_check").fetchall())
            self.assertEqual([], store.execute("PRAGMA foreign_key_check").fetchall())
            # The pool of the forwarding database agrees with what is in it. One statement sees one state.
            in_use, entries = store.execute(
                "SELECT (SELECT in_use FROM limits WHERE name = 'fdb_entries'), (SELECT count(*) FROM static_entry) +"
                " (SELECT count(*) FROM local_entry) + (SELECT count(*) FROM learned_entry)").fetchone()
            self.assertEqual(entries, in_use)
            learned, = store.execute("SELECT count(*) FROM learned_entry").fetchone()
        store.close()
        return learned

    def test_kills(self):
        chance = random.Random(SEED)
        speaker = threading.Thread(target=self.say_on_and_on)
        speaker.start()
        self.addCleanup(speaker.join)
        self.addCleanup(self.is_over.set)
        address = 0
        learned = 0
        for _ in range(KILLS):
            self.start()
            end = time.monotonic() + chance.uniform(0, 0.5)
            while time.monotonic() < end:
                address += 1
                self.hosts[1 + address % 2].send(frame(0x10000 + address % 4000))
            worker, = self.workers()
            os.kill(worker, signal.SIGKILL)
            self.assertEqual(128 + signal.SIGKILL, self.wait())
            learned = max(learned, self.check_store())
        self.is_over.set()
        speaker.join()
        self.assertEqual([], self.refused)
        self.assertGreater(learned, 0)
        print(f"{KILLS} kills, {self.said} sentences, none refused; up to {learned} addresses in the store")


if __name__ == "__main__":
    wires.main()
