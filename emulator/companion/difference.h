// What makes one switch of another.
#pragma once

#include "companion/switch_model.h"

#include <string>
#include <vector>

// Sentences, lines for emuswitch where no sentence does it, and remarks behind #, in an order that the switch accepts.
// Empty when the two are alike.
//
// They are the fewest that leave alone what both switches have. Only what cannot be changed where it stands is taken
// down and made anew; a remark says so.
std::vector<std::string> difference(const SwitchModel& from, const SwitchModel& wanted);

// The lines without the remarks.
std::vector<std::string> without_remarks(const std::vector<std::string>& lines);
