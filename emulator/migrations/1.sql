-- From version 1 to 2: a fault has a status; 0 would have played no fault, but used up its times.
ALTER TABLE fault RENAME TO fault_before;
CREATE TABLE fault ( -- the next calls of a function are refused
    id INTEGER PRIMARY KEY,
    function TEXT NOT NULL, -- brgfdb_create_port
    status INTEGER NOT NULL CHECK (status <> 0),
    skip INTEGER NOT NULL DEFAULT 0 CHECK (skip >= 0), -- calls that still pass before
    times INTEGER NOT NULL DEFAULT 1 CHECK (times > 0) -- calls still to be refused; the row goes with the last one
) STRICT;
INSERT INTO fault SELECT id, function, status, skip, times FROM fault_before WHERE status <> 0;
DROP TABLE fault_before;
PRAGMA user_version = 2;
