// Forms of sentences, and which one fits.
#include "companion/grammar.h"

#include "companion/names.h"
#include "companion/nearest.h"
#include "companion/operands.h"

#include <algorithm>
#include <limits>
#include <map>
#include <stdexcept>
#include <tuple>

namespace {

using Words = std::vector<std::string>;

// {a | b} is a choice, [a] may be left out, <a> is an operand, <a:b> one of the kind b that people read as <a>.
//
// Hidden from people is what the tool takes although nobody should write it:
//     ~word   any word does in place of this one
//     _       a word that is not looked at
//     ...     any number of those, at the end
//     !301    any other word, which is refused with this code
// Behind a form without ..., words are too many.
constexpr const char* forms[] = {
    "create port <port> ~npport <ether> portType {none | ether | vif}",
    "delete port <port>",
    "enable port <port>",
    "disable port <port>",
    "set port <port:front port> aging <time>",
    "set port <port:front port> aftype {tagonly | all | !301}",
    "set port <port> ingfil {on | off | !302}",
    "set port <port> accept_tag {on | off | !303}",
    "set port <port> ignoretag {on | off | !314}",
    "set port <port> accept_ptag {on | off | !304}",
    "set port <port> ignoreptag {on | off | !315}",
    "set port <port> pvid <pvid>",
    "set port <port> tagtype <type>",
    "set port <port> sldbreaker {on | off | !306}",
    "set port <port> cosedit {on | off | !315}",
    "set port <port> ignorefdb {on | off | !315}",
    "set port <port> bandwidth {frame_only | frame_gap} ...",
    "set port <port> link_frame {bpdu | lag | pae} {discard | forward} ...",
    "set port <port:logical port> link_mode {or | and}",
    "set port <port:logical port> link_depend {vlan | port <ports>}",
    "set port <port> cosmap [bit <bits>] val <map>",
    "set port <port> default_class <stream/class/color>",
    ("set port <port> class_policing class <class> {off ... | on rcolor {green | yellow | red | discard} rate <rate>"
     " [_ | burst <burst> [byte ... | kbyte ...]]}"),
    "set ether <ether> shaping {off ... | on rate <rate> [_ | burst <burst> [byte ... | kbyte ...]]}",
    "set ether <ether:word> share ...",
    "set ether <ether:word> <word:other word> ...",
    "create vlan <name:new name> [vid <vid>]",
    "delete vlan <name>",
    "add port <port:member port> to vlan <name> tag off [protgroup <gid>]",
    "add port <port:member port> to vlan <name> tag on [tagtype <type>]",
    "remove port <port:member port> ~from ~vlan <name>",
    "set vlan {all | <name>} simple_loop_detection {on | off | !310} ...",
    "set vlan {all | <name>} learninglimit {none | <limit>} ...",
    "set vlan {all | <name>} ignorefdb {on | off | !310} ...",
    "set vlan {all | <name>} learning {on | off | !310} ...",
    "create protgroup <gid> ...",
    "delete protgroup <gid> ...",
    "add protocol <type:ether type> to protgroup <gid> ...",
    "remove protocol <type:ether type> from protgroup <gid> ...",
    "create mirror <mirror> ...",
    "delete mirror <mirror> ...",
    "enable mirror <mirror> ...",
    "disable mirror <mirror> ...",
    "set mirror <mirror> source port <port:source port> {in | out} [_ | ~vlan {all | <name>} ...]",
    "set mirror <mirror> source vlan <name> ...",
    "set mirror <mirror> dest port <port:destination port> ...",
    "set mirror <mirror> classify <stream/class/color:mirrored class> ...",
    "set mirror <mirror> tag {off ... | on [tagtype <type>] vid <vid> ...}",
    "create stream <port/stream> qostype {wfq | pq}",
    "delete stream <port/stream>",
    "set stream <port/stream> shaping {off ... | on rate <rates> [_ | burst <bursts> [byte ... | kbyte ...]]}",
    ("set stream <port/stream> shaping on maxrate <rate> [_ | minrate <rate:lower rate> [_ | maxburst <burst>"
     " [_ | <word:no minburst> <burst> ...]]]"),
    "set stream <port/stream> priority <priority:stream priority> ...",
    "set stream <port/stream> tosmap <map:tosmap> ...",
    "create queue <port/stream/classes>",
    "delete queue <port/stream/classes>",
    "set queue <port/stream/class> pri <priority> [ratio <ratio>]",
    "set queue <port/stream/class> queue_length <length>",
    ("set queue <port/stream/class> color {green | yellow | red} drop_type"
     " {taildrop ... | wred thresh <min-max> drop <min-max> ...}"),
    ("set color <port/stream/class/color> drop_type"
     " {taildrop | wred min_thresh <number> max_thresh <number> min_drop <number> max_drop <number>}"),
    "create sfdbentry <mac> in vlan <name> {discard | port <port> [flag <flags>]}",
    "delete sfdbentry <mac> in vlan <name>",
    "create lfdbentry <mac:local mac> in port <port> {local | both | local_learning | discard}",
    "delete lfdbentry <mac:local mac> in port <port>",
    "delete dfdbentry all in {all | vlan <name>}",
    "create clslist <list>",
    "delete clslist <list>",
    "add clslist <list> to port <port> vlan <name> [<points> | _ _ ...]",
    "remove clslist <list:word> from port <port> vlan <name>",
    ("add classify <stream/class/color:rule class> {normal | dscp | dot1p}"
     " <da> <sa> <tos> <prot> <dp> <sp> <vid:matched vid> <cos> <etype> <ext>"
     " to clslist <list> [line <line> | _ | _ _ _ ...]"),
    "remove classify from clslist <list> line {all | <line>}",
    "show clslist {all | <list>}",
};
constexpr size_t withdrawn_form = 24; // set ether <ether> share
constexpr size_t silent_form = 25;

struct Element {
    enum Kind { keyword, likely_keyword, operand, skipped, rest, refused_word };
    Kind kind;
    std::string text; // of a keyword; the name of an operand; the code of a refusal
    const OperandKind* operand_of = nullptr;

