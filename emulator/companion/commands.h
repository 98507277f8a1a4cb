// The commands of emuswitch, each declared and done in the file of its name: `limit` in limit.cpp.
#pragma once

class CommandLine;

// Looking
void add_show(CommandLine& line);
void add_config(CommandLine& line);
void add_log(CommandLine& line);
void add_events(CommandLine& line);
void add_graph(CommandLine& line);

// Frames through the switch
void add_trace(CommandLine& line);
void add_replay(CommandLine& line);

// Running sentences
void add_play(CommandLine& line);
void add_check(CommandLine& line);
void add_diff(CommandLine& line);
void add_apply(CommandLine& line);
void add_exec(CommandLine& line); // and run
void add_shell(CommandLine& line);

// Forwarding frames
void add_live(CommandLine& line);
void add_top(CommandLine& line);

// Changing what no sentence can
void add_reset(CommandLine& line);
void add_learn(CommandLine& line);
void add_port_flags(CommandLine& line); // lag and ipif
void add_limit(CommandLine& line);
void add_fail(CommandLine& line);
void add_call(CommandLine& line);

// All of them, in the order of the help.
void add_commands(CommandLine& line);
