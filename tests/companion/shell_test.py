"""emuswitch shell: from a pipe, and at a prompt on a terminal, where each answer is read until the next prompt comes."""

import os
import pathlib
import pty
import shutil
import signal
import stat
import subprocess
import tempfile
import unittest

EMUSWITCH = os.environ["EMUSWITCH_PROGRAM"]
HAS_EDITOR = os.environ["HAS_LINE_EDITOR"] == "yes"
PROMPT = "emuswitch> "


class Shell(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="shell-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.history = self.folder / "state/emuswitch/history"
        self.environment = dict(os.environ, EMUSWITCH=str(self.folder / "switch.db"), HOME=str(self.folder),
                                XDG_STATE_HOME=str(self.folder / "state"), TMPDIR=str(self.folder), TERM="xterm",
                                LC_ALL="C.UTF-8")

    def piped(self, text, status=0, errors=()):
        done = subprocess.run([EMUSWITCH, "shell"], input=text, env=self.environment, capture_output=True, text=True,
                              check=False)
        self.assertEqual((status, list(errors)), (done.returncode, done.stderr.splitlines()), done.stdout)
        return done.stdout.splitlines()


class Piped(Shell):
    def test_sentences_and_commands(self):
        self.assertEqual([
            "OK",
            "OK",
            "VID  NAME     PORTS  LEARNING  LIMIT  FLAGS",
            " 10  in side      0  on        none",
            "OK",
        ], self.piped('create vlan "in side" vid 10 # a comment\ncreate clslist 1\n\nshow vlans\r\n'
                      "  tolvane create protgroup 1\n# nothing\n"))
        self.assertEqual(["no mirrors"], self.piped("emuswitch show mirrors"))  # no newline at the end

    def test_what_is_wrong_is_told_with_its_place_and_the_rest_is_said_all_the_same(self):
        self.assertEqual(["OK", "OK", "OK"], self.piped(
            'create vlan a\ncreate vlan a\ncreate vlam x\nset ether 1 colour blue\ncreate vlan "a\n'
            "crate vlan b\nlag 1 offf\ncreate vlan b vid 12ab\ncreate vlan c\nhelp fly\n",
            status=1,
            errors=(
                '<stdin>:2:1: error: NG 1401: VLAN "a" already exists.',
                '<stdin>:3:8: error: "vlam" does not fit here, did you mean "vlan"?; the nearest form is: '
                "create vlan <name> [vid <vid>]",
                '<stdin>:4:13: warning: "colour" is no setting of an interface: the sentence is ignored',
                "<stdin>:5:13: error: a closing quotation mark is missing",
                '<stdin>:6:1: error: "crate" begins neither a sentence nor a command, did you mean "create"?',
                'emuswitch: lag: state: "offf" is not one of on, off, did you mean "off"?',
                "<stdin>:7:1: error: lag ended with status 2",
                '<stdin>:8:19: warning: "12ab" is read as 12',
                "<stdin>:10:6: error: no sentence begins so; help tells more",
            )))

    def test_show_is_a_sentence_for_one_list_only(self):
        self.assertEqual(self.piped("show clslists\n"), self.piped("show clslist\n"))
        self.assertEqual([], self.piped("show clslist all\n", status=1, errors=[
            "<stdin>:1:1: error: NG 112: classify profile does not exist."]))

    def test_help(self):
        self.assertIn("  exit             the end, as Ctrl-D", self.piped("help\n"))
        self.assertEqual(["create vlan <name> [vid <vid>]"], self.piped("help create vlan\n"))
        self.assertEqual("Usage: emuswitch lag <port> {on|off}", self.piped("help lag\n")[1])
        self.assertEqual(2, len(self.piped("help add port 3\n")))
        self.assertEqual(1, len(self.piped("help set port 3 cosmap\n")))

    def test_exit_ends(self):
        for word in ("exit", "quit", " exit # now"):
            self.assertEqual(["1.3.0"], self.piped(f"version\n{word}\ncreate vlan a\n"))
        self.assertEqual(["no VLANs"], self.piped("show vlans\n"))

    def test_a_command_does_not_read_the_lines_that_are_to_come(self):
        self.assertEqual(["0 of 0 sentences accepted", "OK"], self.piped("play -\ncreate vlan a\n"))

    def test_nothing_is_remembered(self):
        self.piped("create vlan a\n")
        self.assertFalse(self.history.exists())


class Terminal(Shell):
    def start(self):
        pid, self.fd = pty.fork()
        if pid == 0:
            os.execve(EMUSWITCH, [EMUSWITCH, "shell"], self.environment)
        self.addCleanup(self.clear_away, pid, self.fd)
        self.pid = pid
        self.answer("")

    @staticmethod
    def clear_away(pid, fd):
        os.close(fd)
        try:
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)
        except ProcessLookupError:
            pass
        except ChildProcessError:
            pass

    def read(self):
        try:
            return os.read(self.fd, 4096)
        except OSError:  # the other end is closed
            return b""

    def answer(self, typed, end=PROMPT):
        """What comes behind the line until the next prompt. The line may be echoed twice: the editor takes the terminal
        over only behind its prompt."""
        os.write(self.fd, typed.encode())
        seen = b""
        wanted = end.encode() if typed == "" else b"\n" + end.encode()
        while not seen.endswith(wanted):
            more = self.read()
            if not more:
                self.fail(f"the shell has ended; seen: {seen!r}")
            seen += more
        lines = seen.decode().replace("\r", "").split("\n")[1:-1]
        return lines[1:] if lines and lines[0] == typed.rstrip("\n") else lines

    def begin_to_edit(self):
        """Until the editor, and not the terminal, sees keys as they come: it makes "version " of this."""
        os.write(self.fd, b"versio\t")
        seen = b""
        while b"n" not in seen:
            seen += self.read()

    def end(self, typed):
        """The exit status."""
        if HAS_EDITOR:
            self.begin_to_edit()
            os.write(self.fd, b"\x15")  # clears the line
        os.write(self.fd, typed.encode())
        while self.read():
            pass
        return os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])


