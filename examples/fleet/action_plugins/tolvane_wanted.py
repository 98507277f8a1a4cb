"""Makes a switch what a file of sentences says, over the connection that Ansible has to it.

The switch needs no Python: each sentence is one command. What the switch holds cannot be asked, so an emulated switch on
this machine, the shadow, is told what the real one has accepted, and `emuswitch diff` of the shadow and the file is what
is still to be said. Of the answers, OK is "changed"; a refusal because all is so already is "ok"; any other refusal, and
what the switch does not understand, is "failed", and ends the sentences for that switch.

    tolvane_wanted:
      file: wanted/access1.play
      shadow: shadows/access1.db
      command: tolvane            # how the switch is told, for a shell there
"""

import fcntl
import os
import pathlib
import shlex
import subprocess

from ansible.errors import AnsibleActionFail, AnsibleConnectionFailure, AnsibleError
from ansible.plugins.action import ActionBase

try:
    import tolvane
except ImportError:
    tolvane = None


class Shadow:
    """The emulated switch that has been told what the real one accepted, and the sentence that is on its way."""

    def __init__(self, store):
        self.store = pathlib.Path(store).absolute()
        self.pending = self.store.with_suffix(".pending")
        self.switch = tolvane.EmulatedSwitch(self.store)

    def lock(self):
        """Another run on the same switch waits. The lock goes with the process."""
        self.store.parent.mkdir(parents=True, exist_ok=True)
        lock = os.open(self.store.with_suffix(".lock"), os.O_CREAT | os.O_RDWR | os.O_CLOEXEC, 0o666)
        fcntl.flock(lock, fcntl.LOCK_EX)

    def lines_to(self, wanted):
        """What emuswitch diff prints, without remarks. A switch that was never told anything is an empty one."""
        known = str(self.store) if self.store.exists() else os.devnull
        done = subprocess.run(["emuswitch", "diff", known, str(wanted)], capture_output=True, text=True, check=False)
        if done.returncode not in (0, 1):
            raise AnsibleActionFail(done.stderr.strip())
        lines = [line for line in done.stdout.splitlines() if not line.startswith("#")]
        if own := [line for line in lines if line.startswith("emuswitch ")]:
            raise AnsibleActionFail(f"no sentence makes a switch so: {own[0]}")
        return lines

    def unfinished(self):
        """The sentence whose answer nobody has seen, since a run was cut short."""
        return self.pending.read_text() if self.pending.exists() else None

    def begin(self, sentence):
        self.pending.write_text(sentence)

    def finish(self, sentence):
        self.switch.require(sentence)
        self.pending.unlink()

    def give_up(self):
        self.pending.unlink()


class ActionModule(ActionBase):
    _supports_check_mode = True

    def run(self, tmp=None, task_vars=None):
        result = super().run(tmp, task_vars)
        if tolvane is None:
            raise AnsibleActionFail("the Python module tolvane is missing on this machine; install python3-tolvane")
        words = self._task.args
        if unknown := set(words) - {"file", "shadow", "command"} or {"file", "shadow"} - set(words):
            raise AnsibleActionFail(f"tolvane_wanted takes file, shadow and command: {', '.join(sorted(unknown))}")
        shadow = Shadow(words["shadow"])
        shadow.lock()
        lines = shadow.lines_to(self._loader.path_dwim(words["file"]))
        result.update(changed=False, sentences=lines, left=len(lines))
        if self._task.diff:
            result["diff"] = {"prepared": "".join(f"{line}\n" for line in lines)}
        if self._task.check_mode:
            result["changed"] = bool(lines)
            return result
        return self.say_all(shadow, lines, words.get("command", "tolvane"), result)

    def say_all(self, shadow, lines, command, result):
        switch = tolvane.Switch(lambda words: self.run_on_switch(command, words))
        unfinished = shadow.unfinished()
        try:
            for sentence in lines:
                shadow.begin(sentence)
                answer = switch.say(sentence)
                is_so = tolvane.is_already_so(answer, sentence) or (
                    # Only we can have made it, in the run that was cut short.
                    sentence == unfinished and tolvane.is_already_there(answer, sentence))
                if not answer.is_accepted and not is_so:
                    shadow.give_up()
                    return {**result, "failed": True, "code": answer.code, "sentence": sentence,
                            "msg": f"{sentence}: {answer}"}
                result["changed"] = result["changed"] or answer.is_accepted
                shadow.finish(sentence)
                result["left"] -= 1
        except (tolvane.Unreachable, tolvane.Unanswered, AnsibleConnectionFailure) as problem:
            return {**result, "unreachable": True, "msg": f"{problem}; the same run again goes on from there"}
        except tolvane.Refused as problem:
            return {**result, "failed": True, "msg": f"the switch took what its shadow refuses: {problem}"}
        return result

    def run_on_switch(self, command, words):
        line = " ".join([command, *(shlex.quote(os.fsdecode(word)) for word in words)])
        try:
            status, output, errors = self._connection.exec_command(line, sudoable=False)
        except AnsibleConnectionFailure:
            raise
        except AnsibleError as problem:
            raise tolvane.Unreachable(str(problem)) from problem
        if status != 0:  # tolvane itself always ends with 0
            raise tolvane.Unreachable(f"status {status}: {os.fsdecode(errors).strip()}")
        return output
