// Which addresses a switch learns.
#pragma once

#include "companion/database.h"

#include <set>
#include <string>

// The address of a port itself, as it stands in the forwarding database for each of its VLANs.
std::string own_address(int64_t port);

// The ports' own addresses.
class PortAddresses {
public:
    explicit PortAddresses(Database& database);
    explicit PortAddresses(std::set<std::string> own) : addresses_(std::move(own)) {}
    bool contain(const std::string& mac) const { return addresses_.contains(mac); }

private:
    std::set<std::string> addresses_;
};

// Why no frame has the switch learn this address, however it is set; empty: one may.
std::string why_never_learned(const std::string& mac, const PortAddresses& ports);
