// What one run of the fuzzer plays: the words of a sentence, the answers of the libraries, and how standard output
// takes the document. Every file is such an input:
//
//     byte 0     number of answers, modulo 32
//     byte 1     what the first write does: 0 takes all, 255 fails, 254 is interrupted, else takes so many bytes
//     13 each    the answers: three little-endian words and a byte
//     the rest   the words, each ended by a zero byte; the last one may end with the input
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct Answer {
    int32_t result = 0;
    int32_t status = 0;
    int32_t value = 0; // the VLAN id, the protocol number, or what fills the stream record
    bool stores_status = false;
};

struct Input {
    std::vector<Answer> answers;
    std::vector<std::string> words;
    uint8_t first_write = 0;
};

namespace first_write {
constexpr uint8_t takes_all = 0;
constexpr uint8_t is_interrupted = 254;
constexpr uint8_t fails = 255;
} // namespace first_write

Input decode(const uint8_t* data, size_t size);
std::string encode(const Input& input);
