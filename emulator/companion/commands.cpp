// All commands.
#include "companion/commands.h"

#include "companion/command_line.h"

void add_commands(CommandLine& line) {
    // In the order of the help.
    for (const auto add : {
             add_show,  add_config, add_log,   add_events,     add_graph, add_trace, add_replay,
             add_live,  add_top,    add_play,  add_check,      add_diff,  add_apply, add_exec,
             add_shell, add_reset,  add_learn, add_port_flags, add_limit, add_fail,  add_call,
         })
        add(line);
    line.add_help();
}
