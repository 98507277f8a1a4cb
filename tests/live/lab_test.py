"""The walk through docs/lab.md, in the lab that scripts/lab makes."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import uuid

import wires

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tests/docs"))
from console_test import blocks_of, is_as_told  # noqa: E402

LAB = SOURCE / "scripts/lab"
PAGE = SOURCE / "docs/lab.md"


def run_lab(words, script, home):
    environment = {**os.environ, "TOLVANE_BUILD": os.environ["BUILD_FOLDER"], "TMPDIR": str(home), "LC_ALL": "C.UTF-8"}
    return subprocess.run([LAB, *words], input=script, env=environment, cwd=home, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False)


class Lab(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.home = pathlib.Path(tempfile.mkdtemp(prefix="lab-"))
        self.addCleanup(shutil.rmtree, self.home)

    def test_the_walk(self):
        commands = [command for block in blocks_of(PAGE) if block.language == "console" for command in block.commands()]
        self.assertGreater(len(commands), 10)
        mark = uuid.uuid4().hex
        script = "".join(f"{command}\nprintf %s {mark}\n" for command, _ in commands)
        done = run_lab(["bash", "--norc", "--noprofile", "-s"], script, self.home)
        outputs = done.stdout.split(mark)
        self.assertEqual(len(commands) + 1, len(outputs), done.stdout)
        for (command, told), output in zip(commands, outputs):
            with self.subTest(command=command):
                if not is_as_told(output, told):
                    self.assertEqual("".join(f"{line}\n" for line in told), output)

    def test_nothing_is_left(self):
        done = run_lab(["sh", "-c", "echo $LAB; exit 3"], "", self.home)
        self.assertEqual(3, done.returncode, done.stdout)
        self.assertFalse(pathlib.Path(done.stdout.strip()).exists())
        self.assertEqual([], list(self.home.iterdir()))

    def test_a_host_that_is_not_there(self):
        done = run_lab(["on", "nobody", "true"], "", self.home)
        self.assertEqual((2, "on HOST COMMAND ...; the hosts are desk1, desk2, guest and watch\n"),
                         (done.returncode, done.stdout))


def main():
    for program, package in (("unshare", "util-linux"), ("ip", "iproute2"), ("ping", "iputils-ping"),
                             ("tcpdump", "tcpdump"), ("iperf3", "iperf3")):
        if not shutil.which(program):
            wires.skip(f"there is no {program} (apt-get install {package})")
    if subprocess.run(["unshare", "-Urnm", "true"], capture_output=True, check=False).returncode != 0:
        wires.skip("no namespaces can be made here (sysctl kernel.unprivileged_userns_clone=1, or run as root)")
    unittest.main()


if __name__ == "__main__":
    main()
