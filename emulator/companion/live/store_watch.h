// Being woken when the switch was told something.
#pragma once

#include "companion/live/descriptor.h"

#include <string>

namespace live {

class StoreWatch {
public:
    // The store has to be there. Throws `Failure`.
    explicit StoreWatch(const std::string& store);

    int descriptor() const { return notifier_.get(); } // readable when the store was written

    // Throws `Failure` where the file was removed or another one took its place: sentences do not reach this one.
    void clear();

private:
    std::string file_;
    Descriptor notifier_;
};

} // namespace live
