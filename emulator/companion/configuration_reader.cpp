// Which parts of the configuration a change of the store concerns, and what was learned there and back.
//
// Every library call writes the store once, which raises the change counter in the file's header by one, and leaves one
// line in its log. So when as many lines are new as the counter went up, the lines tell all that has happened. Anything
// else (the companion, a person with sqlite3, a restored copy) makes the sum wrong, and then everything is read anew.
#include "companion/configuration_reader.h"

#include "companion/configuration_compiler.h"
#include "companion/statement.h"
#include "companion/store_image.h"

#include <algorithm>
#include <charconv>
#include <iterator>

using namespace dataplane;

// What has happened to the store, as far as frames are concerned.
struct ConfigurationReader::Effect {
    uint32_t counter = 0;   // of the store's changes, behind these
    int64_t last_call = 0;  // in its log
    bool is_nothing = true; // it is as it was
    unsigned parts = 0;
    bool is_known = true;               // else anything may have happened
    bool flushes_all = false;           // what was learned
    std::vector<uint32_t> flushed_vids; // what was learned in a VLAN
    std::vector<int32_t> changed_lists; // whose rules are others now
    FilterScopes changed_filters;       // likewise
};

struct ConfigurationReader::Statements {
    explicit Statements(Database& owner) : database(owner) {}

    Database& database;
    StoreImage image{database};
    ConfigurationCompiler compiler{image.database()};
    Statement last_call{database, "SELECT coalesce(max(id), 0) FROM call_log"};
    Statement calls{database, "SELECT call FROM call_log WHERE id > ? ORDER BY id LIMIT ?"};
    Statement learned{image.database(), "SELECT vid, mac, port FROM learned_entry"};
    Statement find_learned{database, "SELECT port FROM learned_entry WHERE vid = ? AND mac = ?"};
    Statement may_learn{database, "SELECT 1 FROM vlan_member WHERE vid = ?1 AND port = ?3 AND NOT EXISTS"
                                  " (SELECT 1 FROM static_entry WHERE vid = ?1 AND mac = ?2)"};
    Statement put_learned{database, "INSERT INTO learned_entry (vid, mac, port) VALUES (?, ?, ?)"
                                    " ON CONFLICT (vid, mac) DO UPDATE SET port = excluded.port"};
    Statement forget_learned{database, "DELETE FROM learned_entry WHERE vid = ? AND mac = ?"};
    Statement fdb_room{database, "SELECT value - in_use FROM limits WHERE name = 'fdb_entries'"};
    Statement take_room{database, "UPDATE limits SET in_use = in_use + ? WHERE name = 'fdb_entries'"};
};

