// The configuration of the switch as sentences.
#pragma once

#include "companion/database.h"

#include <string>
#include <vector>

// In an order that an empty switch takes them in; played there they make the same switch. What no sentence makes
// (limits, flags and learned addresses set with this program) is not among them.
std::vector<std::string> configuration(Database& database);
