// Child processes and their surroundings.
#include "companion/child_process.h"

#include "companion/database.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

fs::path own_folder() {
    return fs::path(own_path()).parent_path();
}

// In the build tree the libraries lie below this program; installed, in a private folder of the library directory.
fs::path library_folder() {
    for (const fs::path& folder : {own_folder() / "lib", own_folder() / INSTALLED_LIBRARIES})
        if (fs::exists(folder / "libbrgfdb.so")) return fs::canonical(folder);
    throw Failure("the emulated libraries are neither in " + (own_folder() / "lib").string() + " nor in " +
                  (own_folder() / INSTALLED_LIBRARIES).string() + "; install emuswitch again");
}

void put_first(const char* variable, const std::string& folder) {
    const char* const old = getenv(variable);
    const std::string value = old == nullptr || *old == '\0' ? folder : folder + ":" + old;
    setenv(variable, value.c_str(), 1);
}

std::vector<char*> pointers_to(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str())); // NOLINT(*-const-cast): a new program changes its own copy
    pointers.push_back(nullptr);
    return pointers;
}

int exit_status_of(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int wait_for(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return exit_status_of(status);
}

pid_t start(const std::vector<std::string>& command, const posix_spawn_file_actions_t* actions,
            const posix_spawnattr_t* attributes) {
    pid_t child = 0;
    const int problem =
        posix_spawnp(&child, command[0].c_str(), actions, attributes, pointers_to(command).data(), environ);
    if (problem != 0) throw Failure(command[0] + ": cannot be run (" + strerror(problem) + ")");
    return child;
}

} // namespace

PrivateFolder::PrivateFolder() {
    std::error_code none;
    const fs::path place = fs::temp_directory_path(none);
    if (none) throw Failure("there is no folder for temporary files (" + none.message() + "); set TMPDIR to one");
    std::string pattern = (place / "emuswitch-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw Failure(pattern + ": a temporary folder cannot be made (" + strerror(errno) + "); set TMPDIR");
    folder_ = pattern;
}

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::string own_path() {
    return fs::read_symlink("/proc/self/exe");
}

std::string tool_path() {
    for (const fs::path& tool : {own_folder() / "../src/tolvane", own_folder() / "../sbin/tolvane"})
        if (fs::exists(tool)) return fs::canonical(tool);
    return "tolvane";
}

void prepare_environment(const std::string& store) {
    setenv("EMUSWITCH", store.c_str(), 1);
    put_first("LD_LIBRARY_PATH", library_folder());
    if (const fs::path tool = tool_path(); tool.has_parent_path()) put_first("PATH", tool.parent_path());
    put_first("PATH", own_folder());
}

EndingSignals::EndingSignals() {
    sigemptyset(&waited_for_);
    sigaddset(&waited_for_, SIGCHLD);
    for (const int number : {SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&waited_for_, number);
    }
    sigprocmask(SIG_BLOCK, &waited_for_, &blocked_before_);
}

EndingSignals::~EndingSignals() {
    sigprocmask(SIG_SETMASK, &blocked_before_, nullptr);
}

int EndingSignals::wait_for(pid_t child) const {
    bool is_told = false;
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) return exit_status_of(status);
        if (ended < 0) throw Failure(std::string("the command cannot be waited for: ") + strerror(errno));
        const int number = sigwaitinfo(&waited_for_, nullptr);
        if (number < 0 || number == SIGCHLD) continue;
        kill(child, is_told ? SIGKILL : number);
        is_told = true;
    }
}

Ended run_in_foreground(const std::vector<std::string>& command, const EndingSignals& signals) {
    struct sigaction ignore {};
    struct sigaction interrupt {};
    struct sigaction quit {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &interrupt);
    sigaction(SIGQUIT, &ignore, &quit);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t restored;
    sigemptyset(&restored);
    sigaddset(&restored, SIGINT);
    sigaddset(&restored, SIGQUIT);
    posix_spawnattr_setsigdefault(&attributes, &restored);
    posix_spawnattr_setsigmask(&attributes, &signals.before());
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const pid_t child = start(command, nullptr, &attributes);
    posix_spawnattr_destroy(&attributes);

    Ended ended;
    ended.status = signals.wait_for(child);
    sigaction(SIGINT, &interrupt, nullptr);
    sigaction(SIGQUIT, &quit, nullptr);
    return ended;
}

Ended run_captured(const std::vector<std::string>& command, bool with_errors) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw Failure(std::string("no pipe for the tool's output: ") + strerror(errno));

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    if (with_errors) posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    pid_t child = 0;
    try {
        child = start(command, &actions, &attributes);
    } catch (...) {
        close(ends[0]);
        close(ends[1]);
        throw;
    }
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(ends[1]);

    Ended ended;
    char buffer[4096];
    for (;;) {
        const ssize_t count = read(ends[0], buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        ended.output.append(buffer, static_cast<size_t>(count));
    }
    close(ends[0]);
    ended.status = wait_for(child);
    return ended;
}
