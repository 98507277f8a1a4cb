// Standard output, written whole and at once.
#pragma once

#include <cstddef>

// What cannot be written is lost: there is nobody left to tell.
void print(const char* text, size_t length);
