"""Plays the transcripts of this folder: sentences, frames, and all that comes out of the switch.

    # a comment
    $ add port 1 to vlan sales tag on       a sentence, which the switch has to accept
    $ emuswitch limit fdb_entries 100       a command of emuswitch
    ! UPDATE mirror SET tag_vid = 4096      a change of the store past all sentences: what an older store may hold
    > 2 tag vid 20 pri 5                    a frame into a port, by its fields, or `hex` and its digits;
    > at 600 2 tag vid 20                   ... at a time, in seconds
    flooded in sales                        what becomes of it: forwarded, flooded, delivered, or dropped: REASON
      1 tag vid 20 pri 5, queue 1/1/0       what leaves: the port, the tags, the queue (else best effort)
      3 untagged
      4 as received, mirror 1

Frames with names and times go through the queues, all of a block together, and what is told is which leaves when:

    ~ a 1 tag vid 20 length 1208 x 3        three frames at once, a1 to a3, into port 1
    ~ b at 50 3 tag vid 20                  one after 50 microseconds, into port 3
    2 sends a1 at 0, b at 100, a2, a3       in this order, at these microseconds where they are told
    lost a4 queue_full, a5 red              what did not leave, and why

The switch itself is the port `switch`. Behind the outcome stand, each after a semicolon, what else has to hold:
`class 2/5/green`, the name of a step, `no` and one, `kept SETTING`, `assumption 13`, `not assumption 13`. Every output
has to be listed: one that is not makes the transcript fail.

    transcripts_test.py FILE ...
"""

import json
import pathlib
import re
import subprocess
import sys

import timed_frames
from frames import frame_of_words, tags_of_words, told_tags

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(TESTS / "system"), str(TESTS / "companion")]
from json_schema import problems as schema_problems  # noqa: E402  pylint: disable=wrong-import-position
from switch import COMPANION, Switch  # noqa: E402  pylint: disable=wrong-import-position

SCHEMA = json.loads((TESTS.parent / "docs/trace.schema.json").read_text())


class Told:
    """What the switch said of a frame, in the words of a transcript."""

    def __init__(self, received, answer):
        self.answer = answer
        self.outcome = answer["verdict"]
        if answer["verdict"] == "dropped":
            self.outcome += ": " + answer["reason"]
        elif answer["vlan"] and answer["verdict"] != "delivered":
            self.outcome += " in " + answer["vlan"]["name"]
        self.outputs = sorted(self.told_output(received, output) for output in answer["outputs"])

    @staticmethod
    def told_output(received, output):
        frame = bytes.fromhex(output["frame"])
        port = "switch" if output["port"] is None else str(output["port"])
        tags, rest = told_tags(frame)
        is_as_received = frame == received
        _, received_rest = told_tags(received)
        if frame[:12] != received[:12] or (rest != received_rest and not is_as_received):
            tags = frame.hex()  # its words do not tell what is wrong
        ends = f", queue {output['queue']}" if output["queue"] else ""
        ends += f", mirror {output['mirror']}" if output["mirror"] else ""
        return port, tags, ends, frame

    def has(self, detail):
        words = detail.split()
        steps = self.answer["steps"]
        if words[0] == "class":
            of = self.answer["class"]
            return of is not None and detail == f"class {of['stream']}/{of['class']}/{of['color']}"
        if words[0] == "assumption":
            return int(words[1]) in self.answer["assumptions"]
        if words[:2] == ["not", "assumption"]:
            return int(words[2]) not in self.answer["assumptions"]
        if words[0] == "kept":
            return any(step["step"] == "kept" and step["setting"] == words[1] for step in steps)
        if words[0] == "no":
            return all(step["step"] != words[1] for step in steps)
        return any(step["step"] == detail for step in steps)

    def __str__(self):
        lines = [self.outcome] + [f"  {port} {tags}{ends}" for port, tags, ends, _ in self.outputs]
        steps = ", ".join(step["step"] for step in self.answer["steps"])
        return "\n".join(lines) + f"\n({steps}; class {self.answer['class']})"


