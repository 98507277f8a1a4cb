// Classification lists, and their binding to a port within a VLAN.
#include "classify/classify.h"

#include "classify/extraction.h"
#include "common/operands.h"
#include "common/vlan_operands.h"
#include "platform/brgfdb.h"

namespace {

// create clslist <listno>, delete clslist <listno>
int32_t read_sole_list(int32_t count, char** words) {
    if (count < 3) show_usage();
    const int32_t list = read_number(words[2]);
    if (count > 3) no_more_argument();
    return list;
}

// ... port <port> vlan <name> of the binding sentences.
struct Pair {
    int32_t port;
    const char* vlan;
};

Pair read_pair(char** words) {
    require_word(words[4], "port");
    require_word(words[6], "vlan");
    return {read_number(words[5]), words[7]};
}

// Refuses what the bridge library does not know; returns for any other status.
void require_known(int32_t status, const Pair& pair) {
    if (status == status::no_port) refuse_missing(status, pair.port);
    if (status == status::no_vlan) refuse_missing(status, pair.vlan);
}

constexpr NumberedText list_creation_messages[] = {
    {status::profile_exists, "classify profile {0} already exists."},
    {status::too_many_profiles, "maximum number of classify profile."},
    {otherwise, "cannot create classify profile {0}."},
};

constexpr NumberedText list_deletion_messages[] = {
    {status::profile_has_action, "some action belongs to classify profile {0} yet."},
    {status::profile_in_use, "some port use classify profile {0} yet."},
    {otherwise, "cannot delete profile classify {0}."},
};

constexpr NumberedText binding_messages[] = {
    {status::port_not_in_vlan, "port {0} does not belong to VLAN \"{1}\"."},
    {status::pair_has_other_profile, "port {0} VLAN \"{1}\" already bind another classify profile"},
    {otherwise, "cannot add classify profile {2}."},
};

constexpr NumberedText unbinding_messages[] = {
    {status::port_not_in_vlan, "port {0} does not belong to VLAN \"{1}\"."},
    {status::pair_has_no_profile, "port {0} VLAN \"{1}\" does not bind classify profile."},
    {otherwise, "cannot remove classify profile."},
};

} // namespace

// create clslist <listno>
void create_clslist(int32_t count, char** words) {
    const int32_t list = read_sole_list(count, words);

    int32_t status = 0;
    if (brgfdb_create_classify_profile(list, &status) == 0) accept();
    refuse<list_creation_messages>(status, list);
}

// delete clslist <listno>
void delete_clslist(int32_t count, char** words) {
    const int32_t list = read_sole_list(count, words);

    int32_t status = 0;
    if (brgfdb_delete_classify_profile(list, &status) == 0) accept();
    if (status == status::no_profile) refuse_missing(status, list);
    refuse<list_deletion_messages>(status, list);
}

// add clslist <listno> to port <port> vlan <name> [<ext>]
//
// The extraction points count only as the last word: with more words behind the VLAN all of them are ignored.
void add_clslist(int32_t count, char** words) {
    if (count < 8) show_usage();
    require_word(words[3], "to");
    const int32_t list = read_number(words[2]);
    const Pair pair = read_pair(words);
    const uint32_t vid = read_vlan(pair.vlan);
    ExtractionPoint points[extraction_point_count] = {};
    if (count == 9) parse_extraction_points(words[8], points);

    int32_t status = 0;
    if (brgfdb_add_classify_profile_to_pv(list, pair.port, vid, points, &status) == 0) accept();
    require_known(status, pair);
    if (status == status::no_profile_to_bind) refuse_missing(status::no_profile, list);
    refuse<binding_messages>(status, pair.port, pair.vlan, list);
}

// remove clslist <listno> from port <port> vlan <name>; a pair has one list at most, so the number is not read.
void remove_clslist(int32_t count, char** words) {
    if (count < 8) show_usage();
    require_word(words[3], "from");
    const Pair pair = read_pair(words);
    const uint32_t vid = read_vlan(pair.vlan);
    if (count > 8) no_more_argument();

    int32_t status = 0;
    if (brgfdb_rem_classify_profile_from_pv(pair.port, vid, &status) == 0) accept();
    require_known(status, pair);
    refuse<unbinding_messages>(status, pair.port, pair.vlan);
}
