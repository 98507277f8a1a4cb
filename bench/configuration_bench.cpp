// Prints how long each part of the configuration of the store that EMUSWITCH names takes to compile, by the processor's
// time: the least of some rounds. It judges nothing. bench/trace builds and runs it.
#include "companion/configuration_compiler.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>

namespace {

constexpr int rounds = 9;

double milliseconds_used() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

void measure(const char* name, const std::function<void()>& compile) {
    double least = std::numeric_limits<double>::max();
    for (int round = 0; round < rounds; ++round) {
        const double begin = milliseconds_used();
        compile();
        least = std::min(least, milliseconds_used() - begin);
    }
    std::printf("%-36s %8.2f ms\n", name, least);
}

} // namespace

int main() {
    Database database(store_path());
    ConfigurationCompiler compiler(database);
    const auto ports = compiler.ports();
    const auto lists = compiler.lists();
    measure("ports", [&] { compiler.ports(); });
    measure("VLANs", [&] { compiler.vlans(*ports, *lists); });
    measure("filter entries", [&] { compiler.filters(*ports); });
    measure("lists, all rules", [&] { compiler.lists(); });
    if (!lists->lists.empty()) measure("one list", [&] { compiler.lists(*lists, {lists->lists.front()->number}); });
    measure("lists without their rules", [&] { compiler.lists_without_rules(); });
    measure("mirrors", [&] { compiler.mirrors(*ports); });
    measure("quality of service", [&] { compiler.qos(*ports); });
    return 0;
}
