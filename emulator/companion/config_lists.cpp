// Classification lists and mirrors as sentences.
#include "companion/config.h"

namespace config {

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
            const RuleWords words = wording::rule(rule, marking, matches);
            std::string line = words.can_be_typed ? "" : "# no sentence has such a mask: ";
            line += "add classify " + words.words + " to clslist " + list + " line " + text(rule.number("line"));
            out.add(line);
        });
    }
    rules.expect_end();
    matches.expect_end();
}

void add_bindings(Configuration& out) {
    Children points(out.database, "SELECT * FROM extraction_point ORDER BY vid, port, point", {"vid", "port"});
    Query rows(out.database,
               "SELECT list, port, name, vid FROM list_binding LEFT JOIN vlan USING (vid) ORDER BY vid, port");
    while (rows.next())
        out.add("add clslist " + text(rows.number("list")) + " to port " + text(rows.number("port")) + " vlan " +
                quote_word(rows.text("name")) + extraction(rows, points));
    points.expect_end();
}

namespace {

// Behind a port, the name of all VLANs is none.
void add_source(Configuration& out, const Query& row) {
    const bool is_call = !row.is_null("source_port") && !row.is_null("source_vid") && stands_for_all(row.text("name"));
    if (is_call)
        out.call("brgfdb_set_mirror_source", row.number("mirror"), row.number("source_type"), row.number("source_port"),
                 row.number("source_vid"));
    else
        out.add("set mirror " + text(row.number("mirror")) + " source " + source(row));
}

} // namespace

void add_mirrors(Configuration& out) {
    Query rows(out.database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror");
    while (rows.next()) {
        const std::string mirror = text(rows.number("mirror"));
        const std::string set = "set mirror " + mirror;
        out.add("create mirror " + mirror);
        if (!rows.is_null("source_type")) add_source(out, rows);
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
