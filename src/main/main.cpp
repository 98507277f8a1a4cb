// tolvane: one command sentence for the bridge of the switch, one result document.
#include "main/dispatch.h"

#include <csignal>

// The status is 0 whatever the outcome, also when nobody reads it any more or there is no room for it: callers go by
// the document.
int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    dispatch(argc - 1, argv + 1);
    return 0;
}
