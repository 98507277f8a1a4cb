// Captures in, captures out, in the time of the captures.
#include "companion/capture_merger.h"
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/configuration_reader.h"
#include "companion/database.h"
#include "companion/progress_bar.h"
#include "companion/replay_engine.h"
#include "companion/replay_plot.h"
#include "companion/replay_summary.h"
#include "companion/sentence.h"

#include <charconv>
#include <csignal>
#include <iostream>

namespace {

volatile std::sig_atomic_t is_interrupted = 0;

// The second one ends the program at once. A signal that was ignored at the start stays ignored.
void stop_at_interrupt() {
    struct sigaction action {};
    action.sa_handler = [](int) { is_interrupted = 1; };
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
}

struct ReplayOptions {
    std::vector<std::string> captures; // PORT=FILE, or FILE
    std::string output;
    std::string folder;
    std::string sentences;
    std::string plot;
    int64_t seed = 0;
    int64_t line_rate = 100; // Mbit/s
    bool learns = false;
    bool as_json = false;
    bool is_brief = false;
};

// "3=uplink.pcap" is port 3 and its file; anything else is a file whose interfaces name the ports.
void add_capture(CaptureMerger& captures, std::vector<int32_t>& ports, const std::string& word) {
    int32_t port = 0;
    const char* const end = word.data() + word.size();
    const auto [behind, problem] = std::from_chars(word.data(), end, port);
    if (problem != std::errc{} || behind == end || *behind != '=') return captures.add(word);
    if (port < 1) throw WrongUse("\"" + word + "\": ports are numbered from 1");
    captures.add(port, word.substr(static_cast<size_t>(behind - word.data()) + 1));
    ports.push_back(port);
}

// The switch of the store, or of a copy that is changed in its place.
class ReplayedSwitch {
public:
    explicit ReplayedSwitch(bool on_copy) {
        if (on_copy) {
            copy.emplace();
            Database().copy_to(copy->file("switch.db"));
            prepare_environment(copy->file("switch.db"));
        } else {
            prepare_environment(store_path());
        }
        database.emplace();
        reader.emplace(*database);
    }

    std::optional<PrivateFolder> copy;
    std::optional<Database> database;
    std::optional<ConfigurationReader> reader;
};

// Ports with a capture take frames, whatever their type.
void bind_ports(dataplane::State& state, const dataplane::Configuration& configuration,
                const std::vector<int32_t>& ports) {
    for (const int32_t number : ports) {
        const dataplane::PortIndex port = configuration.ports->find(number);
        if (port < state.is_bound.size()) state.is_bound[port] = 1;
    }
    dataplane::refresh_links(state, configuration);
}

class Replay {
public:
    explicit Replay(const ReplayOptions& with) : options_(with), on_(!with.sentences.empty() && !with.learns) {
        if (!options_.sentences.empty()) sentences_ = read_timed_sentences(options_.sentences);
        for (const std::string& word : options_.captures)
            add_capture(captures_, ports_, word);
        const dataplane::Ports& known = *on_.reader->configuration().ports;
        for (const int32_t port : ports_)
            if (sentences_.empty() && known.find(port) == dataplane::no_port)
                throw Failure("port " + std::to_string(port) +
                              " does not exist; \"emuswitch show ports\" lists those that do");
    }

    int run() {
        begin_time_ = captures_.next_time().value_or(0);
        state_ = on_.reader->make_state(begin_time_);
        state_.learned.note_changes();
        bind_ports(state_, on_.reader->configuration(), ports_);
        Recorder recorder = make_recorder();
        dataplane::EgressOptions egress;
        egress.seed = static_cast<uint64_t>(options_.seed);
        egress.line_rate = static_cast<uint64_t>(options_.line_rate) * 1'000'000;
        ReplayEngine engine(on_.reader->configuration(), state_, egress, begin_time_, recorder);
        if (!options_.plot.empty()) engine.observe([this](const QueueEvent& event) { plot_.add(event); });
        play_captures(engine);
        if (is_interrupted == 0) {
            say_until(engine, std::numeric_limits<int64_t>::max());
            engine.drain();
        }
        recorder.close();
        if (!options_.plot.empty()) plot_.write(options_.plot, engine.totals(), engine.egress());
        if (options_.learns) on_.reader->write_learned(state_, std::max(begin_time_, engine.totals().end));
        return finish(engine);
    }

private:
    Recorder make_recorder() const {
        if (!options_.folder.empty()) return Recorder::to_folder(options_.folder);
        if (!options_.output.empty()) return Recorder::to_file(options_.output, !options_.is_brief);
        return {};
    }

