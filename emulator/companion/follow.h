// Rows that the switch adds to the end of a table: what there is, and what comes.
#pragma once

#include "companion/database.h"

#include <functional>
#include <memory>

class Command;
class CommandLine;

struct GrowingTable {
    const char* name = nullptr;    // of a table with an id that grows and a time `at`
    const char* columns = nullptr; // that `take` wants, beside these
    int64_t last = 0;              // so many of what `group` tells apart are wanted, the newest; 0: all
    const char* group = "id";
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

struct FollowOptions {
    bool keeps_on = false;
    bool as_json = false;
    bool with_times = false;
    int64_t last = 0; // so many of them; 0: all
};

// Declares a command with the options --follow, --last and --json.
Command add_follower(CommandLine& line, const char* name, const char* about,
                     const std::shared_ptr<FollowOptions>& options, int (*print)(const FollowOptions& options));
