// Standard output that takes nothing, missing descriptors, signals: the change is made, the tool ends, the status is 0.
#include "recording/recorder.h"
#include "robustness/sentences.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <initializer_list>

namespace {

const std::vector<std::string> sentence{"enable", "port", "7"};
const std::vector<std::string> calls{"brgfdb_enable_port(7)", "portshm_enable_port(7, 1)"};

class Descriptor {
public:
    explicit Descriptor(int number = -1) : fd(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }

    int get() const { return fd; }
    void reset(int number = -1) {
        if (fd >= 0) close(fd);
        fd = number;
    }

private:
    int fd;
};

std::string read_all(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(count));
    return text;
}

// A run of the tool whose surroundings the test prepares, in the child, just before it becomes the tool.
class Process {
public:
    Process(const std::vector<std::string>& words, const std::function<void()>& prepare)
        : recording(memfd_create("recording", 0)) {
        const Setup setup = setup_from_environment();
        std::vector<const char*> arguments;
        for (const std::string& word : setup.launcher)
            arguments.push_back(word.c_str());
        arguments.push_back(setup.tool.c_str());
        for (const std::string& word : words)
            arguments.push_back(word.c_str());
        arguments.push_back(nullptr);
        start(setup, arguments, prepare);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() {
        if (pid <= 0) return;
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    // The status as waitpid has it.
    int wait() {
        int status = -1;
        waitpid(pid, &status, 0);
        pid = 0;
        return status;
    }

    void send(int signal) const { kill(pid, signal); }

    // Returns when the process sleeps (S) or is stopped (T): here in a write that nobody takes.
    void wait_for_state(char wanted) const {
        for (char state = '?'; state != wanted; sched_yield()) {
            const std::string line = read_file("/proc/" + std::to_string(pid) + "/stat");
            state = line.at(line.rfind(')') + 2);
            ASSERT_NE('Z', state) << "the tool has ended";
        }
    }

    std::vector<std::string> recorded() const {
        lseek(recording.get(), 0, SEEK_SET);
        std::istringstream lines(read_all(recording.get()));
        std::vector<std::string> result;
        for (std::string line; std::getline(lines, line);)
            result.push_back(line);
        return result;
    }

private:
    void start(const Setup& setup, const std::vector<const char*>& arguments, const std::function<void()>& prepare) {
        pid = fork();
        if (pid != 0) return;
        setenv("LD_LIBRARY_PATH", setup.libraries.c_str(), 1);
        dup2(recording.get(), recorder::recording_fd);
        prepare();
        execvp(arguments[0], const_cast<char**>(arguments.data()));
        _exit(127);
    }

    Descriptor recording;
    pid_t pid = -1;
};

void expect_end(Process& process) {
    const int status = process.wait();
    EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ(calls, process.recorded());
}

void expect_end_with(const std::function<void()>& prepare) {
    Process process(sentence, prepare);
    expect_end(process);
}

struct Pipe {
    Descriptor reader;
    Descriptor writer;

    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }

    // So that the next write finds no room. Answers how many bytes that took.
    size_t fill() const {
        const std::string page(4096, '.');
        fcntl(writer.get(), F_SETFL, O_NONBLOCK);
        size_t count = 0;
        while (write(writer.get(), page.data(), page.size()) > 0)
            count += page.size();
        while (write(writer.get(), page.data(), 1) > 0)
            ++count;
        fcntl(writer.get(), F_SETFL, 0);
        return count;
    }
};

TEST(Surroundings, OutputIsClosed) {
    expect_end_with([] { close(STDOUT_FILENO); });
}

TEST(Surroundings, OutputIsFull) {
    expect_end_with([] { dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO); });
}

TEST(Surroundings, OutputIsReadOnly) {
    expect_end_with([] { dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDOUT_FILENO); });
}

TEST(Surroundings, OutputHasNoReader) {
    Pipe pipe;
    pipe.reader.reset();
    expect_end_with([&] { dup2(pipe.writer.get(), STDOUT_FILENO); });
}

