// Damages copies of a store, one place each, and has everything read and written that the emulated switch and its
// companion have: damage_campaign STORE FOLDER CAPTURE ALL [FIRST [COUNT]]
//
// Of ALL damages four fifths set columns to values out of their domain, one row or all of them, spread over every
// column of every table; the others set random bytes at random places of the file. Whatever the damage, a command shows
// the switch or says in one line what is wrong, and nothing ends by a signal. A value that no reader of its column can
// take for one has to be told by one of them at least. Each damage is met in a process of its own; where that ends by a
// signal, the command or call is told, with the number of the damage, and another process goes on behind it.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "core/domains.h"
#include "core/store.h"
#include "core/trouble.h"
#include "damaged_calls.h"

#include <sqlite3.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr rlim_t longest_run = 120; // seconds of processor time: beyond all that a damaged store may cost

// --- Damages ---

class Store {
public:
    explicit Store(const fs::path& path) { require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "opened"); }
    ~Store() { sqlite3_close(database); }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void run(const std::string& sql) { require(try_to(sql), sql); }
    bool try_to(const std::string& sql) {
        return sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    std::vector<Words> rows(const std::string& sql) {
        std::vector<Words> found;
        sqlite3_stmt* statement = nullptr;
        require(sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK, sql);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            Words row;
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
                row.emplace_back(text != nullptr ? text : "");
            }
            found.push_back(row);
        }
        sqlite3_finalize(statement);
        return found;
    }

private:
    void require(bool is_so, const std::string& what) {
        if (is_so) return;
        std::cerr << "damage_campaign: " << what << ": " << sqlite3_errmsg(database) << "\n";
        exit(2);
    }
    sqlite3* database = nullptr;
};

struct Column {
    std::string table;
    std::string name;
    bool may_be_null;

    // What the port table and the trap events were told is kept, right or wrong.
    bool is_judged() const {
        return table != "port_table" && table != "port_table_vlan" && table != "trap_event" &&
               emulator::find_domain(name.c_str()) != nullptr;
    }
    // Those of its values that cannot be.
    std::string wrong_values() const {
        const emulator::Domain& domain = *emulator::find_domain(name.c_str());
        const std::string value = "\"" + name + "\"";
        return "typeof(" + value + ") NOT IN ('integer', 'null') OR " + value + " NOT BETWEEN " +
               std::to_string(domain.low) + " AND " + std::to_string(domain.high) +
               (domain.hole != INT64_MIN ? " OR " + value + " = " + std::to_string(domain.hole) : "") +
               (may_be_null ? "" : " OR " + value + " IS NULL");
    }
};

struct Damage {
    std::string text;
    std::string table;
    bool has_to_be_told = false;
};

// As SQL has them.
const Words odd_values = {"-1",
                          "0",
                          "1",
                          "2",
                          "3",
                          "5",
                          "8",
                          "100",
                          "127",
                          "256",
                          "4095",
                          "65536",
                          "2147483647",
                          "2147483648",
                          "-2147483648",
                          "4294967296",
                          "9223372036854775807",
                          "-9223372036854775807 - 1",
                          "NULL",
                          "1.5",
                          "9e999",
                          "''",
                          "'discard'",
                          "X'00ff'",
                          "CAST(X'1b5b33316dff0a00c3' AS TEXT)",
                          "printf('%.5000c', 'x')"};

std::vector<Column> columns_of(const fs::path& path) {
    std::vector<Column> columns;
    for (const Words& row :
         Store(path).rows("SELECT s.name, c.name, c.\"notnull\" OR c.pk FROM sqlite_schema AS s,"
                          " pragma_table_info(s.name) AS c WHERE s.type = 'table' ORDER BY s.name, c.cid"))
        columns.push_back({row[0], row[1], row[2] == "0"});
    return columns;
}

void replace_all(std::string& text, const std::string& what, const std::string& with) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
}

std::string quoted(std::string text) {
    replace_all(text, "'", "''");
    return "'" + text + "'";
}