class Player:
    """One switch, and the frames that go through it."""

    def __init__(self):
        self.switch = Switch()
        self.frames = subprocess.Popen([COMPANION, "trace", "--json", "--learn", "-"], env=self.switch.environment,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def close(self):
        self.frames.stdin.close()
        self.frames.wait(60)
        self.frames.stdout.close()
        self.switch.__exit__()

    def say(self, sentence):
        """Returns why the sentence was not accepted, or nothing."""
        if sentence.startswith("emuswitch "):
            self.switch.command(sentence)
            return ""
        answer = self.switch.say(sentence)
        return "" if answer.is_accepted else f"{answer.outcome}{answer.errors}"

    def send_timed(self, lines):
        """What leaves each port in its order, and what was lost, as lines of a transcript."""
        left, lost = timed_frames.send(self.switch, timed_frames.timed_frames(lines))
        told = []
        for port in sorted({leaving.port for leaving in left}):
            its = [f"{leaving.name} at {leaving.time / 1000:g}" for leaving in left if leaving.port == port]
            told.append(f"{port} sends " + ", ".join(its))
        if lost:
            told.append("lost " + ", ".join(f"{name} {reason}" for name, reason in lost.items()))
        return told

    def send(self, when, port, frame):
        self.frames.stdin.write(f"{when}{port} {frame.hex()}\n")
        self.frames.stdin.flush()
        return json.loads(self.frames.stdout.readline())


def received_of(words):
    """(time, port, bytes) of the words behind `>`."""
    when = ""
    if words[0] == "at":
        when = f"at {words[1]} "
        words = words[2:]
    if words[1:2] == ["hex"]:
        return when, words[0], bytes.fromhex("".join(words[2:]))
    return when, words[0], b"".join(frame_of_words(words[1:]))


def expected_output(line, received):
    """(port, tags and ends for the eye, bytes, ends) of an output line."""
    port, _, rest = line.partition(" ")
    tags, *ends = rest.split(", ")
    ends = "".join(f", {end}" for end in ends)
    if tags == "as received":
        return port, ends, received
    _, behind = told_tags(received)
    return port, ends, received[:12] + (b"" if tags == "untagged" else tags_of_words(tags.split())) + behind


def check(told, outcome, lines, received):
    """What does not hold, as lines."""
    wanted, *details = outcome.split("; ")
    problems = [] if told.outcome == wanted else [f"expected {wanted}"]
    problems += [f"missing: {detail}" for detail in details if not told.has(detail)]
    expected = sorted(expected_output(line, received) for line in lines)
    found = sorted((port, ends, frame) for port, _, ends, frame in told.outputs)
    problems += [f"not listed: {port}{ends} {frame.hex()}" for port, ends, frame in found
                 if (port, ends, frame) not in expected]
    problems += [f"did not leave: {port}{ends} {frame.hex()}" for port, ends, frame in expected
                 if (port, ends, frame) not in found]
    if not problems and found != expected:
        problems.append("an output is there more often than listed")
    return problems


def without_untold_times(wanted, told):
    """The told line, without the times that the wanted one does not tell."""
    if not wanted.split(" ")[1:2] == ["sends"] or wanted.count(",") != told.count(","):
        return told
    return ",".join(of if " at " in to else of.rpartition(" at ")[0]
                    for to, of in zip(wanted.split(","), told.split(",")))


def check_timed(told, wanted):
    """What does not hold, as lines."""
    if len(told) == len(wanted):
        shown = [without_untold_times(*lines) for lines in zip(wanted, told)]
        if shown == wanted:
            return []
    return ["what became of them:", *told]


class Transcript:
    def __init__(self, path):
        self.path = path
        self.lines = path.read_text().splitlines()
        self.failures = []
        self.frame_count = 0

    def fail(self, number, text):
        self.failures.append(f"{self.path}:{number}: {text}")

    def expectation(self, at):
        """The outcome and the outputs below a frame, and where they end."""
        outcome = self.lines[at] if at < len(self.lines) else ""
        end = at + 1
        while end < len(self.lines) and self.lines[end].startswith("  "):
            end += 1
        return outcome, [line.strip() for line in self.lines[at + 1:end]], end

    def play_timed(self, player, at):
        """Frames with times from that line on; returns where they and what became of them ends."""
        begin = at
        while at < len(self.lines) and self.lines[at].startswith("~ "):
            at += 1
        end = at
        while end < len(self.lines) and re.match(r"(\d+|switch) sends |lost ", self.lines[end]):
            end += 1
        sent = [line[2:] for line in self.lines[begin:at]]
        self.frame_count += len(sent)
        if problems := check_timed(player.send_timed(sent), self.lines[at:end]):
            self.fail(begin + 1, "\n".join(problems))
        return end

    def play(self, player):
        at = 0
        while at < len(self.lines):
            line = self.lines[at]
            number = at + 1
            at += 1
            if line.startswith("$ "):
                if problem := player.say(line[2:]):
                    self.fail(number, f"{line[2:]}: {problem}")
            elif line.startswith("! "):
                player.switch.change(line[2:])
            elif line.startswith("~ "):
                at = self.play_timed(player, at - 1)
            elif line.startswith("> "):
                when, port, received = received_of(line[2:].split())
                outcome, outputs, at = self.expectation(at)
                self.frame_count += 1
                answer = player.send(when, port, received)
                if "error" in answer:
                    self.fail(number, answer["error"])
                    continue
                for problem in schema_problems(answer, SCHEMA):
                    self.fail(number, f"not of the schema: {problem}")
                told = Told(received, answer)
                if problems := check(told, outcome, outputs, received):
                    self.fail(number, "\n".join([line, *problems, "what became of it:", str(told)]))
            elif line and not line.startswith("#"):
                self.fail(number, f"neither a sentence nor a frame: {line}")


def main():
    failures = []
    for name in sys.argv[1:]:
        transcript = Transcript(pathlib.Path(name))
        player = Player()
        try:
            transcript.play(player)
        finally:
            player.close()
        if transcript.frame_count == 0:
            transcript.fail(1, "has no frame")
        failures += transcript.failures
    print("\n\n".join(failures), end="\n" if failures else "")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
