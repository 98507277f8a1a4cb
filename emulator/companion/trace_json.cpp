// Told frames as JSON, written by hand: there may be a million of them in a second.
#include "companion/trace_json.h"

#include "companion/json_text.h"

#include "platform/words.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstring>

using namespace dataplane;

namespace {

// How a number of a step is written.
enum class Form : uint8_t {
    none,
    number,
    kbit,         // a rate in bit/s
    port,         // by its index; null where there is none
    ether_type,   // "88a8"
    stream,       // counted from 1
    color,        // "green"
    link_frame,   // "bpdu"
    local_action, // "both"
    link_depend,  // "port"
    link_mode,    // "and"; null where it was never set
    reason,
    verdict,
    skip,
    tag,   // two numbers, VLAN id and type: {"tagtype":"8100","vid":20}, or null where the id is 0
    queue, // two numbers, stream index and class: "1/2/5"
    kept,  // two numbers, which and where
};

struct Part {
    const char* key = "";
    Form form = Form::none;
};

struct StepForm {
    StepKind kind{};
    std::array<Part, 3> parts{}; // for its numbers a, b and c
};

constexpr StepForm step_forms[] = {
    {StepKind::received, {{{"port", Form::port}, {"length_bytes", Form::number}}}},
    {StepKind::link_dependency, {{{"port", Form::port}, {"on", Form::link_depend}, {"mode", Form::link_mode}}}},
    {StepKind::link_mode_unset, {{{"port", Form::port}}}},
    {StepKind::tag_recognised, {{{"tagtype", Form::ether_type}, {"vid", Form::number}, {"priority", Form::number}}}},
    {StepKind::priority_tag, {{{"tagtype", Form::ether_type}, {}, {"priority", Form::number}}}},
    {StepKind::tag_ignored, {{{"tagtype", Form::ether_type}, {"vid", Form::number}}}},
    {StepKind::priority_tag_ignored, {{{"tagtype", Form::ether_type}}}},
    {StepKind::other_tag, {{{"tagtype", Form::ether_type}}}},
    {StepKind::untagged, {{{"etype", Form::ether_type}}}},
    {StepKind::link_frame_lifted, {{{"kind", Form::link_frame}}}},
    {StepKind::local_entry, {{{"action", Form::local_action}}}},
    {StepKind::taken_by_switch, {{{"port", Form::port}}}},
    {StepKind::not_forwarded, {{{"reason", Form::reason}}}},
    {StepKind::vlan_by_tag, {{{"vid", Form::number}}}},
    {StepKind::vlan_by_protgroup, {{{"vid", Form::number}, {"protgroup", Form::number}, {"etype", Form::ether_type}}}},
    {StepKind::vlan_by_membership, {{{"vid", Form::number}}}},
    {StepKind::vlan_by_pvid, {{{"vid", Form::number}}}},
    {StepKind::member, {{{"vid", Form::number}}}},
    {StepKind::let_in, {{{"vid", Form::number}}}},
    {StepKind::list_matched, {{{"list", Form::number}, {"line", Form::number}}}},
    {StepKind::list_not_matched, {{{"list", Form::number}}}},
    {StepKind::no_list, {}},
    {StepKind::class_by_rule, {{{"stream", Form::stream}, {"class", Form::number}, {"color", Form::color}}}},
    {StepKind::class_by_priority, {{{"priority", Form::number}, {"class", Form::number}}}},
    {StepKind::class_by_tos, {{{"tos", Form::number}, {"class", Form::number}, {"port", Form::port}}}},
    {StepKind::class_by_default, {{{"stream", Form::stream}, {"class", Form::number}, {"color", Form::color}}}},
    {StepKind::counted, {{{"class", Form::number}, {"bytes", Form::number}}}},
    {StepKind::within_rate, {{{"class", Form::number}, {"rate_kbit_s", Form::kbit}}}},
    {StepKind::recolored, {{{"class", Form::number}, {"rate_kbit_s", Form::kbit}, {"color", Form::color}}}},
    {StepKind::over_rate, {{{"class", Form::number}, {"rate_kbit_s", Form::kbit}}}},
    {StepKind::learned, {{{"vid", Form::number}, {"port", Form::port}}}},
    {StepKind::moved, {{{"vid", Form::number}, {"from", Form::port}}}},
    {StepKind::refreshed, {{{"vid", Form::number}}}},
    {StepKind::not_learned_off, {{{"vid", Form::number}}}},
    {StepKind::not_learned_limit, {{{"vid", Form::number}, {"limit", Form::number}}}},
    {StepKind::not_learned_full, {}},
    {StepKind::not_learned_source, {}},
    {StepKind::not_learned_static, {{{"vid", Form::number}}}},
    {StepKind::not_learned_member, {{{"vid", Form::number}}}},
    {StepKind::fdb_ignored_by_port, {}},
    {StepKind::fdb_ignored_by_vlan, {{{"vid", Form::number}}}},
    {StepKind::group_address, {}},
    {StepKind::static_entry, {{{"vid", Form::number}, {"port", Form::port}, {"flags", Form::number}}}},
    {StepKind::own_address, {{{"vid", Form::number}, {"port", Form::port}}}},
    {StepKind::learned_entry, {{{"vid", Form::number}, {"port", Form::port}}}},
    {StepKind::unknown_address, {{{"vid", Form::number}}}},
    {StepKind::sent, {{{"port", Form::port}, {"tag", Form::tag}}}},
    {StepKind::drop_eligible_kept, {{{"port", Form::port}}}},
    {StepKind::not_sent_disabled, {{{"port", Form::port}}}},
    {StepKind::not_sent_down, {{{"port", Form::port}}}},
    {StepKind::priority_edited, {{{"port", Form::port}, {"from", Form::number}, {"to", Form::number}}}},
    {StepKind::queued, {{{"port", Form::port}, {"queue", Form::queue}}}},
    {StepKind::best_effort, {{{"port", Form::port}, {"stream", Form::stream}, {"class", Form::number}}}},
    {StepKind::mirrored, {{{"mirror", Form::number}, {"port", Form::port}}}},
    {StepKind::not_mirrored, {{{"mirror", Form::number}, {"why", Form::skip}}}},
    {StepKind::copy_tagged, {{{"mirror", Form::number}, {"tag", Form::tag}}}},
    {StepKind::copy_best_effort, {{{"mirror", Form::number}, {"port", Form::port}}}},
    {StepKind::kept, {{{"setting", Form::kept}}}},
    {StepKind::dropped, {{{"reason", Form::reason}}}},
    {StepKind::done, {{{"verdict", Form::verdict}}}},
};

// `{"step":"vlan_by_tag"` and, for each number, `,"vid":`, made once.
struct WrittenStep {
    std::string beginning;
    std::array<std::string, 3> keys;
    std::array<Form, 3> forms{};
};

constexpr size_t step_kind_count = static_cast<size_t>(StepKind::done) + 1;
static_assert(std::size(step_forms) == step_kind_count);

using WrittenSteps = std::array<WrittenStep, step_kind_count>;
WrittenSteps make_written_steps() {
    WrittenSteps steps;
    for (const StepForm& form : step_forms) {
        WrittenStep& step = steps.at(number_of(form.kind));
        step.beginning = std::string("{\"step\":\"") + word_of(form.kind) + "\"";
        for (size_t i = 0; i < form.parts.size(); ++i) {
            step.keys.at(i) = std::string(",\"") + form.parts.at(i).key + "\":";
            step.forms.at(i) = form.parts.at(i).form;
        }
    }
    return steps;
}

constexpr size_t longest_step = 160;
constexpr size_t longest_output = 120; // beside its bytes

// Two digits a byte, so that writing one is copying both.
constexpr auto hex_pairs = [] {
    std::array<char, 512> pairs{};
    for (size_t i = 0; i < 256; ++i) {
        pairs[2 * i] = "0123456789abcdef"[i >> 4];
        pairs[2 * i + 1] = "0123456789abcdef"[i & 15];
    }
    return pairs;
}();

void put_word(LineBuffer& out, std::string_view word) {
    out.put('"');
    out.put(word);
    out.put('"');
}

// In units of 1000 bit/s, with decimals where a library call has set such a rate.
void put_kbit(LineBuffer& out, uint32_t rate) {
    out.put_number(rate / 1000);
    if (rate % 1000 == 0) return;
    const char decimals[] = {'.', static_cast<char>('0' + rate / 100 % 10), static_cast<char>('0' + rate / 10 % 10),
                             static_cast<char>('0' + rate % 10)};
    out.put(std::string_view(decimals, sizeof decimals));
}

void put_port(LineBuffer& out, const Ports& ports, uint32_t index) {
    if (index == no_port)
        out.put("null");
    else
        out.put_number(static_cast<uint32_t>(ports.ports[index].number));
}

void put_ether_type(LineBuffer& out, uint32_t type) {
    const uint8_t bytes[] = {static_cast<uint8_t>(type >> 8), static_cast<uint8_t>(type)};
    out.put('"');
    out.put_hex(bytes);
    out.put('"');
}

void put_queue(LineBuffer& out, uint32_t stream_index, uint32_t traffic_class) {
    out.put('"');
    out.put_number(stream_index / 256 + 1);
    out.put('/');
    out.put_number(stream_index % 256 + 1);
    out.put('/');
    out.put_number(traffic_class);
    out.put('"');
}

void put_tag(LineBuffer& out, uint32_t vid, uint32_t tag_type) {
    if (vid == 0) return out.put("null");
    out.put("{\"tagtype\":");
    put_ether_type(out, tag_type);
    out.put(",\"vid\":");
    out.put_number(vid);
    out.put('}');
}

std::string_view color_word(uint32_t color) {
    return word_for(color_words, color);
}

std::string_view link_frame_word(uint32_t kind) {
    const char* const word = word_for(link_frame_words, kind);
    return word != nullptr ? word : "";
}

std::string_view local_action_word(uint32_t action) {
    return word_for(local_type_words, action);
}

void put_link_mode(LineBuffer& out, uint32_t mode) {
    const char* const word = word_for(link_mode_words, mode);
    if (word != nullptr)
        put_word(out, word);
    else
        out.put("null");
}

void put_kept(LineBuffer& out, const Ports& ports, const Step& step) {
    const auto setting = static_cast<KeptSetting>(step.a);
    put_word(out, word_of(setting));
    if (setting == KeptSetting::loop_detection) {
        out.put(",\"vid\":");
        out.put_number(step.b);
    } else if (setting == KeptSetting::static_entry_flags) {
        out.put(",\"flags\":");
        out.put_number(step.b);
    } else {
        out.put(",\"port\":");
        put_port(out, ports, step.b);
    }
}

void put_part(LineBuffer& out, const Ports& ports, Form form, const Step& step, uint32_t number) {
    switch (form) {
    case Form::none: break;
    case Form::number: return out.put_number(number);
    case Form::kbit: return put_kbit(out, number);
    case Form::port: return put_port(out, ports, number);
    case Form::ether_type: return put_ether_type(out, number);
    case Form::stream: return out.put_number(number + 1);
    case Form::color: return put_word(out, color_word(number));
    case Form::link_frame: return put_word(out, link_frame_word(number));
    case Form::local_action: return put_word(out, local_action_word(number));
    case Form::link_depend: return put_word(out, number == link_depend::vlan ? "vlan" : "port");
    case Form::link_mode: return put_link_mode(out, number);
    case Form::reason: return put_word(out, word_of(static_cast<DropReason>(number)));
    case Form::verdict: return put_word(out, word_of(static_cast<Verdict>(number)));
    case Form::skip: return put_word(out, word_of(static_cast<MirrorSkip>(number)));
    case Form::tag: return put_tag(out, step.b, step.c);
    case Form::queue: return put_queue(out, step.b, step.c);
    case Form::kept: return put_kept(out, ports, step);
    }
}

void put_step(LineBuffer& out, const Ports& ports, const WrittenStep& written, const Step& step) {
    out.put(written.beginning);
    const std::array<uint32_t, 3> numbers{step.a, step.b, step.c};
    for (size_t i = 0; i < numbers.size(); ++i) {
        if (written.forms[i] == Form::none) continue;
        out.put(written.keys[i]);
        put_part(out, ports, written.forms[i], step, numbers[i]);
    }
    if (step.assumption != Assumption::none) {
        out.put(",\"assumption\":");
        out.put_number(number_of(step.assumption));
    }
    out.put('}');
}

void put_steps(LineBuffer& out, const Ports& ports, const std::vector<Step>& steps) {
    static const WrittenSteps written = make_written_steps();
    out.make_room(16 + steps.size() * longest_step);
    out.put(",\"steps\":[");
    for (size_t i = 0; i < steps.size(); ++i) {
        if (i > 0) out.put(',');
        put_step(out, ports, written[number_of(steps[i].kind)], steps[i]);
    }
    out.put(']');
}

void put_output(LineBuffer& out, const Ports& ports, const Frame& frame, const Output& output) {
    out.make_room(longest_output + 2 * (output.head.size() + frame.bytes.size()));
    out.put("{\"port\":");
    put_port(out, ports, output.port);
    out.put(",\"frame\":\"");
    out.put_hex(std::span(output.head).first(output.head_length));
    out.put_hex(frame.bytes.subspan(output.skip));
    out.put("\",\"queue\":");
    if (output.has_queue)
        put_queue(out, output.stream_index, output.traffic_class);
    else
        out.put("null");
    out.put(",\"mirror\":");
    if (output.mirror != 0)
        out.put_number(output.mirror);
    else
        out.put("null");
    out.put('}');
}

void put_outputs(LineBuffer& out, const Ports& ports, const Frame& frame, const std::vector<Output>& outputs) {
    out.make_room(longest_output);
    out.put(",\"outputs\":[");
    for (size_t i = 0; i < outputs.size(); ++i) {
        out.make_room(1);
        if (i > 0) out.put(',');
        put_output(out, ports, frame, outputs[i]);
    }
    out.make_room(longest_output);
    out.put(']');
}

void put_assumptions(LineBuffer& out, const std::vector<Step>& steps) {
    std::bitset<256> numbers;
    for (const Step& step : steps)
        numbers.set(number_of(step.assumption));
    numbers.reset(number_of(Assumption::none));
    out.make_room(32 + 4 * numbers.count());
    out.put(",\"assumptions\":[");
    const char* separator = "";
    for (uint32_t number = 1; numbers.any() && number < numbers.size(); ++number) {
        if (!numbers.test(number)) continue;
        out.put(separator);
        out.put_number(number);
        numbers.reset(number);
        separator = ",";
    }
    out.put(']');
}

void put_class(LineBuffer& out, const Outcome& outcome) {
    if (!outcome.is_classified) return out.put(",\"class\":null");
    out.put(",\"class\":{\"stream\":");
    out.put_number(outcome.stream + 1U);
    out.put(",\"class\":");
    out.put_number(outcome.traffic_class);
    out.put(",\"color\":\"");
    out.put(color_word(outcome.color));
    out.put("\"}");
}

} // namespace

