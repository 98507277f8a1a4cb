// Which ports the shared port table knows, and as what.
#pragma once

#include "common/arithmetic.h"

#include <cstdint>

namespace port_kind {
constexpr int32_t not_shared = 0; // exists in the bridge library only
constexpr int32_t physical = 1;
constexpr int32_t logical = 2;

constexpr int32_t of(int32_t port) {
    if (is_within(port, 1, 10)) return physical;
    if (is_within(port, 101, 164)) return logical;
    return not_shared;
}
} // namespace port_kind
