// The library calls that the switch took.
#include "companion/commands.h"
#include "companion/follow.h"
#include "companion/names.h"

#include <iostream>
#include <unordered_map>

namespace {

// The calls of one sentence, together also where those of other processes came between them.
struct Entry {
    int64_t run; // of the process: pids come again
    std::string sentence;
    std::vector<std::string> calls;
};

class Log {
public:
    void take(const Query& row) {
        const int64_t run = row.number("run");
        const auto [known, is_new] = places.try_emplace(run, entries.size());
        if (is_new) entries.push_back({run, shown_ascii(row.text("sentence")), {}});
        entries[known->second].calls.push_back(shown_ascii(row.text("call")));
    }

    // An entry that may go on is left open: the next calls of its sentence follow without another heading.
    void print() {
        for (const Entry& entry : entries) {
            if (entry.sentence.starts_with("call ")) {
                print_own(entry);
                continue;
            }
            if (open_run != entry.run) {
                close();
                std::cout << "$ " << entry.sentence << "\n";
            }
            for (const std::string& call : entry.calls)
                std::cout << "> " << call << "\n";
            open_run = entry.run;
        }
        entries.clear();
        places.clear();
    }

    void close() {
        if (open_run) std::cout << "...\n\n";
        open_run.reset();
    }

private:
    // A call that emuswitch made is no test of a sentence: it stands there as a comment.
    void print_own(const Entry& entry) {
        close();
        std::cout << "# emuswitch " << entry.sentence << "\n";
        for (const std::string& call : entry.calls)
            std::cout << "# > " << call << "\n";
        std::cout << "\n";
    }

    std::vector<Entry> entries;
    std::unordered_map<int64_t, size_t> places; // of the entry of each process
    std::optional<int64_t> open_run;
};

int print_log(bool keeps_on) {
    Log log;
    const int status = read_rows(
        {"call_log", "run, sentence, call"}, keeps_on, [&](const Query& row) { log.take(row); }, [&] { log.print(); });
    log.close();
    return status;
}

} // namespace

void add_log(CommandLine& line) {
    add_follower(line, "log", "Print every library call, in the notation of the contract tests",
                 "Go on as calls come, until interrupted", print_log);
}