TEST(Surroundings, OutputHasNoReaderAndUsageIsShown) {
    Pipe pipe;
    pipe.reader.reset();
    Process process({"help"}, [&] { dup2(pipe.writer.get(), STDOUT_FILENO); });
    const int status = process.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// A file that may grow by so many bytes and no more takes the beginning of the document.
void expect_end_at_size_limit(size_t room) {
    const Descriptor file(memfd_create("output", MFD_CLOEXEC));
    const std::string page(4096, '.');
    ASSERT_EQ(4096, write(file.get(), page.data(), page.size()));
    expect_end_with([&] {
        dup2(file.get(), STDOUT_FILENO);
        const rlimit limit{4096 + room, 4096 + room};
        setrlimit(RLIMIT_FSIZE, &limit);
    });
    lseek(file.get(), 0, SEEK_SET);
    EXPECT_EQ(page + ok_document().substr(0, room), read_all(file.get()));
}

TEST(Surroundings, OutputHasReachedItsSizeLimit) {
    expect_end_at_size_limit(0);
}

TEST(Surroundings, OutputReachesItsSizeLimit) {
    expect_end_at_size_limit(10);
}

TEST(Surroundings, OutputWouldBlock) {
    const Pipe pipe;
    pipe.fill();
    expect_end_with([&] {
        fcntl(pipe.writer.get(), F_SETFL, O_NONBLOCK);
        dup2(pipe.writer.get(), STDOUT_FILENO);
    });
}

TEST(Surroundings, InputIsClosed) {
    expect_end_with([] {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        close(STDIN_FILENO);
    });
}

TEST(Surroundings, ErrorOutputIsClosed) {
    const Descriptor output(memfd_create("output", MFD_CLOEXEC));
    expect_end_with([&] {
        dup2(output.get(), STDOUT_FILENO);
        close(STDERR_FILENO);
    });
    lseek(output.get(), 0, SEEK_SET);
    EXPECT_EQ(ok_document(), read_all(output.get()));
}

TEST(Surroundings, AllThreeAreClosed) {
    expect_end_with([] {
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            close(fd);
    });
}

TEST(Surroundings, ArgumentsAreEmpty) {
    const Descriptor output(memfd_create("output", MFD_CLOEXEC));
    const auto setup = setup_from_environment();
    if (!setup.launcher.empty()) GTEST_SKIP() << "a launcher needs arguments";
    Process process({}, [&] {
        dup2(output.get(), STDOUT_FILENO);
        char* const none[] = {nullptr};
        execv(setup.tool.c_str(), none);
    });
    const int status = process.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    lseek(output.get(), 0, SEEK_SET);
    EXPECT_EQ(usage_text(), read_all(output.get()));
}

// The document waits for room: stopped, continued and told of things that it ignores, the tool still writes it whole.
TEST(Surroundings, SignalsInterruptTheDocument) {
    const Pipe pipe;
    const size_t filling = pipe.fill();
    Process process(sentence, [&] {
        dup2(pipe.writer.get(), STDOUT_FILENO);
        for (const int number : {SIGHUP, SIGUSR1, SIGALRM})
            signal(number, SIG_IGN);
    });
    process.wait_for_state('S');
    for (const int number : {SIGHUP, SIGUSR1, SIGALRM, SIGPIPE, SIGWINCH, SIGCHLD})
        process.send(number);
    process.send(SIGSTOP);
    process.wait_for_state('T');
    process.send(SIGCONT);

    std::string taken;
    char buffer[4096];
    while (taken.size() < filling + ok_document().size()) {
        const ssize_t count = read(pipe.reader.get(), buffer, sizeof buffer);
        ASSERT_LT(0, count);
        taken.append(buffer, static_cast<size_t>(count));
    }
    expect_end(process);
    EXPECT_EQ(ok_document(), taken.substr(filling));
}

// Ended from outside while the document waits: the change stands, and the end is the signal's, not a crash.
TEST(Surroundings, TerminationEndsAWaitingTool) {
    const Pipe pipe;
    pipe.fill();
    Process process(sentence, [&] { dup2(pipe.writer.get(), STDOUT_FILENO); });
    process.wait_for_state('S');
    process.send(SIGTERM);
    const int status = process.wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_EQ(calls, process.recorded());
}

TEST(Surroundings, StackIsSmall) {
    expect_end_with([] {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
        const rlimit stack{131072, 131072};
        setrlimit(RLIMIT_STACK, &stack);
    });
}

} // namespace
