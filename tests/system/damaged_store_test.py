"""A campaign of damages to a store: each value of each column, and bytes anywhere (damage_campaign.cpp).

DAMAGES=5000 makes so many. Of these, FIRST_DAMAGE=250 begins elsewhere, and COUNT_OF_DAMAGES=1 ends early.
"""

import os
import pathlib
import struct
import subprocess
import tempfile
import unittest

from switch import Switch

CAMPAIGN = os.environ["DAMAGE_CAMPAIGN"]
DAMAGES = os.environ.get("DAMAGES", "100")
PART = [os.environ.get("FIRST_DAMAGE", "0"), os.environ.get("COUNT_OF_DAMAGES", DAMAGES)]

# Something in every table.
SENTENCES = """\
create port 1 npport 1 portType ether
create port 2 npport 2 portType ether
create port 3 npport 3 portType none
create port 4 npport 4 portType ether
create port 101 npport 0 portType vif
set port 101 link_mode and
set port 101 link_depend port 1-3
set port 1 cosmap val 7,6,5,4,3,2,1,0
set port 1 class_policing class 2 on rcolor discard rate 1000 burst 8000 byte
set port 1 link_frame bpdu forward
set ether 1 shaping on rate 1000
create protgroup 7
add protocol 0800 to protgroup 7
create vlan sales vid 10
create vlan "in side" vid 4100
set vlan sales learninglimit 100
add port 1 to vlan sales tag on
add port 2 to vlan sales tag off
add port 3 to vlan "in side" tag off protgroup 7
enable port 1
create stream 1/1 qostype wfq
create stream 1/2 qostype pq
set stream 1/1 shaping on rate 1000-2000
set stream 1/1 tosmap 10/ff,20
create queue 1/1/-
set queue 1/1/3 color red drop_type wred thresh 10-90 drop 0-50
create sfdbentry 00:00:5e:00:53:01 in vlan sales port 1 flag 2
create lfdbentry 00:00:5e:00:53:02 in port 2 both
create clslist 1
create clslist 2
add classify 1/0/red dscp 10.0.0.0/8 10.0.0.1-10.0.0.9 3 tcp 80 1024-2048 10 3 0800 ff/f0,,1 to clslist 1
add classify 2/7/green normal x x x x x x x x x x to clslist 2
add clslist 1 to port 1 vlan sales 14/2,20
create mirror 1
set mirror 1 source port 1 in vlan sales
set mirror 1 dest port 4
set mirror 1 classify 1/0/red
enable mirror 1
emuswitch learn 00:00:5e:00:53:03 sales 1
emuswitch fail brgfdb_create_mirror 2901 --at 3
"""


def write_capture(path):
    """A pcap of one frame."""
    frame = bytes.fromhex("00005e00530200005e005301 8100000a 0800") + bytes(46)
    path.write_bytes(struct.pack("<IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 65535, 1)
                     + struct.pack("<IIII", 0, 0, len(frame), len(frame)) + frame)


class DamagedStore(unittest.TestCase):
    def test_every_damage_is_shown_or_told_in_one_line(self):
        with Switch() as switch, tempfile.TemporaryDirectory() as folder:
            switch.play(SENTENCES)
            empty = [name for name, rows in switch.tables().items() if not rows]
            self.assertEqual([], empty, "nothing to damage there")
            capture = pathlib.Path(folder, "frame.pcap")
            write_capture(capture)
            # It tells its progress and what is wrong itself, and has the libraries of its own build.
            status = subprocess.call([CAMPAIGN, str(switch.store), folder, str(capture), DAMAGES, *PART])
            self.assertEqual(0, status)


if __name__ == "__main__":
    unittest.main()
