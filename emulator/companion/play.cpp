// Playing a provisioning file through the tool, sentence by sentence.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/interrupts.h"
#include "companion/json_text.h"
#include "companion/progress_bar.h"
#include "companion/sentence.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace {

struct PlayOptions {
    std::string file; // "-": standard input
    bool keep_going = false;
    bool dry_run = false;
    bool is_strict = false;
    bool as_json = false;
};

struct Tally {
    size_t accepted = 0;
    size_t ignored = 0;
    size_t refused = 0;
    size_t all() const { return accepted + ignored + refused; }
};

// Where the tool ended otherwise than it should, and for what this program did, there is no answer of the tool.
const char* answer_word(const Said& said, const std::optional<Refusal>& refused) {
    if (said.is_own) return said.refusal.empty() ? "OK" : "failed";
    if (refused) return "NG";
    const Answer answer = answer_in(said.whole);
    if (answer == Answer::not_understood) return said.whole.starts_with("Usage:") ? "usage" : "surplus";
    if (!said.refusal.empty()) return "failed";
    if (answer == Answer::nothing) return "nothing";
    return answer == Answer::shown ? "display" : "OK";
}

std::string json_of(const Sentence& sentence, const Said& said) {
    const std::optional<Refusal> refused = said.is_own ? std::nullopt : refusal_in(said.whole);
    const std::string answer = answer_word(said, refused);
    Json message = refused ? Json(refused->message) : Json(nullptr);
    if (answer == "failed") message = said.refusal;
    return json_line({{"line", sentence.line},
                      {"sentence", sentence.text},
                      {"answer", answer},
                      {"code", refused ? Json(std::stoll(refused->code)) : Json(nullptr)},
                      {"message", message},
                      {"display", answer == "display" ? Json(said.output) : Json(nullptr)}});
}

void tell(const Sentence& sentence, const Said& said, const PlayOptions& options) {
    if (options.as_json)
        std::cout << json_of(sentence, said) << std::flush;
    else if (!said.refusal.empty() || said.is_ignored())
        std::cerr << told(options.file, sentence, said) << "\n";
    else
        std::cout << said.output << std::flush;
}

Tally play_all(const std::vector<Sentence>& sentences, const PlayOptions& options) {
    ProgressBar progress;
    Tally tally;
    for (const Sentence& sentence : sentences) {
        if (PatientInterrupts::has_come()) break;
        const Said said = say(sentence);
        const bool is_refused = !said.refusal.empty();
        ++(is_refused ? tally.refused : said.is_ignored() ? tally.ignored : tally.accepted);
        if (is_refused || said.is_ignored() || options.as_json || !said.output.empty()) {
            progress.clear();
            tell(sentence, said, options);
        }
        if (is_refused && !options.keep_going) break;
        progress.show(tally.all(), sentences.size());
    }
    return tally;
}

void require_nothing_to_tell(const std::vector<Sentence>& sentences, const std::string& file) {
    size_t count = 0;
    for (const Sentence& sentence : sentences) {
        for (const Finding& finding : check_sentence(sentence)) {
            std::cerr << finding_text(file, finding) << "\n";
            ++count;
        }
    }
    if (count > 0) throw Failure("nothing is played of a file with something to tell");
}

void print_tally(const Tally& tally, size_t count, bool is_on_copy) {
    std::cout << tally.accepted << " of " << count << " sentences accepted";
    if (tally.ignored > 0) std::cout << ", " << tally.ignored << " ignored";
    if (tally.refused > 0) std::cout << ", " << tally.refused << " refused";
    if (PatientInterrupts::has_come())
        std::cout << ", interrupted after " << tally.all();
    else if (tally.all() < count)
        std::cout << ", " << count - tally.all() << " not played";
    std::cout << (is_on_copy ? " (on a copy)\n" : "\n");
}

void print_tally_as_json(const Tally& tally, size_t count, bool is_copy) {
    std::cout << json_line({{"sentences", count},
                            {"accepted", tally.accepted},
                            {"ignored", tally.ignored},
                            {"refused", tally.refused},
                            {"not_played", count - tally.all()},
                            {"interrupted", PatientInterrupts::has_come()},
                            {"dry_run", is_copy}});
}

int play(const PlayOptions& options) {
    const std::vector<Sentence> sentences = read_sentences(options.file);
    if (options.is_strict) require_nothing_to_tell(sentences, options.file);

    // The sentence that is being said comes to its end; then it stops, and the copy goes.
    const PatientInterrupts interrupts;

    std::optional<PrivateFolder> copy;
    if (options.dry_run) {
        copy.emplace();
        Database().copy_to(copy->file("switch.db"));
    }
    prepare_environment(copy ? copy->file("switch.db") : store_path());

    const Tally tally = play_all(sentences, options);
    (options.as_json ? print_tally_as_json : print_tally)(tally, sentences.size(), options.dry_run);
    return tally.accepted + tally.ignored == sentences.size() ? 0 : 1;
}

} // namespace

void add_play(CommandLine& line) {
    auto options = std::make_shared<PlayOptions>();
    line.add("play", "Run a file of sentences, one a line, through tolvane")
        .operand("file", options->file, "The file, or - for standard input")
        .flag("-k,--keep-going", options->keep_going, "Go on after a refusal")
        .flag("-n,--dry-run", options->dry_run, "Play on a copy of the switch that is then removed")
        .flag("--json", options->as_json, "For programs: a line for each sentence, and one for all")
        .flag("-s,--strict", options->is_strict, "Play nothing of a file that emuswitch check has something to tell of")
        .footer("A line is a sentence, or blank, or a comment behind #. The exit status is 0 only when the switch\n"
                "refused no sentence.\n\n"
                "Examples:\n  emuswitch play service.play\n  emuswitch play --strict --dry-run service.play")
        .runs([options] { return play(*options); });
}
