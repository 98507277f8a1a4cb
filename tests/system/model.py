"""A switch as plain Python containers, and random sentences with the answer that it gives to each.

It is written from what a switch does, not from the emulator: where the two differ, one of them is wrong.
"""

import collections
import random

FRONT_PORTS = (1, 2, 3, 4)
COLORS = ("green", "yellow", "red")
RESERVED_ENTRIES = 16
LONGEST_VID = 4094
LENGTHS = {1000: (1536, 24), 65536: (65536, 1024), 300000: (300032, 2344), 2097152: (2097152, 8192)}  # with its blocks

NO_LIMITS = {
    "ports": 74, "vlans": 8190, "ports_per_vlan": 74, "protgroups": 65536, "protocols_per_protgroup": 65536,
    "protgroups_per_port": 8190, "streams": 1024, "queues": 8192, "frame_buffers": 134283264, "fdb_entries": 1048576,
    "clslists": 65536, "rules_per_clslist": 65536,
}


def own_address(port):
    return f"02:00:00:00:{port >> 8:02x}:{port & 255:02x}"


class Model:
    # What sentences are about.
    port_pool = (1, 2, 3, 101, 102)
    vlan_pool = ("sales", "lab", "inside", "two words")
    vid_pool = (None, 10, 20, 4094, 4100)  # None: the switch chooses
    protgroup_pool = (0, 65535)
    ether_type_pool = ("0800", "86dd")
    mac_pool = ("00:11:22:33:44:55", "02:00:00:00:00:01")
    list_pool = (1, 2)
    stream_pool = ((1, 1), (1, 256), (2, 3))
    class_pool = (0, 3, 7)
    mirror_pool = (1, 4)
    has_vlan_all = True

    def __init__(self, seed, limits=None):
        self.random = random.Random(seed)
        self.limits = {**NO_LIMITS, **(limits or {})}
        self.answers = collections.Counter()  # of each kind of sentence with each code
        self.ports = {}  # port: type, enabled, reserved entries
        self.vlans = {}  # name: id
        self.members = {}  # (id, port): tagged, protgroup
        self.protgroups = {}  # group: set of types
        self.streams = set()  # (port, stream)
        self.queues = {}  # (port, stream, class): blocks
        self.mirrors = {}  # mirror: enabled, source, source_vid, dest
        self.static = {}  # (id, mac): port, of_system
        self.local = set()  # (port, mac)
        self.lists = {}  # list: marking, lines
        self.bindings = {}  # (id, port): list

    # --- What is in use ---

    def fdb_in_use(self):
        return len(self.static) + len(self.local) + sum(port["reserved"] for port in self.ports.values())

    def is_fdb_full(self):
        return self.fdb_in_use() >= self.limits["fdb_entries"]

    def buffers_left(self):
        return self.limits["frame_buffers"] - 64 * len(self.streams) - sum(self.queues.values())

    def vlans_of(self, port):
        return [vid for vid, member in self.members if member == port]

    # --- Sentences: each answers itself and the code, 0 when the switch takes it ---

    def pick(self, *choices):
        return self.random.choice(choices)

    def any_port(self):
        return self.pick(*self.port_pool)

    def any_vlan(self):
        """The name as it is typed, and its id or None."""
        name = self.pick(*self.vlan_pool)
        return (f'"{name}"' if " " in name else name), self.vlans.get(name)

    def any_class(self):
        return self.random.randrange(8)

    def create_port(self):
        port, kind = self.any_port(), self.pick("ether", "ether", "vif", "none")
        ether = self.random.randrange(5)
        sentence = f"create port {port} npport {ether} portType {kind}"
        if port in self.ports:
            return sentence, 1202
        if kind == "ether" and ether == 0:
            return sentence, 108
        if len(self.ports) >= self.limits["ports"]:
            return sentence, 1201
        room = min(RESERVED_ENTRIES, max(0, self.limits["fdb_entries"] - self.fdb_in_use()))
        self.ports[port] = {"type": kind, "enabled": False, "reserved": room, "tag_only": False}
        return sentence, 0 if room == RESERVED_ENTRIES else 2002

    def delete_port(self):
        port = self.any_port()
        sentence = f"delete port {port}"
        if port not in self.ports:
            return sentence, 102
        if any(stream[0] == port for stream in self.streams):
            return sentence, 1303
        if self.vlans_of(port):
            return sentence, 1301
        del self.ports[port]
        self.local = {entry for entry in self.local if entry[0] != port}
        self.static = {key: entry for key, entry in self.static.items() if entry["port"] != port}
        for mirror in self.mirrors.values():
            if mirror["source"] == port:
                mirror.update(enabled=False, source=None, source_vid=None, has_source=False)
            if mirror["dest"] == port:
                mirror.update(enabled=False, dest=None)
        return sentence, 0

    def switch_port(self):
        port, enabled = self.any_port(), self.pick(True, False)
        sentence = f"{'enable' if enabled else 'disable'} port {port}"
        if port not in self.ports:
            return sentence, 102
        if self.ports[port]["enabled"] == enabled:
            return sentence, 1205 if enabled else 1304
        self.ports[port]["enabled"] = enabled
        return sentence, 0

    def set_port(self):
        port = self.any_port()
        number = self.random.randrange
        setting = self.pick(
            f"aging {number(60, 90000)}", f"aftype {self.pick('tagonly', 'all')}", f"ingfil {self.pick('on', 'off')}",
            f"accept_tag {self.pick('on', 'off')}", f"ignoreptag {self.pick('on', 'off')}",
            f"cosedit {self.pick('on', 'off')}", f"ignorefdb {self.pick('on', 'off')}",
            f"tagtype {number(65536):x}", f"pvid {self.pick(0, 1, 4094, 4096, 8191)}",
            f"sldbreaker {self.pick('on', 'off')}", f"bandwidth {self.pick('frame_only', 'frame_gap')}",
            f"link_frame {self.pick('bpdu', 'lag', 'pae')} {self.pick('discard', 'forward')}",
            f"cosmap val {','.join(str(number(8)) for _ in range(8))}",
            f"cosmap bit {number(256):x} val {','.join(str(number(8)) for _ in range(8))}",
            f"default_class {number(1, 257)}/{number(8)}/{self.pick(*COLORS)}",
            f"class_policing class {number(8)} off",
            f"class_policing class {number(8)} on rcolor {self.pick('discard', *COLORS)} rate {number(64, 100001)}",
            f"class_policing class {number(9)} on rcolor {self.pick(*COLORS)} rate {number(64, 100001)}"
            f" burst {number(80, 32001)} byte",
            f"link_mode {self.pick('or', 'and')}", f"link_depend {self.pick('vlan', 'port 1-3', 'port 2,4', 'port 1')}")
        sentence = f"set port {port} {setting}"
        words = setting.split()
        if words[0] in ("aging", "aftype") and port not in FRONT_PORTS:
            return sentence, 206
        if words[0] in ("link_mode", "link_depend") and not 101 <= port <= 164:
            return sentence, None  # for logical ports only: the usage text
        if port not in self.ports:
            return sentence, 102
        if words[0] == "sldbreaker" and self.ports[port]["type"] != "ether":
            return sentence, 2201
        if words[:3] == ["class_policing", "class", "8"]:
            return sentence, 2203
        untagged = any(key[1] == port and not member["tagged"] for key, member in self.members.items())
        if setting == "aftype tagonly" and untagged:
            return sentence, 2202
        if words[0] == "aftype":
            self.ports[port]["tag_only"] = words[1] == "tagonly"
        return sentence, 0

    def set_ether(self):
        ether = self.pick(1, 2, 10, 11)
        what = self.pick("off", f"on rate {self.random.randrange(64, 100001)}",
                         f"on rate {self.random.randrange(64, 100001)} burst {self.random.randrange(1, 33)} kbyte")
        return f"set ether {ether} shaping {what}", 108 if ether == 11 else 0

    def free_vid(self):
        used = {vid for vid in self.vlans.values() if vid <= LONGEST_VID}
        highest = max(used, default=0)
        if highest < LONGEST_VID:
            return highest + 1
        return min(set(range(1, LONGEST_VID + 1)) - used, default=None)

    def create_vlan(self):
        name = self.pick(*self.vlan_pool)
        vid = self.pick(*self.vid_pool)
        sentence = f"create vlan {self.typed(name)}" + (f" vid {vid}" if vid else "")
        if name in self.vlans:
            return sentence, 1401
        if vid in self.vlans.values():
            return sentence, 1402
        if len(self.vlans) >= self.limits["vlans"]:
            return sentence, 1404
        self.vlans[name] = vid or self.free_vid()
        return sentence, 0

    @staticmethod
    def typed(name):
        return f'"{name}"' if " " in name else name

    def delete_vlan(self):
        name = self.pick(*self.vlan_pool)
        sentence = f"delete vlan {self.typed(name)}"
        if name not in self.vlans:
            return sentence, 103
        vid = self.vlans[name]
        if any(key[0] == vid for key in self.members):
            return sentence, 1501
        del self.vlans[name]
        self.static = {key: entry for key, entry in self.static.items() if key[0] != vid}
        for mirror in self.mirrors.values():
            if mirror["source_vid"] == vid:
                mirror.update(enabled=False, source=None, source_vid=None, has_source=False)
        return sentence, 0

    def set_vlan(self):
        name, vid = self.any_vlan()
        what = self.pick(f"simple_loop_detection {self.pick('on', 'off')}", f"ignorefdb {self.pick('on', 'off')}",
                         f"learning {self.pick('on', 'off')}", f"learninglimit {self.pick('none', 2, 50000)}")
        if self.has_vlan_all and self.random.random() < 0.2:
            return f"set vlan all {what}", 0 if self.vlans else 103
        return f"set vlan {name} {what}", 0 if vid else 103

    def add_port(self):
        port, (name, vid) = self.any_port(), self.any_vlan()
        tagged = self.pick(True, False)
        group = self.pick(None, None, *self.protgroup_pool) if not tagged else None
        clause = "on" + self.pick("", " tagtype 88a8") if tagged else "off"
        sentence = f"add port {port} to vlan {name} tag {clause}" + (f" protgroup {group}" if group is not None else "")
        if vid is None:
            return sentence, 103
        if tagged and vid > LONGEST_VID:
            return sentence, 309
        if port not in self.ports:
            return sentence, 102
        if group is not None and group not in self.protgroups:
            return sentence, 2803
        if (vid, port) in self.members:
            return sentence, 1603
        if self.ports[port]["type"] == "vif" and self.vlans_of(port):
            return sentence, 1613
        if not tagged:
            if self.ports[port]["tag_only"]:
                return sentence, 2202
            same = [key[0] for key, member in self.members.items()
                    if key[1] == port and not member["tagged"] and member["protgroup"] == group]
            if group is not None:
                if same:
                    return sentence, 1615
                if sum(key[1] == port and member["protgroup"] is not None
                       for key, member in self.members.items()) >= self.limits["protgroups_per_port"]:
                    return sentence, 1616
            elif same:
                return sentence, 1614 if max(vid, same[0]) > LONGEST_VID else 1611
        if sum(key[0] == vid for key in self.members) >= self.limits["ports_per_vlan"]:
            return sentence, 1605
        if (vid, own_address(port)) in self.static:
            return sentence, 1606
        if self.is_fdb_full():
            return sentence, 1607
        self.members[vid, port] = {"tagged": tagged, "protgroup": group}
        self.static[vid, own_address(port)] = {"port": port, "of_system": True}
        return sentence, 0

    def missing_membership(self, port, vid):
        """The code that refuses a port that is no member of the VLAN; 0 when it is one."""
        if vid is None:
            return 103
        if port not in self.ports:
            return 102
        return 0 if (vid, port) in self.members else 1701

    def remove_port(self):
        port, (name, vid) = self.any_port(), self.any_vlan()
        sentence = f"remove port {port} from vlan {name}"
        if code := self.missing_membership(port, vid):
            return sentence, code
        if (vid, port) in self.bindings:
            return sentence, 1702
        del self.members[vid, port]
        del self.static[vid, own_address(port)]
        return sentence, 0

    def create_protgroup(self):
        group = self.pick(*self.protgroup_pool)
        sentence = f"create protgroup {group}"
        if group in self.protgroups:
            return sentence, 2802
        if len(self.protgroups) >= self.limits["protgroups"]:
            return sentence, 2801
        self.protgroups[group] = set()
        return sentence, 0

    def delete_protgroup(self):
        group = self.pick(*self.protgroup_pool)
        sentence = f"delete protgroup {group}"
        if group not in self.protgroups:
            return sentence, 2803
        if any(member["protgroup"] == group for member in self.members.values()):
            return sentence, 2911
        del self.protgroups[group]
        return sentence, 0

    def add_protocol(self):
        group, ether_type = self.pick(*self.protgroup_pool), self.pick(*self.ether_type_pool)
        sentence = f"add protocol {ether_type} to protgroup {group}"
        if group not in self.protgroups:
            return sentence, 2803
        for owner, types in self.protgroups.items():
            if ether_type in types:
                return sentence, 2805 if owner == group else 2806
        if len(self.protgroups[group]) >= self.limits["protocols_per_protgroup"]:
            return sentence, 2804
        self.protgroups[group].add(ether_type)
        return sentence, 0

    def remove_protocol(self):
        group, ether_type = self.pick(*self.protgroup_pool), self.pick(*self.ether_type_pool)
        sentence = f"remove protocol {ether_type} from protgroup {group}"
        if group not in self.protgroups:
            return sentence, 2803
        if ether_type not in self.protgroups[group]:
            return sentence, 2807
        self.protgroups[group].remove(ether_type)
        return sentence, 0

    def any_stream(self):
        return self.pick(*self.stream_pool)

    def create_stream(self):
        port, stream = self.any_stream()
        sentence = f"create stream {port}/{stream} qostype {self.pick('wfq', 'pq')}"
        if (port, stream) in self.streams:
            return sentence, 2501
        if len(self.streams) >= self.limits["streams"]:
            return sentence, 2502
        if self.buffers_left() < 64:
            return sentence, 2303
        if port not in self.ports:
            return sentence, 102
        self.streams.add((port, stream))
        return sentence, 0

    def delete_stream(self):
        port, stream = self.any_stream()
        sentence = f"delete stream {port}/{stream}"
        if port not in self.ports:
            return sentence, 102
        if (port, stream) not in self.streams:
            return sentence, 106
        if any(queue[:2] == (port, stream) for queue in self.queues):
            return sentence, 2403
        self.streams.remove((port, stream))
        return sentence, 0

    def set_stream(self):
        port, stream = self.any_stream()
        number = self.random.randrange
        rate = number(64, 90000)
        what = self.pick("shaping off", f"shaping on rate {rate}-{rate + number(10000)}",
                         f"shaping on rate {rate}-{rate} burst {number(1, 9)}-{number(9, 33)} kbyte",
                         f"priority {number(8)}", "tosmap 10,20/fc,,b8", f"tosmap {number(256):x},,,{number(256):x}/f0")
        return f"set stream {port}/{stream} {what}", 0 if (port, stream) in self.streams else 106

    def create_queue(self):
        port, stream = self.any_stream()
        traffic_class = self.pick("-", *self.class_pool)
        sentence = f"create queue {port}/{stream}/{traffic_class}"
        if (port, stream) not in self.streams:
            return sentence, 106
        for each in range(8) if traffic_class == "-" else [traffic_class]:
            queue = (port, stream, each)
            if queue in self.queues:
                if traffic_class == "-":
                    continue
                return sentence, 2301
            if len(self.queues) >= self.limits["queues"]:
                return sentence, 2302
            if self.buffers_left() < 256:
                return sentence, 2303
            self.queues[queue] = 256
        return sentence, 0

    def delete_queue(self):
        port, stream = self.any_stream()
        traffic_class = self.pick("-", *self.class_pool)
        sentence = f"delete queue {port}/{stream}/{traffic_class}"
        if traffic_class == "-":
            for each in range(8):
                self.queues.pop((port, stream, each), None)
            return sentence, 0
        if (port, stream) not in self.streams:
            return sentence, 106
        if self.queues.pop((port, stream, traffic_class), None) is None:
            return sentence, 107
        return sentence, 0

    def set_queue(self):
        (port, stream), traffic_class = self.any_stream(), self.pick(*self.class_pool)
        queue = (port, stream, traffic_class)
        low, high = self.random.randrange(50), self.random.randrange(50, 101)
        if low < 5:
            low, high = high, low  # refused
        what = self.pick(f"pri {self.random.randrange(8)}", f"pri {self.random.randrange(8)} ratio 7",
                         f"queue_length {self.pick(*LENGTHS)}",
                         f"color {self.pick(*COLORS)} drop_type taildrop",
                         f"color {self.pick(*COLORS)} drop_type wred thresh {low}-{high} drop {low}-{high}")
        sentence = f"set queue {port}/{stream}/{traffic_class} {what}"
        if (port, stream) not in self.streams:
            return sentence, 106
        if what.startswith("color"):
            return sentence, 9001 if "wred" in what and low > high else 0
        if queue not in self.queues:
            return sentence, 107
        if what.startswith("queue_length"):
            blocks = LENGTHS[int(what.split()[1])][1]
            more = blocks - self.queues[queue]
            if more > 0 and self.buffers_left() < more:
                return sentence, 2303
            self.queues[queue] = blocks
        return sentence, 0

    def create_mirror(self):
        mirror = self.pick(*self.mirror_pool)
        if mirror in self.mirrors:
            return f"create mirror {mirror}", 2902
        self.mirrors[mirror] = {"enabled": False, "has_source": False, "source": None, "source_vid": None, "dest": None}
        return f"create mirror {mirror}", 0

    def delete_mirror(self):
        number = self.pick(*self.mirror_pool)
        mirror = self.mirrors.get(number)
        if mirror is None:
            return f"delete mirror {number}", 2903
        if mirror["enabled"]:
            return f"delete mirror {number}", 2907
        del self.mirrors[number]
        return f"delete mirror {number}", 0

    def switch_mirror(self):
        number, enabled = self.pick(*self.mirror_pool), self.pick(True, True, False)
        mirror = self.mirrors.get(number)
        sentence = f"{'enable' if enabled else 'disable'} mirror {number}"
        if mirror is None:
            return sentence, 2903
        if mirror["enabled"] == enabled:
            return sentence, 2908 if enabled else 2909
        if enabled and not mirror["has_source"]:
            return sentence, 2904
        if enabled and mirror["dest"] is None:
            return sentence, 2905
        mirror["enabled"] = enabled
        return sentence, 0

    def set_mirror(self):
        number, port = self.pick(*self.mirror_pool), self.pick(1, 2, 3)
        name, vid = self.any_vlan()
        what = self.pick("source port", "source port vlan", "source vlan", "dest", "classify", "tag")
        sentence = f"set mirror {number} " + {
            "source port": f"source port {port} {self.pick('in', 'out')}",
            "source port vlan": f"source port {port} {self.pick('in', 'out')} vlan {name}",
            "source vlan": f"source vlan {name}",
            "dest": f"dest port {port}",
            "classify": f"classify {self.random.randrange(1, 257)}/{self.any_class()}/{self.pick(*COLORS)}",
            "tag": f"tag {self.pick('off', 'on vid 100', 'on tagtype 88a8 vid 4100')}",
        }[what]
        if what.endswith("vlan") and vid is None:
            return sentence, 103
        mirror = self.mirrors.get(number)
        if mirror is None:
            return sentence, 2903
        if mirror["enabled"]:
            return sentence, 2910
        if what.startswith("source"):
            if what == "source vlan":
                port = None
            elif port not in self.ports:
                return sentence, 1
            elif mirror["dest"] == port:
                return sentence, 2906
            mirror.update(has_source=True, source=port, source_vid=vid if what.endswith("vlan") else None)
        elif what == "dest":
            if port not in self.ports:
                return sentence, 1
            if mirror["source"] == port:
                return sentence, 2906
            mirror["dest"] = port
        return sentence, 9001 if "vid 4100" in sentence else 0

    def create_static(self):
        mac, (name, vid) = self.pick(*self.mac_pool), self.any_vlan()
        port = self.pick(None, *self.port_pool)
        target = "discard" if port is None else f"port {port}" + self.pick("", " flag 1", " flag 4")
        sentence = f"create sfdbentry {mac} in vlan {name} {target}"
        if vid is None:
            return sentence, 103
        if port is not None and port not in self.ports:
            return sentence, 102
        if (vid, mac) in self.static:
            return sentence, 2101 if self.static[vid, mac]["of_system"] else 2001
        if self.is_fdb_full():
            return sentence, 2002
        self.static[vid, mac] = {"port": port, "of_system": False}
        return sentence, 0

    def delete_static(self):
        mac, (name, vid) = self.pick(*self.mac_pool), self.any_vlan()
        sentence = f"delete sfdbentry {mac} in vlan {name}"
        if vid is None:
            return sentence, 103
        if (vid, mac) not in self.static:
            return sentence, 105
        if self.static[vid, mac]["of_system"]:
            return sentence, 2101
        del self.static[vid, mac]
        return sentence, 0

    def create_local(self):
        mac, port = self.pick(*self.mac_pool), self.any_port()
        sentence = f"create lfdbentry {mac} in port {port} {self.pick('local', 'both', 'local_learning', 'discard')}"
        if port not in self.ports:
            return sentence, 102
        if (port, mac) in self.local:
            return sentence, 2001
        if self.is_fdb_full():
            return sentence, 2002
        self.local.add((port, mac))
        return sentence, 0

    def delete_local(self):
        mac, port = self.pick(*self.mac_pool), self.any_port()
        sentence = f"delete lfdbentry {mac} in port {port}"
        if port not in self.ports:
            return sentence, 102
        if (port, mac) not in self.local:
            return sentence, 105
        self.local.remove((port, mac))
        return sentence, 0

    def flush(self):
        name, vid = self.any_vlan()
        if self.random.random() < 0.5:
            return "delete dfdbentry all in all", 0
        return f"delete dfdbentry all in vlan {name}", 0 if vid else 103

    def create_list(self):
        number = self.pick(*self.list_pool)
        sentence = f"create clslist {number}"
        if number in self.lists:
            return sentence, 2601
        if len(self.lists) >= self.limits["clslists"]:
            return sentence, 2602
        self.lists[number] = {"marking": None, "lines": set()}
        return sentence, 0

    def delete_list(self):
        number = self.pick(*self.list_pool)
        sentence = f"delete clslist {number}"
        if number not in self.lists:
            return sentence, 109
        if self.lists[number]["lines"]:
            return sentence, 2604
        if number in self.bindings.values():
            return sentence, 2607
        del self.lists[number]
        return sentence, 0

    def rule_operands(self):
        number = self.random.randrange
        address = f"{number(256)}.{number(256)}.{number(256)}.{number(256)}"
        low = number(100)
        return " ".join(self.pick("x", *operands) for operands in (
            (address, f"{address}/{number(33)}"), (f"10.0.0.{low}-10.0.0.{low + 50}",),
            (f"{low}-{low + 9}", f"{low}/fc", f"{number(256)}/{number(256):x}"), ("tcp", "udp", "17"),
            (f"{number(65536)}", f"{low}-{low + 1000}/fff0"), ("1024-65535",), (f"{number(4095)}", "9000"), ("3-5", "9", "8/3"),
            ("0800", "86dd/fff0", "1-2"), (f"{number(65536):x},,{number(256):x}/f0", ",,,1", "1,2,3,4")))

    def add_rule(self):
        number, marking = self.pick(*self.list_pool), self.pick("normal", "normal", "normal", "dot1p", "dscp")
        line = self.pick(None, 1, 2, 3, 4)
        sentence = (f"add classify {self.random.randrange(1, 257)}/{self.any_class()}/{self.pick(*COLORS)} {marking}"
                    f" {self.rule_operands()} to clslist {number}" + (f" line {line}" if line else ""))
        if number not in self.lists:
            return sentence, 109
        rules = self.lists[number]
        most = self.limits["rules_per_clslist"]
        if line and line > most:
            return sentence, 2603
        if rules["lines"] - {line} and rules["marking"] != marking:
            return sentence, 2606
        if line is None:
            line = max(rules["lines"], default=0) + 1
            if line > most:
                line = min(set(range(1, most + 1)) - rules["lines"], default=None)
            if line is None:
                return sentence, 2603
        rules["lines"].add(line)
        rules["marking"] = marking
        return sentence, 0

    def remove_rule(self):
        number, line = self.pick(*self.list_pool), self.pick("all", 1, 2, 3)
        sentence = f"remove classify from clslist {number} line {line}"
        if number not in self.lists:
            return sentence, 109
        lines = self.lists[number]["lines"]
        if not lines or line != "all" and line not in lines:
            return sentence, 110
        if line == "all":
            lines.clear()
        else:
            lines.remove(line)
        return sentence, 0

    def bind_list(self):
        number, port, (name, vid) = self.pick(*self.list_pool), self.any_port(), self.any_vlan()
        sentence = f"add clslist {number} to port {port} vlan {name}{self.pick('', ' 14/2,20', ' ,,,1500/4', ' 0/1,2/2')}"
        if vid is None:
            return sentence, 103
        if port not in self.ports:
            return sentence, 102
        if number not in self.lists:
            return sentence, 109
        if (vid, port) not in self.members:
            return sentence, 1701
        if self.bindings.get((vid, port), number) != number:
            return sentence, 2701
        self.bindings[vid, port] = number
        return sentence, 0

    def unbind_list(self):
        port, (name, vid) = self.any_port(), self.any_vlan()
        sentence = f"remove clslist 1 from port {port} vlan {name}"
        if code := self.missing_membership(port, vid):
            return sentence, code
        if self.bindings.pop((vid, port), None) is None:
            return sentence, 2702
        return sentence, 0

    # What makes objects comes more often than what takes them away.
    ACTIONS = (
        (5, create_port), (1, delete_port), (2, switch_port), (8, set_port), (2, set_ether),
        (5, create_vlan), (1, delete_vlan), (3, set_vlan), (14, add_port), (3, remove_port),
        (3, create_protgroup), (1, delete_protgroup), (3, add_protocol), (2, remove_protocol),
        (4, create_stream), (3, delete_stream), (4, set_stream),
        (5, create_queue), (4, delete_queue), (6, set_queue),
        (5, create_mirror), (1, delete_mirror), (5, switch_mirror), (9, set_mirror),
        (4, create_static), (2, delete_static), (4, create_local), (2, delete_local), (1, flush),
        (3, create_list), (2, delete_list), (7, add_rule), (3, remove_rule), (10, bind_list), (2, unbind_list),
    )
    MAKERS = (create_port, create_vlan, create_protgroup, create_list, create_mirror)

    def next(self):
        """A sentence, and the code that it is refused with, 0 for none; None for the usage text."""
        # On an empty switch most sentences are refused for the same reason: first something is made.
        makers = [(weight, action) for weight, action in self.ACTIONS if action in self.MAKERS]
        is_early = sum(self.answers.values()) < 30
        weights, actions = zip(*(makers if is_early else self.ACTIONS))
        action = self.random.choices(actions, weights)[0]
        sentence, code = action(self)
        self.answers[action.__name__, code] += 1
        return sentence, code

    def objects(self):
        """What there is, as `objects_of` has it."""
        return {
            "ports": {(port, entry["type"], entry["enabled"]) for port, entry in self.ports.items()},
            "vlans": set(self.vlans.items()),
            "members": {(*key, member["tagged"], member["protgroup"]) for key, member in self.members.items()},
            "bindings": {(*key, number) for key, number in self.bindings.items()},
            "protgroups": {(group, tuple(sorted(types)))
                           for group, types in self.protgroups.items()},
            "streams": set(self.streams),
            "queues": {(*key, blocks) for key, blocks in self.queues.items()},
            "mirrors": {(number, mirror["enabled"], mirror["source"], mirror["source_vid"], mirror["dest"])
                        for number, mirror in self.mirrors.items()},
            "static": {(*key, entry["port"], entry["of_system"]) for key, entry in self.static.items()},
            "local": set(self.local),
            "lists": {(number, entry["marking"] if entry["lines"] else None, tuple(sorted(entry["lines"])))
                      for number, entry in self.lists.items()},
        }


