// What is on standard output, taken apart, for tests that hold for any sentence.
#pragma once

#include <cstdint>
#include <string>

enum class ResultKind { nothing, ok, refusal, usage, surplus, other };

struct Result {
    ResultKind kind = ResultKind::other;
    int32_t code = 0;    // of a refusal
    std::string message; // of a refusal
};

// `other` when the output is not exactly one of the known forms. `usage` is the usage text.
Result read_result(const std::string& output, const std::string& usage);
