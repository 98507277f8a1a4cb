"""What docs/result-document.md and its schema say holds for what the tool really prints."""

import pathlib
import re
import subprocess
import tempfile
import unittest

from sentences import SOURCE, run_tool
from transcripts import FOLDER, refusals

PAGE = SOURCE / "docs/result-document.md"
SCHEMA = SOURCE / "docs/result-document.xsd"

OK = ["create", "protgroup", "3"]
REFUSED = {
    1: ["set", "ether", "1", "share"],
    206: ["set", "port", "5", "aging", "300"],
    210: ["set", "queue", "1/1/0", "queue_length", "5000000"],
    301: ["set", "port", "1", "aftype", "some"],
}
SURPLUS = ["delete", "port", "1", "x"]
NOT_WELL_FORMED = [["set", "port", "1", "aftype", "<b>"], ["set", "port", "1", "ignoretag", "R&D"]]


def ng_document(code, message):
    return (b"<response>\n  <result>NG</result>\n  <error>\n    <errcode>%d</errcode>\n    <errmsg>%s</errmsg>\n"
            b"  </error>\n</response>\n" % (code, message))


def validate(document, *options):
    """The exit status of xmllint: 0 for a good document, 1 when it is not well-formed, 3 when it is not valid."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "result.xml")
        path.write_bytes(document)
        return subprocess.run(["xmllint", "--noout", *options, path], capture_output=True).returncode


class Schema(unittest.TestCase):
    def test_takes_what_the_tool_prints(self):
        for words in (OK, *REFUSED.values()):
            with self.subTest(words=words):
                self.assertEqual(0, validate(run_tool(words), "--schema", SCHEMA))

    def test_refuses_what_the_tool_never_prints(self):
        good = run_tool(REFUSED[206])
        for wrong in (good.replace(b"NG", b"MAYBE"), good.replace(b"206", b"many"), good.replace(b"errmsg", b"message"),
                      good.replace(b"port", b"port" * 40), run_tool(OK).replace(b"response", b"answer"),
                      re.sub(rb" *<errmsg>.*\n", b"", good)):
            with self.subTest(document=wrong):
                self.assertEqual(3, validate(wrong, "--schema", SCHEMA))

    def test_words_that_are_not_escaped(self):
        for words in NOT_WELL_FORMED:
            self.assertEqual(1, validate(run_tool(words)))


class Reader(unittest.TestCase):
    """The function that the page shows."""

    def setUp(self):
        code = re.search(r"^```python\n(.*?)^```$", PAGE.read_text(), re.M | re.S)[1]
        names = {}
        exec(compile(code, str(PAGE), "exec"), names)  # pylint: disable=exec-used
        self.read = names["read_result"]

    def test_real_outputs(self):
        self.assertEqual(("OK", None, None, b""), self.read(run_tool(OK)))
        for code, words in REFUSED.items():
            self.assertEqual(("NG", code), self.read(run_tool(words))[:2])
        for words in NOT_WELL_FORMED:
            self.assertIn(words[-1].encode(), self.read(run_tool(words))[2])
        self.assertEqual("surplus", self.read(run_tool(SURPLUS))[0])
        self.assertEqual("usage", self.read(run_tool([]))[0])
        self.assertEqual(("display", None, None, b""), self.read(run_tool(["set", "ether", "1", "x"])))

    def test_every_refusal_of_the_contract(self):
        for place, code, message in refusals():
            for display in (b"", b"list 1\n"):
                document = display + ng_document(code, message)
                self.assertEqual(("NG", code, message, display), self.read(document), place)

    def test_messages_that_look_like_the_end(self):
        for message in (b"</errmsg>", b"a</errmsg>\n  </error>\n</response>\n", b"\n", b"<response>\n", b"\xff\x80"):
            self.assertEqual(("NG", 103, message, b""), self.read(ng_document(103, message)))

    def test_the_usage_text(self):
        self.assertEqual("usage", self.read((FOLDER / "usage.golden").read_bytes())[0])


if __name__ == "__main__":
    unittest.main()
