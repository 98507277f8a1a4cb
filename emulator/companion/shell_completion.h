// What the end of a line of the shell may become.
#pragma once

#include "companion/line_editor.h"

#include <string>
#include <vector>

// The commands that the shell takes: those of this program.
std::vector<std::string> command_names();

Completion complete_shell_line(const std::string& before);
