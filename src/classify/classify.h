// The sentences about classification lists and their rules.
#pragma once

#include <cstdint>

void create_clslist(int32_t count, char** words);
void delete_clslist(int32_t count, char** words);
void add_clslist(int32_t count, char** words);
void remove_clslist(int32_t count, char** words);

void add_classify(int32_t count, char** words);
void remove_classify(int32_t count, char** words);

void show_clslist(int32_t count, char** words);
