// What a sentence gets that is none: lines on standard output instead of a result document. Both end the process.
#pragma once

[[noreturn]] void show_usage();       // the usage text
[[noreturn]] void no_more_argument(); // for a sentence with words left over
