// The switch of a store as its dataplane needs it: the configuration compiled in parts and kept current, and the
// learned addresses read and written back. What trace, replay and live share.
//
//     Database database(store_path());
//     ConfigurationReader reader(database);
//     dataplane::State state = reader.make_state(0);
//     state.learned.note_changes(); // where it is to be written back
//     for (each frame) {
//         if (reader.has_changed()) reader.refresh(state, frame.time);
//         dataplane::forward(reader.configuration(), state, frame, outcome);
//     }
//     reader.write_learned(state, now);
//
// Every function throws `Failure` where the store cannot be read, is damaged, or cannot be written; the configuration
// and what is still to be written are then as before.
#pragma once

#include "companion/database.h"
#include "dataplane/configuration.h"
#include "dataplane/state.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// The parts of a configuration that were compiled anew, as bits.
namespace part {
constexpr unsigned ports = 1;
constexpr unsigned vlans = 2;
constexpr unsigned filters = 4;
constexpr unsigned lists = 8;
constexpr unsigned mirrors = 16;
constexpr unsigned qos = 32;
constexpr unsigned all = 63;
} // namespace part

class ConfigurationReader {
public:
    // Reads everything, in one snapshot, like all that follows: the store is held up for as long as its pages are
    // copied, not while they are read (companion/store_image.h). The database has to outlive the reader. For a single
    // frame, reading the rules of all lists and all static entries would take longer than anything else: `on_demand`
    // leaves them out, until `read_rules` and `read_statics` are called.
    enum class Reading : uint8_t { all, on_demand };
    explicit ConfigurationReader(Database& owner, Reading how = Reading::all);
    ~ConfigurationReader();
    ConfigurationReader(const ConfigurationReader&) = delete;
    ConfigurationReader& operator=(const ConfigurationReader&) = delete;

    // Its parts stay what they are while anybody holds them; `refresh` puts others in their place.
    const dataplane::Configuration& configuration() const { return current_; }

    // A state for this configuration. The learned addresses of the store count as seen at `now`.
    dataplane::State make_state(dataplane::Nanoseconds now);

    // Whether anything was written to the store since it was read last. Costs one read of a few bytes and no lock.
    bool has_changed();

    // Reads what has changed, in one snapshot, and fits the state to it: buckets, links, and what is learned (entries
    // that were flushed go; where something else than library calls has changed the store, its learned entries count,
    // and what is still to be written back). Returns the parts that were compiled anew.
    unsigned refresh(dataplane::State& state, dataplane::Nanoseconds now);

    // The rules of one list, after `on_demand`. Returns false where they are there already.
    bool read_rules(int32_t list);
    // Likewise the static entries of one VLAN.
    bool read_statics(uint32_t vid);

    // Writes what was learned, moved or forgotten since the last call back to the store, in one transaction of at most
    // `limit` entries, having refreshed where that is due. Nothing is written of an address whose port is no member of
    // the VLAN or that has a static entry by now, or where the forwarding database is full. Faults that are set for the
    // library do not concern it, and nothing is logged. Returns whether some are left for another call.
    bool write_learned(dataplane::State& state, dataplane::Nanoseconds now, size_t limit = SIZE_MAX);
    // Whether there is something to write: what `state` has noted, and what is left of earlier calls, those included
    // that failed.
    bool has_unwritten(const dataplane::State& state) const;

private:
    struct Effect;
    struct Statements;

    Effect copy_changes(bool with_learned);
    void copy_tables(std::span<const char* const> tables);
    unsigned take_over(const Effect& effect, dataplane::State* state, dataplane::Nanoseconds now);
    Effect explain_changes(uint32_t counter);
    std::vector<const char*> tables_of(const Effect& effect) const;
    void compile(const Effect& effect);
    static void forget_flushed(dataplane::State& state, const Effect& effect);
    void read_learned(dataplane::State& state, dataplane::Nanoseconds now);
    void write_entry(const dataplane::State& state, uint64_t key, int64_t& room);
    uint32_t change_counter();

    Database& database_;
    Reading reading_;
    std::vector<int32_t> lists_with_rules_;    // of those that were left out
    std::vector<uint32_t> vlans_with_statics_; // likewise
    std::unique_ptr<Statements> statements_;
    dataplane::Configuration current_;
    uint32_t known_counter_ = 0; // of the store, when it was read last
    int64_t known_call_ = 0;     // the last in the log then
    bool has_read_ = false;
    std::vector<uint64_t> pending_; // addresses whose entry is still to be written back
};
