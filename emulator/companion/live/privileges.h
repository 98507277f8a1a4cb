// What a live switch may do, and what it gives up.
#pragma once

#include <functional>
#include <string>

namespace live {

// Asks for real-time priority, so that frames do not wait for other programs. Returns how it went, for people: empty
// where it was granted, else why not and what to do.
std::string take_priority();

// Gives up every right beyond those of the user whose switch it is: the owner of the store (of its folder where it is
// not there yet); for root's own, root without its rights. For good. Throws `Failure`.
void give_up_privileges(const std::string& store);

// SIGINT, SIGTERM and SIGHUP wait from now on, so that nothing is left half done.
void block_ending_signals();

// Runs `work` in a child and waits for it; the signals above are passed on to it, where they wait as well. Returns its
// exit status. However the child ends, this process goes on and can clean up behind it. The other way round, `work` is
// given a descriptor that becomes readable when this process is no more.
int run_guarded(const std::function<int(int guard)>& work);

} // namespace live
