// Rows that the switch adds to the end of a table: what there is, and what comes.
#pragma once

#include "companion/database.h"

#include <functional>

class CommandLine;

struct GrowingTable {
    const char* name;    // of a table with an id that grows and a time `at`
    const char* columns; // that `take` wants, beside these
};

// Reads the rows and goes on as they come when that is wanted: `take` is called with each in turn, then `print` when
// there are no more for now and the switch is free again.
//
// A switch that is reset begins its ids anew, a file may be replaced by another, and rows go that are older than the
// limit allows: whatever happens, each row that is there and was not taken yet is, in its order.
int read_rows(const GrowingTable& table, bool keeps_on, const std::function<void(const Query&)>& take,
              const std::function<void()>& print);

// The same as lines, one for each row, for programs.
int print_rows(const GrowingTable& table, bool keeps_on, const std::function<std::string(const Query&)>& line_of);

// Declares a command with the options --follow and --json.
void add_follower(CommandLine& line, const char* name, const char* about, const char* on_follow,
                  int (*print)(bool keeps_on, bool as_json));
