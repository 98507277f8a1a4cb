// The sentences about forwarding-database entries. Creating and deleting share a handler.
#pragma once

#include <cstdint>

void delete_dfdbentry(int32_t count, char** words);
void change_sfdbentry(int32_t count, char** words);
void change_lfdbentry(int32_t count, char** words);
