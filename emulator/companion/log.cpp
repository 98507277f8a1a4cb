// The library calls that the switch took, and the trap events that it raised.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

#include <csignal>
#include <iostream>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t is_interrupted = 0;

void stop_following(int /*signal*/) {
    is_interrupted = 1;
}

// Wakes up when the store changes. Every call of a library writes it.
class StoreWatch {
public:
    StoreWatch() : descriptor(inotify_init1(IN_CLOEXEC)) {
        const std::string path = store_path().string();
        if (descriptor < 0 || inotify_add_watch(descriptor, path.c_str(), IN_MODIFY) < 0)
            throw Failure(path + ": cannot be watched for changes");
        struct sigaction action {};
        action.sa_handler = stop_following; // without SA_RESTART, so that the wait ends
        sigaction(SIGINT, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);
    }
    StoreWatch(const StoreWatch&) = delete;
    StoreWatch& operator=(const StoreWatch&) = delete;
    ~StoreWatch() { close(descriptor); }

    // Answers false when the user has had enough.
    bool wait() const {
        pollfd waiting{descriptor, POLLIN, 0};
        while (is_interrupted == 0) {
            if (poll(&waiting, 1, -1) < 0) continue;
            char events[4096];
            if (read(descriptor, events, sizeof events) > 0) return true;
        }
        return false;
    }

private:
    int descriptor;
};

// Prints the rows behind the last one seen, `print` being called with the new rows, for as long as they come.
template <typename Print> int follow(const char* sql, bool keeps_on, Print print) {
    Database database(store_path());
    std::optional<StoreWatch> watch;
    if (keeps_on) watch.emplace();
    int64_t last = 0;
    do {
        const Answer rows = database.query(sql, {last});
        if (rows.rows.empty()) continue;
        last = *rows.rows.back()[0].number;
        print(rows.rows);
        std::cout.flush();
    } while (watch && std::cout && watch->wait());
    return 0;
}

// The calls of one sentence, together also where those of other processes came between them.
struct Entry {
    int64_t pid;
    std::string sentence;
    std::vector<std::string> calls;
};

std::vector<Entry> entries_of(const std::vector<Row>& rows) {
    std::vector<Entry> entries;
    for (const Row& row : rows) {
        const int64_t pid = *row[1].number;
        const std::string& sentence = *row[2].text;
        auto found = entries.rbegin();
        while (found != entries.rend() && found->pid != pid)
            ++found;
        if (found == entries.rend() || found->sentence != sentence) {
            entries.push_back({pid, sentence, {}});
            found = entries.rbegin();
        }
        found->calls.push_back(*row[3].text);
    }
    return entries;
}

int print_log(bool keeps_on) {
    return follow("SELECT id, pid, sentence, call FROM call_log WHERE id > ? ORDER BY id", keeps_on,
                  [](const std::vector<Row>& rows) {
                      for (const Entry& entry : entries_of(rows)) {
                          std::cout << "$ " << entry.sentence << "\n";
                          for (const std::string& call : entry.calls)
                              std::cout << "> " << call << "\n";
                          std::cout << "...\n\n";
                      }
                  });
}

int print_events(bool keeps_on) {
    return follow("SELECT id, at || '  ' || CASE object"
                  " WHEN 'BridgePort' THEN printf('port %d %s', port, iif(event = 1, 'created, type ' ||"
                  " CASE type WHEN 0 THEN 'none' WHEN 1 THEN 'ether' WHEN 2 THEN 'vif' ELSE type END, 'deleted'))"
                  " WHEN 'PortVlan' THEN printf('port %d %s vlan %s', port, iif(event = 1, 'joined', 'left'), vlan)"
                  " ELSE printf('queue %d/%d/%d %s', port, stream, traffic_class, iif(event = 1, 'created', 'deleted'))"
                  " END FROM trap_event WHERE id > ? ORDER BY id",
                  keeps_on, [](const std::vector<Row>& rows) {
                      for (const Row& row : rows)
                          std::cout << *row[1].text << "\n";
                  });
}

void add_follower(CommandLine& line, const char* name, const char* about, const char* on_follow, int (*print)(bool)) {
    auto keeps_on = std::make_shared<bool>(false);
    line.add(name, about).flag("-f,--follow", *keeps_on, on_follow).runs([keeps_on, print] {
        return print(*keeps_on);
    });
}

} // namespace

void add_log(CommandLine& line) {
    add_follower(line, "log", "Print every library call, in the notation of the contract tests",
                 "Go on as calls come, until interrupted", print_log);
}

void add_events(CommandLine& line) {
    add_follower(line, "events", "Print the trap events", "Go on as events come, until interrupted", print_events);
}
