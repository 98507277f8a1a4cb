// The parts of a configuration, compiled from the rows of a store. Whoever calls these has a transaction open, so that
// all parts are of one state of the store. A value that the store cannot have by itself ends in a `Failure`.
#pragma once

#include "companion/database.h"
#include "dataplane/configuration.h"

#include <memory>

// Filter entries by what they belong to.
struct FilterScopes {
    std::vector<uint32_t> vids; // of static entries
    std::vector<int32_t> ports; // of local ones, by number
    bool is_empty() const { return vids.empty() && ports.empty(); }
};

class ConfigurationCompiler {
public:
    explicit ConfigurationCompiler(Database& database);
    ~ConfigurationCompiler();
    ConfigurationCompiler(const ConfigurationCompiler&) = delete;
    ConfigurationCompiler& operator=(const ConfigurationCompiler&) = delete;

    std::shared_ptr<const dataplane::Ports> ports();
    std::shared_ptr<const dataplane::Vlans> vlans(const dataplane::Ports& ports, const dataplane::Lists& lists);
    std::shared_ptr<const dataplane::Filters> filters(const dataplane::Ports& ports);
    // All but the static entries, for which there is no less room to learn in.
    std::shared_ptr<const dataplane::Filters> filters_without_statics(const dataplane::Ports& ports);
    // Only the entries of these; the ports, and the entries of all others, are the same as before.
    std::shared_ptr<const dataplane::Filters> filters(const dataplane::Filters& before, const FilterScopes& changed,
                                                      const dataplane::Ports& ports);
    std::shared_ptr<const dataplane::Mirrors> mirrors(const dataplane::Ports& ports);
    std::shared_ptr<const dataplane::Qos> qos(const dataplane::Ports& ports);

    // All lists anew.
    std::shared_ptr<const dataplane::Lists> lists();
    // All lists without their rules.
    std::shared_ptr<const dataplane::Lists> lists_without_rules();
    // Only the lists of these numbers; there are the same ones as before.
    std::shared_ptr<const dataplane::Lists> lists(const dataplane::Lists& before, const std::vector<int32_t>& changed);

private:
    struct Statements;
    std::unique_ptr<Statements> statements_;
};

// An address as the store has it, 01:80:c2:00:00:0a; nothing where the text is none.
std::optional<dataplane::Mac> mac_of_text(std::string_view text);
struct MacText {
    explicit MacText(dataplane::Mac mac);
    char text[18];
};
