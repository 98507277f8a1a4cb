// Reaching into another network namespace.
#pragma once

#include "companion/live/descriptor.h"
#include "companion/live/link.h"

#include <memory>

namespace live {

// A socket for settings of the interfaces of this network namespace.
std::shared_ptr<Descriptor> open_control();

// The same in the namespace that `links` knows by this number: that of another process, or one kept by ip-netns(8).
// Null where it is not to be found, or not for this user.
std::shared_ptr<Descriptor> open_control_in(LinkTable& links, int namespace_number);

} // namespace live
