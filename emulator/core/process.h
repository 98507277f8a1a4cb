// Which process calls, for the log.
#pragma once

#include <cstdint>

namespace emulator {

// A number that no other process has, as good as certainly.
int64_t run_number();

// The words of the command line behind the program's name, quoted where they need it as the transcripts do; what
// exceeds 2,000 bytes is left out.
const char* sentence();

} // namespace emulator
