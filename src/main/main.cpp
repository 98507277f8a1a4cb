// tolvane: one command sentence for the bridge of the switch, one result document.
#include "main/dispatch.h"

#include <csignal>

namespace {

// The status is 0 whatever the outcome, also when nobody reads it any more or there is no room for it: callers go by
// the document. Blocking both signals takes one system call, ignoring them one each.
void outlive_a_failing_write() {
    sigset_t signals{}; // empty; each function of the C library that is called costs a look-up
    sigaddset(&signals, SIGPIPE);
    sigaddset(&signals, SIGXFSZ);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

int main(int argc, char** argv) {
    outlive_a_failing_write();
    dispatch(argc - 1, argv + 1);
    return 0;
}
