-- Fills the store of an empty switch with the largest configuration that a switch of this kind is asked to hold: 74
-- ports, 4,000 VLANs, 1,024 streams, 8,192 queues, 16,000 FDB entries beside those of the system, four lists with 4,000
-- rules each, and a full log.
PRAGMA foreign_keys = ON;
BEGIN IMMEDIATE;

CREATE TEMP TABLE n (n INTEGER PRIMARY KEY);
WITH RECURSIVE counter (n) AS (VALUES (1) UNION ALL SELECT n + 1 FROM counter WHERE n < 100000)
INSERT INTO n SELECT n FROM counter;

INSERT INTO port (port, ether, type, enabled)
    SELECT iif(n <= 10, n, 90 + n), iif(n <= 10, n, 0), iif(n <= 10, 1, 2), 1 FROM n WHERE n <= 74;
INSERT INTO port_table (kind, port, ether, enabled) SELECT iif(port <= 10, 1, 2), port, ether, 1 FROM port;
INSERT INTO qualifier SELECT 'port', port, type FROM port;
INSERT INTO local_entry SELECT port, printf('01:80:c2:00:00:%02x', n - 1), 4, 1 FROM port JOIN n ON n <= 16;

INSERT INTO vlan (vid, name) SELECT n, 'vlan' || n FROM n WHERE n <= 4000;
INSERT INTO qualifier SELECT 'vlan', name, vid FROM vlan;
INSERT INTO vlan_member (vid, port, tagged, tag_type) SELECT vid, 1 + vid % 2, 1, 0x8100 FROM vlan;
INSERT INTO static_entry SELECT vid, printf('02:00:00:00:00:%02x', port), port, 0, 1 FROM vlan_member;
INSERT INTO port_table_vlan SELECT 1, port, vid FROM vlan_member;
INSERT INTO qualifier SELECT 'portvlan', port || '/' || name, -1 FROM vlan_member JOIN vlan USING (vid);
INSERT INTO static_entry
    SELECT 1 + n % 4000, printf('00:11:22:%02x:%02x:%02x', n >> 16, n >> 8 & 255, n & 255), 1, 1, 0 FROM n WHERE n <= 16000;

INSERT INTO stream (stream_index, port, qos_type, qos_first, qos_second)
    SELECT n - 1, (n - 1) / 256 + 1, 1, 2048, 64 FROM n WHERE n <= 1024;
INSERT INTO queue SELECT stream_index, n - 1, 256, 16384 FROM stream JOIN n ON n <= 8;
INSERT INTO queue_in_stream SELECT stream_index, traffic_class, 1, 1, traffic_class, 1 FROM queue;
INSERT INTO qualifier SELECT 'stream', printf('%d/%d', stream_index / 256 + 1, stream_index % 256 + 1), -1 FROM stream;
INSERT INTO qualifier
    SELECT 'queue', printf('%d/%d/%d', stream_index / 256 + 1, stream_index % 256 + 1, traffic_class), -1 FROM queue;

INSERT INTO classify_list SELECT n, 0 FROM n WHERE n <= 4;
INSERT INTO classify_rule SELECT list, n, n % 256, n % 8, n % 3 FROM classify_list JOIN n ON n <= 4000;
INSERT INTO classify_match SELECT list, line, 'da', line << 8, NULL, 0xffffff00 FROM classify_rule;
INSERT INTO classify_match SELECT list, line, 'prot', 6, NULL, 0xff FROM classify_rule;
INSERT INTO classify_match SELECT list, line, 'dp', line, line + 100, 0xffff FROM classify_rule;
INSERT INTO list_binding SELECT vid, port, 1 + vid % 4 FROM vlan_member WHERE vid > 1 AND vid <= 1000;

INSERT INTO call_log (at, pid, run, sentence, call)
    SELECT '2024-05-01 12:00:00.000', n, n, 'set port 1 aging 600',
           'brgfdb_set_param_to_port(1, {0x0000 0x0000 0x0000 0x0000 0x0000}, 600, 0, 0x0040, 0x0000)'
    FROM n;
INSERT INTO trap_event (at, object, first, port, type, event)
    SELECT '2024-05-01 12:00:00.000', 'BridgePort', 0, 1, 1, 1 FROM n WHERE n <= 10000;

UPDATE limits SET in_use = (SELECT count(*) FROM static_entry) + (SELECT count(*) FROM local_entry)
    WHERE name = 'fdb_entries';
UPDATE limits SET in_use = 64 * (SELECT count(*) FROM stream) + (SELECT sum(blocks) FROM queue)
    WHERE name = 'frame_buffers';
COMMIT;
