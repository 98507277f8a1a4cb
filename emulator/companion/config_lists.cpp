// Classification lists and mirrors as sentences.
#include "companion/config.h"
#include "core/match_text.h"

#include <array>

namespace config {

namespace {

constexpr size_t match_operands = std::size(emulator::match_fields); // the extraction points share a word

// The operands of a rule, and whether a sentence can have them.
struct RuleOperands {
    std::array<std::string, match_operands> words;
    bool can_be_typed = true;

    void add(const Query& row) {
        const std::string name = row.text("field");
        const emulator::MatchField* const field = emulator::find_match_field(name.c_str());
        if (field == nullptr) row.fail_as_damaged("field");
        const emulator::StoredMatch match{row.number("low"), row.optional_number("high"), row.number("mask")};
        if (!match.fits(*field)) row.fail_as_damaged("low");
        char buffer[64];
        notation::Text text(buffer, sizeof buffer);
        emulator::write_match(text, *field, match);
        words.at(static_cast<size_t>(field - emulator::match_fields)).assign(text.buffer, text.length);
        can_be_typed = can_be_typed && emulator::can_be_typed(*field, match);
    }
    std::string text() const {
        std::string all;
        for (size_t i = 0; i < match_operands - extraction_point_count; ++i)
            (all += ' ') += words.at(i).empty() ? "x" : words.at(i);
        const std::string extraction = words[9] + "," + words[10] + "," + words[11] + "," + words[12];
        return all + " " + (extraction == ",,," ? "x" : extraction);
    }
};

} // namespace

void add_rules(Configuration& out) {
    Query lists(out.database, "SELECT list, marking FROM classify_list ORDER BY list");
    Children rules(out.database, "SELECT * FROM classify_rule ORDER BY list, line", {"list"});
    Children matches(out.database, "SELECT * FROM classify_match ORDER BY list, line", {"list", "line"});
    while (lists.next()) {
        const std::string list = text(lists.number("list"));
        out.add("create clslist " + list);
        const std::string marking = lists.optional_word("marking", marking_words).value_or("");
        rules.of(lists, [&](const Query& rule) {
            if (marking.empty()) lists.fail_as_damaged("marking");
            RuleOperands operands;
            matches.of(rule, [&](const Query& row) { operands.add(row); });
            std::string line = operands.can_be_typed ? "" : "# no sentence has such a mask: ";
            line += "add classify " + text(rule.number("stream") + 1) + "/" + text(rule.number("traffic_class")) + "/";
            line += rule.word("color", color_words) + " " + marking + operands.text();
            line += " to clslist " + list + " line " + text(rule.number("line"));
            out.add(line);
        });
    }
    rules.expect_end();
    matches.expect_end();
}

namespace {

// Offsets above 1532 were typed as negative ones.
std::string extraction_words(const Query& binding, Children& points) {
    std::array<std::string, extraction_point_count> words;
    bool is_any = false;
    points.of(binding, [&](const Query& row) {
        const int64_t point = row.number("point");
        const int64_t offset = row.number("byte_offset");
        words.at(static_cast<size_t>(point - 1)) =
            text(offset > 1532 ? offset - 65536 : offset) + "/" + text(row.number("width"));
        is_any = true;
    });
    return is_any ? " " + words[0] + "," + words[1] + "," + words[2] + "," + words[3] : "";
}

} // namespace

void add_bindings(Configuration& out) {
    Children points(out.database, "SELECT * FROM extraction_point ORDER BY vid, port, point", {"vid", "port"});
    Query rows(out.database,
               "SELECT list, port, name, vid FROM list_binding LEFT JOIN vlan USING (vid) ORDER BY vid, port");
    while (rows.next())
        out.add("add clslist " + text(rows.number("list")) + " to port " + text(rows.number("port")) + " vlan " +
                quote_word(rows.text("name")) + extraction_words(rows, points));
    points.expect_end();
}

namespace {

std::string source_words(const Query& row) {
    const int64_t type = row.number("source_type");
    if (type == mirror_source::vlan) return "vlan " + quote_word(row.text("name"));
    const bool is_received = type == mirror_source::received || type == mirror_source::received_in_vlan;
    return "port " + text(row.number("source_port")) + (is_received ? " in" : " out") +
           (row.is_null("source_vid") ? "" : " vlan " + quote_word(row.text("name")));
}

} // namespace

void add_mirrors(Configuration& out) {
    Query rows(out.database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror");
    while (rows.next()) {
        const std::string mirror = text(rows.number("mirror"));
        const std::string set = "set mirror " + mirror;
        out.add("create mirror " + mirror);
        if (!rows.is_null("source_type")) out.add(set + " source " + source_words(rows));
        if (!rows.is_null("destination")) out.add(set + " dest port " + text(rows.number("destination")));
        if (!rows.is_null("stream"))
            out.add(set + " classify " + text(rows.number("stream") + 1) + "/" + text(rows.number("traffic_class")) +
                    "/" + rows.word("color", color_words));
        const int64_t tag_type = rows.number("tag_type");
        if (rows.flag("tagged"))
            out.add(set + " tag on tagtype " + hex(tag_type) + " vid " + text(rows.number("tag_vid")));
        else if (tag_type != default_tag_type || rows.number("tag_vid") != 0)
            out.call("brgfdb_set_mirror_tag", rows.number("mirror"), 0, tag_type, rows.number("tag_vid"));
        if (rows.flag("enabled")) out.add("enable mirror " + mirror);
    }
}

} // namespace config