    bool is_hidden() const { return kind == skipped || kind == rest || kind == refused_word; }
    std::string shown() const { return kind == operand ? "<" + text + ">" : text; }
};
using Way = std::vector<Element>;

// All ways to say a form, in the order of the notation.
class FormReader {
public:
    explicit FormReader(const std::string& text) {
        for (size_t from = 0; from < text.size();) {
            const char c = text[from];
            size_t length = 1;
            if (c == '<')
                length = text.find('>', from) - from + 1;
            else if (std::string_view(" []{}|").find(c) == std::string_view::npos)
                length = std::min(text.find_first_of(" ]}", from), text.size()) - from;
            if (c != ' ') tokens_.push_back(text.substr(from, length));
            from += length;
        }
    }
    std::vector<Way> ways() { return choice(""); }

private:
    std::vector<Way> choice(const std::string& end) {
        std::vector<Way> all;
        do {
            for (Way& way : sequence())
                all.push_back(std::move(way));
        } while (take("|"));
        if (!end.empty() && !take(end)) throw std::logic_error("a form does not end with " + end);
        return all;
    }
    std::vector<Way> sequence() {
        std::vector<Way> all{{}};
        while (at_ < tokens_.size() && tokens_[at_] != "|" && tokens_[at_] != "]" && tokens_[at_] != "}") {
            const std::vector<Way> next = piece();
            std::vector<Way> longer;
            for (const Way& way : all) {
                for (const Way& more : next) {
                    longer.push_back(way);
                    longer.back().insert(longer.back().end(), more.begin(), more.end());
                }
            }
            all = std::move(longer);
        }
        return all;
    }
    std::vector<Way> piece() {
        if (take("{")) return choice("}");
        if (take("[")) {
            std::vector<Way> inner = choice("]");
            inner.insert(inner.begin(), Way{});
            return inner;
        }
        return {{element_of(tokens_[at_++])}};
    }
    bool take(const std::string& token) {
        if (at_ == tokens_.size() || tokens_[at_] != token) return false;
        ++at_;
        return true;
    }
    static Element element_of(const std::string& token) {
        if (token == "_") return {Element::skipped, ""};
        if (token == "...") return {Element::rest, ""};
        if (token[0] == '~') return {Element::likely_keyword, token.substr(1)};
        if (token[0] == '!') return {Element::refused_word, token.substr(1)};
        if (token[0] != '<') return {Element::keyword, token};
        const std::string inner = token.substr(1, token.size() - 2);
        const size_t colon = inner.find(':');
        const std::string name = inner.substr(0, colon);
        return {Element::operand, name, &operand_kind(colon == std::string::npos ? name : inner.substr(colon + 1))};
    }