    void play_captures(ReplayEngine& engine) {
        constexpr uint64_t between_looks = 4096;
        int32_t port = 0;
        for (uint64_t count = 1; is_interrupted == 0; ++count) {
            const CapturedFrame* const frame = captures_.next(port);
            if (frame == nullptr) break;
            if (next_sentence_ < sentences_.size()) say_until(engine, frame->time);
            engine.receive(port, *frame);
            if (count % between_looks == 0) bar_.show(captures_.position(), captures_.size());
        }
        bar_.clear();
    }

    // Says the sentences that are due at this time or before it, and has the switch work by them.
    void say_until(ReplayEngine& engine, int64_t time) {
        while (next_sentence_ < sentences_.size() && is_interrupted == 0) {
            const Sentence& sentence = sentences_[next_sentence_];
            const int64_t due = begin_time_ + sentence.at;
            if (due > time) return;
            ++next_sentence_;
            engine.advance(due);
            while (on_.reader->write_learned(state_, due)) {
            }
            if (!options_.plot.empty()) plot_.mark(due, sentence.text);
            const Said said = say(sentence);
            ++(!said.refusal.empty() ? tally_.refused : said.is_ignored() ? tally_.ignored : tally_.accepted);
            if (!said.refusal.empty() || said.is_ignored()) {
                bar_.clear();
                std::cerr << told(options_.sentences, sentence, said) << "\n";
            }
            on_.reader->refresh(state_, due);
            bind_ports(state_, on_.reader->configuration(), ports_);
            engine.reconfigure(on_.reader->configuration(), due);
        }
    }

    int finish(const ReplayEngine& engine) {
        const ReplaySummary summary{engine.totals(),     engine.egress(), on_.reader->configuration(),
                                    captures_.tallies(), tally_,          is_interrupted != 0};
        std::ostream& out = options_.output == "-" ? std::cerr : std::cout;
        if (options_.as_json)
            print_summary_as_json(out, summary);
        else
            print_summary(out, summary);
        bool is_whole = is_interrupted == 0 && tally_.refused == 0;
        for (const CaptureTally& capture : captures_.tallies()) {
            if (capture.problem.empty()) continue;
            std::cerr << "emuswitch: " << capture.problem << "\n";
            is_whole = false;
        }
        return is_whole ? 0 : 1;
    }

    const ReplayOptions& options_;
    ReplayedSwitch on_;
    std::vector<Sentence> sentences_; // by time
    size_t next_sentence_ = 0;
    SentenceTally tally_;
    CaptureMerger captures_;
    std::vector<int32_t> ports_; // that have a capture of their own
    dataplane::State state_;
    int64_t begin_time_ = 0;
    ReplayPlot plot_;
    ProgressBar bar_{1 << 20, " MiB"};
};

int replay(const ReplayOptions& options) {
    if (options.captures.empty())
        throw WrongUse("replay needs a capture: PORT=FILE, or a pcapng whose interfaces name ports");
    if (!options.output.empty() && !options.folder.empty()) throw WrongUse("--output or --split, not both");
    stop_at_interrupt();
    return Replay(options).run();
}

} // namespace

void add_replay(CommandLine& line) {
    auto options = std::make_shared<ReplayOptions>();
    line.add("replay", "Play captures through the switch, in their own time")
        .optional_operands("capture", options->captures,
                           "PORT=FILE, what comes to a port; or a pcapng whose interfaces name the ports; - for a pipe")
        .option("-o,--output <file>", options->output, "Write what came and went to this pcapng, - for standard output")
        .option("--split <folder>", options->folder, "Write what each port sent to a pcap in this folder")
        .option("--plot <file>", options->plot, "Draw rates and queues over time as SVG")
        .option("--play <file>", options->sentences, "A file of sentences with times: at 2.5 enable port 1")
        .option("--seed <number>", options->seed, {0, std::numeric_limits<int64_t>::max()}, "Of the random early drops")
        .option("--line-rate <rate>", options->line_rate, {0, 1'000'000}, "Mbit/s of each interface; 0: no limit")
        .flag("--learn", options->learns, "Keep in the switch what it learned, and what the sentences changed")
        .flag("--sent-only", options->is_brief, "Leave what came out of the pcapng")
        .flag("--json", options->as_json, "The summary for programs")
        .footer("Examples:\n"
                "  emuswitch replay 2=office.pcap 3=guests.pcap -o out.pcapng\n"
                "  emuswitch replay out.pcapng --play changes.play --json\n"
                "  tcpdump -w - -i eth0 | emuswitch replay 1=- -o - | tshark -r -")
        .runs([options] { return replay(*options); });
}
