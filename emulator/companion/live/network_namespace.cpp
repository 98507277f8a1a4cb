// Network namespaces, found by the processes in them.
#include "companion/live/network_namespace.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

namespace live {

namespace {

namespace fs = std::filesystem;

// Files that stand for the namespaces of the machine, as far as this user may see them; one may come several times.
std::vector<fs::path> namespace_files() {
    std::vector<fs::path> files;
    std::error_code unseen;
    for (const fs::directory_entry& entry : fs::directory_iterator("/run/netns", unseen))
        files.push_back(entry.path());
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc", unseen)) {
        const std::string name = entry.path().filename();
        if (std::all_of(name.begin(), name.end(), [](unsigned char c) { return isdigit(c) != 0; }))
            files.push_back(entry.path() / "ns/net");
    }
    return files;
}

Descriptor open_namespace(const fs::path& file) {
    return Descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
}

std::shared_ptr<Descriptor> control_inside(const Descriptor& inside) {
    const Descriptor home = open_namespace("/proc/self/ns/net");
    if (!home.is_open() || setns(inside.get(), CLONE_NEWNET) != 0) return nullptr;
    auto control = open_control();
    if (setns(home.get(), CLONE_NEWNET) != 0) abort(); // we may enter what we came from
    return control;
}

} // namespace

std::shared_ptr<Descriptor> open_control() {
    auto control = std::make_shared<Descriptor>(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return control->is_open() ? control : nullptr;
}

std::shared_ptr<Descriptor> open_control_in(LinkTable& links, int namespace_number) {
    std::set<ino_t> seen;
    for (const fs::path& file : namespace_files()) {
        struct stat status {};
        if (stat(file.c_str(), &status) != 0 || !seen.insert(status.st_ino).second) continue;
        const Descriptor inside = open_namespace(file);
        if (inside.is_open() && links.number_of_namespace(inside.get()) == namespace_number)
            return control_inside(inside);
    }
    return nullptr;
}

} // namespace live
