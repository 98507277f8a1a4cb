// A configuration as text, with all that it holds, so that two can be compared and a difference be read.
#pragma once

#include "dataplane/configuration.h"

#include <string>

std::string dump(const dataplane::Configuration& configuration);