// The schema refuses such values, so that it is told otherwise for a while. Returns whether some are there now that
// cannot be.
bool damage_column(const fs::path& path, const Column& column, const std::string& value, size_t row,
                   bool whole_column) {
    const std::string where = " WHERE name = " + quoted(column.table);
    std::string schema;
    {
        Store store(path);
        schema = store.rows("SELECT sql FROM sqlite_schema" + where).at(0).at(0);
        std::string lax = schema;
        replace_all(lax, "STRICT, ", "");
        replace_all(lax, " STRICT", "");
        replace_all(lax, " INTEGER NOT NULL", " INTEGER");
        replace_all(lax, " TEXT NOT NULL", " TEXT");
        store.run("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = " + quoted(lax) + where);
    }
    Store store(path);
    // A row's own number is a number in any case.
    store.try_to("PRAGMA ignore_check_constraints = ON; PRAGMA foreign_keys = OFF; UPDATE OR IGNORE \"" + column.table +
                 "\" SET \"" + column.name + "\" = " + value +
                 (whole_column ? ""
                               : " WHERE \"" + column.name + "\" IS (SELECT \"" + column.name + "\" FROM \"" +
                                     column.table + "\" LIMIT 1 OFFSET " + std::to_string(row) +
                                     " % (SELECT count(*) FROM \"" + column.table + "\"))"));
    const bool is_wrong =
        column.is_judged() &&
        !store.rows("SELECT 1 FROM \"" + column.table + "\" WHERE " + column.wrong_values() + " LIMIT 1").empty();
    store.run("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = " + quoted(schema) + where);
    return is_wrong;
}

void damage_bytes(const fs::path& path, std::mt19937& random) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const auto size = static_cast<std::streamoff>(fs::file_size(path));
    const size_t count = 1 + random() % 8;
    for (size_t i = 0; i < count; ++i) {
        // Half of them in the first pages, where the file tells what it is.
        const auto range = static_cast<uint64_t>(random() % 2 == 0 ? size : std::min<std::streamoff>(size, 8192));
        file.seekp(static_cast<std::streamoff>(random() % range));
        file.put(static_cast<char>(random()));
    }
}

// The damages of a campaign: the same number is the same damage in each of as many.
class Campaign {
public:
    Campaign(const fs::path& store, size_t count)
        : columns(columns_of(store)), all_of_columns(2 * columns.size() * odd_values.size()),
          in_columns(std::min(all_of_columns, count * 4 / 5)) {}

    Damage make(const fs::path& path, size_t number) const {
        if (number >= in_columns) {
            std::mt19937 random(static_cast<std::mt19937::result_type>(number));
            damage_bytes(path, random);
            return {"random bytes", ""};
        }
        const size_t place = number * all_of_columns / in_columns;
        const Column& column = columns[place % columns.size()];
        const std::string& value = odd_values[place / columns.size() % odd_values.size()];
        const bool is_whole = place >= all_of_columns / 2;
        const bool is_wrong = damage_column(path, column, value, number, is_whole);
        return {column.table + "." + column.name + " = " + value + (is_whole ? " everywhere" : ""), column.table,
                is_wrong};
    }

private:
    std::vector<Column> columns;
    size_t all_of_columns;
    size_t in_columns;
};

// --- What meets them ---

// These read all there is, but for the history and what is to fail.
const std::vector<Words> always = {{"show", "--json"}, {"config"}};

const char* const the_store = "STORE"; // stands for its path
const char* const an_empty_switch = "/dev/null";

// A few of these meet each damage, by chance.
const std::vector<Words> sometimes = {
    {"show"},
    {"graph"},
    {"graph", "--qos", "1"},
    {"log"},
    {"events"},
    {"fail", "--list"},
    {"diff", the_store, an_empty_switch},
    {"diff", an_empty_switch, the_store},
    {"apply", "--dry-run", an_empty_switch},
    {"trace", "1", "da", "00:00:5e:00:53:02", "tag", "vid", "10"},
    {"show", "ports"},
    {"show", "vlans"},
    {"show", "members"},
    {"show", "protgroups"},
    {"show", "mirrors"},
    {"show", "streams"},
    {"show", "queues"},
    {"show", "fdb"},
    {"show", "clslists"},
    {"show", "names"},
    {"show", "porttable"},
    {"show", "limits"},
    {"learn", "00:00:5e:00:53:77", "sales", "1"},
    {"lag", "4", "on"},
    {"ipif", "4", "on"},
    {"limit", "vlans", "100"},
    {"fail", "brgfdb_create_vlan", "1401"},
    {"reset"},
};
constexpr size_t chosen = 3; // of those

