// Rows whose parent is missing, which a joined query leaves out.
#pragma once

#include "companion/database.h"

inline void expect_no_row(Database& database, const std::string& sql, const char* column) {
    if (Query found(database, sql); found.next()) found.fail_as_damaged(column);
}

// Of a queue that is attached without being there.
inline void expect_queues_in_streams(Database& database) {
    expect_no_row(database,
                  "SELECT traffic_class FROM queue_in_stream LEFT JOIN queue USING (stream_index, traffic_class)"
                  " WHERE blocks IS NULL",
                  "traffic_class");
}
