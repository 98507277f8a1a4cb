"""A store that cannot be used: one clear line on standard error, NG from the tool, and the file left as it was."""

import contextlib
import os
import shutil
import sqlite3
import subprocess
import sys
import unittest

from switch import LIBRARIES, TOOL, Answer, Switch, outcome_of

NOBODY = 65534


def fill(switch):
    """A store with something in it."""
    for sentence in ("create vlan sales vid 10", "create port 1 npport 1 portType ether", "add port 1 to vlan sales tag on"):
        assert switch.say(sentence).is_accepted


class UnusableStore(unittest.TestCase):
    def setUp(self):
        self.switch = Switch()
        self.addCleanup(self.switch.__exit__)

    def skip_loudly(self, reason):
        print(f"\nNOT TESTED: {self.id()}: {reason}", file=sys.stderr, flush=True)
        self.skipTest(reason)

    def assert_refused(self, answer, *parts, path=None):
        """The tool says NG, and the emulator, in one line, which file and why."""
        self.assertRegex(answer.outcome, r'^NG \d+ ".*"$')
        self.assertEqual(0, answer.status)
        self.assertEqual(1, answer.errors.count("\n"), answer.errors)
        self.assertTrue(answer.errors.startswith(f"emuswitch: {path or self.switch.store}: "), answer.errors)
        for part in parts:
            self.assertIn(part, answer.errors)

    def assert_left_alone(self, *parts):
        """A changing, a reading and a companion's command are refused, and leave the file byte by byte."""
        before = self.switch.store.read_bytes()
        for sentence in ("create clslist 1", "delete vlan sales", "show clslist all"):
            self.assert_refused(self.switch.say(sentence), *parts)
        shown = self.switch.companion("show", check=False)
        self.assertEqual((1, ""), (shown.returncode, shown.stdout))
        self.assertIn(str(self.switch.store), shown.stderr)
        self.assertEqual(1, shown.stderr.count("\n"), shown.stderr)
        self.assertEqual(before, self.switch.store.read_bytes())

    def test_another_file(self):
        self.switch.store.write_text("a letter to a friend, not a switch\n" * 20)
        self.assert_left_alone("not the store of an emulated switch", "EMUSWITCH")

    def test_a_short_file(self):
        self.switch.store.write_text("a letter\n")
        self.assert_left_alone("not the store of an emulated switch")

    def test_the_database_of_another_program(self):
        with contextlib.closing(sqlite3.connect(self.switch.store)) as other:
            other.execute("CREATE TABLE letter (text)")
        self.assert_left_alone("not the store of an emulated switch")

    def test_a_later_version(self):
        fill(self.switch)
        self.switch.change("PRAGMA user_version = 99")
        self.assert_left_alone("version 99", "later emuswitch")

    def test_a_truncated_store(self):
        fill(self.switch)
        whole = self.switch.store.read_bytes()
        for length, reason in ((50, "not the store"), (4096, "damaged"), (len(whole) * 3 // 4, "damaged")):
            with self.subTest(length=length):
                self.switch.store.write_bytes(whole[:length])
                self.assert_left_alone(reason)

    def test_an_overwritten_store(self):
        fill(self.switch)
        whole = self.switch.store.read_bytes()
        for begin, end, reason in ((0, 100, "not the store"), (100, len(whole), "damaged"), (4096, len(whole), "damaged")):
            with self.subTest(begin=begin):
                self.switch.store.write_bytes(whole[:begin] + b"\xa5" * (end - begin) + whole[end:])
                self.assert_left_alone(reason)

    def test_a_folder_in_its_place(self):
        self.switch.store.mkdir()
        self.assert_refused(self.switch.say("create clslist 1"))

    def test_no_place_for_it(self):
        (self.switch.folder / "file").write_text("")
        self.switch.store = self.switch.folder / "file/switch.db"
        self.switch.environment["EMUSWITCH"] = str(self.switch.store)
        self.assert_refused(self.switch.say("create clslist 1"), "EMUSWITCH")

    def test_a_lock_held_by_another_program(self):
        fill(self.switch)
        before = self.switch.store.read_bytes()  # not while it is locked: closing a file drops the locks of a process
        with contextlib.closing(sqlite3.connect(self.switch.store, isolation_level=None)) as other:
            other.execute("BEGIN EXCLUSIVE")
            answer = self.switch.say("delete vlan sales")  # waits for its turn before it gives up
            other.execute("ROLLBACK")
        self.assert_refused(answer, "locked by another process")
        self.assertEqual(before, self.switch.store.read_bytes())
        self.assertTrue(self.switch.say("create clslist 1").is_accepted)

    def test_a_lock_that_is_given_back(self):
        fill(self.switch)
        with contextlib.closing(sqlite3.connect(self.switch.store, isolation_level=None)) as other:
            other.execute("BEGIN EXCLUSIVE")
            with self.switch.start("create clslist 1") as waiting:
                with self.assertRaises(subprocess.TimeoutExpired):
                    waiting.communicate(timeout=0.3)
                other.execute("ROLLBACK")
                output, errors = waiting.communicate()
        self.assertEqual(("OK", ""), (outcome_of(output), errors))

    def say_as_nobody(self, sentence):
        """The tool as a user who may do nothing but read; root writes what it likes."""
        if os.geteuid() != 0:
            return self.switch.say(sentence)
        programs = self.switch.folder / "programs"
        if not programs.exists():
            shutil.copytree(LIBRARIES, programs)
            shutil.copy2(TOOL, programs / "tolvane")
        done = subprocess.run(
            ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups", programs / "tolvane",
             *sentence.split()], env={**self.switch.environment, "LD_LIBRARY_PATH": str(programs)},
            capture_output=True, text=True)
        return Answer(outcome_of(done.stdout), done.stderr, done.returncode)

    def test_a_file_that_may_only_be_read(self):
        if os.geteuid() == 0 and not shutil.which("setpriv"):
            self.skip_loudly("root may write anything, and there is no setpriv (util-linux)")
        fill(self.switch)
        self.switch.folder.chmod(0o755)
        for file in self.switch.folder.glob("switch.db*"):
            file.chmod(0o444)
        before = self.switch.store.read_bytes()
        self.assert_refused(self.say_as_nobody("create clslist 1"), "cannot be written")
        self.assertEqual(before, self.switch.store.read_bytes())

    def test_a_folder_that_may_only_be_read(self):
        if os.geteuid() == 0 and not shutil.which("setpriv"):
            self.skip_loudly("root may write anything, and there is no setpriv (util-linux)")
        self.switch.folder.chmod(0o755)
        self.say_as_nobody("create")  # the programs are copied while that is possible
        self.switch.folder.chmod(0o555)
        try:
            self.assert_refused(self.say_as_nobody("create clslist 1"), "cannot be made", "write its folder")
            self.assertFalse(self.switch.store.exists())
        finally:
            self.switch.folder.chmod(0o755)

    def mount(self, folder, *options):
        done = subprocess.run(["mount", *options, folder], capture_output=True, text=True) if os.geteuid() == 0 else None
        if done is None or done.returncode != 0:
            self.skip_loudly("a file system of its own needs root" if done is None else done.stderr.strip())
        self.addCleanup(subprocess.run, ["umount", folder], check=False)

    def test_a_full_disk(self):
        disk = self.switch.folder / "disk"
        disk.mkdir()
        self.mount(disk, "-t", "tmpfs", "-o", "size=1m", "none")
        self.switch.store = disk / "switch.db"
        self.switch.environment["EMUSWITCH"] = str(self.switch.store)
        fill(self.switch)
        ballast = disk / "ballast"
        with contextlib.suppress(OSError), ballast.open("wb", buffering=0) as file:
            while file.write(bytes(512)):
                pass
        # There may be room in the pages that the store has already.
        for accepted in range(2000):
            answer = self.switch.say(f"create vlan {accepted:032}")
            if not answer.is_accepted:
                break
        self.assert_refused(answer, "cannot be written", "make room")
        self.assertEqual([], self.switch.damage())
        self.assertEqual(1 + accepted, self.switch.query("SELECT count(*) FROM vlan")[0][0])
        ballast.unlink()
        self.assertTrue(self.switch.say(f"create vlan {accepted:032}").is_accepted)
        self.assertEqual([], self.switch.damage())

    def test_a_disk_that_is_full_from_the_start(self):
        disk = self.switch.folder / "disk"
        disk.mkdir()
        self.mount(disk, "-t", "tmpfs", "-o", "size=16k", "none")
        self.switch.store = disk / "switch.db"
        self.switch.environment["EMUSWITCH"] = str(self.switch.store)
        self.assert_refused(self.switch.say("create clslist 1"), "cannot be written", "make room")

    def test_a_read_only_file_system(self):
        fill(self.switch)
        inner = self.switch.folder / "inner"
        inner.mkdir()
        shutil.copyfile(self.switch.store, inner / "switch.db")
        self.mount(inner, "--bind", "-o", "ro", inner)
        if os.access(inner, os.W_OK):  # older programs need two steps
            subprocess.run(["mount", "-o", "remount,ro,bind", inner], check=True)
        self.switch.store = inner / "switch.db"
        self.switch.environment["EMUSWITCH"] = str(self.switch.store)
        before = self.switch.store.read_bytes()
        self.assert_refused(self.switch.say("create clslist 1"), "cannot be written")
        self.assertEqual(before, self.switch.store.read_bytes())

    def test_a_lock_that_cannot_be_let_go_of_behind_a_commit(self):
        """What is committed cannot be taken back: the sentence is accepted, and the lock goes with the process."""
        fill(self.switch)
        for number, lock in enumerate(("shared", "none"), 1):
            with self.subTest(lock=lock):
                self.switch.environment.update(LD_PRELOAD=os.environ["FAILING_UNLOCK_LIBRARY"], FAILING_UNLOCK=lock,
                                               ASAN_OPTIONS="verify_asan_link_order=0")
                one = self.switch.say(f"create clslist {number}")
                many = self.switch.say(f"create port {number + 2} npport 1 portType ether")
                del self.switch.environment["LD_PRELOAD"]
                self.assertEqual(("OK", ""), (one.outcome, one.errors))
                self.assertEqual(("OK", ""), (many.outcome, many.errors))
                self.assertEqual(2601, self.switch.say(f"create clslist {number}").code)
                self.assertEqual([(16,)], self.switch.query("SELECT count(*) FROM local_entry WHERE port = ?", number + 2))
        self.assertEqual([], self.switch.damage())

    def test_a_clock_that_jumps(self):
        library = os.environ["CLOCK_JUMP_LIBRARY"]
        self.switch.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0"
        fill(self.switch)
        for number, seconds in enumerate((10**9, -(10**9), -(10**11), 10**11)):
            self.switch.environment.update(LD_PRELOAD=library, CLOCK_JUMP=str(seconds))
            answer = self.switch.say(f"create clslist {number + 1}")
            self.assertEqual(("OK", ""), (answer.outcome, answer.errors), seconds)
            answer = self.switch.say(f"create port {number + 2} npport 1 portType ether")
            self.assertEqual(("OK", ""), (answer.outcome, answer.errors), seconds)
        del self.switch.environment["LD_PRELOAD"]
        self.assertEqual([], self.switch.damage())
        # In the order in which it was, whatever the clock said.
        log = [line for line in self.switch.companion("log").stdout.splitlines() if line.startswith("$ create clslist")]
        self.assertEqual([f"$ create clslist {number}" for number in range(1, 5)], log)
        years = {row[0][:4] for row in self.switch.query("SELECT at FROM call_log")}
        self.assertGreater(len(years), 2, "the clock has not jumped")


if __name__ == "__main__":
    unittest.main()
