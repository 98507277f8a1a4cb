// The words for numbers of the interface, as sentences take them and displays, logs and configurations show them.
#pragma once

#include "platform/brgfdb.h"

struct NumberedWord {
    int32_t number;
    const char* word;
};

constexpr NumberedWord port_type_words[] = {
    {port_type::none, "none"},
    {port_type::ether, "ether"},
    {port_type::virtual_interface, "vif"},
};

constexpr NumberedWord color_words[] = {
    {color::green, "green"},
    {color::yellow, "yellow"},
    {color::red, "red"},
};

// What policed traffic above its rate gets.
constexpr NumberedWord policing_color_words[] = {
    color_words[0],
    color_words[1],
    color_words[2],
    {color::discard, "discard"},
};

constexpr NumberedWord bandwidth_mode_words[] = {
    {bandwidth_mode::frame_only, "frame_only"},
    {bandwidth_mode::frame_gap, "frame_gap"},
};

constexpr NumberedWord link_frame_words[] = {
    {link_frame::bpdu, "bpdu"},
    {link_frame::lag, "lag"},
    {link_frame::pae, "pae"},
};

constexpr NumberedWord link_frame_action_words[] = {
    {link_frame_action::discard, "discard"},
    {link_frame_action::forward, "forward"},
};

constexpr NumberedWord link_mode_words[] = {
    {link_mode::all, "and"},
    {link_mode::any, "or"},
};

constexpr NumberedWord qos_type_words[] = {
    {qos_type::weighted_fair, "wfq"},
    {qos_type::strict_priority, "pq"},
};

constexpr NumberedWord local_type_words[] = {
    {local_type::local, "local"},
    {local_type::both, "both"},
    {local_type::local_learning, "local_learning"},
    {local_type::discard, "discard"},
};

constexpr NumberedWord marking_words[] = {
    {marking::normal, "normal"},
    {marking::dot1p, "dot1p"},
    {marking::dscp, "dscp"},
};

// The word for a number, nullptr where there is none.
template <size_t Count> constexpr const char* word_for(const NumberedWord (&words)[Count], int64_t number) {
    for (const NumberedWord& row : words)
        if (row.number == number) return row.word;
    return nullptr;
}
