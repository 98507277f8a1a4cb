-- The store of one emulated switch: an SQLite file. Look at it with `sqlite3 FILE` and .schema or .dump.
--
-- Numbers are those of the libraries' interface: ports, lists and lines count from 1, streams and queues from 0
-- (stream_index = (port - 1) * 256 + stream, both counted from 0 on; a queue is a traffic class of a stream), rates are
-- in bit/s, bursts and lengths in bytes, flags are 0 or 1, colors 0 green, 1 yellow, 2 red. NULL: never set. A MAC
-- address is written 01:80:c2:00:00:0a. The numbers are named in src/platform/brgfdb.h, which says what they mean, too.
--
-- Whoever writes: one transaction for one library call, BEGIN IMMEDIATE, PRAGMA foreign_keys = ON, and a look at
-- limits.in_use, which has to follow the FDB entries and the frame buffers.
PRAGMA application_id = 1701671799;
PRAGMA user_version = 3; -- migrations/ holds the steps from the earlier ones

-- Ports -----------------------------------------------------------------------------------------------------------

CREATE TABLE port ( -- a bridge port
    port INTEGER PRIMARY KEY CHECK (port > 0),
    ether INTEGER NOT NULL, -- the physical interface
    type INTEGER NOT NULL CHECK (type BETWEEN 0 AND 2), -- 0 none, 1 ether, 2 virtual interface
    enabled INTEGER NOT NULL DEFAULT 0 CHECK (enabled IN (0, 1)),
    accept_all_frames INTEGER NOT NULL DEFAULT 1 CHECK (accept_all_frames IN (0, 1)), -- 0: tagged ones only
    ingress_filtering INTEGER NOT NULL DEFAULT 0 CHECK (ingress_filtering IN (0, 1)),
    accept_tagged INTEGER NOT NULL DEFAULT 1 CHECK (accept_tagged IN (0, 1)), -- 0: tags are ignored
    accept_priority_tagged INTEGER NOT NULL DEFAULT 1 CHECK (accept_priority_tagged IN (0, 1)),
    cos_editing INTEGER NOT NULL DEFAULT 0 CHECK (cos_editing IN (0, 1)),
    ignore_fdb INTEGER NOT NULL DEFAULT 0 CHECK (ignore_fdb IN (0, 1)),
    tag_type INTEGER NOT NULL DEFAULT 0x8100 CHECK (tag_type BETWEEN 0 AND 0xffff), -- the TPID that it recognises
    pvid INTEGER NOT NULL DEFAULT 0 CHECK (pvid BETWEEN 0 AND 8191 AND pvid <> 4095),
    aging INTEGER NOT NULL DEFAULT 300 CHECK (aging BETWEEN 60 AND 1000000), -- seconds
    loop_breaker INTEGER NOT NULL DEFAULT 0 CHECK (loop_breaker IN (0, 1)),
    default_stream INTEGER NOT NULL DEFAULT 0 CHECK (default_stream BETWEEN 0 AND 255), -- of frames that no rule matches
    default_class INTEGER NOT NULL DEFAULT 0 CHECK (default_class BETWEEN 0 AND 7),
    default_color INTEGER NOT NULL DEFAULT 0 CHECK (default_color BETWEEN 0 AND 2),
    bandwidth_mode INTEGER NOT NULL DEFAULT 0 CHECK (bandwidth_mode IN (0, 1)), -- 1: rates count the gap too
    link_mode INTEGER CHECK (link_mode IN (1, 2)), -- up when 1 all, 2 any of the links that it depends on are
    link_depend INTEGER CHECK (link_depend IN (1, 2)), -- on 1 its VLAN, 2 the ports of link_depend_ports
    link_depend_ports INTEGER NOT NULL DEFAULT 0 CHECK (link_depend_ports BETWEEN 0 AND 0xffffffff), -- bit port - 1
    in_lag INTEGER NOT NULL DEFAULT 0 CHECK (in_lag IN (0, 1)), -- of a link-aggregation group
    ip_interface INTEGER NOT NULL DEFAULT 0 CHECK (ip_interface IN (0, 1)) -- carries one
) STRICT;

CREATE TABLE cos_map ( -- priority to class, as far as it was set; else the class of the same number
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    priority INTEGER NOT NULL CHECK (priority BETWEEN 0 AND 7),
    traffic_class INTEGER NOT NULL CHECK (traffic_class BETWEEN 0 AND 7),
    PRIMARY KEY (port, priority)
) STRICT, WITHOUT ROWID;

