// Damages copies of a store, one place each, and has everything read and written that the emulated switch and its
// companion have: damage_campaign STORE FOLDER FIRST COUNT
//
// The first damages set every column of every table to values out of its domain, one row or all of them; those behind
// set random bytes at random places of the file. Whatever the damage, a command shows the switch or says in one line
// what is wrong, and nothing ends by a signal. Each damage is met in a process of its own, so that one that does end so
// is counted and told with its number, by which it can be met again.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "platform/brgfdb.h"
#include "platform/qual.h"

#include <sqlite3.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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
    for (const Words& row : Store(path).rows("SELECT s.name, c.name FROM sqlite_schema AS s, pragma_table_info(s.name)"
                                             " AS c WHERE s.type = 'table' ORDER BY s.name, c.cid"))
        columns.push_back({row[0], row[1]});
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

// The schema refuses such values, so that it is told otherwise for a while.
void damage_column(const fs::path& path, const Column& column, const std::string& value, bool whole_column) {
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
                                     column.table + "\" ORDER BY random() LIMIT 1)"));
    store.run("PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = " + quoted(schema) + where);
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

std::string damage(const fs::path& path, size_t number) {
    const std::vector<Column> columns = columns_of(path);
    const size_t columns_times_values = columns.size() * odd_values.size();
    if (number < 2 * columns_times_values) {
        const Column& column = columns[number % columns.size()];
        const std::string& value = odd_values[number / columns.size() % odd_values.size()];
        const bool is_whole = number >= columns_times_values;
        damage_column(path, column, value, is_whole);
        return column.table + "." + column.name + " = " + value + (is_whole ? " everywhere" : "");
    }
    std::mt19937 random(static_cast<std::mt19937::result_type>(number));
    damage_bytes(path, random);
    return "random bytes";
}

// --- What meets them ---

const std::vector<Words> readers = {
    {"show"},
    {"show", "--json"}, // every topic
    {"config"},
    {"graph"},
    {"graph", "--qos", "1"},
    {"log"},
    {"events"},
    {"fail", "--list"},
    {"trace", "1", "da", "00:00:5e:00:53:02", "tag", "vid", "10"},
};

const Words topics = {"ports",  "vlans", "members",  "protgroups", "mirrors",   "streams",
                      "queues", "fdb",   "clslists", "names",      "porttable", "limits"};

const std::vector<Words> writers = {
    {"learn", "00:00:5e:00:53:77", "sales", "1"}, {"lag", "4", "on"}, {"ipif", "4", "on"}, {"limit", "vlans", "100"},
    {"fail", "brgfdb_create_vlan", "1401"},       {"reset"},
};

