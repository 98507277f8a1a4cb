// What there is to show of a switch: its state as objects, read by one query for each kind, which programs get as JSON
// and people as tables.
#pragma once

#include "companion/database.h"
#include "companion/table.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

// Texts in it are bytes as the store has them.
using Json = nlohmann::ordered_json;

// Objects of one kind, in the order of their numbers, given to `take` one after the other.
using Reader = void (*)(Database&, const std::function<void(const Json&)>& take);

struct Collection {
    const char* key;
    Reader read;
};

struct TitledTable {
    const char* title; // null: needs none
    Table table;
};

struct Topic {
    const char* name;  // of the topic, and the key of what it is in JSON
    const char* empty; // what people read where the first table has no rows
    std::vector<Collection> collections;
    bool is_grouped; // whether the collections stand in an object of the topic's name; else each stands by itself
    std::vector<TitledTable> (*tables)(Database&, bool with_system);
};

const std::vector<Topic>& topics();
