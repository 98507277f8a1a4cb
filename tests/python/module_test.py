"""The Python module: on the emulated switch, on answers made by hand, and its page."""

import doctest
import json
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tests/docs"))
if os.environ.get("TOLVANE_MODULE") != "installed":
    sys.path.insert(0, str(SOURCE / "python"))

import tolvane  # noqa: E402
from transcripts import FOLDER, refused_sentences  # noqa: E402

EMUSWITCH = os.environ["COMPANION"]
PAGE = SOURCE / "docs/python.md"
ODD_WORDS = [b"", b" ", b"two words", b"tab\tand\nline", b"\xff\x80", "\u00fc".encode(), b'"', b"\\", b"#", b"\\x41",
             b"a#b", b"'", b"$(reboot)", b";", b"`", b"-x", b"\x01\x7f"]


def ng(code, message):
    return (b"<response>\n  <result>NG</result>\n  <error>\n    <errcode>%d</errcode>\n    <errmsg>%s</errmsg>\n"
            b"  </error>\n</response>\n" % (code, message))


class InFolder(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="python-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def switch(self):
        return tolvane.EmulatedSwitch(self.folder / "switch.db", companion=EMUSWITCH)

    def program(self, name, text):
        path = self.folder / name
        path.write_text(text)
        path.chmod(path.stat().st_mode | stat.S_IXUSR)
        return str(path)


class Reading(unittest.TestCase):
    def test_every_refusal_of_the_contract(self):
        for place, _, code, message in refused_sentences():
            for display in (b"", b"clslist 1: 1 rule\n"):
                result = tolvane.read_result(display + ng(code, message))
                self.assertEqual((tolvane.Kind.NG, code, message, display),
                                 (result.kind, result.code, result.message, result.display), place)
                self.assertFalse(result.is_accepted)

    def test_messages_that_look_like_the_end(self):
        for message in (b"</errmsg>", b"a</errmsg>\n  </error>\n</response>\n", b"\n", b"<response>\n", b"\xff\x80"):
            self.assertEqual(message, tolvane.read_result(ng(-5, message)).message)
        self.assertEqual(-5, tolvane.read_result(ng(-5, b"x")).code)

    def test_the_other_forms(self):
        for output, kind in (((FOLDER / "usage.golden").read_bytes(), tolvane.Kind.USAGE),
                             (b"no more argument\n", tolvane.Kind.SURPLUS), (b"", tolvane.Kind.NOTHING),
                             (b"clslist 1\n", tolvane.Kind.DISPLAY)):
            self.assertEqual(kind, tolvane.read_result(output).kind)

    def test_what_was_cut_is_no_answer(self):
        whole = ng(103, b'VLAN "sales" does not exist.')
        for length in range(1, len(whole)):
            self.assertEqual(tolvane.Kind.DISPLAY, tolvane.read_result(whole[:length]).kind)

    def test_texts_for_people(self):
        self.assertEqual("NG 103: a\\xff", str(tolvane.read_result(ng(103, b"a\xff\n"))))
        self.assertEqual("OK", str(tolvane.Result(tolvane.Kind.OK)))


class Sentences(InFolder):
    def test_words_come_back(self):
        for word in ODD_WORDS:
            line = tolvane.quote_words([b"create", word, "x"])
            self.assertTrue(line.isascii())
            self.assertEqual([b"create", word, b"x"], tolvane.split_words(line), line)

    def test_it_is_the_notation_of_the_emulated_switch(self):
        switch = self.switch()
        names = sorted(word for word in ODD_WORDS if len(word) in range(1, 32))
        for name in names:
            switch.require([b"create", b"vlan", name])
        path = self.folder / "saved.play"
        path.write_text(switch.config())
        self.assertEqual(names, sorted(sentence.words[2] for sentence in tolvane.read_sentences(path)))
        path.write_text("".join(f"{tolvane.quote_words(['create', 'vlan', name])}\n" for name in names))
        switch.reset()
        switch.companion("play", str(path))
        self.assertEqual(len(names), len(switch.show("vlans")["vlans"]))

    def test_what_is_no_sentence_is_told_with_file_and_line(self):
        path = self.folder / "wrong.play"
        for text, reason in (('create vlan "a', "closing quotation mark"), (r'create vlan "\q"', "means nothing"),
                             (r'create vlan "\x0"', "means nothing"), (r'create vlan "\x00"', "byte 0"),
                             ('create vlan "a"b', "a blank is missing"), ("create vlan a\0b", "byte 0")):
            path.write_text(f"# first\n{text}\n")
            with self.assertRaises(ValueError) as raised:
                list(tolvane.read_sentences(path))
            self.assertTrue(str(raised.exception).startswith(f"{path}:2: "), raised.exception)
            self.assertIn(reason, str(raised.exception))

    def test_a_byte_order_mark_is_told(self):
        path = self.folder / "marked.play"
        path.write_bytes(b"\xef\xbb\xbfcreate vlan a\n")
        with self.assertRaisesRegex(ValueError, "marked.play:1: .*byte-order mark"):
            list(tolvane.read_sentences(path))

    def test_a_saved_switch_is_made_again(self):
        switch = self.switch()
        for line in ("emuswitch limit vlans 7", "create vlan a", "create port 1 npport 1 portType ether", "emuswitch lag 1 on"):
            switch.require(line)
        path = self.folder / "saved.play"
        path.write_text(switch.config())
        switch.reset()
        sentences = list(tolvane.read_sentences(path))
        self.assertEqual(2, sum(sentence.is_for_emulated for sentence in sentences))
        for sentence in sentences:
            switch.require(sentence)
        self.assertEqual(path.read_text(), switch.config())
        with self.assertRaises(tolvane.Unreachable):
            switch.say("emuswitch limit moons 7")
        with self.assertRaises(ValueError):
            tolvane.Switch(lambda words: b"").say("emuswitch limit vlans 7")

    def test_blank_lines_and_comments_are_none(self):
        for line in ("", "  \t", "# create vlan a", "\r\n"):
            self.assertEqual([], tolvane.split_words(line))
        self.assertEqual([b"a#b"], tolvane.split_words("a#b # c"))


class Clients(InFolder):
    def test_answers_of_the_emulated_switch(self):
        switch = self.switch()
        self.assertTrue(switch.require("create vlan sales vid 10").is_accepted)
        self.assertEqual(1401, switch.say("create vlan sales").code)
        self.assertEqual(tolvane.Kind.NOTHING, switch.say("set ether 1 color blue").kind)
        self.assertEqual(tolvane.Kind.NG, switch.say("show clslist all").kind)
        switch.require("create clslist 1")
        switch.require("add classify 1/0/green normal x x x x x x x x x x to clslist 1")
        self.assertIn(b"1/0/green", switch.require("show clslist 1").display)
        with self.assertRaises(tolvane.Refused) as raised:
            switch.require("delete vlan guests")
        self.assertEqual(103, raised.exception.result.code)
        self.assertEqual("sales", switch.show()["vlans"][0]["name"])
        switch.reset()
        self.assertEqual("", switch.config())

    def test_say_all_stops_where_its_reader_does(self):
        switch = self.switch()
        for _, result in switch.say_all(["create vlan a", "create vlan a", "create vlan b"]):
            if not result.is_accepted:
                break
        self.assertEqual(["a"], [vlan["name"] for vlan in switch.show("vlans")["vlans"]])

    def test_what_emuswitch_says_on_failure(self):
        (self.folder / "switch.db").write_text("no switch at all")
        with self.assertRaisesRegex(tolvane.Unreachable, "switch.db"):
            self.switch().show()
        with self.assertRaisesRegex(tolvane.Unreachable, "nowhere"):
            tolvane.EmulatedSwitch(companion="/nowhere/emuswitch").say("create vlan a")

    def test_a_command_and_its_failures(self):
        echo = self.program("echo", "#!/bin/sh\nprintf '%s\\n' \"$@\"\n")
        self.assertEqual(b"first\nshow\nclslist\n\xff a\n",
                         tolvane.Switch(tolvane.command(echo, "first")).say([b"show", b"clslist", b"\xff a"]).display)
        for text, reason in (("exit 3", "status 3: no word of why"), ("echo broken >&2; exit 1", "broken"),
                             ("kill -9 $$", "status -9")):
            with self.assertRaisesRegex(tolvane.Unreachable, reason):
                tolvane.Switch(tolvane.command(self.program("fails", f"#!/bin/sh\n{text}\n"))).say("create vlan a")
        with self.assertRaises(tolvane.Unreachable):
            tolvane.Switch(tolvane.command("/nowhere/tolvane")).say("create vlan a")
        waits = self.program("waits", "#!/bin/sh\nexec cat /dev/zero >/dev/null\n")
        with self.assertRaisesRegex(tolvane.Unreachable, "no end within 0.1 seconds"):
            tolvane.Switch(tolvane.command(waits, timeout=0.1)).say("create vlan a")

    def test_words_survive_the_shell_at_the_other_end_of_ssh(self):
        # In the place of ssh: takes the options and the host, and has a shell read the line, as sshd does.
        self.program("ssh", '#!/bin/sh\n[ "$1 $2 $3" = "-q -- root@switch7" ] || exit 255\nexec sh -c "$4"\n')
        tool = self.program("tool", "#!/bin/sh\nfor word; do printf '%s\\0' \"$word\"; done\n")
        path = os.environ["PATH"]
        os.environ["PATH"] = f"{self.folder}:{path}"
        try:
            switch = tolvane.Switch(tolvane.ssh("root@switch7", "-q", tool=tool))
            words = [b"show", b"clslist", *ODD_WORDS]
            self.assertEqual(b"".join(word + b"\0" for word in words), switch.say(words).display)
            with self.assertRaisesRegex(tolvane.Unreachable, "status 255"):
                tolvane.Switch(tolvane.ssh("root@other", "-q", tool=tool)).say("create vlan a")
        finally:
            os.environ["PATH"] = path

    def test_what_cannot_be_the_answer(self):
        for output, sentence in ((b"", "create vlan a"), (b"<response>\n  <res", "create vlan a"),
                                 (b"clslist 1\n" + ng(110, b"x"), "create vlan a"), (b"rule\n", "set ether 1 shaping off")):
            with self.assertRaises(tolvane.Unanswered):
                tolvane.Switch(lambda words, output=output: output).say(sentence)

    def test_sentences_that_cannot_be_said(self):
        switch = tolvane.Switch(lambda words: self.fail("was run"))
        for sentence in ("", "# nothing", [], ["create", "a\0b"]):
            with self.assertRaises(ValueError):
                switch.say(sentence)


class Catalogue(InFolder):
    def test_every_refusal_of_the_contract_is_found(self):
        for place, sentence, code, message in refused_sentences():
            entry = tolvane.find_entry(tolvane.Result(tolvane.Kind.NG, code, message),
                                       re.findall(r'"(?:[^"\\]|\\.)*"|[^\s"]+', sentence))
            if len(message) < 127:
                self.assertIsNotNone(entry, place)
                self.assertIn(entry.code, (code, None), place)

    def test_what_is_none_is_not_found(self):
        for result in (tolvane.Result(tolvane.Kind.OK), tolvane.Result(tolvane.Kind.NG, 1401, b"of another version"),
                       tolvane.Result(tolvane.Kind.NG, 4711, b"x")):
            self.assertIn(tolvane.find_entry(result, "create mirror 1"), (None,))

    def test_already_so_means_that_nothing_is_left_to_do(self):
        """Each pair of the catalogue: after the refusal the sentence has nothing to wish for, on the emulated switch."""
        before = ["create port 1 npport 1 portType ether", "create port 2 npport 2 portType ether", "create vlan a",
                  "create protgroup 1", "create clslist 1", "create mirror 1", "set mirror 1 source port 1 in", "set mirror 1 dest port 2"]
        twice = {"enable port": "enable port 1", "enable mirror": "enable mirror 1",
                 "disable port": "disable port 1", "disable mirror": "disable mirror 1",
                 "create protgroup": "create protgroup 1", "create clslist": "create clslist 1",
                 "create mirror": "create mirror 1", "add protocol": "add protocol 88b5 to protgroup 1",
                 "remove protocol": "remove protocol 88b5 from protgroup 1", "delete port": "delete port 3",
                 "delete vlan": "delete vlan b", "delete stream": "delete stream 1/1",
                 "delete clslist": "delete clslist 2", "delete protgroup": "delete protgroup 2",
                 "delete mirror": "delete mirror 2", "remove port": "remove port 1 from vlan a",
                 "delete sfdbentry": "delete sfdbentry 00:11:22:33:44:55 in vlan a",
                 "delete lfdbentry": "delete lfdbentry 00:11:22:33:44:55 in port 1",
                 "remove clslist": "remove clslist 1 from port 1 vlan a"}
        self.assertEqual({command for entry in tolvane.entries() for command in entry.already_so}, set(twice))
        for command, sentence in twice.items():
            with self.subTest(command=command):
                switch = self.switch()
                switch.reset()
                for line in before:
                    switch.require(line)
                if command == "remove clslist":
                    switch.require("add port 1 to vlan a tag off")
                switch.say(sentence)
                state = switch.config()
                again = switch.say(sentence)
                self.assertTrue(tolvane.is_already_so(again, sentence), again)
                self.assertTrue(tolvane.is_already_there(again, sentence))
                self.assertEqual(state, switch.config())

    def test_a_doubt_stays_one(self):
        switch = self.switch()
        switch.require("create vlan sales vid 10")
        result = switch.say("create vlan sales vid 11")
        self.assertFalse(tolvane.is_already_so(result, "create vlan sales vid 11"))
        self.assertTrue(tolvane.is_already_there(result, "create vlan sales vid 11"))


class Module(InFolder):
    def test_the_page(self):
        blocks = "\n".join(re.findall(r"^```python\n(.*?)^```$", PAGE.read_text(), re.M | re.S))
        self.assertGreater(blocks.count(">>>"), 15)
        test = doctest.DocTestParser().get_doctest(blocks, {}, PAGE.name, str(PAGE), 0)
        runner = doctest.DocTestRunner(optionflags=doctest.IGNORE_EXCEPTION_DETAIL)
        told = []
        here, path = os.getcwd(), os.environ["PATH"]
        os.environ["PATH"] = f"{pathlib.Path(EMUSWITCH).parent}:{path}"
        os.chdir(self.folder)
        try:
            runner.run(test, out=told.append)
        finally:
            os.chdir(here)
            os.environ["PATH"] = path
        self.assertEqual(0, runner.failures, "".join(told))

    def test_it_has_the_version_of_the_project(self):
        version = os.environ["VERSION"]
        self.assertEqual(version, tolvane.__version__)
        self.assertIn(f'\nversion = "{version}"\n', (SOURCE / "python/pyproject.toml").read_text())

    def test_everything_offered_is_documented(self):
        for name in tolvane.__all__:
            self.assertTrue(getattr(tolvane, name).__doc__ or name == "Runner", name)

    def test_the_types_hold(self):
        if shutil.which("mypy") is None:
            self.skipTest("there is no mypy (apt-get install mypy)")
        done = subprocess.run(["mypy", "--strict", "--no-incremental", "--cache-dir", os.devnull, "tolvane"],
                              cwd=SOURCE / "python", capture_output=True, text=True)
        self.assertEqual(0, done.returncode, done.stdout + done.stderr)

    def test_the_catalogue_is_the_one_of_the_documents(self):
        self.assertEqual(len(json.loads((SOURCE / "docs/errors.json").read_text())["errors"]), len(tolvane.entries()))


if __name__ == "__main__":
    unittest.main()