CREATE TABLE class_policer (
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    traffic_class INTEGER NOT NULL CHECK (traffic_class BETWEEN 0 AND 7),
    rate INTEGER NOT NULL CHECK (rate > 0),
    burst INTEGER NOT NULL CHECK (burst > 0),
    color INTEGER NOT NULL CHECK (color IN (0, 1, 2, 255)), -- of what exceeds the rate; 255 discards it
    PRIMARY KEY (port, traffic_class)
) STRICT, WITHOUT ROWID;

CREATE TABLE link_frame ( -- what a port does with link-control frames, as far as it was told
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    kind INTEGER NOT NULL CHECK (kind IN (0, 2, 3)), -- 0 bpdu, 2 lag, 3 pae
    action INTEGER NOT NULL CHECK (action IN (0, 1)), -- 0 discard, 1 forward
    PRIMARY KEY (port, kind)
) STRICT, WITHOUT ROWID;

CREATE TABLE ether_shaper ( -- of a physical interface; no row: none
    ether INTEGER PRIMARY KEY,
    rate INTEGER NOT NULL CHECK (rate > 0),
    burst INTEGER NOT NULL CHECK (burst > 0)
) STRICT;

-- VLANs -----------------------------------------------------------------------------------------------------------

CREATE TABLE protgroup ( -- a set of Ethernet types
    protgroup INTEGER PRIMARY KEY CHECK (protgroup BETWEEN 0 AND 65535)
) STRICT;

CREATE TABLE protocol (
    protgroup INTEGER NOT NULL REFERENCES protgroup ON DELETE CASCADE,
    ether_type INTEGER NOT NULL UNIQUE CHECK (ether_type BETWEEN 0 AND 0xffff), -- in one group at most
    PRIMARY KEY (protgroup, ether_type)
) STRICT, WITHOUT ROWID;

CREATE TABLE vlan (
    vid INTEGER PRIMARY KEY CHECK (vid BETWEEN 1 AND 8191 AND vid <> 4095), -- from 4096 on: a local one, never in a tag
    name TEXT NOT NULL UNIQUE,
    loop_detection INTEGER NOT NULL DEFAULT 0 CHECK (loop_detection IN (0, 1)),
    learning_limit INTEGER NOT NULL DEFAULT 0 CHECK (learning_limit BETWEEN 0 AND 50000), -- 0: none
    ignore_fdb INTEGER NOT NULL DEFAULT 0 CHECK (ignore_fdb IN (0, 1)),
    learning_off INTEGER NOT NULL DEFAULT 0 CHECK (learning_off IN (0, 1))
) STRICT;

CREATE TABLE vlan_member ( -- a port in a VLAN
    vid INTEGER NOT NULL REFERENCES vlan,
    port INTEGER NOT NULL REFERENCES port,
    tagged INTEGER NOT NULL CHECK (tagged IN (0, 1) AND (tagged = 0 OR (vid < 4095 AND protgroup IS NULL))),
    tag_type INTEGER NOT NULL CHECK (tag_type BETWEEN 0 AND 0xffff),
    protgroup INTEGER REFERENCES protgroup, -- untagged for its frames only; NULL: for all
    PRIMARY KEY (vid, port)
) STRICT, WITHOUT ROWID;
CREATE INDEX member_of_port ON vlan_member (port);
-- A frame without a tag has one VLAN: that of its protocol group, else the one that the port is untagged in.
CREATE UNIQUE INDEX member_untagged ON vlan_member (port) WHERE tagged = 0 AND protgroup IS NULL;
CREATE UNIQUE INDEX member_by_protgroup ON vlan_member (protgroup, port) WHERE protgroup IS NOT NULL;

-- Mirrors ---------------------------------------------------------------------------------------------------------

CREATE TABLE mirror (
    mirror INTEGER PRIMARY KEY CHECK (mirror BETWEEN 1 AND 0xffff),
    enabled INTEGER NOT NULL DEFAULT 0 CHECK (enabled IN (0, 1)), -- complete when it is
    source_type INTEGER CHECK (source_type BETWEEN 1 AND 5), -- 1 in, 2 in of a VLAN, 3 out, 4 out of a VLAN, 5 VLAN
    source_port INTEGER REFERENCES port CHECK ((source_type <= 4) = (source_port IS NOT NULL)),
    source_vid INTEGER REFERENCES vlan CHECK ((source_type IN (2, 4, 5)) = (source_vid IS NOT NULL)),
    destination INTEGER REFERENCES port CHECK (destination <> source_port),
    stream INTEGER CHECK (stream BETWEEN 0 AND 255), -- only the frames of this stream, class and color
    traffic_class INTEGER CHECK (traffic_class BETWEEN 0 AND 7),
    color INTEGER CHECK (color BETWEEN 0 AND 2),
    tagged INTEGER NOT NULL DEFAULT 0 CHECK (tagged IN (0, 1)), -- the copies get a tag of their own
    tag_type INTEGER NOT NULL DEFAULT 0x8100 CHECK (tag_type BETWEEN 0 AND 0xffff),
    tag_vid INTEGER NOT NULL DEFAULT 0 CHECK (tag_vid BETWEEN tagged AND 8191 AND tag_vid <> 4095),
    CHECK ((stream IS NULL) = (traffic_class IS NULL) AND (stream IS NULL) = (color IS NULL)),
    CHECK (enabled = 0 OR (source_type IS NOT NULL AND destination IS NOT NULL))
) STRICT;

