// The commands of emuswitch. Each answers its exit status, or throws `Failure`.
#pragma once

#include "companion/database.h"

#include <string>
#include <vector>

// --- Looking ---

struct ShowOptions {
    std::string what; // empty: the overview
    bool as_json = false;
    bool with_system = false; // the switch's own FDB entries too
};
int show(const ShowOptions& options);
std::vector<std::string> show_topics();

int print_config();
int print_log(bool follow);
int print_events(bool follow);
int print_graph(int64_t qos_port); // 0: ports, VLANs and mirrors; else the QoS tree of that port

// --- Doing ---

struct PlayOptions {
    std::string file; // "-": standard input
    bool keep_going = false;
    bool dry_run = false;
};
int play(const PlayOptions& options);

// Runs a command on the switch, or on a private, empty one that is removed afterwards.
int run_on_switch(const std::vector<std::string>& command);
int run_on_private_switch(const std::vector<std::string>& command);

int reset();
int learn(const std::string& mac, const std::string& vlan, int64_t port);
int set_lag(int64_t port, bool on);
int set_ip_interface(int64_t port, bool on);
int set_limit(const std::string& name, int64_t value);

int add_fault(const std::string& function, int64_t status, int64_t at, int64_t times);
int list_faults();
int clear_faults();

// Prints the names of the library functions that can be made to fail.
int list_functions();
