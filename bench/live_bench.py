"""The live switch beside the Linux bridge and Open vSwitch's userspace datapath. bench/live runs it.

Prints frames of 64 bytes a second, the frames lost of 148,800 a second (the line rate of 100 Mbit/s) over four ports,
TCP between two hosts, and ping. All three get the same interfaces with the same settings, one after the other.
"""

import ctypes
import fcntl
import os
import pathlib
import re
import shutil
import signal
import socket
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
        run(*inside(holder), "sh", "-c", f"ip addr add 10.0.0.{port}/24 dev host{port}; ip link set host{port} up")
    return holders


def inside(holder):
    return ["nsenter", "-t", str(holder.pid), "-n"]


# --- Who is measured: started by entering, ended by leaving ---


class Live:
    name = "emuswitch live"

    def __init__(self, folder):
        self.environment = dict(os.environ, EMUSWITCH=str(folder / "switch.db"))

    def __enter__(self):
        ports = STATIONS + HOSTS
        sentences = "create vlan office\n" + "".join(
            f"create port {port} npport {port} portType ether\nadd port {port} to vlan office tag off\nenable port {port}\n"
            for port in ports)
        emuswitch = BUILD / "emulator/emuswitch"
        run(emuswitch, "play", "-", input=sentences, env=self.environment)
        self.process = subprocess.Popen([emuswitch, "live", *(f"{port}=sw{port}" for port in ports)],
                                        stdout=subprocess.PIPE, env=self.environment)
        self.process.stdout.readline()

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


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


def measure(candidate, holders, seconds):
    with candidate:
        while subprocess.run([*inside(holders[5]), "ping", "-q", "-c", "1", "-W", "1", "10.0.0.6"], check=False,
                             capture_output=True).returncode != 0:
            pass
        microseconds = ping(holders)
        _, _, fastest = frames(0, seconds)
        sent, received, _ = frames(LINE_RATE, seconds)
        megabits = tcp(holders, seconds)
    print(f"{candidate.name:<25}{fastest / seconds:>12,.0f}{sent / seconds:>12,.0f}{sent - received:>10,}"
          f"{megabits:>10,.0f}{microseconds:>10,.0f}", flush=True)


def main():
    seconds = int(sys.argv[1]) if len(sys.argv) > 1 else 3
    if not os.environ.get(INSIDE):
        os.environ[INSIDE] = "yes"
        os.execvp("unshare", ["unshare", "-Urn", "--fork", "--kill-child", sys.executable, *sys.argv])
    with tempfile.TemporaryDirectory() as folder:
        holders = make_wires()
        try:
            print(f"{'':<25}{'frames/s':>12}{'offered/s':>12}{'lost':>10}{'Mbit/s':>10}{'ping us':>10}")
            for kind in (Live, Bridge, OpenVSwitch):
                if kind is OpenVSwitch and not shutil.which("ovs-vswitchd"):
                    print("Open vSwitch is not installed (apt-get install openvswitch-switch)")
                    continue
                measure(kind(pathlib.Path(folder)), holders, seconds)
        finally:
            for holder in holders.values():
                holder.send_signal(signal.SIGKILL)
                holder.wait()


if __name__ == "__main__":
    main()