void LineBuffer::put_number(uint32_t number) {
    char digits[10];
    size_t count = 0;
    do {
        digits[count++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    while (count > 0)
        put(digits[--count]);
}

void LineBuffer::put_hex(std::span<const uint8_t> data) {
    char* at = &bytes_[length_];
    for (const uint8_t byte : data) {
        memcpy(at, &hex_pairs[2 * size_t{byte}], 2);
        at += 2;
    }
    length_ += 2 * data.size();
}

std::string json_text(std::string_view text) {
    std::string json;
    append_json_text(json, std::string(text));
    return json;
}

std::string_view TraceWriter::name_of_vlan(const std::shared_ptr<const Vlans>& vlans, uint32_t vid) {
    if (named_ != vlans) {
        names_.assign(vlans->vlans.size(), "");
        named_ = vlans;
    }
    std::string& name = names_[vlans->place[vid] - 1U];
    if (name.empty()) name = json_text(vlans->find(vid)->name);
    return name;
}

void TraceWriter::write(LineBuffer& out, const Configuration& configuration, const Frame& frame,
                        const Outcome& outcome) {
    const Ports& ports = *configuration.ports;
    const std::string_view name =
        outcome.vid != 0 ? name_of_vlan(configuration.vlans, outcome.vid) : std::string_view();
    out.make_room(256 + 2 * frame.bytes.size() + name.size());
    out.put("{\"port\":");
    put_port(out, ports, frame.port);
    out.put(",\"frame\":\"");
    out.put_hex(frame.bytes);
    out.put("\",\"verdict\":\"");
    out.put(word_of(outcome.verdict));
    out.put("\",\"reason\":");
    if (outcome.verdict == Verdict::dropped)
        put_word(out, word_of(outcome.reason));
    else
        out.put("null");
    out.put(",\"vlan\":");
    if (outcome.vid != 0) {
        out.put("{\"vid\":");
        out.put_number(outcome.vid);
        out.put(",\"name\":");
        out.put(name);
        out.put('}');
    } else {
        out.put("null");
    }
    put_class(out, outcome);
    put_steps(out, ports, outcome.steps);
    put_outputs(out, ports, frame, outcome.outputs);
    put_assumptions(out, outcome.steps);
    out.make_room(1);
    out.put('}');
}
