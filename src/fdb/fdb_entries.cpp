// Static, local and dynamic entries of the forwarding database.
#include "fdb/fdb.h"

#include "common/operands.h"
#include "common/scan.h"
#include "common/vlan_operands.h"
#include "platform/brgfdb.h"

namespace {

// Where frames to a static entry's address go.
struct StaticAction {
    int32_t port;
    uint8_t action;
};

// {discard|port <port> [flag <flag>]}, from words[6] on. Seven words are enough to look at the keyword; a count that no
// form has is told as surplus words.
StaticAction read_static_action(int32_t count, char** words) {
    if (count == 6) show_usage();
    if (is_word(words[6], "discard")) {
        if (count != 7) no_more_argument();
        return {0, static_action::discard};
    }
    require_word(words[6], "port");
    if (count == 7) show_usage();
    StaticAction action{read_number(words[7]), static_action::forward};
    if (count == 10) {
        uint32_t flag = 0;
        require_word(words[8], "flag");
        if (!parse_hex_number(words[9], flag)) show_usage();
        action.action = static_cast<uint8_t>(flag);
    } else if (count != 8) {
        no_more_argument();
    }
    return action;
}

// The words of the sentence that its refusals show. `port` is 0 where the sentence has none.
struct StaticEntry {
    const char* verb;
    const char* mac;
    const char* vlan;
    int32_t port;
};

constexpr NumberedText static_entry_messages[] = {
    {status::fdb_entry_exists, "fdbentry {0} already exists."},
    {status::fdb_full, "cannot create fdbentry {0}, fdb is full."},
    {status::fdb_entry_of_system, "fdbentry {0} is created by system."},
    {status::fdb_entry_of_other_type, "fdbentry {0} is differnt type."},
    {status::no_fdb_entry, "fdbentry {0} does not exist."},
    {otherwise, "cannot {1} fdbentry {0}."},
};

constexpr NumberedText local_creation_messages[] = {
    {status::fdb_entry_exists, "fdbentry {0} already exists."},
    {status::fdb_full, "fdb is full."},
    {otherwise, "cannot create fdbentry {0}."},
};

constexpr NumberedText local_deletion_messages[] = {
    {status::no_fdb_entry, "fdbentry {0} does not exist."},
    {status::fdb_entry_of_system, "fdbentry {0} is created by system."},
    {otherwise, "cannot delete fdbentry {0}."},
};

[[noreturn]] void refuse_static(int32_t status, const StaticEntry& entry) {
    if (status == status::no_vlan) refuse_missing(status, entry.vlan);
    if (status == status::no_port) refuse_missing(status, entry.port);
    refuse<static_entry_messages>(status, entry.mac, entry.verb);
}

// Of the addresses that the switch filters on every port by itself.
constexpr bool is_reserved(const uint8_t* mac) {
    for (size_t i = 0; i + 1 < mac_length; ++i)
        if (mac[i] != reserved_address::first[i]) return false;
    return mac[mac_length - 1] <= reserved_address::last_byte;
}

[[noreturn]] void create_local(int32_t count, char** words, const uint8_t* mac, int32_t port) {
    if (count < 7) show_usage();
    const int32_t type = read_word<local_type_words>(words[6]);
    if (count > 7) no_more_argument();

    int32_t status = 0;
    if (brgfdb_create_lfil(port, mac, type, entry_owner::user, &status) >= 0) accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<local_creation_messages>(status, words[2]);
}

[[noreturn]] void delete_local(int32_t count, char** words, const uint8_t* mac, int32_t port) {
    if (count > 6) no_more_argument();

    int32_t status = 0;
    if (brgfdb_delete_lfil(port, mac, entry_owner::user, &status) == 0) accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<local_deletion_messages>(status, words[2]);
}

void flush_vlan(int32_t count, char** words) {
    if (count <= 5) show_usage();
    if (count > 6) no_more_argument();
    const uint32_t vid = read_vlan(words[5]);
    if (brgfdb_clear_fdb_vlan(vid) < 0) refuse_missing(status::no_vlan, words[5]);
}

} // namespace

// delete dfdbentry all in {all|vlan <name>}
void delete_dfdbentry(int32_t count, char** words) {
    if (count <= 4) show_usage();
    require_word(words[2], "all");
    require_word(words[3], "in");
    if (is_word(words[4], "all")) {
        if (count > 5) no_more_argument();
        brgfdb_clear_fdb();
    } else {
        require_word(words[4], "vlan");
        flush_vlan(count, words);
    }
    act_puts();
}

// create sfdbentry <mac> in vlan <name> {discard|port <port> [flag <flag>]}
// delete sfdbentry <mac> in vlan <name>
void change_sfdbentry(int32_t count, char** words) {
    if (count <= 5) show_usage();
    require_word(words[3], "in");
    require_word(words[4], "vlan");
    uint8_t mac[mac_length] = {};
    read_mac_address(words[2], mac);
    const uint32_t vid = read_vlan(words[5]);

    int32_t status = 0;
    StaticEntry entry{words[0], words[2], words[5], 0};
    if (is_word(words[0], "create")) {
        const StaticAction action = read_static_action(count, words);
        entry.port = action.port;
        if (brgfdb_create_sfil(vid, mac, action.port, action.action, entry_owner::user, &status) != 0)
            refuse_static(status, entry);
    } else {
        if (count != 6) no_more_argument();
        if (brgfdb_delete_sfil(vid, mac, entry_owner::user, &status) != 0) refuse_static(status, entry);
    }
    accept();
}

// create lfdbentry <mac> in port <port> {local|both|local_learning|discard}
// delete lfdbentry <mac> in port <port>
//
// "portlist" in place of "port" is turned down only after the address has been judged, deliberately.
void change_lfdbentry(int32_t count, char** words) {
    if (count <= 5) show_usage();
    require_word(words[3], "in");
    if (!is_word(words[4], "port") && !is_word(words[4], "portlist")) show_usage();
    uint8_t mac[mac_length] = {};
    read_mac_address(words[2], mac);
    if (is_reserved(mac)) refuse_invalid(invalid::reserved_mac_address, words[2]);
    require_word(words[4], "port");
    const int32_t port = read_number(words[5]);

    if (is_word(words[0], "create")) create_local(count, words, mac, port);
    delete_local(count, words, mac, port);
}
