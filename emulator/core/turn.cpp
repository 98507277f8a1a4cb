// The turn: one lock of the kernel on the store, and a queue of such locks for those who wait.
//
// The kernel does not keep those who wait for one lock in their order: who comes while it wakes the first of them
// passes by. So whoever has to wait draws a ticket, a lock on a byte of its own whose place is the time, and waits for
// the ticket before its own to go. Each lock then has one process that waits for it, which alone is woken.
#include "core/turn.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace emulator {

namespace {

// Behind the bytes that SQLite locks, and in no page that it uses.
constexpr off_t turn_byte = 0x40000000 + 512;
// Behind the end of any file: microseconds since the machine was started.
constexpr off_t first_ticket = off_t{1} << 48;
constexpr off_t last_ticket = off_t{1} << 60;

constexpr long glance = 1; // seconds; how often somebody who waits looks around

int64_t now() { // microseconds
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

struct flock range_of(short type, off_t first, off_t last) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = first;
    range.l_len = last - first + 1;
    return range;
}

// Returns 0 or errno.
int lock(int file, int command, short type, off_t byte) {
    struct flock range = range_of(type, byte, byte);
    return fcntl(file, command, &range) == 0 ? 0 : errno;
}

void unlock(int file, off_t byte) {
    lock(file, F_OFD_SETLK, F_UNLCK, byte);
}

// A byte in the range that somebody else has locked, 0 where there is none.
off_t find_locked(int file, off_t first, off_t last) {
    struct flock range = range_of(F_WRLCK, first, last);
    if (first > last || fcntl(file, F_OFD_GETLK, &range) != 0 || range.l_type == F_UNLCK) return 0;
    return range.l_start;
}

enum class Answer { taken, held, unknown };

Answer answer_of(int problem) {
    switch (problem) {
    case 0: return Answer::taken;
    case EAGAIN:
    case EACCES:
    case EINTR: return Answer::held;
    default: return Answer::unknown; // such locks are not known here
    }
}

Answer try_for(int file, off_t byte) {
    return answer_of(lock(file, F_OFD_SETLK, F_WRLCK, byte));
}

// Interrupts whatever this thread waits for, again and again: a signal that comes before the wait must not be the last.
class Alarm {
public:
    Alarm() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(signal_, &action, &action_before_);
        sigset_t wanted;
        sigemptyset(&wanted);
        sigaddset(&wanted, signal_);
        pthread_sigmask(SIG_UNBLOCK, &wanted, &mask_before_);

        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = signal_;
        event._sigev_un._tid = gettid();
        is_set_ = timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0;
        const timespec period{.tv_sec = glance, .tv_nsec = 0};
        const itimerspec times{.it_interval = period, .it_value = period};
        if (is_set_) timer_settime(timer_, 0, &times, nullptr);
    }
    ~Alarm() {
        if (is_set_) timer_delete(timer_);
        pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
        sigaction(signal_, &action_before_, nullptr);
    }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    bool is_set() const { return is_set_; }

private:
    const int signal_ = SIGRTMAX; // that nobody else uses, hopefully; restored in any case
    bool is_set_ = false;
    timer_t timer_{};
    struct sigaction action_before_ {};
    sigset_t mask_before_{};
};

// Waits for a byte until the next glance.
Answer wait_for(int file, off_t byte, const Alarm& alarm) {
    if (alarm.is_set()) return answer_of(lock(file, F_OFD_SETLKW, F_WRLCK, byte));
    const timespec pause{.tv_sec = 0, .tv_nsec = 1'000'000};
    nanosleep(&pause, nullptr);
    return try_for(file, byte);
}

// Returns the ticket, 0 where none can be drawn.
off_t draw_ticket(int file) {
    off_t ticket = first_ticket + now();
    for (;; ++ticket) {
        const Answer answer = try_for(file, ticket);
        if (answer == Answer::taken) return ticket;
        if (answer == Answer::unknown) return 0;
    }
}

// The ticket that was drawn last before this one and is still held; 0: none. Looks near by first.
off_t find_ticket_before(int file, off_t ticket) {
    off_t found = 0;
    for (off_t distance = 1024; found == 0 && ticket - distance > first_ticket; distance *= 32)
        found = find_locked(file, ticket - distance, ticket - 1);
    if (found == 0) found = find_locked(file, first_ticket, ticket - 1);
    if (found == 0) return 0;
    off_t end = ticket; // no ticket is held from here to the own one
    while (end - found > 1) {
        const off_t middle = found + (end - found) / 2;
        if (const off_t later = find_locked(file, middle, end - 1); later != 0)
            found = later;
        else
            end = middle;
    }
    return found;
}

// Waits with a ticket. Who is before this process may have been stopped and hold up the queue; the turn may be free all
// the same.
bool wait_in_queue(int file, off_t ticket, Patience& patience) {
    const Alarm alarm;
    off_t before = find_ticket_before(file, ticket);
    while (!patience.is_over(file)) {
        const Answer answer = wait_for(file, before != 0 ? before : turn_byte, alarm);
        if (answer == Answer::unknown) return true;
        if (answer == Answer::taken && before == 0) return true;
        if (answer == Answer::taken) {
            unlock(file, before);
            before = find_ticket_before(file, ticket);
        } else if (before != 0 && try_for(file, turn_byte) == Answer::taken) {
            return true;
        }
    }
    return false;
}

} // namespace

bool Patience::is_over(int file) {
    constexpr off_t change_counter = 24; // of the header of the file; every transaction that changes something counts
    uint32_t counted = 0;
    if (pread(file, &counted, sizeof counted, change_counter) != sizeof counted) counted = 0;
    if (!is_strained || counted != changes) {
        is_strained = true;
        changes = counted;
        since = now();
    }
    return now() - since > longest_wait * 1'000'000LL;
}

bool take_turn(int file, Patience& patience) {
    // Nobody goes before those who wait.
    if (find_locked(file, first_ticket, last_ticket) == 0 && try_for(file, turn_byte) != Answer::held) {
        patience.recover();
        return true;
    }
    const off_t ticket = draw_ticket(file);
    const bool is_taken = ticket == 0 || wait_in_queue(file, ticket, patience);
    if (ticket != 0) unlock(file, ticket);
    if (is_taken) patience.recover();
    return is_taken;
}

void give_turn_back(int file) {
    unlock(file, turn_byte);
}

} // namespace emulator
