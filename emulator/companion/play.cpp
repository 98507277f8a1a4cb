// Playing a provisioning file through the tool, sentence by sentence.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/sentence.h"

#include <csignal>
#include <iostream>
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
    const std::string name = options.file == "-" ? "standard input" : options.file;
    Progress progress(sentences.size());
    Tally tally;
    for (const Sentence& sentence : sentences) {
        if (is_interrupted != 0) break;
        const Said said = say(sentence);
        if (said.refusal.empty()) {
            ++tally.accepted;
            if (!said.output.empty()) {
                progress.clear();
                std::cout << said.output << std::flush;
            }
        } else {
            ++tally.refused;
            progress.clear();
            std::cerr << name << ":" << sentence.line << ": " << sentence.text << ": " << said.refusal << "\n";
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
