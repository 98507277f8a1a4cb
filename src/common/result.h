// The result document that every sentence ends with, and the shared catalogue of errors.
//
// Codes 101 to 110 say what does not exist (with the numbers that the bridge library uses for it), 201 to 218 what is
// out of range, 301 to 321 what is invalid; any other status of the bridge library is printed as the code it is.
// Operands stand in the messages as typed, with no escaping.
#pragma once

#include "common/text.h"

namespace range_error {
constexpr int32_t vlan_id = 201;
constexpr int32_t pvid = 202;
constexpr int32_t aging = 203;
constexpr int32_t tag_type = 204;
constexpr int32_t learning_limit = 205;
constexpr int32_t port = 206;
constexpr int32_t stream = 207;
constexpr int32_t traffic_class = 208;
constexpr int32_t rate = 209;
constexpr int32_t queue_size = 210;
constexpr int32_t burst = 211;
constexpr int32_t protgroup = 212;
constexpr int32_t ether_type = 213;
constexpr int32_t mirror = 214;
constexpr int32_t mirror_source_type = 215;
constexpr int32_t mirror_source = 216;
constexpr int32_t mirror_destination = 217;
constexpr int32_t stream_priority = 218;
} // namespace range_error

namespace invalid {
constexpr int32_t aftype = 301;
constexpr int32_t ingress_filter = 302;
constexpr int32_t accept_tag = 303;
constexpr int32_t accept_priority_tag = 304;
constexpr int32_t aging = 305;
constexpr int32_t loop_breaker = 306;
constexpr int32_t vlan_id = 307;
constexpr int32_t tag = 308;
constexpr int32_t tag_type = 309;
constexpr int32_t loop_detection = 310;
constexpr int32_t learning_limit = 311;
constexpr int32_t mac_address = 312;
constexpr int32_t reserved_mac_address = 313;
constexpr int32_t ignore_tag = 314;          // no format: the operand is the message
constexpr int32_t ignore_priority_tag = 315; // no format: the operand is the message
constexpr int32_t protgroup = 316;
constexpr int32_t ether_type = 317;
constexpr int32_t mirror = 318;
constexpr int32_t mirror_source_type = 319;
constexpr int32_t mirror_source = 320;
constexpr int32_t mirror_destination = 321;
} // namespace invalid

// --- Printing; these return ---

// Prints the OK document.
void act_puts();

// Prints the NG document.
void act_printf(int32_t code, const ShortText& message);

// `code` 101 to 110. With a name the message shows it, in quotes unless it begins with a digit; with nullptr the
// number.
void report_not_exist(int32_t code, const char* name, int32_t number);

// `code` 201 to 218. A rate is given in bit/s and shown in units of 1000.
void report_out_of_range(int32_t code, int32_t value);

// `code` 301 to 321; for a code without a message of its own the text is the message.
void report_invalid(int32_t code, const char* text);

// Prints what a packed table says for the code.
void report_listed(int32_t code, const char* packed_messages, const Operand* operands);

// report<mirror_messages>(status, mirror)
template <const auto& Messages, typename... Operands> void report(int32_t code, Operands... operands) {
    const Operand values[] = {operands...};
    report_listed(code, packing::messages<Messages, Operands...>(), values);
}

// --- Printing and ending the process with status 0 ---

// OK. The sentences that create a port, change mirrors or protocol groups, or flush the forwarding database print it
// with act_puts and return to `dispatch`, deliberately: a program that links their handlers goes on behind them. In the
// tool, main then ends with the same status.
[[noreturn]] void accept();

[[noreturn]] void refuse_missing(int32_t code, const char* name);
[[noreturn]] void refuse_missing(int32_t code, int32_t number);
[[noreturn]] void refuse_out_of_range(int32_t code, int32_t value);
[[noreturn]] void refuse_invalid(int32_t code, const char* text);

// Ends the process. The libraries' own exit handlers run, so what they have printed gets out.
[[noreturn]] void end_process();

// What a packed table says for the code, or what a packed message says.
[[noreturn]] void refuse_listed(int32_t code, const char* packed_messages, const Operand* operands);
[[noreturn]] void refuse_packed(int32_t code, const char* packed_message, const Operand* operands);

// refuse<queue_creation_messages>(status, port, stream, traffic_class)
template <const auto& Messages, typename... Operands> [[noreturn]] void refuse(int32_t code, Operands... operands) {
    const Operand values[] = {operands...};
    refuse_listed(code, packing::messages<Messages, Operands...>(), values);
}

// refuse<"cannot create port {0}.">(status, port)
template <packing::Literal Message, typename... Operands> [[noreturn]] void refuse(int32_t code, Operands... operands) {
    const char* const packed = packing::message<Message, Operands...>();
    if constexpr (sizeof...(operands) > 0) {
        const Operand values[] = {operands...};
        refuse_packed(code, packed, values);
    }
    refuse_packed(code, packed, nullptr);
}
