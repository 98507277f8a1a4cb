// How much the switch has room for.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

namespace {

constexpr Range any_limit{0, std::numeric_limits<int32_t>::max()}; // the switch counts in 32 bits

int set_limit(const std::string& name, int64_t value) {
    Database database;
    Transaction transaction(database);
    if (database.change("UPDATE limits SET value = ? WHERE name = ?", {value, name}) == 0)
        throw Failure("there is no limit \"" + name + "\"; emuswitch show limits lists them");
    transaction.commit();
    return 0;
}

} // namespace

void add_limit(CommandLine& line) {
    struct Words {
        std::string name;
        int64_t value = 0;
    };
    auto words = std::make_shared<Words>();
    line.add("limit", "Change how many of something the switch has room for")
        .operand("name", words->name, "One of emuswitch show limits")
        .operand("value", words->value, any_limit, "The new limit")
        .footer("Example:\n  emuswitch limit vlans 10")
        .runs([words] { return set_limit(words->name, words->value); });
}
