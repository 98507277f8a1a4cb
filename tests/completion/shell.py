"""A real bash that completes: as a function that is called, and as a shell on a terminal."""

import os
import pty
import re
import select
import signal
import subprocess


class Bash:
    """A bash that has read the completion of a program and answers what it offers."""

    def __init__(self, file, environment=None):
        self.program = file.name
        self.process = subprocess.Popen(
            ["bash", "--norc", "--noprofile", "-c", f"""
                set -u
                . {file}
                while read -r count; do
                  mapfile -t -n "$count" COMP_WORDS
                  COMP_CWORD=$((count - 1)) COMP_LINE="${{COMP_WORDS[*]}}" COMP_POINT=${{#COMP_LINE}}
                  _{file.name} "${{COMP_WORDS[0]}}" "${{COMP_WORDS[-1]}}" "${{COMP_WORDS[-2]}}"
                  printf '%s\\n' "${{#COMPREPLY[@]}}" "${{COMPREPLY[@]}}"
                done
            """],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=environment)

    def offers(self, *words):
        """What is offered for the last word. The pieces are those that readline would make of the line."""
        pieces = [self.program]
        for word in words:
            pieces += re.findall(r"[:=]+|[^:=]+", word) or [""]
        self.process.stdin.write(f"{len(pieces)}\n" + "".join(f"{piece}\n" for piece in pieces))
        self.process.stdin.flush()
        offered = [self.process.stdout.readline().rstrip("\n") for _ in range(int(self.process.stdout.readline()))]
        if len(offered) != len(set(offered)):
            raise AssertionError(f"{words}: offered twice: {offered}")
        return set(offered)

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Terminal:
    """An interactive bash on a terminal of its own."""

    def __init__(self, setup, environment):
        self.seen = ""
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.execvpe("bash", ["bash", "--norc", "--noprofile", "-i"], {**os.environ, **environment})
        # The prompt is put together by bash, so that the echo of this line cannot be taken for it.
        self.type(f"bind 'set enable-bracketed-paste off'; {setup}; PS1='rea''dy> '\n")
        self.expect("ready> ")

    def type(self, text):
        os.write(self.fd, text.encode())

    def expect(self, text):
        """Reads until the text comes; fails when the shell stays silent for too long."""
        while text not in self.seen:
            if not select.select([self.fd], [], [], 20)[0]:
                raise AssertionError(f"{text!r} did not come; seen: {self.seen!r}")
            try:
                self.seen += os.read(self.fd, 4096).decode()
            except OSError as problem:
                raise AssertionError(f"bash has ended; seen: {self.seen!r}") from problem
        self.seen = self.seen[self.seen.index(text) + len(text):]

    def close(self):
        os.close(self.fd)
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
