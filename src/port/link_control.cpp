// Link-control frames, and what the link of a logical port depends on.
#include "port/port.h"

#include "common/operands.h"
#include "common/port_kind.h"
#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "port/port_list.h"

namespace {

// Link mode and dependency exist for logical ports only; other numbers get the usage text, not a range error.
int32_t read_logical_port(const char* word) {
    const int32_t port = read_number(word);
    if (port_kind::of(port) != port_kind::logical) show_usage();
    return port;
}

} // namespace

// set port <port> link_frame {bpdu|lag|pae} {discard|forward}
void set_port_link_frame(int32_t count, char** words) {
    if (count <= 5) show_usage();
    const int32_t port = read_number(words[2]);
    const int32_t kind = read_word<link_frame_words>(words[4]);
    const int32_t action = read_word<link_frame_action_words>(words[5]);

    int32_t status = 0;
    if (brgfdb_set_port_link_frames(port, kind, action, &status) == 0) accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<"port {0} cannot set link frame mode.">(status, port);
}

// set port <port> link_mode {or|and}
void set_port_link_mode(int32_t count, char** words) {
    const int32_t port = read_logical_port(words[2]);
    if (count <= 4) show_usage();
    const int32_t mode = read_word<link_mode_words>(words[4]);
    if (count > 5) no_more_argument();

    int32_t status = 0;
    if (brgfdb_set_link_mode(port, mode, &status) != 0) {
        if (status == status::no_port) refuse_missing(status, port);
        refuse<"port {0} cannot set link mode.">(status, port);
    }
    portshm_set_port_linkmode(port, mode);
    accept();
}

// set port <port> link_depend {vlan|port <list>}
void set_port_link_depend(int32_t count, char** words) {
    const int32_t port = read_logical_port(words[2]);
    if (count <= 4) show_usage();

    int32_t type = link_depend::vlan;
    uint32_t mask = 0;
    if (is_word(words[4], "port")) {
        type = link_depend::ports;
        if (count <= 5 || !parse_port_list(words[5], mask)) show_usage();
        if (count > 6) no_more_argument();
    } else if (!is_word(words[4], "vlan") || count > 5) {
        no_more_argument(); // also, deliberately, for a word that is neither
    }

    int32_t status = 0;
    if (brgfdb_set_link_depend(port, type, mask, &status) != 0) {
        if (status == status::no_port) refuse_missing(status, port);
        refuse<"port {0} cannot set link depend.">(status, port);
    }
    portshm_set_port_linkdepend(port, type, mask);
    accept();
}
