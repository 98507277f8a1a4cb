// Calls of the libraries that are made to fail.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/topics.h"

#include "library_functions.h" // made from the declarations of the libraries when the project is built

#include <algorithm>
#include <iostream>
#include <iterator>

namespace {

int add_fault(const std::string& function, int64_t status, int64_t at, int64_t times) {
    const auto* const last = std::end(library_function_names);
    if (std::find(std::begin(library_function_names), last, function) == last)
        throw Failure("no library has a function \"" + function + "\"; emuswitch fail --functions lists all of them");
    Database database;
    Transaction transaction(database);
    database.change("INSERT INTO fault (function, status, skip, times) VALUES (?, ?, ?, ?)",
                    {function, status, at - 1, times});
    transaction.commit();
    return 0;
}

int list_faults(bool as_json) {
    Database database = Database::snapshot();
    if (as_json)
        std::cout << topics_as_json(database, "faults");
    else
        print_topic(database, find_topic("faults"), false);
    return 0;
}

int clear_faults() {
    Database database;
    Transaction transaction(database);
    database.change("DELETE FROM fault");
    transaction.commit();
    return 0;
}

int list_functions() {
    for (const char* name : library_function_names)
        std::cout << name << "\n";
    return 0;
}

struct FailWords {
    std::string function;
    int64_t status = 0;
    int64_t at = 1;
    int64_t times = 1;
    bool is_list = false;
    bool is_clear = false;
    bool is_functions = false;
    bool as_json = false;
};

int fail(const FailWords& words) {
    const bool wanted[] = {words.is_list, words.is_clear, words.is_functions, !words.function.empty()};
    if (std::count(std::begin(wanted), std::end(wanted), true) > 1)
        throw WrongUse("fail takes a function, --list, --clear or --functions, and only one of these");
    if (words.as_json && !words.is_list) throw WrongUse("fail has --json with --list only");
    if (words.is_list) return list_faults(words.as_json);
    if (words.is_clear) return clear_faults();
    if (words.is_functions) return list_functions();
    if (words.status == 0)
        throw WrongUse("fail needs a function and the status to refuse with, a number that is not 0");
    return add_fault(words.function, words.status, words.at, words.times);
}

} // namespace

void add_fail(CommandLine& line) {
    constexpr Range any_status{std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()};
    constexpr Range any_count{1, std::numeric_limits<int32_t>::max()};
    auto words = std::make_shared<FailWords>();
    line.add("fail", "Have the next calls of a library function refused")
        .optional_operand("function", words->function, "The function, brgfdb_create_port for one")
        .optional_operand("status", words->status, any_status, "The status to refuse with, not 0")
        .option("--at <n>", words->at, any_count, "Beginning with its Nth call from now on")
        .option("--times <n>", words->times, any_count, "So many calls")
        .flag("--list", words->is_list, "List what is still to fail")
        .flag("--json", words->as_json, "With --list, for programs: an object")
        .flag("--clear", words->is_clear, "Forget all of it")
        .flag("--functions", words->is_functions, "List the functions that can fail")
        .footer("Examples:\n  emuswitch fail brgfdb_create_lfil 2002 --at 10\n  emuswitch fail --list")
        .runs([words] { return fail(*words); });
}
