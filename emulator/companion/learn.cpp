// Learned addresses, as frames would bring them.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/configuration_compiler.h"
#include "companion/learning.h"
#include "companion/names.h"
#include "companion/words.h"

namespace {

std::string require_mac(const std::string& text) {
    const std::optional<dataplane::Mac> mac = mac_of_text(text);
    if (!mac) throw Failure("\"" + shown(text) + "\" is not a MAC address; write it as 00:11:22:33:44:55");
    return MacText(*mac).text;
}

// A VLAN and a port of it, which have to let the port learn.
struct Place {
    int64_t vid;
    int64_t learning_limit;
    std::string vlan; // as messages name it
};

Place require_learning(Database& database, const std::string& vlan, int64_t port) {
    Query rows(database, "SELECT vid, learning_limit, learning_off FROM vlan WHERE name = ?", {vlan});
    if (!rows.next()) throw Failure("there is no VLAN \"" + shown(vlan) + "\"; emuswitch show vlans lists them");
    Place place{rows.number("vid"), rows.number("learning_limit"), "VLAN \"" + shown(vlan) + "\""};
    Query member(database, "SELECT enabled FROM vlan_member JOIN port USING (port) WHERE vid = ? AND port = ?",
                 {place.vid, port});
    const std::string port_name = "port " + std::to_string(port);
    if (!member.next())
        throw Failure(port_name + " is not a member of " + place.vlan +
                      "; a switch learns addresses from members only");
    if (!member.flag("enabled"))
        throw Failure(port_name + " is disabled and takes no frames; tolvane enable " + port_name + " changes that");
    if (rows.flag("learning_off"))
        throw Failure(place.vlan + " learns nothing; tolvane set vlan " + quote_word(vlan) +
                      " learning on changes that");
    return place;
}

void require_room(Database& database, const Place& place) {
    if (place.learning_limit != 0 &&
        database.number("SELECT count(*) FROM learned_entry WHERE vid = ?", {place.vid}) >= place.learning_limit)
        throw Failure(place.vlan + " has learned as many addresses as its limit allows, " +
                      std::to_string(place.learning_limit));
    if (database.change("UPDATE limits SET in_use = in_use + 1 WHERE name = 'fdb_entries' AND in_use < value") == 0)
        throw Failure("the forwarding database is full; emuswitch limit fdb_entries VALUE makes it larger");
}

int learn(const std::string& mac, const std::string& vlan, int64_t port) {
    const std::string address = require_mac(mac);
    Database database;
    Transaction transaction(database);
    const Place place = require_learning(database, vlan, port);
    if (const std::string reason = why_never_learned(address, PortAddresses(database)); !reason.empty())
        throw Failure(address + " is never learned: " + reason);
    if (database.number("SELECT count(*) FROM static_entry WHERE vid = ? AND mac = ?", {place.vid, address}) != 0)
        throw Failure(address + " has a static entry in " + place.vlan + ", which stays as it is");
    if (database.number("SELECT count(*) FROM learned_entry WHERE vid = ? AND mac = ?", {place.vid, address}) == 0)
        require_room(database, place);
    database.change("INSERT INTO learned_entry (vid, mac, port) VALUES (?, ?, ?)"
                    " ON CONFLICT (vid, mac) DO UPDATE SET port = excluded.port",
                    {place.vid, address, port});
    transaction.commit();
    return 0;
}

} // namespace

std::string own_address(int64_t port) {
    char mac[32];
    const auto number = static_cast<unsigned>(port);
    snprintf(mac, sizeof mac, "02:00:%02x:%02x:%02x:%02x", number >> 24U & 255U, number >> 16U & 255U,
             number >> 8U & 255U, number & 255U);
    return mac;
}

PortAddresses::PortAddresses(Database& database) {
    Query ports(database, "SELECT port FROM port");
    while (ports.next())
        addresses_.insert(own_address(ports.number("port")));
}

std::string why_never_learned(const std::string& mac, const PortAddresses& ports) {
    const bool is_group = mac.size() > 1 && std::string("13579bdf").find(mac[1]) != std::string::npos;
    if (is_group) return "it is a group address, which no frame comes from";
    if (mac == "00:00:00:00:00:00") return "it is nobody's";
    if (ports.contain(mac)) return "it is a port's own";
    return "";
}

void add_learn(CommandLine& line) {
    struct Words {
        std::string mac;
        std::string vlan;
        int64_t port = 0;
    };
    auto words = std::make_shared<Words>();
    line.add("learn", "Have the switch learn an address, as from a frame")
        .operand("mac", words->mac, "The address, 00:11:22:33:44:55")
        .operand("vlan", words->vlan, "The name of the VLAN")
        .operand("port", words->port, any_port, "The port")
        .footer("Example:\n  emuswitch learn 00:11:22:33:44:55 sales 1")
        .runs([words] { return learn(words->mac, words->vlan, words->port); });
}
