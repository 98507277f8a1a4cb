// Switches that the command line names by files.
#pragma once

#include "companion/switch_model.h"

#include <string>

// The switch in the file of a store, which begins as SQLite files do, or the one that the sentences of any other file
// make of an empty switch; "-" are sentences on standard input. Nothing is made and nothing is changed. A sentence that
// the switch refuses is told on standard error, with its place, and `Failure` says no more. Where sentences were
// played, EMUSWITCH is another one afterwards.
SwitchModel read_switch(const std::string& file);

// The switch in the file of a store, which EMUSWITCH names afterwards.
SwitchModel read_store(const std::string& file);

// Says a line to the switch in the file of a store. Returns why it was not accepted; empty: it was.
std::string say_to(const std::string& store, const std::string& line);
