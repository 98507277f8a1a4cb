"""The live switch beside the Linux bridge and Open vSwitch's userspace datapath. bench/live runs it.

Prints frames of 64 bytes a second, the frames lost of 148,800 a second (the line rate of 100 Mbit/s) over four ports
and the processor time that each of these took, TCP between two hosts, and ping. All get the same interfaces with the
same settings, one after the other. Then how soon sentences are in effect on the live switch.
"""

import ctypes
import fcntl
import os
import pathlib
import re
import shutil
import signal
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time

BUILD = pathlib.Path(os.environ["TOLVANE_BUILD"]).resolve()
INSIDE = "LIVE_BENCH_IS_INSIDE"
STATIONS = [1, 2, 3, 4]  # raw frames come and go here
HOSTS = [5, 6]           # with an address, each in a namespace of its own
LINE_RATE = 148_800
SOURCE = pathlib.Path(__file__).resolve().parents[1]
CLOCK_TICKS = os.sysconf("SC_CLK_TCK")
# Root has real-time priority to give; also how it is without is of interest.
WITHOUT_PRIORITY = ["setpriv", "--bounding-set", "-sys_nice", "--inh-caps", "-sys_nice"]
SIOCETHTOOL = 0x8946
OFFLOADS = (0x1F, 0x24, 0x17, 0x2C)  # segmentation, in hardware and not; checksums; merging


def run(*words, **options):
    return subprocess.run([str(word) for word in words], check=True, text=True, capture_output=True, **options).stdout


def switch_off(interface):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as control:
        for command in OFFLOADS:
            body = ctypes.create_string_buffer(struct.pack("II", command, 0))
            request = struct.pack("16sP16x", interface.encode(), ctypes.addressof(body))
            fcntl.ioctl(control, SIOCETHTOOL, request)


