// Formatting into bounded texts.
#include "common/text.h"

#include <cstdio>

ShortText format_text_list(const char* format, va_list values) {
    ShortText result{};
    // The analyzer loses sight of lists that come as arguments, and a text that is cut is as wanted.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized,cert-err33-c)
    vsnprintf(result.text, sizeof result.text, format, values);
    return result;
}

ShortText format_text(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const ShortText result = format_text_list(format, values);
    va_end(values);
    return result;
}
