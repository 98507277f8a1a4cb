// A file descriptor that is closed with its object.
#pragma once

#include <unistd.h>

#include <utility>

namespace live {

class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int opened) : descriptor_(opened) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            descriptor_ = std::exchange(other.descriptor_, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return descriptor_; }
    bool is_open() const { return descriptor_ >= 0; }

private:
    void reset() {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = -1;
    }
    int descriptor_ = -1;
};

} // namespace live
