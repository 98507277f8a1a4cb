// Creating, deleting, enabling and disabling ports.
#include "port/port.h"

#include "common/operands.h"
#include "common/port_kind.h"
#include "common/text.h"
#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

namespace {

constexpr NumberedText port_creation_messages[] = {
    {status::too_many_ports, "maxmum number of ports."},
    {status::port_exists, "port {0} already exists."},
    {otherwise, "cannot create port {0}."},
};

constexpr NumberedText reserved_entry_messages[] = {
    {status::fdb_entry_exists, "fdbentry already exists."},
    {otherwise, "cannot create fdbentry."},
};

constexpr NumberedText occupied_port_messages[] = {
    {status::port_has_stream, "some stream belongs to port {0} yet."},
    {otherwise, "cannot delete port {0}."},
};

constexpr NumberedText port_deletion_messages[] = {
    {status::port_in_vlan, "port {0} belongs to vlan yet."},
    {status::port_has_ip_interface, "IP interface belongs to port {0} yet."},
    {otherwise, "cannot delete port {0}."},
};

template <const auto& Messages> [[noreturn]] void refuse_for_port(int32_t status, int32_t port) {
    if (status == status::no_port) refuse_missing(status, port);
    refuse<Messages>(status, port);
}

// Entries that stand when one fails stay.
void create_reserved_entries(int32_t port) {
    std::array<uint8_t, mac_length> mac = reserved_address::first;
    for (; mac.back() <= reserved_address::last_byte; ++mac.back()) {
        int32_t status = 0;
        if (brgfdb_create_lfil(port, mac.data(), local_type::discard, entry_owner::system, &status) < 0)
            refuse_for_port<reserved_entry_messages>(status, port);
    }
}

// enable port <port>, disable port <port>. Unlike elsewhere a surplus word is a usage error.
template <auto change, auto tell_port_table> void switch_port(int32_t count, char** words, int32_t already_so) {
    if (count != 3) show_usage();
    const int32_t port = read_number(words[2]);

    int32_t status = 0;
    if (change(port, &status) != 0) {
        if (status == status::no_port) refuse_missing(status, port);
        if (status == already_so) refuse<"port {0} already {1}.">(status, port, words[0]);
        refuse<"cannot {0} port {1}.">(status, words[0], port);
    }
    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) tell_port_table(port, kind);
    accept();
}

} // namespace

// create port <port> npport <ether> portType <type>; returns where others accept (common/result.h).
void create_port(int32_t count, char** words) {
    if (count <= 5) show_usage();
    const int32_t port = read_number(words[2]);
    const int32_t ether = read_number(words[4]); // any word does in place of "npport"
    require_word(words[5], "portType");
    if (count == 6) show_usage();
    const int32_t type = read_word<port_type_words>(words[6]);
    if (count > 7) no_more_argument();

    int32_t status = 0;
    if (brgfdb_create_port(port, ether, type, &status) < 0) refuse<port_creation_messages>(status, port);

    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) portshm_create_port(port, kind, kind == port_kind::physical ? ether : 0);
    libev_BridgePort_Status(0, port, type, trap_event::added);
    qual_register(qualifier::port, compose<"{0}">(port).text, type);

    create_reserved_entries(port);
    act_puts();
}

// delete port <port>
void delete_port(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const int32_t port = read_number(words[2]);
    if (count > 3) no_more_argument();

    int32_t status = 0;
    if (brgfdb_check_stream_in_port(port, &status) != 0) refuse_for_port<occupied_port_messages>(status, port);
    if (brgfdb_delete_port(port, &status) != 0) refuse_for_port<port_deletion_messages>(status, port);

    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) portshm_delete_port(port, kind);
    libev_BridgePort_Status(0, port, trap_event::no_type, trap_event::gone);
    qual_unregister(qualifier::port, compose<"{0}">(port).text);
    accept();
}

void enable_port(int32_t count, char** words) {
    switch_port<brgfdb_enable_port, portshm_enable_port>(count, words, status::port_already_enabled);
}

void disable_port(int32_t count, char** words) {
    switch_port<brgfdb_disable_port, portshm_disable_port>(count, words, status::port_already_disabled);
}