// The reader of a table that the others leave out.
std::vector<Words> readers_of(const std::string& table) {
    if (table == "call_log") return {{"log"}};
    if (table == "trap_event") return {{"events"}};
    if (table == "fault") return {{"fail", "--list"}};
    return {};
}

std::vector<Words> commands_for(const std::string& table, const fs::path& store, const std::string& capture,
                                size_t number) {
    std::vector<Words> commands = always;
    for (const Words& reader : readers_of(table))
        commands.push_back(reader);
    std::vector<Words> others = sometimes;
    others.push_back({"replay", "1=" + capture});
    std::mt19937 random(static_cast<std::mt19937::result_type>(number));
    std::shuffle(others.begin(), others.end(), random);
    commands.insert(commands.end(), others.begin(), others.begin() + chosen);
    for (Words& command : commands)
        std::replace(command.begin(), command.end(), std::string(the_store), store.string());
    return commands;
}

std::string joined(const Words& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

// Standard error as a file, to be read and emptied.
class Errors {
public:
    Errors() : file(memfd_create("errors", 0)) { dup2(file, STDERR_FILENO); }
    std::string take() {
        std::string text(static_cast<size_t>(lseek(STDERR_FILENO, 0, SEEK_CUR)), '\0');
        if (pread(file, text.data(), text.size(), 0) < 0) text = "?";
        lseek(STDERR_FILENO, 0, SEEK_SET);
        if (ftruncate(file, 0) != 0) text = "?";
        return text;
    }

private:
    int file;
};

bool is_line_of_emuswitch(const std::string& text) {
    return text.starts_with("emuswitch: ") && text.find('\n') == text.size() - 1;
}

// Whether the damage is told of; a command can fail for other reasons.
bool tells_of_damage(const std::string& said) {
    return said.find(": damaged (") != std::string::npos || said.find("not the store of") != std::string::npos;
}

// What came of a command or call.
struct Outcome {
    std::string wrong; // empty: nothing
    bool is_told = false;
};

Outcome run_command(const Words& command, Errors& errors) {
    Words words{"emuswitch"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    int status = 0;
    {
        CommandLine line;
        add_commands(line);
        status = line.run(static_cast<int>(words.size()), pointers.data());
    }
    std::cout.flush();
    const std::string said = errors.take();
    const bool is_diff = command.front() == "diff"; // which has the statuses of diff(1)
    if (status == 0 || (is_diff && status == 1)) return {said.empty() ? "" : "says something: " + said};
    if (status != (is_diff ? 2 : 1)) return {"ends with " + std::to_string(status) + ": " + said};
    return {is_line_of_emuswitch(said) ? "" : "does not say one line: " + said, tells_of_damage(said)};
}

Outcome run_call(const NamedCall& call, Errors& errors) {
    call.make();
    const std::string said = errors.take();
    return {said.empty() || is_line_of_emuswitch(said) ? "" : "does not say one line: " + said, tells_of_damage(said)};
}

// As for another process.
void begin_anew() {
    emulator::store::close();
    emulator::trouble_is_over();
}

// One thing after the other that a damaged store is met with: commands, each behind the one before; then every third
// library call, each damage another third of them.
class Meeting {
public:
    Meeting(const fs::path& damaged, const fs::path& path, std::vector<Words> having, size_t number)
        : copy(damaged), store(path), commands(std::move(having)) {
        for (size_t i = number % 3; i < damaged_call_count; i += 3)
            calls.push_back(&damaged_calls[i]);
    }
    size_t count() const { return commands.size() + calls.size(); }
    std::string name(size_t step) const {
        return step < commands.size() ? "emuswitch " + joined(commands[step]) : calls[step - commands.size()]->name;
    }
    Outcome take(size_t step, Errors& errors) const {
        if (step == commands.size()) fs::copy_file(copy, store, fs::copy_options::overwrite_existing);
        if (step <= commands.size()) begin_anew();
        return step < commands.size() ? run_command(commands[step], errors)
                                      : run_call(*calls[step - commands.size()], errors);
    }

private:
    fs::path copy;
    fs::path store;
    std::vector<Words> commands;
    std::vector<const NamedCall*> calls;
};

// What the process that meets a damage has come to; shared with it.
struct Progress {
    size_t step;
    size_t told;
    size_t wrong;
};

// In a process of its own, from the step on that the one before has ended at.
void meet(const Meeting& meeting, const std::string& title, Progress& progress) {
    const int terminal = dup(STDERR_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    const rlimit limit{longest_run, longest_run + 1};
    setrlimit(RLIMIT_CPU, &limit);
    Errors errors;
    for (; progress.step < meeting.count(); ++progress.step) {
        const Outcome outcome = meeting.take(progress.step, errors);
        if (outcome.is_told) ++progress.told;
        if (outcome.wrong.empty()) continue;
        ++progress.wrong;
        dprintf(terminal, "%s: %s %s\n", title.c_str(), meeting.name(progress.step).c_str(), outcome.wrong.c_str());
    }
}

struct Tally {
    size_t told = 0; // damages that somebody told of
    size_t signals = 0;
    size_t wrong = 0;
};

void remove_store(const fs::path& store) {
    for (const char* suffix : {"", "-journal", "-wal", "-shm", ".damaged"})
        fs::remove(store.string() + suffix);
}

void try_damage(const Campaign& campaign, const fs::path& base, const fs::path& store, const std::string& capture,
                size_t number, Progress& progress, Tally& tally) {
    remove_store(store);
    fs::copy_file(base, store);
    const Damage damage = campaign.make(store, number);
    const fs::path copy = store.string() + ".damaged";
    fs::copy_file(store, copy);
    const std::string title = "damage " + std::to_string(number) + " (" + damage.text + ")";
    const Meeting meeting(copy, store, commands_for(damage.table, store, capture, number), number);
    for (progress = {}; progress.step < meeting.count(); ++progress.step) {
        const pid_t child = fork();
        if (child == 0) {
            meet(meeting, title, progress);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
        ++(WIFSIGNALED(status) ? tally.signals : tally.wrong); // a sanitizer ends a process with a status
        std::cerr << title << ": " << meeting.name(progress.step) << " ends "
                  << (WIFSIGNALED(status) ? "by signal " + std::to_string(WTERMSIG(status))
                                          : "with " + std::to_string(WEXITSTATUS(status)))
                  << "\n";
    }
    if (damage.has_to_be_told && progress.told == 0) {
        ++progress.wrong;
        std::cerr << title << ": nobody tells of it\n";
    }
    tally.wrong += progress.wrong;
    tally.told += progress.told > 0 ? 1U : 0U;
    remove_store(store);
}

double processor_seconds() {
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime})
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    return seconds;
}

void print(size_t from, size_t to, size_t all, const Tally& tally) {
    std::printf("damages %zu to %zu of %zu: %zu told, %zu signals, %zu otherwise wrong; %.0f s of processor time\n",
                from, to, all, tally.told, tally.signals, tally.wrong, processor_seconds());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5 || argc > 7) {
        std::cerr << "usage: damage_campaign STORE FOLDER CAPTURE ALL [FIRST [COUNT]]\n";
        return 2;
    }
    const fs::path base = argv[1];
    const fs::path store = fs::path(argv[2]) / "switch.db";
    const size_t all = std::stoul(argv[4]);
    const size_t first = argc > 5 ? std::stoul(argv[5]) : 0;
    const size_t end = argc > 6 ? std::min(all, first + std::stoul(argv[6])) : all;
    constexpr size_t in_between = 250; // damages, until the figures are told
    setenv("EMUSWITCH", store.c_str(), 1);
    const Campaign campaign(base, all);
    void* const shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return 2;
    auto* const progress = new (shared) Progress{};
    Tally tally;
    for (size_t number = first; number < end; ++number) {
        try_damage(campaign, base, store, argv[3], number, *progress, tally);
        if (const size_t done = number + 1 - first; done % in_between == 0) print(first, number, all, tally);
    }
    print(first, end - 1, all, tally);
    return tally.signals + tally.wrong == 0 ? 0 : 1;
}
