// The configuration as sentences, part by part. Each part is added in its turn (config.cpp), which what it needs has
// come before.
#pragma once

#include "companion/database.h"
#include "companion/side_tables.h"
#include "companion/wording.h"
#include "companion/words.h"

#include <sstream>
#include <string>

namespace config {

using namespace wording;

class Configuration {
public:
    explicit Configuration(Database& source) : database(source) {}

    void add(const std::string& line) { lines << line << "\n"; }
    void remark(const std::string& line) { add("# " + line); }

    // A library call, in place of a sentence that there is none for.
    template <typename... Operands> void call(const char* function, const Operands&... operands) {
        add(library_call(function, operand(operands)...));
    }

    Database& database;
    SideTables expected; // as the sentences so far leave them
    std::ostringstream lines;

private:
    static std::string operand(int64_t number) { return std::to_string(number); }
    static std::string operand(const std::string& word) { return quote_word(word); }
};

// Each of these reads what it adds from the database of the configuration.
void add_ports(Configuration& out);
void add_link_control(Configuration& out);
void add_cos_maps(Configuration& out);
void add_policers(Configuration& out);
void add_enabled_ports(Configuration& out);

void add_vlans(Configuration& out);
void add_protgroups(Configuration& out);
void add_members(Configuration& out);
void add_learning_settings(Configuration& out);
void add_fdb_entries(Configuration& out);
void add_learned_entries(Configuration& out);

void add_streams(Configuration& out);
void add_queues(Configuration& out);

void add_rules(Configuration& out);
void add_bindings(Configuration& out);
void add_mirrors(Configuration& out);

// All of it.
std::string configuration(Database& database);

} // namespace config
