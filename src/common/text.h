// Texts with operands in them, built on the stack: messages, documents, qualifier names.
#pragma once

#include "common/packing.h"

// At most 127 characters; what is longer is cut.
struct ShortText {
    char text[128];
};

// A number or a text; the placeholder knows which.
union Operand {
    int32_t number;
    const char* text;

    Operand(int32_t value) : number(value) {}
    Operand(const char* value) : text(value) {}
};

// Writes a packed text with its operands and a NUL, cut to `size` bytes in all; returns the length without the NUL.
size_t fill(char* out, size_t size, const char* packed, const Operand* operands);

ShortText compose_packed(const char* packed, const Operand* operands);

// compose<"{0}/{1}">(port, stream)
template <packing::Literal Text, typename... Operands> ShortText compose(Operands... operands) {
    const Operand values[] = {operands...};
    return compose_packed(packing::message<Text, Operands...>(), values);
}
