// Following a table of the store.
#include "companion/follow.h"

#include "companion/command_line.h"
#include "companion/interrupts.h"

#include <filesystem>
#include <iostream>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Wakes up when the store changes, or another file takes its place. Every call of a library writes it.
class StoreWatch {
public:
    explicit StoreWatch(const std::string& path) : descriptor_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        // The folder tells of files that come and go as well, and of the journals beside the store.
        const std::filesystem::path folder = std::filesystem::canonical(path).parent_path();
        if (descriptor_ < 0 || inotify_add_watch(descriptor_, folder.c_str(), IN_MODIFY | IN_CREATE | IN_MOVED_TO) < 0)
            throw Failure(path + ": cannot be watched for changes");
        // A signal counts only while the wait is on, so that none falls between the look at the flag and the wait.
        sigset_t ending;
        sigemptyset(&ending);
        for (const int number : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&ending, number);
        sigprocmask(SIG_BLOCK, &ending, &unblocked_);
    }
    StoreWatch(const StoreWatch&) = delete;
    StoreWatch& operator=(const StoreWatch&) = delete;
    ~StoreWatch() { close(descriptor_); }

    // False: the user has had enough.
    bool wait() const {
        pollfd waiting{descriptor_, POLLIN, 0};
        if (PatientInterrupts::has_come()) return false;
        if (ppoll(&waiting, 1, nullptr, &unblocked_) < 0) return !PatientInterrupts::has_come();
        char events[4096];
        while (read(descriptor_, events, sizeof events) > 0) {
        }
        return !PatientInterrupts::has_come();
    }

private:
    PatientInterrupts interrupts_;
    int descriptor_;
    sigset_t unblocked_{};
};

// Which file a path names.
struct FileId {
    dev_t device = 0;
    ino_t number = 0;
    bool operator==(const FileId&) const = default;
};

// None while there is no file with something in it: it is not for a reader to make one.
std::optional<FileId> file_at(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0 || found.st_size == 0) return std::nullopt;
    return FileId{found.st_dev, found.st_ino};
}

// How far the rows were printed. The time and place of the last one tell whether it is still the same row.
struct Place {
    int64_t id = 0;
    std::string at;
};

class Follower {
public:
    Follower(const GrowingTable& followed, const std::function<void(const Query&)>& take_row)
        : table_(followed), take_(take_row) {}

    void catch_up(Database& database) {
        if (!is_still_there(database)) begin_anew();
        Query rows(database,
                   "SELECT id, at, " + std::string(table_.columns) + " FROM " + table_.name + " WHERE id > ? AND " +
                       newest() + " ORDER BY id",
                   {last_.id});
        has_begun_ = true;
        while (rows.next()) {
            take_(rows);
            last_ = {rows.number("id"), rows.text("at")};
        }
    }

    void begin_anew() { last_ = {}; }

private:
    // Which of the rows that are there at the beginning are wanted: not those of older groups that come in between.
    std::string newest() const {
        if (has_begun_ || table_.last == 0) return "TRUE";
        const std::string group = table_.group;
        return group + " IN (SELECT " + group + " FROM " + table_.name + " GROUP BY " + group +
               " ORDER BY max(id) DESC LIMIT " + std::to_string(table_.last) + ")";
    }

    // Whether the ids go on behind the last row. Where that one is gone, newer ones show that it was only too old.
    bool is_still_there(Database& database) {
        if (last_.id == 0) return true;
        Query same(database, "SELECT at FROM " + std::string(table_.name) + " WHERE id = ?", {last_.id});
        if (same.next()) return same.text("at") == last_.at;
        return database.number("SELECT max(id) FROM " + std::string(table_.name)) > last_.id;
    }

    GrowingTable table_;
    std::function<void(const Query&)> take_;
    Place last_;
    bool has_begun_ = false;
};

// The store that a path names from time to time.
class FollowedStore {
public:
    explicit FollowedStore(std::string followed) : path_(std::move(followed)) {
        database_.emplace();
        open_ = file_at(path_);
    }

    // A file that goes, or gives its place to another, while it is read is no trouble: there will be another wake-up.
    void catch_up(Follower& follower) {
        const std::optional<FileId> present = file_at(path_);
        if (!present) return;
        try {
            if (present != open_) reopen(follower);
            follower.catch_up(*database_);
        } catch (const Failure&) {
            if (file_at(path_) == present) throw;
        }
    }

private:
    void reopen(Follower& follower) {
        open_.reset();
        database_.emplace();
        follower.begin_anew();
        open_ = file_at(path_);
    }

    std::string path_;
    std::optional<Database> database_;
    std::optional<FileId> open_;
};

void follow(Follower& follower, const std::function<void()>& print) {
    FollowedStore store(store_path());
    const StoreWatch watch(store_path());
    do {
        store.catch_up(follower);
        print();
        std::cout.flush();
    } while (std::cout && watch.wait());
}

} // namespace

int read_rows(const GrowingTable& table, bool keeps_on, const std::function<void(const Query&)>& take,
              const std::function<void()>& print) {
    Follower follower(table, take);
    if (keeps_on) {
        follow(follower, print);
    } else {
        Database database = Database::snapshot();
        follower.catch_up(database);
        print();
    }
    return 0;
}

int print_rows(const GrowingTable& table, bool keeps_on, const std::function<std::string(const Query&)>& line_of) {
    std::string lines;
    return read_rows(
        table, keeps_on, [&](const Query& row) { lines += line_of(row); },
        [&] {
            std::cout << lines;
            lines.clear();
        });
}

Command add_follower(CommandLine& line, const char* name, const char* about,
                     const std::shared_ptr<FollowOptions>& options, int (*print)(const FollowOptions& options)) {
    constexpr Range any_count{1, std::numeric_limits<int32_t>::max()};
    Command command = line.add(name, about);
    command.flag("-f,--follow", options->keeps_on, "Go on as more come, until interrupted")
        .option("-l,--last <n>", options->last, any_count, "Only so many, the newest")
        .flag("--json", options->as_json, "For programs: an object for each, on one line")
        .footer(std::string("Examples:\n  emuswitch ") + name + " --last 10\n  emuswitch " + name + " --follow")
        .runs([options, print] { return print(*options); });
    return command;
}