def objects_of(state):
    """The same from what `emuswitch show --json` says."""
    return {
        "ports": {(port["port"], port["type"], port["enabled"]) for port in state["ports"]},
        "vlans": {(vlan["name"], vlan["vid"]) for vlan in state["vlans"]},
        "members": {(member["vid"], member["port"], member["tagged"], member["protgroup"])
                    for member in state["members"]},
        "bindings": {(member["vid"], member["port"], member["clslist"])
                     for member in state["members"] if member["clslist"] is not None},
        "protgroups": {(group["protgroup"], tuple(sorted(group["protocols"]))) for group in state["protgroups"]},
        "streams": {(stream["port"], stream["stream"]) for stream in state["streams"]},
        "queues": {(queue["port"], queue["stream"], queue["class"], queue["blocks"]) for queue in state["queues"]},
        "mirrors": {(mirror["mirror"], mirror["enabled"], (mirror["source"] or {}).get("port"),
                     (mirror["source"] or {}).get("vid"), mirror["destination_port"]) for mirror in state["mirrors"]},
        "static": {(entry["vid"], entry["mac"], entry["port"], entry["of_system"])
                   for entry in state["fdb"]["static"]},
        "local": {(entry["port"], entry["mac"]) for entry in state["fdb"]["local"] if not entry["of_system"]},
        "lists": {(each["list"], each["marking"], tuple(sorted(rule["line"] for rule in each["rules"])))
                  for each in state["clslists"]},
    }
