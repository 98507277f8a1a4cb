// Playing a provisioning file through the tool, sentence by sentence.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/words.h"

#include <csignal>
#include <fstream>
#include <iostream>
#include <set>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t is_interrupted = 0;

void stop_playing(int /*signal*/) {
    is_interrupted = 1;
}

struct PlayOptions {
    std::string file; // "-": standard input
    bool keep_going = false;
    bool dry_run = false;
};

struct Sentence {
    size_t line;
    std::string text;
    std::vector<std::string> words;
};

// What stands between two tags of a document.
std::string between(const std::string& document, const std::string& opening, const std::string& closing) {
    const size_t from = document.find(opening);
    const size_t to = document.rfind(closing);
    if (from == std::string::npos || to == std::string::npos) return "";
    return document.substr(from + opening.size(), to - from - opening.size());
}

// Why the sentence was not accepted; empty when it was.
std::string refusal(const Ended& ended) {
    if (ended.status != 0) return "tolvane ended with status " + std::to_string(ended.status);
    if (ended.output.starts_with("Usage:")) return "not a sentence that tolvane knows (it shows its usage text)";
    if (ended.output == "no more argument\n") return "surplus words (no more argument)";
    if (ended.output.starts_with("<response>\n  <result>NG</result>"))
        return "NG " + between(ended.output, "<errcode>", "</errcode>") + ": " +
               between(ended.output, "<errmsg>", "</errmsg>");
    return "";
}

// A line for this program, which brings about what no sentence can: `emuswitch limit ports 8`.
bool is_for_companion(const Sentence& sentence) {
    return sentence.words.front() == "emuswitch";
}

void require_playable(const Sentence& sentence) {
    static const std::set<std::string> playable{"call", "fail", "ipif", "lag", "learn", "limit", "reset"};
    if (is_for_companion(sentence) && (sentence.words.size() < 2 || playable.count(sentence.words[1]) == 0))
        throw std::runtime_error(
            "a file of sentences can have emuswitch call, fail, ipif, lag, learn, limit and reset");
}

std::vector<Sentence> read_sentences(const std::string& file) {
    std::ifstream opened;
    if (file != "-") opened.open(file);
    std::istream& in = file == "-" ? std::cin : opened;
    if (!in) throw Failure(file + ": cannot be read");

    std::vector<Sentence> sentences;
    std::string text;
    for (size_t line = 1; std::getline(in, text); ++line) {
        try {
            Sentence sentence{line, text, split_words(text)};
            if (sentence.words.empty()) continue;
            require_playable(sentence);
            sentences.push_back(std::move(sentence));
        } catch (const std::runtime_error& problem) {
            throw Failure(file + ":" + std::to_string(line) + ": " + problem.what());
        }
    }
    if (in.bad()) throw Failure(file + ": cannot be read to its end");
    return sentences;
}

// Why this program did not do it; empty when it did.
std::string failure_of(const Ended& ended) {
    if (ended.status == 0) return "";
    const std::string line = ended.output.substr(0, ended.output.find('\n'));
    const std::string name = "emuswitch: ";
    return line.starts_with(name) ? line.substr(name.size()) : line;
}

bool is_document(const std::string& output) {
    return output.starts_with("<response>");
}

// A bar on a terminal; nothing elsewhere.
class Progress {
public:
    explicit Progress(size_t count) : total(count), is_shown(isatty(STDERR_FILENO) != 0) {}

    void show(size_t done) {
        constexpr size_t width = 40;
        const size_t percent = total == 0 ? 100 : done * 100 / total;
        if (!is_shown || percent == last) return;
        last = percent;
        const size_t filled = percent * width / 100;
        std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << done << "/"
                  << total << std::flush;
        is_drawn = true;
    }
    void clear() {
        if (is_drawn) std::cerr << "\r\x1b[K" << std::flush;
        is_drawn = false;
        last = static_cast<size_t>(-1);
    }

private:
    size_t total;
    bool is_shown;
    bool is_drawn = false;
    size_t last = static_cast<size_t>(-1);
};

struct Tally {
    size_t accepted = 0;
    size_t refused = 0;
};

Tally play_all(const std::vector<Sentence>& sentences, const PlayOptions& options) {
    const std::string tool = tool_path();
    const std::string companion = own_path();
    const std::string name = options.file == "-" ? "standard input" : options.file;
    Progress progress(sentences.size());
    Tally tally;
    for (const Sentence& sentence : sentences) {
        if (is_interrupted != 0) break;
        const bool is_own = is_for_companion(sentence);
        std::vector<std::string> command{is_own ? companion : tool};
        command.insert(command.end(), sentence.words.begin() + (is_own ? 1 : 0), sentence.words.end());
        const Ended ended = run_captured(command, is_own);
        const std::string reason = is_own ? failure_of(ended) : refusal(ended);
        if (reason.empty()) {
            ++tally.accepted;
            if (!is_own && !is_document(ended.output)) {
                progress.clear();
                std::cout << ended.output << std::flush;
            }
        } else {
            ++tally.refused;
            progress.clear();
            std::cerr << name << ":" << sentence.line << ": " << sentence.text << ": " << reason << "\n";
            if (!options.keep_going) break;
        }
        progress.show(tally.accepted + tally.refused);
    }
    progress.clear();
    return tally;
}

int play(const PlayOptions& options) {
    const std::vector<Sentence> sentences = read_sentences(options.file);

    // The sentence that is being said comes to its end; then it stops, and the copy goes.
    struct sigaction action {};
    action.sa_handler = stop_playing;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        sigaction(number, &action, nullptr);

    std::optional<PrivateFolder> copy;
    if (options.dry_run) {
        copy.emplace();
        Database().copy_to(copy->path() / "switch.db");
    }
    prepare_environment(copy ? copy->path() / "switch.db" : store_path());

    const Tally tally = play_all(sentences, options);
    const size_t played = tally.accepted + tally.refused;
    std::cout << tally.accepted << " of " << sentences.size() << " sentences accepted";
    if (tally.refused > 0) std::cout << ", " << tally.refused << " refused";
    if (is_interrupted != 0)
        std::cout << ", interrupted after " << played;
    else if (played < sentences.size())
        std::cout << ", " << sentences.size() - played << " not played";
    std::cout << (options.dry_run ? " (on a copy)\n" : "\n");
    return tally.accepted == sentences.size() ? 0 : 1;
}

} // namespace

void add_play(CommandLine& line) {
    auto options = std::make_shared<PlayOptions>();
    line.add("play", "Run a file of sentences, one a line, through tolvane")
        .operand("file", options->file, "The file, or - for standard input")
        .flag("-k,--keep-going", options->keep_going, "Go on after a refusal")
        .flag("-n,--dry-run", options->dry_run, "Play on a copy of the switch that is then removed")
        .footer("A line is a sentence, or blank, or a comment behind #. The exit status is 0 only when the switch\n"
                "took every sentence.\n\nExample:\n  emuswitch play service.play")
        .runs([options] { return play(*options); });
}