class OnATerminal(Terminal):
    def test_answers_and_the_end(self):
        self.start()
        self.assertEqual(["OK"], self.answer("create vlan a\n"))
        self.assertEqual(['NG 1401: VLAN "a" already exists.'], self.answer("create vlan a\n"))
        self.assertEqual(["column 13: a closing quotation mark is missing"], self.answer('create vlan "b\n'))
        self.assertEqual(0, self.end("\x04"))
        self.start()
        self.assertEqual(0, self.end("exit\n"))

@unittest.skipUnless(HAS_EDITOR, "built without a line editor (apt-get install libedit-dev)")
class Edited(Terminal):
    def test_an_interrupt_empties_the_line(self):
        self.start()
        self.begin_to_edit()
        self.assertEqual([], self.answer("a\x03"))
        self.assertEqual(["OK"], self.answer("create vlan b\n"))
        self.assertEqual(["b"], [line.split()[1] for line in self.answer("show vlans\n")[1:]])
        self.assertEqual(0, self.end("\x04"))

    def said(self):
        """The sentences and commands that were typed, as they were completed."""
        return self.history.read_text().splitlines()

    def test_completion(self):
        self.piped('create vlan "in side" vid 10\ncreate vlan sales vid 20\ncreate port 103 npport 0 portType vif\n'
                   'create vlan "x\\"y z"\ncreate vlan "\\xc3\\xa4 b"\n')
        (self.folder / "service.play").write_text("create vlan b\n")
        self.start()
        for typed, completed in (
            ("cre\tpor\t1 npp\t2 portT\tet\t", "create port 1 npport 2 portType ether "),
            ("add port 10\tto vl\tsa\ttag on", "add port 103 to vlan sales tag on"),
            ("tolvane enable p\t1", "tolvane enable port 1"),
            # Names in quotation marks: begun with one, without, within, and where none is needed.
            ('set vlan "i\t', 'set vlan "in side" '),
            ("set vlan i\t", 'set vlan "in side" '),
            ('set vlan "in s\t', 'set vlan "in side" '),
            ('set vlan "\t', 'set vlan "'),
            ('set vlan "sa\t', 'set vlan "sales" '),
            ('set vlan "x\\"y \t', 'set vlan "x\\"y z" '),
            ('create vlan "ä b" v\t7', 'create vlan "ä b" vid 7'),
            ("set color 1/2/3/ye\tdr\ttai\t", "set color 1/2/3/yellow drop_type taildrop "),
            # Commands: what can be shown, options and their values, limits, functions, what there is help for.
            ("show me\t", "show members "),
            ("lo\t--la\t3", "log --last 3"),
            ("graph --vlan sa\t", "graph --vlan sales "),
            ("lag 10\tof\t", "lag 103 off "),
            ("limit vi\t", "limit vi"),
            ("limit rul\t7", "limit rules_per_clslist 7"),
            ("fail brgfdb_create_vl\t14", "fail brgfdb_create_vlan 14"),
            ("help apply\t", "help apply "),
            ("help se\tet\t", "help set ether "),
            (f"play {self.folder}/ser\t", f"play {self.folder}/service.play "),
            ("nothing is li\t", "nothing is li"),
        ):
            with self.subTest(typed=typed):
                self.answer(typed + "\n")
                self.assertEqual(completed, self.said()[-1])
        self.assertIn("vlans_and_fwdlists", " ".join(self.answer("limit vlans\t\t\n")))  # a second tab lists

    def test_history(self):
        self.start()
        self.answer("create vlan a\n")
        self.answer("create vlan a\n")
        self.answer("\n")
        self.answer("version # once\n")
        self.assertEqual(["1.3.0"], self.answer("\x1b[A\n")[-1:])
        self.assertEqual(["create vlan a", "version # once"], self.said())
        os.kill(self.pid, signal.SIGKILL)  # nothing is lost by that
        self.start()
        self.answer("\x1b[A\x1b[A\n")
        self.assertEqual(["create vlan a", "version # once", "create vlan a"], self.said())
        self.assertEqual((0o700, 0o600), tuple(stat.S_IMODE(path.stat().st_mode)
                                               for path in (self.history.parent, self.history)))

    def test_the_history_does_not_grow_without_end(self):
        self.history.parent.mkdir(parents=True)
        for count, kept in ((1999, 1999), (2000, 1000), (2345, 1000)):
            self.history.write_text("".join(f"version # {line}\n" for line in range(count)))
            self.start()
            self.assertEqual(["1.3.0"], self.answer("\x1b[A\n")[-1:])
            lines = self.said()
            self.assertEqual((kept, f"version # {count - 1}"), (len(lines), lines[-1]))
            self.assertEqual([self.history], list(self.history.parent.iterdir()))

    def test_a_history_that_cannot_be_kept_is_in_nobodys_way(self):
        self.history.mkdir(parents=True)
        self.start()
        self.assertEqual(["OK"], self.answer("create vlan a\n"))
        self.environment |= {"XDG_STATE_HOME": "", "HOME": ""}
        self.start()
        self.assertEqual(["OK"], self.answer("create vlan b\n"))


if __name__ == "__main__":
    unittest.main()