def make_wires():
    """Interfaces sw1 to sw6, and what is at their other ends. Returns the processes that hold the hosts."""
    for port in STATIONS + HOSTS:
        run("ip", "link", "add", f"sw{port}", "mtu", 1522, "type", "veth", "peer", "name", f"host{port}")
        switch_off(f"sw{port}")
        switch_off(f"host{port}")
        for name in (f"sw{port}", f"host{port}"):
            pathlib.Path(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6").write_text("1")
            run("ip", "link", "set", name, "up")
    holders = {}
    outside = os.readlink("/proc/self/ns/net")
    for port in HOSTS:
        holder = subprocess.Popen(["unshare", "-n", "sleep", "infinity"])
        while os.readlink(f"/proc/{holder.pid}/ns/net") == outside:
            pass
        run("ip", "link", "set", f"host{port}", "netns", holder.pid)
        holders[port] = holder
        # Without IPv6, whose solicitations would be counted at the stations.
        run(*inside(holder), "sh", "-c", f"echo 1 >/proc/sys/net/ipv6/conf/host{port}/disable_ipv6; "
            f"ip addr add 10.0.0.{port}/24 dev host{port}; ip link set host{port} up")
    return holders


def inside(holder):
    return ["nsenter", "-t", str(holder.pid), "-n"]


# --- Who is measured: started by entering, ended by leaving ---


class Live:
    """`bindings`: which port is which interface; `sentences` make the switch, where `store` is not one already."""

    command = []

    def __init__(self, folder, store=None, bindings=None, sentences=None):
        self.store = store or folder / f"{type(self).__name__}.db"
        self.environment = dict(os.environ, EMUSWITCH=str(self.store))
        ports = STATIONS + HOSTS
        self.bindings = bindings or {port: f"sw{port}" for port in ports}
        self.sentences = sentences or "create vlan office\n" + "".join(
            f"create port {port} npport {port} portType ether\nadd port {port} to vlan office tag off\nenable port {port}\n"
            for port in ports)

    def __enter__(self):
        emuswitch = BUILD / "emulator/emuswitch"
        run(emuswitch, "play", "-", input=self.sentences, env=self.environment)
        self.process = subprocess.Popen(
            [*self.command, emuswitch, "live", *(f"{port}={name}" for port, name in self.bindings.items())],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=self.environment)
        self.process.stdout.readline()

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    def workers(self):
        children = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children").read_text().split()
        return [int(child) for child in children]


class LiveWithPriority(Live):
    name = "emuswitch live, real-time"


class LiveWithout(Live):
    name = "emuswitch live"
    command = WITHOUT_PRIORITY if os.environ.get(INSIDE) == "root" else []


class Bridge:
    name = "Linux bridge"

    def __init__(self, _):
        pass

    def __enter__(self):
        run("ip", "link", "add", "bridge", "type", "bridge")
        run("ip", "link", "set", "bridge", "up")
        for port in STATIONS + HOSTS:
            run("ip", "link", "set", f"sw{port}", "master", "bridge")

    def __exit__(self, *_):
        run("ip", "link", "del", "bridge")

    def workers(self):
        return []  # the kernel's


class OpenVSwitch:
    name = "Open vSwitch, userspace"

    def __init__(self, folder):
        self.folder = folder / "ovs"

    def __enter__(self):
        self.folder.mkdir()
        database, socket_file = self.folder / "conf.db", f"unix:{self.folder}/db.sock"
        environment = dict(os.environ, OVS_RUNDIR=str(self.folder), OVS_LOGDIR=str(self.folder),
                           OVS_DBDIR=str(self.folder), OVS_SYSCONFDIR=str(self.folder))
        quiet = {"env": environment, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        run("ovsdb-tool", "create", database, "/usr/share/openvswitch/vswitch.ovsschema")
        self.processes = [subprocess.Popen(["ovsdb-server", f"--remote=p{socket_file}", str(database)], **quiet)]
        control = ["ovs-vsctl", f"--db={socket_file}"]
        run(*control, "--retry", "--no-wait", "init", env=environment)
        self.processes.append(subprocess.Popen(["ovs-vswitchd", socket_file], **quiet))
        run(*control, "add-br", "ovs", "--", "set", "bridge", "ovs", "datapath_type=netdev", env=environment)
        for port in STATIONS + HOSTS:
            run(*control, "add-port", "ovs", f"sw{port}", env=environment)

    def __exit__(self, *_):
        for process in reversed(self.processes):
            process.terminate()
            process.wait()

    def workers(self):
        return [self.processes[-1].pid]


# --- What is measured ---


def frames(rate, seconds):
    """Sent, received, and received while it was sent."""
    words = run(BUILD / "tests/live/live_traffic", rate, seconds, *(f"host{port}" for port in STATIONS)).split()
    return [int(word) for word in words[:3]]


def tcp(holders, seconds):
    server = subprocess.Popen([*inside(holders[6]), "iperf3", "-s", "-1"], stdout=subprocess.DEVNULL)
    try:
        while True:  # until the server listens
            done = subprocess.run([*inside(holders[5]), "iperf3", "-c", "10.0.0.6", "-t", str(seconds), "-f", "m"],
                                  text=True, capture_output=True, check=False)
            if done.returncode == 0:
                return float(re.search(r"([\d.]+) Mbits/sec.*receiver", done.stdout)[1])
            time.sleep(0.1)
    finally:
        server.kill()
        server.wait()


def ping(holders):
    text = run(*inside(holders[5]), "ping", "-q", "-c", 200, "-i", 0.005, "10.0.0.6")
    return float(re.search(r"= [\d.]+/([\d.]+)/", text)[1]) * 1000


def processor_seconds(pids):
    """What these processes have used, the kernel's work on their behalf included."""
    ticks = 0
    for pid in pids:
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
        ticks += int(fields[11]) + int(fields[12])
    return ticks / CLOCK_TICKS


def frames_and_cost(workers, rate, seconds):
    """As frames(), and the microseconds of processor time that each frame received took."""
    used = processor_seconds(workers)
    sent, received, in_time = frames(rate, seconds)
    used = processor_seconds(workers) - used
    return sent, received, in_time, f"{used / received * 1e6:.1f}" if workers else "-"


def measure(candidate, holders, seconds):
    with candidate:
        while subprocess.run([*inside(holders[5]), "ping", "-q", "-c", "1", "-W", "1", "10.0.0.6"], check=False,
                             capture_output=True).returncode != 0:
            pass
        microseconds = ping(holders)
        workers = candidate.workers()
        _, _, fastest, least_cost = frames_and_cost(workers, 0, seconds)
        sent, received, _, cost = frames_and_cost(workers, LINE_RATE, seconds)
        megabits = tcp(holders, seconds)
    print(f"{candidate.name:<26}{fastest / seconds:>10,.0f}{least_cost:>13}{sent / seconds:>11,.0f}"
          f"{sent - received:>10,}{cost:>13}{megabits:>8,.0f}{microseconds:>9,.0f}", flush=True)


def print_effects(folder, rounds):
    """How soon sentences are in effect, on a small switch and on a full one."""
    bench = (SOURCE / "bench/live_changes.play").read_text()
    service = (SOURCE / "docs/example/service.play").read_text()
    more = "create port 9 npport 9 portType ether\nenable port 9\n"
    full = folder / "full.db"
    run(BUILD / "emulator/emuswitch", "reset", env=dict(os.environ, EMUSWITCH=str(full)))
    with sqlite3.connect(full, isolation_level=None) as store:
        store.executescript((SOURCE / "bench/full_switch.sql").read_text())
    store.close()
    bindings = {4: "sw1", 9: "sw2", 3: "sw3"}
    for title, sentences, path in (("example service", service + more + bench, folder / "service.db"),
                                   ("full switch", bench, full)):
        switch = LiveWithPriority(folder, path, bindings, sentences)
        with switch:
            print(f"\nus, on the {title:<18}{'from commit to effect':>27}{'from end to effect':>27}"
                  f"{'longest wait of a frame':>27}")
            print(f"{'sentences about':<14}{'':>6}" + f"{'median':>9}{'99 %':>9}{'longest':>9}" * 3, flush=True)
            subprocess.run([BUILD / "tests/live/live_changes", BUILD / "src/tolvane", str(rounds), "host1", "host2", "host3"],
                           check=True, env=switch.environment)


def main():
    seconds = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    if not os.environ.get(INSIDE):
        # Root keeps its rights, so that the live switch gets real-time priority.
        is_root = os.geteuid() == 0
        os.environ[INSIDE] = "root" if is_root else "user"
        os.execvp("unshare", ["unshare", "-n" if is_root else "-Urn", "--fork", "--kill-child", sys.executable, *sys.argv])
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        holders = make_wires()
        try:
            print(f"{'':<26}{'frames/s':>10}{'CPU us/frame':>13}{'offered/s':>11}{'lost':>10}{'CPU us/frame':>13}"
                  f"{'Mbit/s':>8}{'ping us':>9}")
            is_root = os.environ[INSIDE] == "root"
            for kind in ([LiveWithPriority] if is_root else []) + [LiveWithout, Bridge, OpenVSwitch]:
                if kind is OpenVSwitch and not shutil.which("ovs-vswitchd"):
                    print("Open vSwitch is not installed (apt-get install openvswitch-switch)")
                    continue
                measure(kind(folder), holders, seconds)
            print_effects(folder, 40)
        finally:
            for holder in holders.values():
                holder.send_signal(signal.SIGKILL)
                holder.wait()


if __name__ == "__main__":
    main()
