// The written form of a library call, as the contract tests and the emulator's log have it:
//
//     brgfdb_create_port(5, 2, 1) = -1 status 1202
//
// Everything that a call passes is written and nothing else; the status word is an answer, not an argument. Records
// are read by byte offset and not through the declarations of the tool, so that a wrong layout there would show.
//
//     text                 "sales", with \" \\ \n \t and \xHH
//     MAC address          01:80:c2:00:00:0a
//     port parameters      {0x0010 0x0000 0x0000 0x8100 0x000a}, its five words
//     arrays of words      {7 7 0 0 0 0 0 0} or {0x10 0x20 0x0 ...}
//     extraction points    {14/2 20/4 0/0 0/0}, offset/width
//     rule                 {normal 0/3/red present 0x00000011 cos 3-7/0xff prot 6/0xff}: marking, stream/class/color,
//                          then each slot that is not all zero as value/mask or low-high/mask
#pragma once

#include <cstddef>
#include <cstdint>

namespace notation {

// Text of bounded length in a buffer of the caller's; what does not fit is left out and `is_cut` says so.
struct Text {
    char* buffer;
    size_t capacity; // bytes in buffer, one of them for the terminating zero
    size_t length = 0;
    bool is_cut = false;

    Text(char* storage, size_t size) : buffer(storage), capacity(size) { buffer[0] = '\0'; }

    void put(char c);
    void put(const char* text);
};

void write_unsigned(Text& out, uint32_t value);
void write_signed(Text& out, int32_t value);
void write_hex_digits(Text& out, uint32_t value, int digits); // so many, and no 0x before them
void write_address(Text& out, uint32_t address);              // 10.0.0.1
void write_quoted(Text& out, const char* text);

// How an argument is written where its type alone does not say it.
struct Hex {
    uint32_t value = 0;
    int digits = 1; // at least; more where the value needs them
};
struct Mac {
    const uint8_t* bytes;
};
struct Words { // an array of 32-bit words
    const uint32_t* words;
    size_t count;
    bool in_hex;
};
struct ParameterRecord {
    const void* bytes; // 10
};
struct PointTable {
    const void* bytes; // 16
};
struct RuleRecord {
    const void* bytes; // 120
};

void write(Text& out, int32_t value);
void write(Text& out, uint32_t value);
void write(Text& out, uint16_t value);
void write(Text& out, const char* text);
void write(Text& out, Hex hex);
void write(Text& out, Mac mac);
void write(Text& out, Words array);
void write(Text& out, ParameterRecord record);
void write(Text& out, PointTable table);
void write(Text& out, RuleRecord rule);

// brgfdb_create_port(5, 2, 1)
template <typename... Arguments> void write_call(Text& out, const char* function, const Arguments&... arguments) {
    out.put(function);
    out.put('(');
    [[maybe_unused]] const char* separator = "";
    ((out.put(separator), write(out, arguments), separator = ", "), ...);
    out.put(')');
}

} // namespace notation
