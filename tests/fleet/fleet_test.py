"""The example of a fleet, examples/fleet, with Ansible on emulated switches of this machine, without any network.

SWITCHES=1000 has more of them than the test run, and prints how long each run took.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
SWITCHES = int(os.environ.get("SWITCHES", "4"))


class Fleet:
    def __init__(self, folder, count=SWITCHES):
        self.folder = pathlib.Path(folder) / "a fleet"
        programs = [str(pathlib.Path(os.environ[name]).parent) for name in ("COMPANION", "TOLVANE")]
        self.environment = {
            "PATH": ":".join([*programs, os.environ["PATH"]]), "HOME": str(folder), "TMPDIR": str(folder),
            "LC_ALL": "C.UTF-8", "PYTHONPATH": str(SOURCE / "python"), "ANSIBLE_NOCOLOR": "1",
            "PYTHONDONTWRITEBYTECODE": "1",
        }
        subprocess.run([SOURCE / "examples/fleet/fleet-of-emulated-switches", self.folder, str(count)], check=True)
        self.names = sorted(path.stem for path in (self.folder / "wanted").iterdir())

    def play(self, *options):
        """The exit status, what became of each switch, and all that was printed."""
        started = time.monotonic()
        done = subprocess.run(["ansible-playbook", "site.yml", *options], cwd=self.folder, env=self.environment,
                              capture_output=True, text=True, check=False)
        recap = {name: {key: int(number) for key, number in re.findall(r"(\w+)=(\d+)", rest)}
                 for name, rest in re.findall(r"^(switch\d+) +: (.*)$", done.stdout, re.M)}
        if SWITCHES > 4:
            print(f"{len(recap)} switches, {' '.join(options) or 'all'}: {time.monotonic() - started:.1f} s",
                  file=sys.stderr)
        return done.returncode, recap, done.stdout + done.stderr

    def wanted(self, name):
        return self.folder / "wanted" / f"{name}.play"

    def switch(self, name):
        return self.folder / "switches" / f"{name}.db"

    def companion(self, *words, switch=""):
        return subprocess.run(["emuswitch", *words], env={**self.environment, "EMUSWITCH": str(switch)},
                              capture_output=True, text=True, check=False)

    def differs(self, name):
        done = self.companion("diff", self.switch(name), self.wanted(name))
        return done.stdout + done.stderr


class TheExample(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="fleet-test-")
        self.addCleanup(folder.cleanup)
        self.fleet = Fleet(folder.name)

    def expect(self, outcome, status=0, options=(), of=None):
        """Each of the switches ends so, the others as they have to."""
        code, recap, printed = self.fleet.play(*options)
        self.assertEqual(status, code, printed)
        for name in of or self.fleet.names:
            self.assertEqual(1, recap[name][outcome], f"{name}\n{printed}")
        return recap, printed

    def test_each_switch_becomes_what_its_file_says_and_stays_it(self):
        fleet = self.fleet
        _, printed = self.expect("changed", options=("--check", "--diff"))
        self.assertIn("create vlan office vid 10\n", printed)
        self.assertEqual([], [name for name in fleet.names if fleet.switch(name).exists()], "a check says nothing")
        self.expect("changed")
        self.assertEqual({""}, {fleet.differs(name) for name in fleet.names})
        recap, _ = self.expect("ok")
        self.assertEqual({0}, {each["changed"] for each in recap.values()})

        first = fleet.names[0]
        with fleet.wanted(first).open("a") as file:
            file.write("set vlan voice learninglimit 50\n")
        recap, printed = self.expect("changed", options=("--diff",), of=[first])
        self.assertEqual(1, sum(each["changed"] for each in recap.values()))
        self.assertIn("\nset vlan voice learninglimit 50\n", printed)
        self.assertEqual("", fleet.differs(first))

    def test_a_refusal_ends_that_switch_alone_and_the_run_can_be_repeated(self):
        fleet = self.fleet
        first, second, *others = fleet.names
        fleet.companion("fail", "brgfdb_create_port", "1201", "--at", "2", switch=fleet.switch(first))
        inventory = fleet.folder / "inventory.ini"
        whole = inventory.read_text()
        inventory.write_text(whole.replace(f"{second}\n", f"{second} tolvane_command=/nowhere/tolvane\n"))
        recap, printed = self.expect("changed", status=4, options=("--forks", "2"), of=others)
        self.assertIn("create port 2 npport 2 portType ether: NG 1201", printed)
        self.assertEqual((1, 1), (recap[first]["failed"], recap[second]["unreachable"]), printed)
        self.assertEqual([first, second], (fleet.folder / "site.retry").read_text().split(), printed)
        inventory.write_text(whole)
        recap, printed = self.expect("changed", options=("--limit", "@site.retry"), of=[first, second])
        self.assertEqual({first, second}, set(recap), printed)
        self.assertEqual({""}, {fleet.differs(name) for name in fleet.names})

    def test_what_is_so_already_is_no_failure(self):
        fleet = self.fleet
        first = fleet.names[0]
        fleet.companion("exec", "tolvane", "create", "clslist", "1", switch=fleet.switch(first))
        fleet.wanted(first).write_text("create clslist 1\n")
        recap, _ = self.expect("ok", options=("--limit", first), of=[first])
        self.assertEqual(0, recap[first]["changed"])
        # The same name with another id leaves a doubt, but for the sentence whose answer a cut run has not seen.
        fleet.companion("exec", "tolvane", "create", "vlan", "sales", "vid", "10", switch=fleet.switch(first))
        fleet.wanted(first).write_text("create clslist 1\ncreate vlan sales vid 10\n")
        _, printed = self.expect("failed", status=2, options=("--limit", first), of=[first])
        self.assertIn("NG 1401", printed)
        (fleet.folder / "shadows" / f"{first}.pending").write_text("create vlan sales vid 10")
        self.expect("ok", options=("--limit", first), of=[first])
        self.assertEqual("", fleet.differs(first))

    def test_a_file_that_no_switch_takes_is_told_with_its_line(self):
        first = self.fleet.names[0]
        self.fleet.wanted(first).write_text("create vlan sales vid 10\nadd port 1 to vlan sales tag on\n")
        _, printed = self.expect("failed", status=2, options=("--limit", first), of=[first])
        self.assertIn(f"{first}.play:2:1: error: add port 1 to vlan sales tag on: NG 102", printed)
        self.assertFalse(self.fleet.switch(first).exists())


if __name__ == "__main__":
    unittest.main()
