-- From version 2 to 3: the calls of one process are known by a number of its own.
ALTER TABLE call_log RENAME TO call_log_before;
CREATE TABLE call_log ( -- every library call, in the order in which the switch took them
    id INTEGER PRIMARY KEY,
    at TEXT NOT NULL, -- UTC
    pid INTEGER NOT NULL, -- of the process that made it
    run INTEGER NOT NULL, -- of that process: a random number, since pids come again, and are alike in containers
    sentence TEXT NOT NULL, -- its command line behind the program's name
    call TEXT NOT NULL -- brgfdb_create_port(5, 2, 1) = -1 status 1202
) STRICT;
INSERT INTO call_log (id, at, pid, run, sentence, call) SELECT id, at, pid, pid, sentence, call FROM call_log_before;
DROP TABLE call_log_before;
PRAGMA user_version = 3;
