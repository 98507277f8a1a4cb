// How much the switch has room for.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/names.h"
#include "companion/nearest.h"
#include "companion/topics.h"

#include <iostream>

namespace {

constexpr Range any_limit{0, std::numeric_limits<int32_t>::max()}; // the switch counts in 32 bits

constexpr int64_t not_given = -1;

struct LimitWords {
    std::string name;
    int64_t value = not_given;
    bool as_json = false;
};

std::string nearest_limit(Database& database, const std::string& name) {
    std::vector<std::string> known;
    Query rows(database, "SELECT name FROM limits ORDER BY name");
    while (rows.next())
        known.push_back(rows.text("name"));
    return did_you_mean(name, known);
}

void set_limit(const std::string& name, int64_t value) {
    Database database;
    Transaction transaction(database);
    if (database.change("UPDATE limits SET value = ? WHERE name = ?", {value, name}) == 0)
        throw Failure("there is no limit \"" + shown(name) + "\"" + nearest_limit(database, name) +
                      "; emuswitch show limits lists them");
    transaction.commit();
}

int limit(const LimitWords& words) {
    if (words.value == not_given && !(words.name.empty() && words.as_json))
        throw WrongUse("limit needs a name and a value; emuswitch show limits lists them");
    if (words.value != not_given) set_limit(words.name, words.value);
    if (words.as_json) {
        Database database = Database::snapshot();
        std::cout << topics_as_json(database, "limits");
    }
    return 0;
}

} // namespace

void add_limit(CommandLine& line) {
    auto words = std::make_shared<LimitWords>();
    line.add("limit", "Change how many of something the switch has room for")
        .optional_operand("name", words->name, "One of emuswitch show limits")
        .optional_operand("value", words->value, any_limit, "The new limit")
        .flag("--json", words->as_json, "For programs: all limits as they are then; may stand alone")
        .footer("Example:\n  emuswitch limit vlans 10")
        .runs([words] { return limit(*words); });
}