-- Streams and queues ----------------------------------------------------------------------------------------------

CREATE TABLE stream (
    stream_index INTEGER PRIMARY KEY CHECK (stream_index BETWEEN 0 AND 1023),
    port INTEGER REFERENCES port CHECK (port = stream_index / 256 + 1), -- NULL: not attached
    qos_type INTEGER NOT NULL DEFAULT 0 CHECK (qos_type BETWEEN 0 AND 2), -- 0 not set yet, 1 wfq, 2 pq
    qos_first INTEGER NOT NULL DEFAULT 0, -- two parameters that come with the type
    qos_second INTEGER NOT NULL DEFAULT 0,
    min_rate INTEGER NOT NULL DEFAULT 0, -- all four 0: not shaped
    min_burst INTEGER NOT NULL DEFAULT 0,
    max_rate INTEGER NOT NULL DEFAULT 0 CHECK (min_rate BETWEEN 0 AND max_rate),
    max_burst INTEGER NOT NULL DEFAULT 0 CHECK (min_burst >= 0 AND max_burst >= 0),
    priority INTEGER NOT NULL DEFAULT 0 CHECK (priority BETWEEN 0 AND 7)
) STRICT;

CREATE TABLE tos_map ( -- the entries given by the last map of a stream
    stream_index INTEGER NOT NULL REFERENCES stream ON DELETE CASCADE,
    entry INTEGER NOT NULL CHECK (entry BETWEEN 0 AND 7),
    value INTEGER NOT NULL,
    mask INTEGER NOT NULL,
    PRIMARY KEY (stream_index, entry)
) STRICT, WITHOUT ROWID;

CREATE TABLE drop_policy ( -- of a color of a class, as far as it was set
    stream_index INTEGER NOT NULL REFERENCES stream ON DELETE CASCADE,
    traffic_class INTEGER NOT NULL CHECK (traffic_class BETWEEN 0 AND 7),
    color INTEGER NOT NULL CHECK (color BETWEEN 0 AND 2),
    min_threshold INTEGER NOT NULL CHECK (min_threshold BETWEEN 0 AND 100), -- 100, 0, 0, 0: tail drop
    min_drop INTEGER NOT NULL CHECK (min_drop BETWEEN 0 AND 100),
    max_threshold INTEGER NOT NULL CHECK (max_threshold BETWEEN 0 AND 100),
    max_drop INTEGER NOT NULL CHECK (max_drop BETWEEN 0 AND 100),
    PRIMARY KEY (stream_index, traffic_class, color)
) STRICT, WITHOUT ROWID;

CREATE TABLE queue ( -- its buffers; it may exist without its stream
    stream_index INTEGER NOT NULL CHECK (stream_index BETWEEN 0 AND 1023),
    traffic_class INTEGER NOT NULL CHECK (traffic_class BETWEEN 0 AND 7),
    blocks INTEGER NOT NULL CHECK (blocks > 0), -- of the frame buffers
    length INTEGER NOT NULL CHECK (length > 0),
    PRIMARY KEY (stream_index, traffic_class)
) STRICT, WITHOUT ROWID;

CREATE TABLE queue_in_stream ( -- a queue that is attached to its stream, and how it is served there
    stream_index INTEGER NOT NULL REFERENCES stream,
    traffic_class INTEGER NOT NULL,
    stream_type INTEGER NOT NULL CHECK (stream_type BETWEEN 0 AND 2), -- as told when it was attached
    weighted INTEGER NOT NULL CHECK (weighted IN (0, 1)),
    priority INTEGER NOT NULL CHECK (priority BETWEEN 0 AND 7),
    ratio INTEGER NOT NULL DEFAULT 1 CHECK (ratio >= 0),
    PRIMARY KEY (stream_index, traffic_class),
    FOREIGN KEY (stream_index, traffic_class) REFERENCES queue
) STRICT, WITHOUT ROWID;

