"""A fault at each library call of each sentence, by `emuswitch fail`.

Prints what came of each: the table of the campaign (ctest -V -R system.faults).
"""

import collections
import re
import shutil
import sys
import unittest

from switch import SOURCE, Switch, read_cases

sys.path.insert(0, str(SOURCE / "tests/docs"))
from sentences import dispatch_rows, row_of  # noqa: E402

STATUS = 4711  # none of the tool's
SERVICE = SOURCE / "tests/system/full_service.txt"


def library_functions():
    """The functions that the headers of the libraries declare."""
    names = []
    for header in sorted((SOURCE / "src/platform").glob("*.h")):
        names += re.findall(r"^int32_t (\w+)\(", header.read_text(), re.M)
    return names


def rows(switch):
    """What there is on the switch and in the side tables."""
    tables = switch.tables("call_log", "trap_event", "limits", "fault")
    return {(name, row) for name, found in tables.items() for row in found}


class Faults(unittest.TestCase):
    def test_each_function_is_made_to_fail_by_its_name(self):
        functions = library_functions()
        self.assertEqual(80, len(functions))
        with Switch() as switch:
            for function in functions:
                switch.companion("fail", function, "2002", "--at", "3", "--times", "2")
            listed = switch.companion("fail", "--list").stdout
            for function in functions:
                self.assertRegex(listed, rf"(?m)^{function} +2002 +3 +2$")
            refused = switch.companion("fail", "brgfdb_no_such", "1", check=False)
            self.assertEqual(1, refused.returncode)
            self.assertIn('no library has a function "brgfdb_no_such"', refused.stderr)
            switch.companion("fail", "--clear")
            self.assertEqual([], switch.query("SELECT * FROM fault"))

    def test_at_and_times_count_the_calls(self):
        with Switch() as switch:
            switch.companion("fail", "brgfdb_create_classify_profile", "2602", "--at", "2", "--times", "2")
            codes = [switch.say(f"create clslist {number}").code for number in range(1, 6)]
            self.assertEqual([0, 2602, 2602, 0, 0], codes)
            self.assertEqual([(1,), (4,), (5,)], switch.query("SELECT list FROM classify_list ORDER BY list"))

    def inject(self, switch, before, sentence, calls, at, after):
        """The sentence on the switch as it was, with its call `at` refused. Returns the outcome."""
        shutil.copyfile(before, switch.store)
        function = calls[at]
        skip = calls[:at].count(function)
        had = rows(switch)
        last = switch.query("SELECT coalesce(max(id), 0) FROM call_log")[0][0]
        switch.change("INSERT INTO fault (function, status, skip, times) VALUES (?, ?, ?, 1)", function, STATUS, skip)
        answer = switch.say(sentence)
        place = f"{sentence}: {function}, its call {skip + 1}"

        self.assertEqual(("", 0), (answer.errors, answer.status), place)
        self.assertRegex(answer.outcome, r'^(OK|NG \d+ ".*")$', place)
        self.assertIn(answer.code, (0, 102, 103, STATUS), place)
        self.assertEqual([], switch.query("SELECT * FROM fault"), f"not played: {place}")
        logged = [row[0] for row in switch.query("SELECT call FROM call_log WHERE id > ? ORDER BY id", last)]
        logged = [call for call in logged if not call.startswith("getprotobyname")]
        self.assertTrue(logged[at].startswith(function + "(") and " = -1" in logged[at], f"{place}: {logged}")
        self.assertEqual([], switch.damage(), place)
        # What the sentence takes away, or makes, when all goes well is all that may have changed.
        has = rows(switch)
        self.assertEqual(set(), (had & after) - has, f"lost: {place}")
        self.assertEqual(set(), {row for row in has - had - after if not self.is_on_the_way(row)}, f"odd: {place}")
        return answer.outcome

    @staticmethod
    def is_on_the_way(row):
        """A row that a whole sentence changes once more: a stream without type or port, a queue without stream."""
        return row[0] in ("stream", "queue")

    def test_a_fault_at_each_call_of_each_sentence(self):
        done = set()
        hit = collections.Counter()
        lines = []
        with Switch() as switch, Switch() as copy:
            before = copy.folder / "before.db"
            switch.companion("reset")  # makes the store
            for sentence in (case.sentence for case in read_cases(SERVICE)):
                shutil.copyfile(switch.store, before)
                last = switch.query("SELECT coalesce(max(id), 0) FROM call_log")[0][0]
                answer = switch.say(sentence)
                calls = [row[0].partition("(")[0] for row in
                         switch.query("SELECT call FROM call_log WHERE id > ? ORDER BY id", last)]
                calls = [call for call in calls if call != "getprotobyname"]
                kind = (row_of(sentence.split()), tuple(dict.fromkeys(calls)))
                if not answer.is_accepted or kind in done:
                    continue
                done.add(kind)
                after = rows(switch)
                for at, function in enumerate(calls):
                    outcome = self.inject(copy, before, sentence, calls, at, after)
                    hit[function] += 1
                    lines.append(f"{sentence[:58]:58}  {at + 1:2} {function:41} {outcome}")
        print("\n".join(lines))
        print(f"{len(lines)} faults at {len(hit)} functions, in {len({row for row, _ in done})} rows of the dispatch table")
        self.assertEqual(set(), set(library_functions()) - set(hit))
        without_calls = {("set", "ether", "share"), ("set", "ether", "")}
        self.assertEqual(set(dispatch_rows()) - without_calls, {row for row, _ in done if row not in without_calls})


if __name__ == "__main__":
    unittest.main()
