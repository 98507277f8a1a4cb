// Library calls by name: what sentences do not lead to, such as the half of one.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

#include <array>
#include <charconv>
#include <concepts>
#include <iostream>
#include <tuple>
#include <type_traits>

namespace {

using Words = std::vector<std::string>;

int64_t read_number(const std::string& word, int64_t lowest, int64_t highest) {
    const bool is_hex = word.starts_with("0x");
    const char* const begin = word.data() + (is_hex ? 2 : 0);
    const char* const end = word.data() + word.size();
    int64_t value = 0;
    const auto [behind, problem] = std::from_chars(begin, end, value, is_hex ? 16 : 10);
    if (problem != std::errc{} || behind != end || begin == end || value < lowest || value > highest)
        throw WrongUse("\"" + word + "\" is not a number from " + std::to_string(lowest) + " to " +
                       std::to_string(highest));
    return value;
}

template <std::integral Number> Number read_as(const std::string& word) {
    return static_cast<Number>(
        read_number(word, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max()));
}

// An argument of a library function, made from the next words. The last one, of a function that has it, is where the
// status goes.
template <typename Type> struct Argument {
    // A record, which has no written form.
    explicit Argument(Words::const_iterator& /*at*/) {}
    static constexpr bool is_read = true;
    static constexpr bool is_record = true;
    Type pass() { return nullptr; }
};

template <std::integral Number> struct Argument<Number> {
    explicit Argument(Words::const_iterator& at) : value(read_as<Number>(*at++)) {}
    static constexpr bool is_read = true;
    static constexpr bool is_record = false;
    Number pass() { return value; }
    Number value;
};

template <> struct Argument<const char*> {
    explicit Argument(Words::const_iterator& at) : value(*at++) {}
    static constexpr bool is_read = true;
    static constexpr bool is_record = false;
    const char* pass() { return value.c_str(); }
    const std::string& value;
};

template <> struct Argument<const uint8_t*> { // a MAC address
    explicit Argument(Words::const_iterator& at) {
        const std::string& word = *at++;
        bool is_mac = word.size() == 3 * mac_length - 1;
        for (size_t i = 0; is_mac && i < mac_length; ++i) {
            const char* const pair = word.data() + 3 * i;
            is_mac = std::from_chars(pair, pair + 2, bytes.at(i), 16).ptr == pair + 2 &&
                     (i + 1 == mac_length || pair[2] == ':');
        }
        if (!is_mac) throw WrongUse("\"" + word + "\" is not a MAC address; write it as 00:11:22:33:44:55");
    }
    static constexpr bool is_read = true;
    static constexpr bool is_record = false;
    const uint8_t* pass() { return bytes.data(); }
    std::array<uint8_t, mac_length> bytes{};
};

template <> struct Argument<const uint32_t*> { // eight numbers with commas between
    explicit Argument(Words::const_iterator& at) {
        const std::string& word = *at++;
        size_t from = 0;
        for (uint32_t& number : numbers) {
            const size_t to = std::min(word.find(',', from), word.size());
            if (from > word.size()) throw WrongUse("\"" + word + "\" is not eight numbers with commas between");
            number = read_as<uint32_t>(word.substr(from, to - from));
            from = to + 1;
        }
        if (from <= word.size()) throw WrongUse("\"" + word + "\" is not eight numbers with commas between");
    }
    static constexpr bool is_read = true;
    static constexpr bool is_record = false;
    const uint32_t* pass() { return numbers.data(); }
    std::array<uint32_t, 8> numbers{};
};

template <> struct Argument<int32_t*> { // a number that the function may change
    explicit Argument(Words::const_iterator& at) : value(read_as<int32_t>(*at++)) {}
    static constexpr bool is_read = true;
    static constexpr bool is_record = false;
    int32_t* pass() { return &value; }
    int32_t value;
};

template <typename Output> struct FilledArgument { // what the function only fills
    explicit FilledArgument(Words::const_iterator& /*at*/) {}
    static constexpr bool is_read = false;
    static constexpr bool is_record = false;
    Output* pass() { return &value; }
    Output value{};
};
template <> struct Argument<uint32_t*> : FilledArgument<uint32_t> { using FilledArgument::FilledArgument; };
template <> struct Argument<StreamInfo*> : FilledArgument<StreamInfo> { using FilledArgument::FilledArgument; };

struct Result {
    int32_t value;
    int32_t status; // where the function has one
};

template <typename... Types> void require_count(const char* function, const Words& words) {
    if ((Argument<Types>::is_record || ... || false))
        throw WrongUse(std::string(function) + " takes a record, which has no written form; say the sentence instead");
    const size_t wanted = (size_t{0} + ... + (Argument<Types>::is_read ? 1 : 0));
    if (words.size() != wanted)
        throw WrongUse(std::string(function) + " takes " + std::to_string(wanted) + " operands, not " +
                       std::to_string(words.size()));
}

template <typename Types> struct Maker;
template <typename... Types> struct Maker<std::tuple<Types...>> {
    template <typename Function, typename... Status>
    static int32_t make(const char* name, Function function, const Words& words, Status... status) {
        require_count<Types...>(name, words);
        [[maybe_unused]] auto at = words.begin();
        std::tuple<Argument<Types>...> arguments{Argument<Types>(at)...}; // from left to right
        return std::apply([&](auto&... argument) { return function(argument.pass()..., status...); }, arguments);
    }
};

template <typename Tuple, size_t... Places>
std::tuple<std::tuple_element_t<Places, Tuple>...> first_of(std::index_sequence<Places...>);

template <auto Function, typename... Types> Result make_typed(const char* name, const Words& words) {
    using All = std::tuple<Types...>;
    if constexpr (sizeof...(Types) > 0) {
        using Last = std::tuple_element_t<sizeof...(Types) - 1, All>;
        if constexpr (std::is_same_v<Last, int32_t*>) {
            using Operands = decltype(first_of<All>(std::make_index_sequence<sizeof...(Types) - 1>{}));
            Result result{};
            result.value = Maker<Operands>::make(name, Function, words, &result.status);
            return result;
        }
    }
    return {Maker<All>::make(name, Function, words), 0};
}

template <typename Function> struct Signature;
template <typename... Types> struct Signature<int32_t (*)(Types...)> {
    template <auto Function> static Result make(const char* name, const Words& words) {
        return make_typed<Function, Types...>(name, words);
    }
};

template <auto Function> Result make(const char* name, const Words& words) {
    return Signature<decltype(Function)>::template make<Function>(name, words);
}

struct LibraryCall {
    const char* name;
    Result (*make)(const char* name, const Words& words);
};

#include "library_calls.h" // made from the declarations of the libraries when the project is built

int call(const Words& words) {
    if (words.empty()) throw WrongUse("call needs the name of a library function; emuswitch fail --functions");
    const std::string& function = words.front();
    for (const LibraryCall& known : library_calls) {
        if (function != known.name) continue;
        const Result result = known.make(known.name, {words.begin() + 1, words.end()});
        if (result.value >= 0) return 0;
        throw Failure(function + " answers " + std::to_string(result.value) +
                      (result.status != 0 ? " with status " + std::to_string(result.status) : ""));
    }
    throw Failure("no library has a function \"" + function + "\"; emuswitch fail --functions lists all of them");
}

} // namespace

void add_call(CommandLine& line) {
    auto words = std::make_shared<Words>();
    line.add("call", "Make a library call, such as no sentence makes by itself")
        .rest(*words)
        .footer("Behind call stand the function and what it takes, as emuswitch log writes it, without commas and\n"
                "without the status word.\n\nExample:\n  emuswitch call brgfdb_create_stream 256")
        .runs([words] { return call(*words); });
}