namespace {

// A transaction that only reads, unless one is open: all of it sees one state of the store.
class Snapshot {
public:
    explicit Snapshot(Database& target) : database_(target), is_own_(sqlite3_get_autocommit(target.handle()) != 0) {
        if (is_own_) database_.script("BEGIN");
    }
    ~Snapshot() {
        if (is_own_) sqlite3_exec(database_.handle(), "COMMIT", nullptr, nullptr, nullptr);
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

private:
    Database& database_;
    bool is_own_;
};

// What the parts are compiled from.
struct PartTables {
    unsigned part = 0;
    std::initializer_list<const char*> tables;
};
const PartTables part_tables[] = {
    {part::ports, {"port", "cos_map", "class_policer", "link_frame"}},
    {part::vlans, {"vlan", "protgroup", "protocol", "vlan_member", "list_binding", "extraction_point"}},
    {part::filters, {"static_entry", "local_entry", "limits"}},
    {part::lists, {"classify_list"}},
    {part::mirrors, {"mirror"}},
    {part::qos, {"stream", "tos_map", "queue", "queue_in_stream", "drop_policy", "ether_shaper"}},
};
constexpr const char* rule_tables[] = {"classify_list", "classify_rule", "classify_match"};

enum class Flush : uint8_t { nothing, everything, one_vlan };

// What a call changes of a part that is large: what belongs to its first argument. `parts` does not name that part
// then.
enum class Share : uint8_t { none, rules_of_list, filters_of_vlan, filters_of_port };

// What a successful call of a library function changes for frames.
struct FunctionEffect {
    std::string_view name;
    unsigned parts;
    Share share = Share::none;
    Flush flush = Flush::nothing;
};

// Ports are known by their place, so that one more or less concerns whatever names one.
constexpr unsigned of_ports = part::ports | part::vlans | part::filters | part::mirrors | part::qos;

constexpr FunctionEffect function_effects[] = {
    {"brgfdb_add_classify_action_to_profile", 0, Share::rules_of_list},
    {"brgfdb_add_classify_profile_to_pv", part::vlans},
    {"brgfdb_add_port_to_vlan", part::vlans, Share::filters_of_vlan},
    {"brgfdb_add_prot_to_group", part::vlans},
    {"brgfdb_add_queue_to_stream", part::qos},
    {"brgfdb_add_stream_to_port", part::qos},
    {"brgfdb_check_queue_in_stream", 0},
    {"brgfdb_check_stream_in_port", 0},
    {"brgfdb_clear_fdb", 0, Share::none, Flush::everything},
    {"brgfdb_clear_fdb_vlan", 0, Share::none, Flush::one_vlan},
    {"brgfdb_create_classify_profile", part::lists | part::vlans}, // members know their list by its place
    {"brgfdb_create_lfil", 0, Share::filters_of_port},
    {"brgfdb_create_mirror", part::mirrors},
    {"brgfdb_create_port", of_ports},
    {"brgfdb_create_protgroup", part::vlans},
    {"brgfdb_create_queue", part::qos},
    {"brgfdb_create_sfil", 0, Share::filters_of_vlan},
    {"brgfdb_create_stream", part::qos},
    {"brgfdb_create_vlan", part::vlans},
    {"brgfdb_delete_classify_profile", part::lists | part::vlans},
    {"brgfdb_delete_lfil", 0, Share::filters_of_port},
    {"brgfdb_delete_mirror", part::mirrors},
    {"brgfdb_delete_port", of_ports},
    {"brgfdb_delete_protgroup", part::vlans},
    {"brgfdb_delete_queue", part::qos},
    {"brgfdb_delete_sfil", 0, Share::filters_of_vlan},
    {"brgfdb_delete_stream", part::qos},
    {"brgfdb_delete_vlan", part::vlans | part::mirrors, Share::filters_of_vlan},
    {"brgfdb_disable_mirror", part::mirrors},
    {"brgfdb_disable_port", part::ports},
    {"brgfdb_disp_classify", 0},
    {"brgfdb_enable_mirror", part::mirrors},
    {"brgfdb_enable_port", part::ports},
    {"brgfdb_get_stream_info", 0},
    {"brgfdb_get_vid", 0},
    {"brgfdb_rem_classify_action_from_profile", 0, Share::rules_of_list},
    {"brgfdb_rem_classify_all_from_profile", 0, Share::rules_of_list},
    {"brgfdb_rem_classify_profile_from_pv", part::vlans},
    {"brgfdb_rem_port_from_vlan", part::vlans, Share::filters_of_vlan},
    {"brgfdb_rem_queue_from_stream", part::qos},
    {"brgfdb_rem_stream_from_port", part::qos},
    {"brgfdb_remove_prot_from_group", part::vlans},
    {"brgfdb_set_default_class", part::ports},
    {"brgfdb_set_link_depend", part::ports},
    {"brgfdb_set_link_mode", part::ports},
    {"brgfdb_set_mirror_classify", part::mirrors},
    {"brgfdb_set_mirror_dest", part::mirrors},
    {"brgfdb_set_mirror_source", part::mirrors},
    {"brgfdb_set_mirror_tag", part::mirrors},
    {"brgfdb_set_param_to_port", part::ports},
    {"brgfdb_set_ph_shaping", part::qos},
    {"brgfdb_set_port_bandwidth_calc_mode", part::ports},
    {"brgfdb_set_port_class_policing", part::ports},
    {"brgfdb_set_port_cosmap", part::ports},
    {"brgfdb_set_port_link_frames", part::ports},
    {"brgfdb_set_qostype_in_stream", part::qos},
    {"brgfdb_set_queue_qos", part::qos},
    {"brgfdb_set_queue_size", part::qos},
    {"brgfdb_set_red_in_stream", part::qos},
    {"brgfdb_set_shaping_in_stream", part::qos},
    {"brgfdb_set_stream_priority", part::qos},
    {"brgfdb_set_stream_tosmap", part::qos},
    {"brgfdb_set_vlan_ignore_fdb", part::vlans},
    {"brgfdb_set_vlan_learning_off", part::vlans},
    {"brgfdb_set_vlan_learninglimit", part::vlans},
    {"brgfdb_set_vlan_sld", part::vlans},
    {"brgfdb_stream_shaping_rate_update", 0},
    {"getprotobyname", 0},
    {"libev_BridgePort_Status", 0},
    {"libev_PortVlan_Status", 0},
    {"libev_Queue_Status", 0},
    {"portshm_add_port_vlan", 0},
    {"portshm_create_port", 0},
    {"portshm_delete_port", 0},
    {"portshm_disable_port", 0},
    {"portshm_enable_port", 0},
    {"portshm_rm_port_vlan", 0},
    {"portshm_set_port_linkdepend", 0},
    {"portshm_set_port_linkmode", 0},
    {"qual_register", 0},
    {"qual_unregister", 0},
};
static_assert(std::is_sorted(std::begin(function_effects), std::end(function_effects),
                             [](const FunctionEffect& one, const FunctionEffect& other) {
                                 return one.name < other.name;
                             }));

const FunctionEffect* find_effect(std::string_view function) {
    const auto* const found =
        std::lower_bound(std::begin(function_effects), std::end(function_effects), function,
                         [](const FunctionEffect& effect, std::string_view name) { return effect.name < name; });
    return found != std::end(function_effects) && found->name == function ? found : nullptr;
}

// A call that was refused, `f(...) = -1` or `f(...) = -1 status 1202`, has changed nothing. An answer in the middle of
// an argument is none.
bool is_refused(std::string_view call) {
    constexpr std::string_view plain = ") = -1";
    constexpr std::string_view with_status = ") = -1 status ";
    const size_t digits = call.size() - std::min(call.size(), call.find_last_not_of("0123456789-") + 1);
    return call.ends_with(plain) || (digits > 0 && call.substr(0, call.size() - digits).ends_with(with_status));
}

template <typename Number> bool read_first_argument(std::string_view call, Number& number) {
    const char* const begin = call.data() + std::min(call.find('(') + 1, call.size());
    return std::from_chars(begin, call.data() + call.size(), number).ec == std::errc{};
}

} // namespace

ConfigurationReader::ConfigurationReader(Database& owner, Reading how)
    : database_(owner), reading_(how), statements_(std::make_unique<Statements>(owner)) {
    take_over(copy_changes(false), nullptr, 0);
}

ConfigurationReader::~ConfigurationReader() = default;

// Read through SQLite's own descriptor: closing another one of the file would give up its locks.
uint32_t ConfigurationReader::change_counter() {
    sqlite3_file* file = nullptr;
    unsigned char bytes[4]{};
    sqlite3_file_control(database_.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    constexpr sqlite3_int64 place_in_header = 24;
    if (file == nullptr || file->pMethods == nullptr ||
        file->pMethods->xRead(file, bytes, sizeof bytes, place_in_header) != SQLITE_OK)
        return ~known_counter_;
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

bool ConfigurationReader::has_changed() {
    return change_counter() != known_counter_;
}

State ConfigurationReader::make_state(Nanoseconds now) {
    State state;
    take_over(copy_changes(true), nullptr, now);
    adopt(state, nullptr, current_);
    read_learned(state, now);
    return state;
}

unsigned ConfigurationReader::refresh(State& state, Nanoseconds now) {
    if (!has_changed()) return 0;
    return take_over(copy_changes(false), &state, now);
}

// Has what is new in the image.
ConfigurationReader::Effect ConfigurationReader::copy_changes(bool with_learned) {
    const Snapshot snapshot(database_);
    const int64_t last_call = statements_->last_call.only_number(); // the first read, which begins the snapshot
    Effect effect;
    if (const uint32_t counter = change_counter(); !has_read_ || counter != known_counter_) {
        effect = explain_changes(counter);
        effect.counter = counter;
        effect.last_call = last_call;
        effect.is_nothing = false;
    }
    std::vector<const char*> tables = tables_of(effect);
    if (with_learned || !effect.is_known) tables.push_back("learned_entry");
    if (!tables.empty()) statements_->image.take(tables);
    return effect;
}

std::vector<const char*> ConfigurationReader::tables_of(const Effect& effect) const {
    std::vector<const char*> tables;
    for (const PartTables& each : part_tables)
        if ((effect.parts & each.part) != 0) tables.insert(tables.end(), each.tables);
    const bool has_rules = reading_ == Reading::all || !effect.changed_lists.empty();
    if ((effect.parts & part::lists) != 0 && has_rules)
        tables.insert(tables.end(), std::begin(rule_tables), std::end(rule_tables));
    return tables;
}

// From the image. Returns the parts that are others now.
unsigned ConfigurationReader::take_over(const Effect& effect, State* state, Nanoseconds now) {
    if (effect.is_nothing) return 0;
    const Configuration before = current_;
    compile(effect);
    if (state != nullptr) {
        forget_flushed(*state, effect);
        adopt(*state, &before, current_);
        if (!effect.is_known) read_learned(*state, now);
    }
    known_counter_ = effect.counter;
    known_call_ = effect.last_call;
    has_read_ = true;
    return effect.parts;
}

ConfigurationReader::Effect ConfigurationReader::explain_changes(uint32_t counter) {
    Effect effect;
    const uint32_t writes = counter - known_counter_;
    uint32_t explained = 0;
    const auto explain = [&] {
        ++explained;
        const std::string_view call = statements_->calls.text(0);
        const FunctionEffect* const function = find_effect(call.substr(0, call.find('(')));
        if (function == nullptr) effect.is_known = false;
        if (function == nullptr || is_refused(call)) return;
        effect.parts |= function->parts;
        if (function->flush == Flush::everything) effect.flushes_all = true;
        uint32_t first = 0;
        if (function->share == Share::none && function->flush != Flush::one_vlan) return;
        if (!read_first_argument(call, first)) effect.is_known = false;
        if (function->flush == Flush::one_vlan) effect.flushed_vids.push_back(first);
        switch (function->share) {
        case Share::none: break;
        case Share::rules_of_list: effect.changed_lists.push_back(static_cast<int32_t>(first)); break;
        case Share::filters_of_vlan: effect.changed_filters.vids.push_back(first); break;
        case Share::filters_of_port: effect.changed_filters.ports.push_back(static_cast<int32_t>(first)); break;
        }
    };
    constexpr uint32_t most = 10000; // beyond that everything is read faster than explained
    effect.is_known = has_read_ && writes <= most;
    if (effect.is_known) statements_->calls.for_each(explain, known_call_, writes + 1);
    if (explained != writes) effect.is_known = false;
    if (!effect.is_known) effect.parts = part::all;
    constexpr size_t most_scopes = 50; // beyond that all of them are read faster
    if (effect.changed_filters.vids.size() + effect.changed_filters.ports.size() > most_scopes)
        effect.parts |= part::filters;
    if ((effect.parts & part::lists) != 0) effect.changed_lists.clear(); // all of them are read
    if ((effect.parts & part::filters) != 0) effect.changed_filters = {};
    if (!effect.changed_lists.empty()) effect.parts |= part::lists;
    if (!effect.changed_filters.is_empty()) effect.parts |= part::filters;
    return effect;
}

void ConfigurationReader::compile(const Effect& effect) {
    ConfigurationCompiler& compiler = statements_->compiler;
    Configuration next = current_;
    const auto is_due = [&](unsigned which) { return (effect.parts & which) != 0; };
    if (is_due(part::ports)) next.ports = compiler.ports();
    const bool is_of_some_lists = !effect.changed_lists.empty();
    if (is_due(part::lists) && is_of_some_lists) next.lists = compiler.lists(*next.lists, effect.changed_lists);
    if (is_due(part::lists) && !is_of_some_lists)
        next.lists = reading_ == Reading::all ? compiler.lists() : compiler.lists_without_rules();
    if (is_due(part::vlans)) next.vlans = compiler.vlans(*next.ports, *next.lists);
    const bool is_of_some_filters = reading_ == Reading::all && !effect.changed_filters.is_empty();
    if (is_due(part::filters) && is_of_some_filters)
        next.filters = compiler.filters(*next.filters, effect.changed_filters, *next.ports);
    if (is_due(part::filters) && !is_of_some_filters)
        next.filters =
            reading_ == Reading::all ? compiler.filters(*next.ports) : compiler.filters_without_statics(*next.ports);
    if (is_due(part::mirrors)) next.mirrors = compiler.mirrors(*next.ports);
    if (is_due(part::qos)) next.qos = compiler.qos(*next.ports);
    if (is_due(part::lists) && !is_of_some_lists) lists_with_rules_.clear();
    if (is_due(part::filters)) vlans_with_statics_.clear();
    current_ = std::move(next);
}

void ConfigurationReader::copy_tables(std::span<const char* const> tables) {
    const Snapshot snapshot(database_);
    statements_->last_call.only_number(); // begins it
    statements_->image.take(tables);
}

bool ConfigurationReader::read_statics(uint32_t vid) {
    const auto is_read = std::find(vlans_with_statics_.begin(), vlans_with_statics_.end(), vid);
    if (reading_ == Reading::all || is_read != vlans_with_statics_.end()) return false;
    constexpr const char* tables[] = {"static_entry", "limits"};
    copy_tables(tables);
    auto filters =
        std::make_shared<Filters>(*statements_->compiler.filters(*current_.filters, {{vid}, {}}, *current_.ports));
    filters->learned_room = current_.filters->learned_room; // which they were counted in
    current_.filters = std::move(filters);
    vlans_with_statics_.push_back(vid);
    return true;
}

bool ConfigurationReader::read_rules(int32_t list) {
    const bool is_there =
        std::find(lists_with_rules_.begin(), lists_with_rules_.end(), list) != lists_with_rules_.end();
    if (reading_ == Reading::all || is_there) return false;
    copy_tables(rule_tables);
    current_.lists = statements_->compiler.lists(*current_.lists, {list});
    lists_with_rules_.push_back(list);
    return true;
}

void ConfigurationReader::forget_flushed(State& state, const Effect& effect) {
    const auto is_flushed = [&](uint32_t vid) {
        return effect.flushes_all ||
               std::find(effect.flushed_vids.begin(), effect.flushed_vids.end(), vid) != effect.flushed_vids.end();
    };
    if (!effect.flushes_all && effect.flushed_vids.empty()) return;
    std::vector<uint64_t> flushed;
    state.learned.for_each([&](uint32_t vid, Mac mac, const LearnedEntry&) {
        if (is_flushed(vid)) flushed.push_back(address_key(vid, mac));
    });
    for (const uint64_t key : flushed)
        state.learned.erase(static_cast<uint32_t>(key >> 48), key & 0xffffffffffff);
}

// The store's entries count, but for those that are still to be written there. Those that are known keep their age.
void ConfigurationReader::read_learned(State& state, Nanoseconds now) {
    std::vector<uint64_t> changed = state.learned.take_changes();
    pending_.insert(pending_.end(), changed.begin(), changed.end());
    std::sort(pending_.begin(), pending_.end());
    const auto is_pending = [&](uint64_t key) { return std::binary_search(pending_.begin(), pending_.end(), key); };

    AddressTable<PortIndex> stored;
    Statement& rows = statements_->learned;
    rows.for_each([&] {
        const auto mac = mac_of_text(rows.text(1));
        const PortIndex port = current_.ports->find(rows.number<int32_t>(2));
        if (!mac) rows.fail_as_damaged(1);
        if (port == no_port) rows.fail_as_damaged(2);
        stored.put(rows.number<uint32_t>(0), *mac) = port;
    });
    std::vector<uint64_t> gone;
    state.learned.for_each([&](uint32_t vid, Mac mac, const LearnedEntry&) {
        const uint64_t key = address_key(vid, mac);
        if (stored.find(vid, mac) == nullptr && !is_pending(key)) gone.push_back(key);
    });
    for (const uint64_t key : gone)
        state.learned.erase(static_cast<uint32_t>(key >> 48), key & 0xffffffffffff);
    stored.for_each([&](uint32_t vid, Mac mac, PortIndex port) {
        const LearnedEntry* const known = state.learned.peek(vid, mac);
        if (is_pending(address_key(vid, mac)) || (known != nullptr && known->port == port)) return;
        state.learned.put_stored(vid, mac, port, now);
    });
    state.learned.take_changes(); // they came from the store
}

bool ConfigurationReader::has_unwritten(const State& state) const {
    return !pending_.empty() || state.learned.has_changes();
}

bool ConfigurationReader::write_learned(State& state, Nanoseconds now, size_t limit) {
    if (!has_unwritten(state)) return false;
    refresh(state, now); // before anybody waits for it
    Transaction transaction(database_);
    refresh(state, now); // what came in between
    const std::vector<uint64_t> changed = state.learned.take_changes();
    pending_.insert(pending_.end(), changed.begin(), changed.end());
    std::sort(pending_.begin(), pending_.end());
    pending_.erase(std::unique(pending_.begin(), pending_.end()), pending_.end());

    const size_t count = std::min(limit, pending_.size());
    const int64_t room = statements_->fdb_room.only_number();
    const int64_t changes_before = sqlite3_total_changes64(database_.handle());
    int64_t room_left = room;
    for (size_t i = 0; i < count; ++i)
        write_entry(state, pending_[i], room_left);
    if (room_left != room) statements_->take_room.change(room - room_left);
    const bool has_written = sqlite3_total_changes64(database_.handle()) != changes_before;
    transaction.commit();
    if (has_written) ++known_counter_;
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(count));
    return !pending_.empty();
}

void ConfigurationReader::write_entry(const State& state, uint64_t key, int64_t& room) {
    const auto vid = static_cast<uint32_t>(key >> 48);
    const Mac mac = key & 0xffffffffffff;
    const MacText text(mac);
    const LearnedEntry* const entry = state.learned.peek(vid, mac);
    const int32_t port = entry != nullptr ? current_.ports->ports[entry->port].number : 0;
    const bool is_kept = entry != nullptr && statements_->may_learn.only_number(vid, text.text, port) == 1;
    int64_t stored_port = -1;
    statements_->find_learned.for_each([&] { stored_port = statements_->find_learned.number(0); }, vid, text.text);
    if (is_kept && stored_port != port && (stored_port >= 0 || room > 0)) {
        statements_->put_learned.change(vid, text.text, port);
        if (stored_port < 0) --room;
    } else if (!is_kept && stored_port >= 0) {
        statements_->forget_learned.change(vid, text.text);
        ++room;
    }
}
