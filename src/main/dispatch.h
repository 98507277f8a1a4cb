// From the words of a sentence to its handler.
#pragma once

#include <cstdint>

// `count` words, words[0] the verb. Calls the one handler that the words name, or shows the usage text; returns when
// the handler does.
void dispatch(int32_t count, char** words);
