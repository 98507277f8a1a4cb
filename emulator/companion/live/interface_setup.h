// Preparing network interfaces for a switch, and putting them back.
#pragma once

#include "companion/live/descriptor.h"
#include "companion/live/link.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace live {

// PORT=INTERFACE or PORT=tap:INTERFACE.
struct Binding {
    int32_t port = 0;
    std::string interface;
    bool is_tap = false; // made if it is not there
};

// A binding whose interface is ready.
struct PreparedPort {
    int32_t port = 0;
    std::string interface;
    int index = 0;
};

// The interfaces that one run uses, and what they were set to before. Needs the right to administer the network.
class InterfaceSetup {
public:
    // An interface is brought up, takes frames of `longest_frame` bytes and does not merge received ones. The other end
    // of a veth, wherever it is, completes its checksums and does its own segmentation. Throws `Failure` where a
    // binding cannot be used; what cannot be reached beyond that is told on standard error.
    PreparedPort prepare(const Binding& binding);

    // Puts everything back, the last change first. An interface that is gone, or was given another MTU since, is
    // left alone.
    void restore();

    ~InterfaceSetup() { restore(); }
    InterfaceSetup();
    InterfaceSetup(const InterfaceSetup&) = delete;
    InterfaceSetup& operator=(const InterfaceSetup&) = delete;

private:
    enum class What : uint8_t { mtu, up, offload, tap };
    struct Changed {
        std::shared_ptr<Descriptor> control; // a socket of the interface's namespace
        int index;
        What what;
        uint32_t command; // of an offload: how it is set
        uint32_t old_value;
        uint32_t new_value;
    };

    void make_tap(const std::string& name);
    void raise_mtu(const Link& link);
    void bring_up(const Link& link);
    void prepare_other_end(const Link& link);
    void switch_off(const std::shared_ptr<Descriptor>& control, int index, uint32_t get, uint32_t set, uint32_t bits);
    void put_back(const Changed& changed);

    LinkTable links_;
    std::shared_ptr<Descriptor> own_control_;
    std::vector<Changed> changes_;
};

} // namespace live
