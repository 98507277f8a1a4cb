// Tables for people.
#pragma once

#include "companion/database.h"

#include <ostream>
#include <string>

// Columns as wide as their cells, numbers to the right, two blanks between. The last column is broken into lines where
// the table would leave a terminal of 80 columns. Nothing is printed of a table without rows but `empty`.
void print_table(std::ostream& out, const Answer& rows, const std::string& empty);
