// Sleeping until something happens.
#pragma once

#include "companion/live/descriptor.h"
#include "dataplane/egress.h"

#include <functional>
#include <vector>

namespace live {

// Monotonic time.
dataplane::Nanoseconds monotonic_now();

class EventLoop {
public:
    EventLoop(); // throws `Failure`

    // `readable` is called when the descriptor can be read, `trouble` (if there is one) when it is in trouble instead,
    // as long as it is so.
    void watch(int descriptor, std::function<void()> readable, std::function<void()> trouble = {});
    void forget(int descriptor);

    // Calls for what has happened. With a deadline that is not past, sleeps until then if nothing has; `never` is none.
    void wait(dataplane::Nanoseconds deadline);
    void poll() { run(0); }

private:
    void run(int timeout);
    void set_timer(dataplane::Nanoseconds deadline);

    Descriptor epoll_;
    Descriptor timer_;
    dataplane::Nanoseconds timer_set_ = 0; // 0: not set
    struct Handlers {
        std::function<void()> readable;
        std::function<void()> trouble;
    };
    std::vector<Handlers> handlers_; // by descriptor
};

} // namespace live
