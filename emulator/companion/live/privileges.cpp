// Rights, priority, and the process that keeps them.
#include "companion/live/privileges.h"

#include "companion/database.h"
#include "companion/live/descriptor.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <grp.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace live {

namespace {

constexpr int priority = 10; // above ordinary programs, below what the kernel does itself

Failure cannot(const char* what) {
    return Failure(std::string(what) + " (" + strerror(errno) + ")");
}

void drop_capabilities() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> none{};
    if (syscall(SYS_capset, &header, none.data()) != 0) throw cannot("the rights of root cannot be given up");
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) throw cannot("the rights of root cannot be given up");
}

// Among programs without real-time priority, who asks for short turns gets them sooner. Linux before 6.12 takes no
// notice.
void ask_for_short_turns() {
    struct {
        uint32_t size;
        uint32_t policy;
        uint64_t flags;
        int32_t nice;
        uint32_t priority;
        uint64_t runtime; // ns of a turn
        uint64_t deadline;
        uint64_t period;
    } attributes{};
    attributes.size = sizeof attributes;
    attributes.policy = SCHED_OTHER;
    attributes.nice = getpriority(PRIO_PROCESS, 0); // stays what it is
    attributes.runtime = 100'000;
    syscall(SYS_sched_setattr, 0, &attributes, 0);
}

// In a user namespace most users do not exist; there root without its rights is as good.
void become(uid_t user, gid_t group) {
    if (setgroups(1, &group) != 0 || setresgid(group, group, group) != 0 || setresuid(user, user, user) != 0) {
        if (errno != EINVAL && errno != EPERM) throw cannot("the owner of the switch cannot be become");
    }
}

// Those that end us, and the one that says that the child has ended.
sigset_t awaited_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD})
        sigaddset(&signals, signal);
    return signals;
}

// What the objects of the parent would clean up in the child stays theirs.
[[noreturn]] void run_and_end(const std::function<int(int)>& work, int guard) {
    int status = EXIT_FAILURE;
    try {
        status = work(guard);
    } catch (const std::exception& problem) {
        if (problem.what()[0] != '\0') std::cerr << "emuswitch: " << problem.what() << "\n";
    }
    std::cout.flush();
    _exit(status);
}

int wait_and_pass_on(pid_t child) {
    const sigset_t signals = awaited_signals();
    for (;;) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        const int signal = sigwaitinfo(&signals, nullptr);
        if (signal > 0 && signal != SIGCHLD) kill(child, SIGTERM);
    }
}

} // namespace

std::string take_priority() {
    sched_param parameter{};
    parameter.sched_priority = priority;
    if (sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameter) == 0) return "";
    const int reason = errno;
    ask_for_short_turns();
    return std::string("no real-time priority (") + strerror(reason) +
           "): on a busy machine frames wait, and rates come out too low; root outside of unshare has it, and users "
           "whose `ulimit -r` is " +
           std::to_string(priority) + " or more";
}

void give_up_privileges(const std::string& store) {
    struct stat status {};
    if (stat(store.c_str(), &status) != 0 && stat(std::filesystem::path(store).parent_path().c_str(), &status) != 0)
        return drop_capabilities();
    if (geteuid() == 0 && status.st_uid != 0) become(status.st_uid, status.st_gid);
    drop_capabilities();
}

void block_ending_signals() {
    const sigset_t signals = awaited_signals();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

int run_guarded(const std::function<int(int guard)>& work) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw cannot("no pipe to the process of the switch");
    const Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    std::cout.flush();
    const pid_t child = fork();
    if (child < 0) throw cannot("no process for the switch");
    if (child == 0) {
        writing = Descriptor();
        run_and_end(work, reading.get());
    }
    return wait_and_pass_on(child);
}

} // namespace live
