// Short texts built on the stack: messages and qualifier names.
#pragma once

#include <cstdarg>

// At most 127 characters; what is longer is cut.
struct ShortText {
    char text[128];
};

[[gnu::format(printf, 1, 2)]] ShortText format_text(const char* format, ...);
[[gnu::format(printf, 1, 0)]] ShortText format_text_list(const char* format, va_list values);
