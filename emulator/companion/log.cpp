// The library calls that the switch took.
#include "companion/commands.h"
#include "companion/follow.h"
#include "companion/names.h"

#include <iostream>
#include <unordered_map>

namespace {

// The calls of one sentence, together also where those of other processes came between them.
struct Entry {
    int64_t pid;
    std::string sentence;
    std::vector<std::string> calls;
};

class Log {
public:
    void take(const Query& row) {
        const int64_t pid = row.number("pid");
        std::string sentence = shown_ascii(row.text("sentence"));
        const auto known = latest.find(pid);
        if (known == latest.end() || entries[known->second].sentence != sentence) {
            latest[pid] = entries.size();
            entries.push_back({pid, std::move(sentence), {}});
        }
        entries[latest[pid]].calls.push_back(shown_ascii(row.text("call")));
    }

    // An entry that may go on is left open: the next calls of its sentence follow without another heading.
    void print() {
        for (const Entry& entry : entries) {
            if (entry.sentence.starts_with("call ")) {
                print_own(entry);
                continue;
            }
            if (!is_open || entry.pid != open_pid || entry.sentence != open_sentence) {
                close();
                std::cout << "$ " << entry.sentence << "\n";
            }
            for (const std::string& call : entry.calls)
                std::cout << "> " << call << "\n";
            is_open = true;
            open_pid = entry.pid;
            open_sentence = entry.sentence;
        }
        entries.clear();
        latest.clear();
    }

    void close() {
        if (is_open) std::cout << "...\n\n";
        is_open = false;
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
    std::unordered_map<int64_t, size_t> latest; // the entry of each process
    bool is_open = false;
    int64_t open_pid = 0;
    std::string open_sentence;
};

int print_log(bool keeps_on) {
    Log log;
    const int status = read_rows(
        {"call_log", "pid, sentence, call"}, keeps_on, [&](const Query& row) { log.take(row); }, [&] { log.print(); });
    log.close();
    return status;
}

} // namespace

void add_log(CommandLine& line) {
    add_follower(line, "log", "Print every library call, in the notation of the contract tests",
                 "Go on as calls come, until interrupted", print_log);
}
