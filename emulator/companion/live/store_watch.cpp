// The store's file under inotify.
#include "companion/live/store_watch.h"

#include "companion/database.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace live {

StoreWatch::StoreWatch(const std::string& store) : file_(store), notifier_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (!notifier_.is_open() ||
        inotify_add_watch(notifier_.get(), store.c_str(), IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF) < 0)
        throw Failure(store + ": cannot be watched (" + strerror(errno) +
                      "); raise fs.inotify.max_user_watches and fs.inotify.max_user_instances");
}

void StoreWatch::clear() {
    alignas(inotify_event) char events[4096];
    uint32_t seen = 0;
    for (ssize_t count = 0; (count = read(notifier_.get(), events, sizeof events)) > 0;)
        for (ssize_t at = 0; at < count;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(events + at);
            seen |= event->mask;
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    struct stat status {};
    const bool is_moved = (seen & IN_MOVE_SELF) != 0;
    const bool is_removed = (seen & IN_ATTRIB) != 0 && stat(file_.c_str(), &status) != 0;
    if (is_moved || is_removed)
        throw Failure(file_ + ": was removed or moved away under the live switch; start it again");
}

} // namespace live