-- Forwarding database ---------------------------------------------------------------------------------------------

CREATE TABLE static_entry ( -- an address of a VLAN; every membership brings one of the system, the port's own address
    vid INTEGER NOT NULL REFERENCES vlan ON DELETE CASCADE,
    mac TEXT NOT NULL CHECK (length(mac) = 17),
    port INTEGER REFERENCES port ON DELETE CASCADE CHECK (port IS NOT NULL OR action = 4),
    action INTEGER NOT NULL CHECK (action BETWEEN 0 AND 255), -- 4: discard
    of_system INTEGER NOT NULL CHECK (of_system IN (0, 1)),
    PRIMARY KEY (vid, mac)
) STRICT, WITHOUT ROWID;
CREATE INDEX static_entry_of_port ON static_entry (port);

CREATE TABLE learned_entry ( -- a dynamic one; a static one of the same address takes its place
    vid INTEGER NOT NULL,
    mac TEXT NOT NULL CHECK (length(mac) = 17),
    port INTEGER NOT NULL,
    PRIMARY KEY (vid, mac),
    FOREIGN KEY (vid, port) REFERENCES vlan_member ON DELETE CASCADE
) STRICT, WITHOUT ROWID;
CREATE INDEX learned_entry_of_member ON learned_entry (vid, port);

CREATE TABLE local_entry ( -- a filter of a port; every port has those of the system for the reserved addresses
    port INTEGER NOT NULL REFERENCES port ON DELETE CASCADE,
    mac TEXT NOT NULL CHECK (length(mac) = 17),
    type INTEGER NOT NULL CHECK (type BETWEEN 1 AND 4), -- 1 local, 2 both, 3 local learning, 4 discard
    of_system INTEGER NOT NULL CHECK (of_system IN (0, 1)),
    PRIMARY KEY (port, mac)
) STRICT, WITHOUT ROWID;

-- Classification lists --------------------------------------------------------------------------------------------

CREATE TABLE classify_list (
    list INTEGER PRIMARY KEY CHECK (list > 0),
    marking INTEGER CHECK (marking BETWEEN 0 AND 2) -- of all its rules: 0 normal, 1 dot1p, 2 dscp; NULL: has none
) STRICT;

CREATE TABLE classify_rule ( -- where the frames go that match all fields of the rule
    list INTEGER NOT NULL REFERENCES classify_list,
    line INTEGER NOT NULL CHECK (line > 0),
    stream INTEGER NOT NULL CHECK (stream BETWEEN 0 AND 255),
    traffic_class INTEGER NOT NULL CHECK (traffic_class BETWEEN 0 AND 7),
    color INTEGER NOT NULL CHECK (color BETWEEN 0 AND 2),
    PRIMARY KEY (list, line)
) STRICT, WITHOUT ROWID;

CREATE TABLE classify_match ( -- a field that a rule looks at: (value AND mask) is low, or lies in low to high
    list INTEGER NOT NULL,
    line INTEGER NOT NULL,
    field TEXT NOT NULL CHECK (field IN ('da', 'sa', 'tos', 'prot', 'dp', 'sp', 'vid', 'cos', 'etype',
                                         'ext1', 'ext2', 'ext3', 'ext4')),
    low INTEGER NOT NULL CHECK (low BETWEEN 0 AND 0xffffffff),
    high INTEGER CHECK (high > low), -- NULL: a single value
    mask INTEGER NOT NULL CHECK (mask BETWEEN 0 AND 0xffffffff),
    PRIMARY KEY (list, line, field),
    FOREIGN KEY (list, line) REFERENCES classify_rule ON DELETE CASCADE
) STRICT, WITHOUT ROWID;

CREATE TABLE list_binding ( -- the list that a port uses within a VLAN
    vid INTEGER NOT NULL,
    port INTEGER NOT NULL,
    list INTEGER NOT NULL REFERENCES classify_list,
    PRIMARY KEY (vid, port),
    FOREIGN KEY (vid, port) REFERENCES vlan_member
) STRICT, WITHOUT ROWID;
CREATE INDEX list_binding_of_list ON list_binding (list);

CREATE TABLE extraction_point ( -- the place in the frame that ext1 to ext4 of a bound list's rules look at
    vid INTEGER NOT NULL,
    port INTEGER NOT NULL,
    point INTEGER NOT NULL CHECK (point BETWEEN 1 AND 4),
    byte_offset INTEGER NOT NULL CHECK (byte_offset BETWEEN 0 AND 65535),
    width INTEGER NOT NULL CHECK (width IN (1, 2, 4)),
    PRIMARY KEY (vid, port, point),
    FOREIGN KEY (vid, port) REFERENCES list_binding ON DELETE CASCADE
) STRICT, WITHOUT ROWID;

