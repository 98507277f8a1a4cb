"""The completion of emuswitch, in a real bash: as a function, and in an interactive shell on a terminal."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from sentences import SOURCE
from shell import Bash, Terminal

COMPLETIONS = SOURCE / "packaging/completion"
FILE = COMPLETIONS / "emuswitch"
EMUSWITCH = pathlib.Path(os.environ["EMUSWITCH_PROGRAM"])


def help_lines(*words):
    return subprocess.run([EMUSWITCH, *words, "--help"], check=True, capture_output=True, text=True).stdout.splitlines()


def commands():
    lines = help_lines()
    lines = lines[lines.index("Commands:") + 1:]
    return {line.split()[0] for line in lines[:lines.index("")]}


def long_options(*words):
    found = (re.match(r"  (?:-\w,)?(--[\w-]+)", line) for line in help_lines(*words))
    return {option[1] for option in found if option}


class Completion(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="completion-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.store = self.folder / "switch.db"
        self.environment = dict(os.environ, HOME=str(self.folder), TMPDIR=str(self.folder), EMUSWITCH=str(self.store),
                                PATH=f"{EMUSWITCH.parent}:{os.environ['PATH']}")

    def emuswitch(self, *words, text=None):
        return subprocess.run([EMUSWITCH, *words], env=self.environment, input=text, check=True, capture_output=True,
                              text=True).stdout

    def play(self):
        self.emuswitch("play", "-", text='create port 1 npport 1 portType ether\ncreate port 103 npport 0 portType vif\n'
                                         'create vlan sales\ncreate vlan "in side"\n')


class Function(Completion):
    def setUp(self):
        super().setUp()
        self.bash = Bash(FILE, self.environment)
        self.addCleanup(self.bash.close)

    def test_commands_and_options_are_those_of_the_help(self):
        self.assertEqual(commands(), self.bash.offers(""))
        self.assertEqual(long_options(), self.bash.offers("-"))
        for command in commands():
            with self.subTest(command=command):
                self.assertIn(command, self.bash.offers(command[:2]))
                self.assertEqual(long_options(command), self.bash.offers(command, "-"))

    def test_what_can_be_shown(self):
        topics = set(re.search(r"^  <what>.*: ([a-z, ]+)$", "\n".join(help_lines("show")), re.M)[1].split(", "))
        self.assertEqual(topics, self.bash.offers("show", ""))
        self.assertEqual({"vlans"}, self.bash.offers("show", "--json", "v"))
        self.assertEqual(set(), self.bash.offers("show", "vlans", ""))

    def test_what_help_is_there_for(self):
        self.assertEqual(commands(), self.bash.offers("help", ""))
        self.assertEqual({"reset", "replay"}, self.bash.offers("help", "re"))

    def test_ports_and_fields_of_a_frame(self):
        self.play()
        self.assertEqual({"1", "103"}, self.bash.offers("trace", ""))
        self.assertEqual({"tag", "tagtype", "tos"}, self.bash.offers("trace", "1", "t"))
        self.assertEqual({"vid"}, self.bash.offers("trace", "1", "da", "00:11:22:33:44:55", "tag", "v"))

    def test_names_of_limits_and_functions(self):
        limits = {line.split()[0] for line in self.emuswitch("show", "limits").splitlines()[1:]}
        self.assertEqual(limits, self.bash.offers("limit", ""))
        self.assertEqual({"vlans", "vlans_and_fwdlists"}, self.bash.offers("limit", "vlans"))
        functions = set(self.emuswitch("fail", "--functions").splitlines())
        self.assertIn("brgfdb_create_vlan", functions)
        self.assertEqual(functions, self.bash.offers("fail", ""))
        self.assertEqual({name for name in functions if name.startswith("libev_")}, self.bash.offers("fail", "libev_"))

    def test_a_value_is_no_operand(self):
        self.assertEqual(set(), self.bash.offers("fail", "--at", "brgfdb_create_v"))
        for words in (("--at", "3"), ("--at=3",), ("--at", "3", "--times=2")):
            self.assertEqual({"brgfdb_create_vlan"}, self.bash.offers("fail", *words, "brgfdb_create_v"), words)
            self.assertEqual(set(), self.bash.offers("fail", *words, "brgfdb_create_vlan", ""), words)

    def test_ports_and_vlans_of_the_switch(self):
        self.play()
        self.assertEqual({"1", "103"}, self.bash.offers("lag", ""))
        self.assertEqual({"103"}, self.bash.offers("ipif", "10"))
        self.assertEqual({"on", "off"}, self.bash.offers("lag", "1", "o"))
        self.assertEqual({"1", "103"}, self.bash.offers("graph", "--qos", ""))
        self.assertEqual({"sales", r"in\ side"}, self.bash.offers("graph", "--vlan", ""))
        mac = "00:11:22:33:44:55"
        self.assertEqual(set(), self.bash.offers("learn", "00:1"))
        self.assertEqual({"sales", r"in\ side"}, self.bash.offers("learn", mac, ""))
        self.assertEqual({"1", "103"}, self.bash.offers("learn", mac, "sales", ""))

    def test_a_tab_makes_no_switch(self):
        for words in (("lag", ""), ("limit", ""), ("fail", ""), ("learn", "00:11:22:33:44:55", "")):
            self.bash.offers(*words)
        self.assertEqual([], list(self.folder.iterdir()))

    def test_the_command_behind_exec_and_run_is_completed_as_its_own(self):
        for command in ("exec", "run"):
            self.assertIn("tolvane", self.bash.offers(command, "tolv"))
            self.assertEqual({"create"}, self.bash.offers(command, "tolvane", "cr"))
            self.assertEqual({"npport"}, self.bash.offers(command, "/usr/sbin/tolvane", "create", "port", "1", ""))
            self.assertEqual({"in"}, self.bash.offers(command, "tolvane", "delete", "sfdbentry", "00:11:22:33:44:55", ""))
            self.assertEqual({"show", "shell"}, self.bash.offers(command, "emuswitch", "sh"))
            self.assertEqual({"create"}, self.bash.offers(command, "--", "tolvane", "cr"))

    def test_nothing_where_the_words_before_are_wrong(self):
        for words in (("fly", ""), ("fly", "-"), ("config", ""), ("limit", "vlans", ""), ("lag", "1", "on", ""),
                      ("show", "--json=")):
            self.assertEqual(set(), self.bash.offers(*words), words)


class Interactive(Completion):
    def complete_some_commands(self, terminal):
        for typed, line in (
            ("sho\tvl\t--j\t", "show vlans --json "),
            ("lim\trul\t7", "limit rules_per_clslist 7"),
            ("fa\t--ti\t2 brgfdb_create_vl\t14", "fail --times 2 brgfdb_create_vlan 14"),
            ("lea\t00:11:22:33:44:55 in\t10\t", r"learn 00:11:22:33:44:55 in\ side 103 "),
            ("pl\t--d\tser\t", "play --dry-run service.play "),
            ("ex\ttolva\tcre\tpor\t7 np\t2", "exec tolvane create port 7 npport 2"),
            ("ru\ttolva\tdel\tlf\t00:11:22:33:44:55 i\tp\t4", "run tolvane delete lfdbentry 00:11:22:33:44:55 in port 4"),
        ):
            with self.subTest(typed=typed):
                terminal.type("emuswitch " + typed)
                terminal.expect("emuswitch " + line)
                terminal.type("\x15")  # clears the line

    def setUp(self):
        super().setUp()
        self.play()
        (self.folder / "service.play").write_text("create vlan a\n")

    def test_without_the_bash_completion_package(self):
        terminal = Terminal(f". {FILE}; cd {self.folder}", self.environment)
        try:
            self.complete_some_commands(terminal)
        finally:
            terminal.close()

    def test_with_the_bash_completion_package(self):
        package = pathlib.Path("/usr/share/bash-completion/bash_completion")
        if not package.exists():
            self.skipTest("the package bash-completion is not installed")
        environment = {**self.environment, "BASH_COMPLETION_USER_DIR": str(self.folder)}
        (self.folder / "completions").symlink_to(COMPLETIONS)
        terminal = Terminal(f". {package}; cd {self.folder}", environment)
        try:
            self.complete_some_commands(terminal)
            # What has no completion of ours has that of the package.
            terminal.type("emuswitch exec cat ser\t")
            terminal.expect("emuswitch exec cat service.play")
        finally:
            terminal.close()


if __name__ == "__main__":
    unittest.main()
