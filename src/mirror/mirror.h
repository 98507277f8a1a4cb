// The sentences about port mirrors.
#pragma once

#include <cstdint>

void create_mirror(int32_t count, char** words);
void delete_mirror(int32_t count, char** words);
void enable_mirror(int32_t count, char** words);
void disable_mirror(int32_t count, char** words);

void set_mirror_source(int32_t count, char** words);
void set_mirror_dest(int32_t count, char** words);
void set_mirror_classify(int32_t count, char** words);
void set_mirror_tag(int32_t count, char** words);