-- What the other libraries were told ------------------------------------------------------------------------------

CREATE TABLE port_table ( -- the shared port table
    kind INTEGER NOT NULL, -- 1 physical, 2 logical
    port INTEGER NOT NULL,
    ether INTEGER NOT NULL,
    enabled INTEGER NOT NULL DEFAULT 0 CHECK (enabled IN (0, 1)),
    link_mode INTEGER,
    link_depend INTEGER,
    link_depend_ports INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (kind, port)
) STRICT, WITHOUT ROWID;

CREATE TABLE port_table_vlan (
    kind INTEGER NOT NULL,
    port INTEGER NOT NULL,
    vid INTEGER NOT NULL,
    PRIMARY KEY (kind, port, vid),
    FOREIGN KEY (kind, port) REFERENCES port_table ON DELETE CASCADE
) STRICT, WITHOUT ROWID;

CREATE TABLE qualifier ( -- the registered names
    category TEXT NOT NULL, -- port, vlan, portvlan, stream, queue
    name TEXT NOT NULL,
    id INTEGER NOT NULL,
    PRIMARY KEY (category, name)
) STRICT, WITHOUT ROWID;

CREATE TABLE trap_event (
    id INTEGER PRIMARY KEY,
    at TEXT NOT NULL, -- UTC
    object TEXT NOT NULL CHECK (object IN ('BridgePort', 'PortVlan', 'Queue')),
    first INTEGER NOT NULL, -- always 0 so far
    port INTEGER NOT NULL,
    type INTEGER, -- of a bridge port, -1 when it is gone
    vlan TEXT, -- of a membership
    stream INTEGER, -- of a queue, counted from 1
    traffic_class INTEGER,
    event INTEGER NOT NULL -- 1 added, 2 gone
) STRICT;

-- The emulator itself ---------------------------------------------------------------------------------------------

CREATE TABLE limits (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL CHECK (value >= 0),
    in_use INTEGER CHECK (in_use >= 0) -- where counting would take too long
) STRICT, WITHOUT ROWID;

CREATE TABLE fault ( -- the next calls of a function are refused
    id INTEGER PRIMARY KEY,
    function TEXT NOT NULL, -- brgfdb_create_port
    status INTEGER NOT NULL CHECK (status <> 0),
    skip INTEGER NOT NULL DEFAULT 0 CHECK (skip >= 0), -- calls that still pass before
    times INTEGER NOT NULL DEFAULT 1 CHECK (times > 0) -- calls still to be refused; the row goes with the last one
) STRICT;

CREATE TABLE call_log ( -- every library call, in the order in which the switch took them
    id INTEGER PRIMARY KEY,
    at TEXT NOT NULL, -- UTC
    pid INTEGER NOT NULL, -- of the process that made it
    run INTEGER NOT NULL, -- of that process: a random number, since pids come again, and are alike in containers
    sentence TEXT NOT NULL, -- its command line behind the program's name
    call TEXT NOT NULL -- brgfdb_create_port(5, 2, 1) = -1 status 1202
) STRICT;

INSERT INTO limits (name, value, in_use) VALUES
    ('ports', 74, NULL),
    ('ethers', 10, NULL), -- physical interfaces, numbered from 1
    ('vlans', 8190, NULL),
    ('vlans_and_fwdlists', 16380, NULL), -- a VLAN takes one entry for itself and one for its forwarding list
    ('vlan_name_length', 32, NULL), -- bytes
    ('vlan_allocation', 4094, NULL), -- the highest id given to a VLAN that asks for none
    ('ports_per_vlan', 74, NULL),
    ('protgroups', 65536, NULL),
    ('protocols_per_protgroup', 65536, NULL),
    ('protgroups_per_port', 8190, NULL),
    ('mirrors', 4, NULL),
    ('streams', 1024, NULL),
    ('queues', 8192, NULL),
    ('frame_buffers', 134283264, 0), -- a stream takes 64, a queue its blocks
    ('fdb_entries', 1048576, 0), -- static, learned and local ones, those of the system too
    ('clslists', 65536, NULL),
    ('rules_per_clslist', 65536, NULL), -- also the highest line
    ('words_per_clslist', 1507328, NULL), -- of match memory: a rule takes 1, one for each field, two for a range
    ('trap_events', 10000, NULL), -- kept; older ones are forgotten
    ('calls', 100000, NULL); -- kept in the log
