// Sentences that are written down and done to a switch of plain values, as the switch itself would do them: what goes
// along with an object, what a new one has, what the other libraries are told. Where no sentence does it, a line for
// emuswitch is written. Whoever calls sees to an order that the switch accepts.
#pragma once

#include "companion/switch_model.h"

class Rehearsal {
public:
    using Address = std::pair<int64_t, std::string>; // vid or port, and MAC address

    explicit Rehearsal(const SwitchModel& from);

    const SwitchModel& now() const { return model_; }
    const std::vector<std::string>& lines() const { return written_; }
    // How large each limit has to be for the switch to accept all of it.
    const std::map<std::string, int64_t>& needed_limits() const { return needed_; }

    void remark(const std::string& text) { written_.push_back("# " + text); }
    void say(const std::string& line) { written_.push_back(line); }

    void create_port(int64_t port, int64_t ether, int64_t type);
    void delete_port(int64_t port);
    void switch_port(int64_t port, bool is_enabled);
    void set_port(int64_t port, const std::string& keyword, const std::string& words);
    void set_lasting(int64_t port, const std::string& keyword, const std::string& words);
    void set_classes(int64_t port, const std::map<int64_t, int64_t>& classes);
    void set_link_mode(int64_t port, int64_t mode);
    void set_link_depend(int64_t port, int64_t type, int64_t mask);
    void set_lag(int64_t port, bool is_in_lag);
    void set_ip_interface(int64_t port, bool has_one);
    void set_ether_shaper(int64_t ether, const std::string& words); // "off": none

    void create_vlan(int64_t vid, const std::string& name);
    void delete_vlan(int64_t vid);
    void set_vlan(int64_t vid, const std::string& keyword, const std::string& words);
    void set_all_vlans(const std::string& keyword, const std::string& words);
    void create_protgroup(int64_t protgroup);
    void delete_protgroup(int64_t protgroup);
    void add_protocol(int64_t ether_type, int64_t protgroup);
    void remove_protocol(int64_t ether_type);
    void add_member(const SwitchModel::InVlan& place, const SwitchModel::Member& member); // without its list
    void remove_member(const SwitchModel::InVlan& place);

    void create_stream(int64_t index, const SwitchModel::Stream& stream); // without its settings
    void delete_stream(int64_t index);
    void set_stream(int64_t index, const std::string& keyword, const std::string& words);
    void set_drop_type(int64_t index, const std::pair<int64_t, std::string>& place, const std::string& words);
    void create_queue(const SwitchModel::Queue& place, const SwitchModel::QueueState& queue); // without its settings
    void create_missing_queues(int64_t stream_index);
    void delete_queue(const SwitchModel::Queue& place);
    void delete_attached_queues(int64_t stream_index);
    void set_service(const SwitchModel::Queue& place, const std::string& words);
    void set_length(const SwitchModel::Queue& place, int64_t blocks, int64_t length);

    void create_list(int64_t list);
    void delete_list(int64_t list);
    void add_rule(int64_t list, int64_t line, const std::string& marking, const SwitchModel::Rule& rule);
    void remove_rule(int64_t list, int64_t line);
    void remove_rules(int64_t list);
    void bind_list(const SwitchModel::InVlan& place, int64_t list, const std::string& extraction);
    void unbind_list(const SwitchModel::InVlan& place);

    void create_static(const Address& address, const SwitchModel::StaticEntry& entry);
    void delete_static(const Address& address);
    void create_local(int64_t port, const std::string& mac, const SwitchModel::LocalEntry& entry);
    void delete_local(int64_t port, const std::string& mac);
    std::string line_to_learn(const Address& address, int64_t port) const;
    void learn(const Address& address, int64_t port);
    void forget_learned(); // of all VLANs
    void forget_learned_in(int64_t vid);

    void create_mirror(int64_t mirror);
    void delete_mirror(int64_t mirror);
    void switch_mirror(int64_t mirror, bool is_enabled);
    void set_source(int64_t mirror, const SwitchModel::Mirror& wanted);
    void set_destination(int64_t mirror, int64_t port);
    void set_classification(int64_t mirror, const std::string& words);
    void set_tag(int64_t mirror, const SwitchModel::Mirror& wanted);

private:
    void need(const std::string& limit, int64_t value);
    void need_entry(); // of the forwarding database: one more
    void take_buffers(int64_t more);
    const std::string& name_of(int64_t vid) const;
    std::string member_words(const SwitchModel::InVlan& place, const char* preposition) const;
    void forget_learned_address(const Address& address);

    SwitchModel model_;
    int64_t buffers_; // in use
    std::vector<std::string> written_;
    std::map<std::string, int64_t> needed_;
};