    std::vector<std::string> tokens_;
    size_t at_ = 0;
};

// The notation without what is hidden.
std::string shown_form(const std::string& form) {
    std::string text;
    for (size_t at = 0; at < form.size(); ++at) {
        if (form[at] == '~') continue;
        if (form[at] == ':') at = form.find('>', at);
        text += form[at];
    }
    for (const char* hidden : {" ...", " | _ _ _", " | _ _", " | _", "_ | "})
        for (size_t at = 0; (at = text.find(hidden)) != std::string::npos;)
            text.erase(at, std::string(hidden).size());
    for (size_t at = 0; (at = text.find(" | !")) != std::string::npos;)
        text.erase(at, std::string(" | !301").size());
    return text;
}

struct KnownWay {
    size_t form;
    Way elements;
};

const std::vector<KnownWay>& all_ways() {
    static const std::vector<KnownWay> ways = [] {
        std::vector<KnownWay> all;
        for (size_t form = 0; form < std::size(forms); ++form)
            for (Way& way : FormReader(forms[form]).ways())
                all.push_back({form, std::move(way)});
        return all;
    }();
    return ways;
}

std::string quoted(const std::string& word) {
    return "\"" + word + "\"";
}

// --- A sentence that fits ---

bool takes(const Element& element, const Words& words, size_t at) {
    switch (element.kind) {
    case Element::keyword: return words[at] == element.text;
    case Element::operand: return element.operand_of->read(words, at).kind != Reading::no_operand;
    default: return true;
    }
}

bool fits(const Way& way, const Words& words) {
    const bool is_open = !way.empty() && way.back().kind == Element::rest;
    const size_t length = way.size() - (is_open ? 1 : 0);
    if (words.size() < length || (words.size() > length && !is_open)) return false;
    for (size_t at = 0; at < length; ++at)
        if (!takes(way[at], words, at)) return false;
    return true;
}

void add_remark(const Element& element, const Words& words, size_t at, std::vector<Remark>& remarks) {
    const std::string word = quoted(shown(words[at]));
    if (element.kind == Element::likely_keyword && words[at] != element.text)
        remarks.push_back(
            {Remark::warning, at, word + " stands in place of " + quoted(element.text) + " and is not looked at"});
    if (element.kind == Element::refused_word)
        remarks.push_back({Remark::error, at, word + " is refused (NG " + element.text + ")"});
    if (element.kind != Element::operand) return;
    const Reading reading = element.operand_of->read(words, at);
    if (reading.kind == Reading::refused) remarks.push_back({Remark::error, at, reading.remark});
    if (reading.kind == Reading::in_silence) remarks.push_back({Remark::warning, at, word + " " + reading.remark});
}

Judgement judge_fitting(const KnownWay& known, const Words& words) {
    Judgement judgement{Judgement::fits, shown_form(forms[known.form]), {}};
    if (known.form == silent_form) {
        judgement.kind = Judgement::ignored;
        judgement.remarks = {{Remark::warning, 3,
                              quoted(shown(words[3])) + " is no setting of an interface: the "
                                                        "sentence is ignored"}};
        return judgement;
    }
    if (known.form == withdrawn_form) {
        judgement.remarks = {{Remark::error, 3, "\"share\" was abolished: the sentence is refused (NG 1)"}};
        return judgement;
    }
    for (size_t at = 0; at < words.size(); ++at) {
        const Element& element = known.elements[std::min(at, known.elements.size() - 1)];
        if (element.kind == Element::skipped || element.kind == Element::rest) {
            const bool is_last = at + 1 == words.size();
            judgement.remarks.push_back(
                {Remark::warning, at,
                 quoted(shown(words[at])) + (is_last ? " is ignored" : " and what follows are ignored")});
            break;
        }
        add_remark(element, words, at, judgement.remarks);
    }
    return judgement;
}

// --- The nearest form of one that does not ---

// What it costs to turn the words into a way of a form. A slip of the pen is the least, a word that is wrong the most.
constexpr size_t cost_of_likely = 1; // a word that is not looked at
constexpr size_t cost_of_slip = 2;
constexpr size_t cost_of_unsaid = 1; // at the end
constexpr size_t cost_of_operand = 3;
constexpr size_t cost_of_gap = 4;
constexpr size_t cost_of_surplus = 6;
constexpr size_t cost_of_word = 6;
constexpr size_t cost_of_verb = 9;

size_t cost_of_word_for(const Element& element, const Words& words, size_t at) {
    if (element.is_hidden()) return cost_of_word;
    if (element.kind == Element::operand) return takes(element, words, at) ? 0 : cost_of_operand;
    if (words[at] == element.text) return 0;
    if (element.kind == Element::likely_keyword) return cost_of_likely;
    if (nearest_word(words[at], {element.text})) return cost_of_slip;
    return at == 0 ? cost_of_verb : cost_of_word;
}

// The costs of each word of a sentence for each element, of which most ways have the same.
class Costs {
public:
    explicit Costs(const Words& all) : words_(all) {}
    const std::vector<size_t>& of(const Element& element) {
        const auto [place, is_new] = known_.try_emplace({element.kind, element.operand_of, element.text});
        for (size_t at = 0; is_new && at < words_.size(); ++at)
            place->second.push_back(cost_of_word_for(element, words_, at));
        return place->second;
    }

private:
    const Words& words_;
    std::map<std::tuple<Element::Kind, const OperandKind*, std::string>, std::vector<size_t>> known_;
};

size_t cost_of_missing(size_t word, size_t count) {
    return word == count ? cost_of_unsaid : word == 0 ? cost_of_verb : cost_of_gap;
}

// Where the words and a way part: words[word] and way[element], of which one may be the end.
struct Alignment {
    size_t cost;
    size_t word;
    size_t element;
    enum { replaced, missing, surplus } kind;
};

using CostTable = std::vector<std::vector<size_t>>;

// From the end on, so that the table at (i, j) has the costs of what is still to come. `cost`: of each word for each
// element.
CostTable costs_to_come(const std::vector<const std::vector<size_t>*>& cost, size_t rows) {
    const size_t columns = cost.size();
    CostTable costs(rows + 1, std::vector<size_t>(columns + 1));
    for (size_t i = rows + 1; i-- > 0;) {
        for (size_t j = columns + 1; j-- > 0;) {
            if (i == rows && j == columns) continue;
            size_t least = std::numeric_limits<size_t>::max();
            if (i < rows && j < columns) least = costs[i + 1][j + 1] + cost[j]->at(i);
            if (i < rows) least = std::min(least, costs[i + 1][j] + cost_of_surplus);
            if (j < columns) least = std::min(least, costs[i][j + 1] + cost_of_missing(i, rows));
            costs[i][j] = least;
        }
    }
    return costs;
}

// The cheapest way to make one of the other, as for letters in words: the first difference is found from the front.
Alignment align(const Way& way, size_t rows, Costs& known) {
    const size_t columns = way.size();
    std::vector<const std::vector<size_t>*> cost;
    cost.reserve(columns);
    for (const Element& element : way)
        cost.push_back(&known.of(element));
    const CostTable costs = costs_to_come(cost, rows);
    const auto is_kept = [&](size_t i) {
        const size_t step = i < rows && i < columns ? cost[i]->at(i) : cost_of_word;
        return step <= cost_of_likely && costs[i][i] == costs[i + 1][i + 1] + step;
    };
    size_t i = 0;
    while (is_kept(i))
        ++i;
    Alignment found{costs[0][0], i, i, Alignment::replaced};
    if (i < rows && i < columns && costs[i][i] == costs[i + 1][i + 1] + cost[i]->at(i)) return found;
    const bool is_missing = i < columns && costs[i][i] == costs[i][i + 1] + cost_of_missing(i, rows);
    found.kind = is_missing ? Alignment::missing : Alignment::surplus;
    return found;
}

// Whether somebody may have meant it.
bool is_for_people(const KnownWay& known) {
    if (known.form == silent_form || known.form == withdrawn_form) return false;
    return std::none_of(known.elements.begin(), known.elements.end(), [](const Element& element) {
        return element.kind == Element::skipped || element.kind == Element::refused_word;
    });
}

Way without_rest(Way way) {
    if (!way.empty() && way.back().kind == Element::rest) way.pop_back();
    return way;
}

bool begins_alike(const Way& one, const Way& other, size_t count) {
    if (one.size() <= count || other.size() <= count) return false;
    for (size_t at = 0; at < count; ++at)
        if (one[at].shown() != other[at].shown()) return false;
    return true;
}

// All that can stand in the place where the way has way[at].
std::vector<const Element*> alternatives(const Way& way, size_t at) {
    std::vector<const Element*> found;
    for (const KnownWay& known : all_ways()) {
        if (!is_for_people(known) || !begins_alike(known.elements, way, at)) continue;
        const Element& element = known.elements[at];
        const bool is_known = std::any_of(found.begin(), found.end(),
                                          [&](const Element* one) { return one->shown() == element.shown(); });
        if (!element.is_hidden() && !is_known) found.push_back(&element);
    }
    return found;
}

// "none", "ether" or "vif"; empty where there are more than one cares to read.
std::string listed(const std::vector<const Element*>& elements) {
    constexpr size_t most = 10;
    std::string text;
    if (elements.size() > most) return text;
    for (size_t i = 0; i < elements.size(); ++i) {
        text += i == 0 ? "" : i + 1 == elements.size() ? " or " : ", ";
        text += elements[i]->kind == Element::operand ? elements[i]->shown() : quoted(elements[i]->text);
    }
    return text;
}

std::string wrong_word(const std::string& word, const Way& way, size_t at) {
    const std::vector<const Element*> others = alternatives(way, at);
    std::vector<std::string> keywords;
    for (const Element* element : others)
        if (element->kind != Element::operand) keywords.push_back(element->text);
    const std::string typed = quoted(shown(word));
    const bool is_known = std::find(keywords.begin(), keywords.end(), word) != keywords.end();
    const std::string guess = is_known ? "" : did_you_mean(word, keywords);
    if (!guess.empty()) return typed + " does not fit here" + guess;
    if (keywords.empty()) return typed + " is not " + way[at].operand_of->description;
    const std::string wanted = listed(others);
    return typed + " does not fit here" + (wanted.empty() ? "" : ", where " + wanted + " belongs");
}

std::string described(const Alignment& place, const Way& way, const Words& words) {
    switch (place.kind) {
    case Alignment::missing: {
        const std::string wanted = listed(alternatives(way, place.element));
        const std::string name = wanted.empty() ? "a word" : wanted;
        if (place.word == words.size()) return "the sentence ends where " + name + " belongs";
        return name + " is missing before " + quoted(shown(words[place.word]));
    }
    case Alignment::surplus: return quoted(shown(words[place.word])) + " is one word too many";
    default: return wrong_word(words[place.word], way, place.element);
    }
}

// The ways that begin as the sentence does: with its verb, its object and its keyword, as far as there are such.
std::vector<const KnownWay*> ways_like(const Words& words) {
    std::vector<const KnownWay*> kept;
    for (const KnownWay& known : all_ways())
        if (is_for_people(known)) kept.push_back(&known);
    for (const size_t at : {0U, 1U, 3U}) {
        std::vector<const KnownWay*> agreeing;
        for (const KnownWay* known : kept) {
            const Way& way = known->elements;
            if (at < way.size() && at < words.size() && way[at].kind == Element::keyword && way[at].text == words[at])
                agreeing.push_back(known);
        }
        if (agreeing.empty()) break;
        kept = std::move(agreeing);
    }
    return kept;
}

Judgement judge_misfit(const Words& all) {
    constexpr size_t most_words = 48; // more than any form has; what comes behind makes no difference
    const Words words(all.begin(), all.begin() + static_cast<ptrdiff_t>(std::min(all.size(), most_words)));
    if (words.empty() || (words.size() == 1 && words[0].empty()))
        return {Judgement::misfit, "", {{Remark::error, 0, "there is no word at all"}}};
    Costs costs(words);
    Alignment best{std::numeric_limits<size_t>::max(), 0, 0, Alignment::replaced};
    Way nearest;
    size_t form = 0;
    for (const KnownWay* known : ways_like(words)) {
        Way way = without_rest(known->elements);
        const Alignment alignment = align(way, words.size(), costs);
        const bool is_nearer =
            alignment.cost < best.cost || (alignment.cost == best.cost && alignment.word > best.word);
        if (!is_nearer) continue;
        best = alignment;
        nearest = std::move(way);
        form = known->form;
    }
    return {Judgement::misfit, shown_form(forms[form]), {{Remark::error, best.word, described(best, nearest, words)}}};
}

} // namespace

Judgement judge(const std::vector<std::string>& words) {
    for (const KnownWay& known : all_ways())
        if (fits(known.elements, words)) return judge_fitting(known, words);
    return judge_misfit(words);
}

std::vector<std::string> sentence_forms() {
    std::vector<std::string> shown;
    for (const char* form : forms)
        shown.push_back(shown_form(form));
    return shown;
}

std::vector<std::string> words_behind(const std::vector<std::string>& words) {
    std::vector<std::string> found;
    for (const KnownWay& known : all_ways()) {
        const Way& way = known.elements;
        bool begins = way.size() > words.size() && is_for_people(known);
        for (size_t at = 0; begins && at < words.size(); ++at)
            begins = !way[at].is_hidden() && takes(way[at], words, at);
        if (!begins || way[words.size()].is_hidden()) continue;
        const std::string shown = way[words.size()].shown();
        if (std::find(found.begin(), found.end(), shown) == found.end()) found.push_back(shown);
    }
    return found;
}
