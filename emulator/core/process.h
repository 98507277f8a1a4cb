// Which process calls, for the log.
#pragma once

namespace emulator {

// The words of the command line behind the program's name, quoted where they need it as the transcripts do; what
// exceeds 2,000 bytes is left out.
const char* sentence();

} // namespace emulator
