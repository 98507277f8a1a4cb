// Starting the tool and collecting what it did.
#include "contract/session.h"

#include "recording/recorder.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <utility>

// A file in memory that a child process can inherit.
class MemoryFile {
public:
    explicit MemoryFile(const char* name) : descriptor(memfd_create(name, 0)) {
        if (descriptor < 0) throw std::runtime_error("memfd_create failed");
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(descriptor); }

    int fd() const { return descriptor; }

    void write(const void* bytes, size_t count) const {
        if (::write(descriptor, bytes, count) != static_cast<ssize_t>(count)) throw std::runtime_error("write failed");
    }
    void rewind() const { lseek(descriptor, 0, SEEK_SET); }
    void clear() const {
        if (ftruncate(descriptor, 0) != 0) throw std::runtime_error("ftruncate failed");
        rewind();
    }

    std::string contents() const {
        rewind();
        std::string text;
        char buffer[65536];
        for (ssize_t count = 0; (count = ::read(descriptor, buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(count));
        return text;
    }

private:
    int descriptor;
};

// All that the tool gets and gives besides its words.
struct Files {
    MemoryFile output{"output"};
    MemoryFile errors{"errors"};
    MemoryFile recording{"recording"};
    MemoryFile answers{"answers"};
};

namespace {

template <size_t Size> void copy_text(char (&to)[Size], const std::string& from) {
    if (from.size() >= Size) throw std::runtime_error("an answer is too long: " + from);
    memcpy(to, from.c_str(), from.size() + 1);
}

void write_answers(const MemoryFile& file, const std::vector<Call>& answers) {
    for (const Call& call : answers) {
        recorder::Answer answer{};
        copy_text(answer.result, call.result);
        copy_text(answer.status, call.status);
        copy_text(answer.value, call.value);
        copy_text(answer.prints, call.prints);
        file.write(&answer, sizeof answer);
    }
    file.rewind();
}

std::string from_environment(const char* name, const char* otherwise) {
    const char* const value = getenv(name);
    return value != nullptr ? value : otherwise;
}

// The environment of the tool: ours, with its libraries, and nothing that would change how it answers.
std::vector<std::string> tool_environment(const Setup& setup) {
    const std::string first = setup.server.empty() ? "" : setup.server + ":";
    std::vector<std::string> variables{"LD_LIBRARY_PATH=" + first + setup.libraries};
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (strncmp(*variable, "LD_LIBRARY_PATH=", 16) != 0) variables.emplace_back(*variable);
    return variables;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Other files that the tool inherits, each with its descriptor there.
using Inherited = std::vector<std::pair<int, int>>;

pid_t start(const Setup& setup, const std::vector<std::string>& words, const Files& files, const Inherited& others) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, files.output.fd(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, files.errors.fd(), STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions, files.recording.fd(), recorder::recording_fd);
    posix_spawn_file_actions_adddup2(&actions, files.answers.fd(), recorder::answers_fd);
    for (const auto& [ours, theirs] : others)
        posix_spawn_file_actions_adddup2(&actions, ours, theirs);

    std::vector<std::string> command = setup.launcher;
    command.push_back(setup.tool);
    command.insert(command.end(), words.begin(), words.end());
    std::vector<std::string> environment = tool_environment(setup);

    pid_t child = 0;
    const int problem = posix_spawnp(&child, command[0].c_str(), &actions, nullptr, pointers_to(command).data(),
                                     pointers_to(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (problem != 0) throw std::runtime_error(command[0] + ": " + strerror(problem));
    return child;
}

void collect(const Files& files, Outcome& outcome) {
    outcome.output = files.output.contents();
    outcome.errors = files.errors.contents();
    std::istringstream calls(files.recording.contents());
    for (std::string line; std::getline(calls, line);)
        outcome.recording.push_back(line);
}

} // namespace

struct Server::Started {
    Files files;
    MemoryFile words{"words"};
    int end = -1;
    pid_t child = -1;
};

Server::Server(const Setup& setup) : started(std::make_unique<Started>()) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair failed");
    started->end = ends[0];
    started->child =
        start(setup, {}, started->files, {{ends[1], recorder::server_fd}, {started->words.fd(), recorder::words_fd}});
    close(ends[1]);
}

Server::~Server() {
    close(started->end);
    waitpid(started->child, nullptr, 0);
}

Outcome Server::play(const std::vector<std::string>& sentence, const std::vector<Call>& answers) {
    const auto& [files, words, end, child] = *started;
    for (const MemoryFile* file : {&files.output, &files.errors, &files.recording, &files.answers, &words})
        file->clear();
    write_answers(files.answers, answers);
    for (const std::string& word : sentence)
        words.write(word.c_str(), word.size() + 1);

    Outcome outcome;
    char text[16]{};
    if (send(end, "", 1, MSG_NOSIGNAL) != 1 || read(end, text, sizeof text - 1) <= 0 ||
        sscanf(text, "%d %d", &outcome.exit_status, &outcome.signal) != 2)
        throw std::runtime_error("the tool does not serve: " + files.errors.contents());
    collect(files, outcome);
    return outcome;
}

Setup setup_from_environment() {
    Setup setup{from_environment("CONTRACT_TOOL", DEFAULT_TOOL),
                from_environment("CONTRACT_LIBRARIES", DEFAULT_LIBRARIES),
                {},
                from_environment("CONTRACT_SERVER", "")};
    std::istringstream launcher(from_environment("CONTRACT_LAUNCHER", ""));
    for (std::string word; launcher >> word;)
        setup.launcher.push_back(word);
    return setup;
}

Outcome run_tool(const Setup& setup, const std::vector<std::string>& words, const std::vector<Call>& answers) {
    const Files files;
    write_answers(files.answers, answers);

    Outcome outcome;
    int status = 0;
    waitpid(start(setup, words, files, {}), &status, 0);
    if (WIFEXITED(status)) outcome.exit_status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
    collect(files, outcome);
    return outcome;
}

Outcome play(const std::vector<std::string>& words, const std::vector<Call>& answers) {
    static const Setup setup = setup_from_environment();
    if (setup.server.empty()) return run_tool(setup, words, answers);
    static std::unique_ptr<Server> server;
    if (server == nullptr) server = std::make_unique<Server>(setup);
    try {
        return server->play(words, answers);
    } catch (...) {
        server.reset(); // the next sentence has another one
        throw;
    }
}
