// Reading a file of sentences without a switch: what is none, and what the tool takes in silence.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/grammar.h"
#include "companion/sentence.h"

#include <algorithm>
#include <iostream>

namespace {

int check(const std::string& file) {
    SentenceFile read = read_sentence_file(file);
    std::vector<Finding> findings = std::move(read.errors);
    for (const Sentence& sentence : read.sentences)
        for (Finding& finding : check_sentence(sentence))
            findings.push_back(std::move(finding));
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& one, const Finding& other) { return one.line < other.line; });
    for (const Finding& finding : findings)
        std::cout << finding_text(file, finding) << "\n";
    return findings.empty() ? 0 : 1;
}

int list_forms() {
    for (const std::string& form : sentence_forms())
        std::cout << form << "\n";
    return 0;
}

} // namespace

void add_check(CommandLine& line) {
    struct Words {
        std::string file;
        bool is_forms = false;
    };
    auto words = std::make_shared<Words>();
    line.add("check", "Tell what is wrong with a file of sentences, without a switch")
        .optional_operand("file", words->file, "The file, or - for standard input")
        .flag("--forms", words->is_forms, "List the forms of sentences")
        .footer(
            "A line of the answer is FILE:LINE:COLUMN: error: or warning: and what there is to tell. An error is what\n"
            "any switch refuses; a warning, what it takes in silence as something else than what stands there. What\n"
            "depends on the switch, such as a VLAN that does not exist, is told by emuswitch play --dry-run.\n\n"
            "Exit status: 0 nothing to tell, 1 something to tell, 2 used wrongly.\n\n"
            "Examples:\n  emuswitch check service.play\n  git show HEAD:service.play | emuswitch check -")
        .runs([words] {
            if (words->is_forms != words->file.empty())
                throw WrongUse("check takes a file or --forms, and only one of them");
            return words->is_forms ? list_forms() : check(words->file);
        });
}
