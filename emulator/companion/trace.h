// What the forms of `emuswitch trace` share.
#pragma once

#include "companion/configuration_reader.h"
#include "companion/database.h"
#include "dataplane/forward.h"

// A switch for frames: what the store says, and what it learns meanwhile.
struct TracedSwitch {
    // With `is_kept`, what is learned is written back to the store when `keep` is called.
    TracedSwitch(Database& database, bool is_kept, ConfigurationReader::Reading how);

    // The steps and outcome of a frame on the port of that index.
    const dataplane::Outcome& tell(const dataplane::Frame& frame);
    void keep();

    dataplane::Nanoseconds now = 0;
    ConfigurationReader reader;
    dataplane::State state;
    dataplane::Outcome outcome;
    bool learns;
};

// Answers each line of standard input, "PORT FRAME", with one line of JSON; a bad one with what is wrong with it.
// Returns the exit status: 0 when all lines were good.
int trace_lines(TracedSwitch& traced);
