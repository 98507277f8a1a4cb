// The library calls that the switch took.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/follow.h"
#include "companion/json_text.h"
#include "companion/names.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>
#include <unordered_map>

namespace {

// The calls of one sentence, together also where those of other processes came between them.
struct Entry {
    int64_t run; // of the process: pids come again
    std::string at;
    std::string sentence;
    std::vector<std::string> calls;
};

class Log {
public:
    explicit Log(bool tells_times) : with_times_(tells_times) {}

    void take(const Query& row) {
        const int64_t run = row.number("run");
        const auto [known, is_new] = places_.try_emplace(run, entries_.size());
        if (is_new) entries_.push_back({run, shown_ascii(row.text("at")), shown_ascii(row.text("sentence")), {}});
        entries_[known->second].calls.push_back(shown_ascii(row.text("call")));
    }

    // An entry that may go on is left open: the next calls of its sentence follow without another heading.
    void print() {
        for (const Entry& entry : entries_) {
            if (entry.sentence.starts_with("call ")) {
                print_own(entry);
                continue;
            }
            if (open_run_ != entry.run) {
                close();
                print_time(entry);
                std::cout << "$ " << entry.sentence << "\n";
            }
            for (const std::string& call : entry.calls)
                std::cout << "> " << call << "\n";
            open_run_ = entry.run;
        }
        entries_.clear();
        places_.clear();
    }

    void close() {
        if (open_run_) std::cout << "...\n\n";
        open_run_.reset();
    }

private:
    // As a comment, which the notation leaves out.
    void print_time(const Entry& entry) const {
        if (with_times_) std::cout << "# " << entry.at << "\n";
    }
    // A call that emuswitch made is no test of a sentence: it stands there as a comment.
    void print_own(const Entry& entry) {
        close();
        print_time(entry);
        std::cout << "# emuswitch " << entry.sentence << "\n";
        for (const std::string& call : entry.calls)
            std::cout << "# > " << call << "\n";
        std::cout << "\n";
    }

    std::vector<Entry> entries_;
    std::unordered_map<int64_t, size_t> places_; // of the entry of each process
    std::optional<int64_t> open_run_;
    bool with_times_;
};

// Behind the bracket that closes the operands of a call, or the dots that end those of a long one. Words among them
// stand in quotes.
size_t end_of_operands(const std::string& call) {
    bool is_quoted = false;
    for (size_t at = 0; at < call.size(); ++at) {
        if (is_quoted && call[at] == '\\')
            ++at;
        else if (call[at] == '"')
            is_quoted = !is_quoted;
        else if (call[at] == ')' && !is_quoted)
            return at + 1;
    }
    const std::string dots = "...";
    const size_t cut = call.rfind(dots);
    return cut == std::string::npos ? call.size() : cut + dots.size();
}

// The number behind a word of what a call answered, as in " = -1 status 1202".
Json answered(const std::string& answer, const std::string& word) {
    const size_t at = answer.find(word);
    if (at == std::string::npos) return nullptr;
    return std::strtoll(answer.c_str() + at + word.size(), nullptr, 10);
}

Json call_json(const Query& row) {
    const std::string sentence = row.text("sentence");
    const std::string call = row.text("call");
    std::string answer = call.substr(end_of_operands(call));
    answer.resize(std::min(answer.find(" prints "), answer.size()));
    const Json result = answered(answer, " = ");
    const bool is_own = sentence.starts_with("call ");
    return {{"at", json_time(row.text("at"))},
            {"process", row.number("pid")},
            {"run", std::to_string(row.number("run"))},
            {"program", is_own ? "emuswitch" : "tolvane"},
            {"sentence", sentence},
            {"call", call},
            {"function", call.substr(0, call.find('('))},
            {"result", result.is_null() ? Json(0) : result},
            {"status", answered(answer, " status ")}};
}

int print_log(const FollowOptions& options) {
    const GrowingTable table{"call_log", "pid, run, sentence, call", options.last, "run"};
    if (options.as_json)
        return print_rows(table, options.keeps_on, [](const Query& row) { return json_line(call_json(row)); });
    Log log(options.with_times);
    const int status = read_rows(
        table, options.keeps_on, [&](const Query& row) { log.take(row); }, [&] { log.print(); });
    log.close();
    return status;
}

} // namespace

void add_log(CommandLine& line) {
    auto options = std::make_shared<FollowOptions>();
    add_follower(line, "log", "Print every library call, in the notation of the contract tests", options, print_log)
        .flag("-t,--times", options->with_times, "When each sentence was said, as a comment before it");
}
