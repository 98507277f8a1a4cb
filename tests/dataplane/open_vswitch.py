"""An Open vSwitch of one's own: its database, its daemon with a datapath that moves nothing, and its answers.

Everything lies in one folder; the service of the system is not touched.
"""

import json
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile

SCHEMA = pathlib.Path("/usr/share/openvswitch/vswitch.ovsschema")
PROGRAMS = ("ovsdb-tool", "ovsdb-server", "ovs-vswitchd", "ovs-vsctl")
LOCAL_PORT = 100  # of the bridge itself, in the datapath


def missing():
    """What has to be installed, or nothing."""
    search = os.environ["PATH"] + ":/usr/sbin:/sbin"
    absent = [name for name in PROGRAMS if not shutil.which(name, path=search)]
    return "openvswitch-switch" if absent or not SCHEMA.exists() else ""


class Control:
    """The control socket of a daemon: JSON-RPC, one answer for each request."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(120)
        self.socket.connect(str(path))
        self.decoder = json.JSONDecoder()
        self.text = ""

    def close(self):
        self.socket.close()

    def ask(self, method, *words):
        self.socket.sendall(json.dumps({"id": 0, "method": method, "params": list(words)}).encode())
        while True:
            try:
                answer, end = self.decoder.raw_decode(self.text)
                break
            except ValueError:
                received = self.socket.recv(65536)
                if not received:
                    raise RuntimeError(f"ovs-vswitchd went away at {method} {words}") from None
                self.text += received.decode()
        self.text = self.text[end:].lstrip()
        if answer["error"]:
            raise RuntimeError(f"{method} {' '.join(words)}: {answer['error']}")
        return answer["result"]


class OpenVSwitch:
    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="open-vswitch-"))
        self.environment = dict(os.environ, PATH=os.environ["PATH"] + ":/usr/sbin:/sbin", OVS_RUNDIR=str(self.folder),
                                OVS_DBDIR=str(self.folder), OVS_LOGDIR=str(self.folder))
        self.daemons = []
        try:
            self.start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for daemon in self.daemons:
            daemon.terminate()
            daemon.wait(60)
        shutil.rmtree(self.folder)

    def start(self):
        database = f"unix:{self.folder}/db.sock"
        self.run("ovsdb-tool", "create", "conf.db", str(SCHEMA))
        self.daemon("ovsdb-server", "conf.db", f"--remote=p{database}", f"--unixctl={self.folder}/db.ctl", "-vconsole:off")
        self.wait_for("db.sock")
        self.vsctl = ["ovs-vsctl", f"--db={database}", "--timeout=120"]
        self.run(*self.vsctl, "--no-wait", "init")
        self.daemon("ovs-vswitchd", database, "--enable-dummy=override", "--disable-system",
                    f"--unixctl={self.folder}/vswitchd.ctl", "-vconsole:off")
        self.wait_for("vswitchd.ctl")
        self.control = Control(self.folder / "vswitchd.ctl")

    def run(self, *words):
        done = subprocess.run(words, cwd=self.folder, env=self.environment, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(words)}: {done.stderr}")

    def daemon(self, *words):
        self.daemons.append(subprocess.Popen(words, cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                                             stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))

    def wait_for(self, name):
        """Until the daemon listens there."""
        path = self.folder / name
        while True:
            with socket.socket(socket.AF_UNIX) as probe:
                try:
                    probe.connect(str(path))
                    return
                except OSError:
                    if self.daemons[-1].poll() is not None:
                        raise RuntimeError(f"{self.daemons[-1].args[0]} ended before it listened") from None
                    os.sched_yield()

    def configure(self, commands):
        """Makes the bridge anew, with these commands behind."""
        base = ["--if-exists", "del-br", "br0", "--", "add-br", "br0", "--", "set", "bridge", "br0",
                "datapath-type=dummy", "fail-mode=standalone"]
        self.run(*self.vsctl, *base, *(word for command in commands for word in ("--", *command)))

    def send(self, port, frame):
        """What leaves: a list of (port, bytes)."""
        text = self.control.ask("ofproto/trace", "br0", f"in_port={port}", frame.hex())
        start = text.rindex("Datapath actions: ") + len("Datapath actions: ")
        return outputs_of(text[start:].split("\n", 1)[0], frame)


def actions_of(text):
    """Splits at commas that stand in no parentheses."""
    actions = []
    depth = 0
    for piece in text.split(","):
        if depth > 0:
            actions[-1] += "," + piece
        else:
            actions.append(piece)
        depth += piece.count("(") - piece.count(")")
    return actions


def outputs_of(text, frame):
    outputs = []
    if text.strip() == "drop":
        return outputs
    for action in actions_of(text.strip()):
        if action.isdigit():
            if int(action) != LOCAL_PORT:
                outputs.append((int(action), frame))
        elif action == "pop_vlan":
            frame = frame[:12] + frame[16:]
        elif action.startswith("push_vlan("):
            values = dict(part.split("=") for part in action[len("push_vlan("):-1].split(","))
            tag_type = int(values.get("tpid", "0x8100"), 16)
            control = int(values["pcp"]) << 13 | int(values["vid"])
            frame = frame[:12] + tag_type.to_bytes(2, "big") + control.to_bytes(2, "big") + frame[12:]
        else:
            raise ValueError(f"unknown action {action} in {text}")
    return outputs
