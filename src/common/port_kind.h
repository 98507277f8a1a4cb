// Which ports the shared port table knows, and as what.
#pragma once

#include "common/arithmetic.h"
#include "platform/portshm.h"

namespace port_kind {
constexpr int32_t not_shared = 0; // exists in the bridge library only

constexpr int32_t of(int32_t port) {
    if (is_within(port, lowest_physical_port, highest_physical_port)) return physical;
    if (is_within(port, lowest_logical_port, highest_logical_port)) return logical;
    return not_shared;
}
} // namespace port_kind