// Of the tables and of what writes one each, in turn.
std::vector<Words> commands_for(size_t number) {
    std::vector<Words> commands = readers;
    commands.push_back({"show", topics[number % topics.size()]});
    commands.push_back(writers[number / topics.size() % writers.size()]);
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

constexpr int shown_whole = 0; // exit statuses of the process that meets a damage
constexpr int is_wrong = 1;
constexpr int told = 10;

// What is wrong with the end of a command; empty when nothing is.
std::string judge(int status, const std::string& errors) {
    const bool is_one_line = !errors.empty() && errors.find('\n') == errors.size() - 1;
    if (status == 0) return errors.empty() ? "" : "says something";
    if (status != 1) return "ends with " + std::to_string(status);
    if (!is_one_line) return "does not say one line";
    return errors.starts_with("emuswitch: ") ? "" : "does not say who speaks";
}

std::string run_command(const Words& command, Errors& errors, bool& is_told) {
    Words words{"emuswitch"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    CommandLine line;
    add_commands(line);
    const int status = line.run(static_cast<int>(words.size()), pointers.data());
    std::cout.flush();
    const std::string said = errors.take();
    is_told = status == 1;
    const std::string wrong = judge(status, said);
    return wrong.empty() ? "" : "emuswitch " + joined(command) + " " + wrong + ": " + said;
}

// What sentences ask of the libraries.
void make_calls() {
    int32_t status = 0;
    uint32_t vid = 0;
    StreamInfo info{};
    ClassifyRule rule{};
    const uint8_t mac[mac_length] = {0, 0, 0x5e, 0, 0x53, 9};
    int32_t any = vlan_id::any;
    brgfdb_disp_classify(every_list, &status);
    brgfdb_disp_classify(1, &status);
    brgfdb_get_vid("sales", &vid, &status);
    brgfdb_create_vlan("fresh", &any, &status);
    brgfdb_create_port(9, 1, port_type::ether, &status);
    brgfdb_add_port_to_vlan(10, 9, 0, default_tag_type, 0, 0, &status);
    brgfdb_add_port_to_vlan(10, 3, 1, default_tag_type, 0, 0, &status);
    brgfdb_rem_port_from_vlan(10, 1, &status);
    brgfdb_get_stream_info(0, &info, &status);
    brgfdb_create_queue(9, 256, 16384, &status);
    brgfdb_set_queue_size(0, 0, 0, 512, 32768, &status);
    brgfdb_add_classify_action_to_profile(1, any_line, &rule, &status);
    brgfdb_rem_classify_all_from_profile(2, &status);
    brgfdb_create_sfil(10, mac, 1, 0, 0, &status);
    brgfdb_enable_mirror(1, &status);
    brgfdb_clear_fdb();
    brgfdb_delete_port(2, &status);
    brgfdb_delete_vlan(10, &status);
    qual_register("vlan", "fresh", 7);
}

struct Meeting {
    fs::path store;
    std::string damage;
    size_t number;
};

// In a process of its own. Returns its exit status, having said what is wrong.
int meet_command(const Meeting& meeting, const Words& command) {
    const int terminal = dup(STDERR_FILENO);
    Errors errors;
    bool is_told = false;
    const std::string wrong = run_command(command, errors, is_told);
    if (wrong.empty()) return is_told ? told : shown_whole;
    dprintf(terminal, "damage %zu (%s): %s", meeting.number, meeting.damage.c_str(), wrong.c_str());
    return is_wrong;
}

// The errors of calls are told on standard error, which is not looked at here.
int meet_calls() {
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDERR_FILENO);
    make_calls();
    return shown_whole;
}

void remove_store(const fs::path& store) {
    for (const char* suffix : {"", "-journal", "-wal", "-shm", ".damaged"})
        fs::remove(store.string() + suffix);
}

struct Tally {
    size_t told = 0; // damages that some command told of
    size_t signals = 0;
    size_t wrong = 0;
};

// Returns the status of the process that ran `meet`.
template <typename Meet> int in_process(Meet meet) {
    const pid_t child = fork();
    if (child == 0) {
        const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nothing, STDOUT_FILENO);
        const rlimit limit{longest_run, longest_run + 1};
        setrlimit(RLIMIT_CPU, &limit);
        _exit(meet());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

void count(int status, const Meeting& meeting, const std::string& what, Tally& tally) {
    if (WIFSIGNALED(status)) {
        ++tally.signals;
        std::cerr << "damage " << meeting.number << " (" << meeting.damage << "): " << what << " ends by signal "
                  << WTERMSIG(status) << "\n";
    } else if (WEXITSTATUS(status) != shown_whole && WEXITSTATUS(status) != told) {
        ++tally.wrong; // also an error that a sanitizer found
        if (WEXITSTATUS(status) != is_wrong)
            std::cerr << "damage " << meeting.number << " (" << meeting.damage << "): " << what << " ends with "
                      << WEXITSTATUS(status) << "\n";
    }
}

void try_damage(const fs::path& base, const fs::path& store, size_t number, Tally& tally) {
    remove_store(store);
    fs::copy_file(base, store);
    const Meeting meeting{store, damage(store, number), number};
    const fs::path damaged_copy = store.string() + ".damaged";
    fs::copy_file(store, damaged_copy, fs::copy_options::overwrite_existing);
    bool is_told = false;
    for (const Words& command : commands_for(number)) {
        const int status = in_process([&] { return meet_command(meeting, command); });
        if (WIFEXITED(status) && WEXITSTATUS(status) == told) is_told = true;
        count(status, meeting, joined(command), tally);
    }
    fs::copy_file(damaged_copy, store, fs::copy_options::overwrite_existing);
    count(in_process(meet_calls), meeting, "a library call", tally);
    if (is_told) ++tally.told;
    remove_store(store);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: damage_campaign STORE FOLDER FIRST COUNT\n";
        return 2;
    }
    const fs::path base = argv[1];
    const size_t first = std::stoul(argv[3]);
    const size_t count = std::stoul(argv[4]);
    const size_t all = 2 * columns_of(base).size() * odd_values.size();
    const fs::path store = fs::path(argv[2]) / "switch.db";
    setenv("EMUSWITCH", store.c_str(), 1);
    Tally tally;
    // A few of them are spread over all columns and values; as many bytes are damaged again.
    const size_t in_columns = std::min(all, count * 4 / 5);
    for (size_t i = 0; i < count; ++i)
        try_damage(base, store, i < in_columns ? first + i * all / in_columns : all + first + i, tally);
    std::cout << count << " damages, " << in_columns << " of columns and " << count - in_columns
              << " of bytes: " << tally.told << " told, " << tally.signals << " signals, " << tally.wrong
              << " otherwise wrong\n";
    return tally.signals + tally.wrong == 0 ? 0 : 1;
}
