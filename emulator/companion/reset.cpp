// Making the switch a new one.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "core/store_scripts.h"

namespace {

// The statements of the schema that fill a new store.
std::string initial_rows() {
    const std::string schema = store_schema;
    return schema.substr(schema.find("INSERT INTO limits"));
}

int reset() {
    Database database;
    Transaction transaction(database);
    database.script("PRAGMA defer_foreign_keys = ON");
    std::vector<std::string> tables;
    Query query(database, "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%'");
    while (query.next())
        tables.push_back(query.text("name"));
    for (const std::string& table : tables)
        database.script("DELETE FROM \"" + table + "\"");
    database.script(initial_rows());
    transaction.commit();
    return 0;
}

} // namespace

void add_reset(CommandLine& line) {
    line.add("reset", "Empty the switch: objects, limits, faults, log and events")
        .footer("Example:\n  emuswitch reset")
        .runs(reset);
}
