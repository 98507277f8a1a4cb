// The scripts that make a store, as the build embeds them: schema.sql and migrations/*.sql.
#pragma once

#include "core/store.h"

extern const char store_schema[];

// store_migrations[i] takes a store of version i + 1 to i + 2.
extern const char* const store_migrations[emulator::store::version - 1];
