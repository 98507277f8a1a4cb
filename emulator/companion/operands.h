// The operands of sentences: which words the tool takes for each, and what it makes of a word that it takes in silence
// although it is not written as that operand is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// What the tool makes of a word.
struct Reading {
    enum Kind {
        plain,
        in_silence, // as something else than what stands there; `remark` says as what
        refused,    // whatever the switch holds; `remark` says why, and with which code
        no_operand  // the usage text
    };
    Kind kind = plain;
    std::string remark;
};

struct OperandKind {
    const char* name;
    const char* description; // "a port number"
    // Reads words[at]; what stands behind it may matter.
    Reading (*read)(const std::vector<std::string>& words, size_t at);
};

// The operand of that name; there has to be one.
const OperandKind& operand_kind(std::string_view name);
