// epoll and a timer.
#include "companion/live/event_loop.h"

#include "companion/database.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <iterator>

namespace live {

namespace {

constexpr dataplane::Nanoseconds second = 1'000'000'000;

timespec timespec_of(dataplane::Nanoseconds time) {
    return {.tv_sec = static_cast<time_t>(time / second), .tv_nsec = static_cast<long>(time % second)};
}

} // namespace

dataplane::Nanoseconds monotonic_now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * second + now.tv_nsec;
}

EventLoop::EventLoop()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)), timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (!epoll_.is_open() || !timer_.is_open()) throw Failure(std::string("no event loop (") + strerror(errno) + ")");
    // Setting it anew takes an expiration back, so nothing has to be read.
    watch(timer_.get(), [this] { set_timer(dataplane::never); });
}

void EventLoop::watch(int descriptor, std::function<void()> readable, std::function<void()> trouble) {
    const auto place = static_cast<size_t>(descriptor);
    if (place >= handlers_.size()) handlers_.resize(place + 1);
    handlers_[place] = {std::move(readable), std::move(trouble)};
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) != 0)
        throw Failure(std::string("no event loop (") + strerror(errno) + ")");
}

void EventLoop::forget(int descriptor) {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
}

void EventLoop::set_timer(dataplane::Nanoseconds deadline) {
    if (deadline == timer_set_) return;
    timer_set_ = deadline;
    itimerspec setting{};
    if (deadline != dataplane::never) setting.it_value = timespec_of(deadline > 0 ? deadline : 1);
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

void EventLoop::wait(dataplane::Nanoseconds deadline) {
    set_timer(deadline);
    run(-1);
}

void EventLoop::run(int timeout) {
    epoll_event happened[64];
    const int count = epoll_wait(epoll_.get(), happened, std::size(happened), timeout);
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = happened[i];
        const Handlers& handler = handlers_[static_cast<size_t>(event.data.fd)];
        const bool is_trouble = (event.events & (EPOLLERR | EPOLLHUP)) != 0 && handler.trouble;
        is_trouble ? handler.trouble() : handler.readable();
    }
}

} // namespace live
