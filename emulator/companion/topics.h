// What there is to show of a switch: its state as objects, read by one query for each kind, which programs get as JSON
// and people as tables.
#pragma once

#include "companion/database.h"
#include "companion/json_text.h"
#include "companion/table.h"

#include <functional>
#include <string>
#include <vector>

// Objects of one kind, in the order of their numbers, given to `take` one after the other.
using Reader = void (*)(Database&, const std::function<void(const Json&)>& take);

struct Collection {
    const char* key;
    Reader read;
};

struct TitledTable {
    const char* title = nullptr; // null: needs none
    Table table;
};

struct Topic {
    const char* name;  // of the topic, and the key of what it is in JSON
    const char* empty; // what people read where the first table has no rows
    std::vector<Collection> collections;
    bool is_grouped; // whether the collections stand in an object of the topic's name; else each stands by itself
    std::vector<TitledTable> (*tables)(Database&, bool with_system);
    size_t naming = 1; // how many columns of the tables say which object a row is about
};

const std::vector<Topic>& topics();

// Also by the word for one of its objects, "vlan". Throws `Failure` where there is none of that name.
const Topic& find_topic(const std::string& name);

// Of one object where `name` is not empty: "1", "sales", "1/2" or, for all streams of a port, "1".
void print_topic(Database& database, const Topic& topic, bool with_system, const std::string& name = "");

// Those of one topic, or of all where `what` is empty, as an object with a key for each collection, in lines.
std::string topics_as_json(Database& database, const std::string& what);
