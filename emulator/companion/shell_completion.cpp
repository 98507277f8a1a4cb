// Completing sentences by their grammar, and commands by the table that the completion of bash has.
#include "companion/shell_completion.h"

#include "companion/database.h"
#include "companion/grammar.h"
#include "companion/words.h"

#include "command_forms.h" // made from packaging/completion/emuswitch
#include "library_functions.h"

#include <algorithm>
#include <sstream>

namespace {

using Words = std::vector<std::string>;

// A command, its options (those that end in = take a value), and what stands in each place.
struct CommandForm {
    std::string name;
    Words options;
    Words places;
};

Words split_at(const std::string& text, char separator) {
    Words pieces;
    std::istringstream in(text);
    for (std::string piece; std::getline(in, piece, separator);)
        if (!piece.empty()) pieces.push_back(piece);
    return pieces;
}

CommandForm read_form(const std::string& text) {
    const size_t colon = text.find(':');
    CommandForm form{"", split_at(text.substr(0, colon), ' '), split_at(text.substr(colon + 1), ' ')};
    form.name = form.options.front();
    form.options.erase(form.options.begin());
    return form;
}

const std::vector<CommandForm>& all_forms() {
    static const std::vector<CommandForm> forms = [] {
        std::vector<CommandForm> read;
        for (const char* text : command_forms)
            read.push_back(read_form(text));
        return read;
    }();
    return forms;
}

const CommandForm* find_form(const std::string& name) {
    const auto found = std::find_if(all_forms().begin(), all_forms().end(),
                                    [&](const CommandForm& form) { return form.name == name; });
    return found == all_forms().end() ? nullptr : &*found;
}

bool takes_value(const CommandForm& form, const std::string& word) {
    return std::find(form.options.begin(), form.options.end(), word + "=") != form.options.end();
}

// What can stand behind these words of a command: words, and operands as <name>.
Words places_behind(const CommandForm& form, const Words& words) {
    size_t operands = 0;
    for (size_t at = 1; at < words.size(); ++at) {
        if (takes_value(form, words[at])) {
            if (at + 1 == words.size()) return {"<" + words[at].substr(2) + ">"};
            ++at;
        } else if (!words[at].starts_with("-")) {
            ++operands;
        }
    }
    Words places;
    if (operands < form.places.size())
        places = split_at(form.places[operands], '|');
    else if (!form.places.empty() && form.places.back() == "<field>")
        places = {"<field>"};
    for (const std::string& option : form.options)
        places.push_back(option.substr(0, option.find('=')));
    return places;
}

void add_values(const std::string& sql, Words& values) {
    Database database = Database::snapshot();
    Query rows(database, sql);
    while (rows.next())
        values.push_back(rows.text("value"));
}

// What the operand can be, as far as that is known.
Words values_of(const std::string& operand) {
    Words values;
    if (operand == "<port>" || operand == "<qos>") add_values("SELECT CAST(port AS TEXT) AS value FROM port", values);
    if (operand == "<name>" || operand == "<vlan>") add_values("SELECT name AS value FROM vlan", values);
    if (operand == "<limit>") add_values("SELECT name AS value FROM limits", values);
    if (operand == "<function>") values.assign(std::begin(library_function_names), std::end(library_function_names));
    if (operand == "<topic>") values = command_names();
    if (operand == "<command>") values = {"tolvane", "emuswitch"};
    if (operand == "<field>")
        values = {"da",  "sa",  "tag",  "vid",   "pri",   "dei", "tagtype",  "etype",
                  "src", "dst", "prot", "sport", "dport", "tos", "fragment", "length"};
    return values;
}

bool is_file(const std::string& operand) {
    const Words files{"<file>", "<pcap>", "<output>", "<split>", "<plot>", "<play>", "<record>"};
    return std::find(files.begin(), files.end(), operand) != files.end();
}

// Words and operands that can stand behind these.
Words elements_behind(const Words& words) {
    Words elements = words_behind(words);
    const auto add = [&](const Words& more) { elements.insert(elements.end(), more.begin(), more.end()); };
    if (words.empty()) {
        add(command_names());
        add({"exit"});
        return elements;
    }
    if (const CommandForm* form = find_form(words.front())) add(places_behind(*form, words));
    if (words.front() == "help") add(words_behind({words.begin() + 1, words.end()}));
    return elements;
}

// The last part of 1/2/yellow: what the operand's name ends in, behind numbers.
Words last_parts(const std::string& operand, const std::string& typed) {
    const auto count = [](const std::string& text) { return std::count(text.begin(), text.end(), '/'); };
    const size_t slash = typed.rfind('/');
    if (slash == std::string::npos || count(typed) != count(operand)) return {};
    if (typed.find_first_not_of("0123456789/") < slash) return {};
    Words parts;
    if (operand.ends_with("/color>")) parts = {"green", "yellow", "red"};
    if (operand.ends_with("/class>") || operand.ends_with("/classes>"))
        parts = {"0", "1", "2", "3", "4", "5", "6", "7"};
    if (operand.ends_with("/classes>")) parts.emplace_back("-");
    for (std::string& part : parts)
        part.insert(0, typed, 0, slash + 1);
    return parts;
}

// As it is written in a line; in quotation marks where the typed part has some.
std::string written(const std::string& value, bool is_quoted) {
    const std::string word = quote_word(value);
    return is_quoted && word == value ? "\"" + value + "\"" : word;
}

} // namespace

std::vector<std::string> command_names() {
    Words names;
    for (const CommandForm& form : all_forms())
        names.push_back(form.name);
    return names;
}

Completion complete_shell_line(const std::string& before) {
    Completion completion;
    completion.start = start_of_last_word(before);
    const std::string typed = before.substr(completion.start);
    const bool is_quoted = typed.starts_with("\"");
    Words words = split_words(before.substr(0, completion.start));
    if (!words.empty() && (words.front() == "emuswitch" || words.front() == "tolvane")) words.erase(words.begin());

    const auto offer = [&](const std::string& value) {
        const std::string word = written(value, is_quoted);
        if (word.starts_with(typed) || value.starts_with(typed)) completion.wholes.push_back(word);
    };
    for (const std::string& element : elements_behind(words)) {
        const bool is_option = element.starts_with("-");
        if (is_file(element)) completion.is_file = true;
        if (element.starts_with("<")) {
            for (const Words& values : {values_of(element), last_parts(element, typed)})
                std::for_each(values.begin(), values.end(), offer);
        } else if (!is_option || typed.starts_with("-"))
            offer(element);
    }
    std::vector<std::string>& wholes = completion.wholes;
    std::sort(wholes.begin(), wholes.end());
    wholes.erase(std::unique(wholes.begin(), wholes.end()), wholes.end());
    return completion;
}
