// A file descriptor that is closed with its object.
#pragma once

#include <unistd.h>

#include <utility>

namespace live {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int opened) : descriptor(opened) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor = std::exchange(other.descriptor, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return descriptor; }
    bool is_open() const { return descriptor >= 0; }

private:
    void reset() {
        if (descriptor >= 0) close(descriptor);
        descriptor = -1;
    }
    int descriptor = -1;
};

} // namespace live
