// Plays many sentences with one start of the tool. Most of the time of a sentence goes into what comes before `main`:
// loading, relocating and, with the sanitizers or under an emulator of another processor, getting these ready. This
// stands in for the function of the C library that calls `main`: it forks for each sentence that the runner sends, and
// each child calls the `main` of the program, which is as it always is, on the words of that sentence. So each has the
// memory of a program that has just been started, and ends by itself.
//
// Under an emulator most of what is left is the translation of what a sentence runs, which is lost with the child. So
// there the sentence is rehearsed before the child is forked, which then finds everything translated.
//
// It is linked with the recording libbrgfdb.so into a folder of its own, for runners that ask for it.
#include "recorder.h"

#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using Main = int (*)(int, char**, char**);

constexpr int most_words = 4096;
Main program_main;
char* program_words[most_words + 2];

struct Bytes {
    char* start = nullptr;
    size_t size = 0;
};

// The words of a sentence, each ended by NUL, and the memory that they have for themselves: it ends with the last of
// them, so that to read on ends the process.
struct Words {
    Bytes mapped;
    Bytes text;
};

// From the file that the runner has written them to.
Words read_words() {
    struct stat status {};
    if (fstat(recorder::words_fd, &status) != 0) _exit(1);
    const auto size = static_cast<size_t>(status.st_size);
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t room = (size + page - 1) / page * page;
    void* const mapped = mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) _exit(1);
    char* const end = static_cast<char*>(mapped) + room;
    if (mprotect(end, page, PROT_NONE) != 0) _exit(1);
    if (pread(recorder::words_fd, end - size, size, 0) != static_cast<ssize_t>(size)) _exit(1);
    return {{static_cast<char*>(mapped), room + page}, {end - size, size}};
}

int run_main(const Bytes& words) {
    int count = 1; // the name of the program is there
    char* word = words.start;
    for (const char* const end = word + words.size; word < end && count <= most_words; word += strlen(word) + 1)
        program_words[count++] = word;
    program_words[count] = nullptr;
    return program_main(count, program_words, environ);
}

[[noreturn]] void play() {
    const Words words = read_words();
    close(recorder::words_fd);
    close(recorder::server_fd);
    exit(run_main(words.text));
}

#if defined(__powerpc__)
constexpr bool is_emulated = true;
#else
constexpr bool is_emulated = false;
#endif

sigjmp_buf end_of_rehearsal;
bool is_rehearsing = false;

// All of the program that a sentence can change: its data, but for what the loader has made read-only. Neither it nor
// its libraries here have a heap, and what the libraries keep is written anew before it is read.
int find_data(dl_phdr_info* program, size_t, void* found) {
    Bytes data;
    uintptr_t read_only_end = 0;
    for (const ElfW(Phdr)* part = program->dlpi_phdr; part < program->dlpi_phdr + program->dlpi_phnum; ++part) {
        const uintptr_t start = program->dlpi_addr + part->p_vaddr;
        if (part->p_type == PT_LOAD && (part->p_flags & PF_W) != 0)
            data = {reinterpret_cast<char*>(start), part->p_memsz};
        if (part->p_type == PT_GNU_RELRO) read_only_end = start + part->p_memsz;
    }
    const uintptr_t start = reinterpret_cast<uintptr_t>(data.start);
    if (read_only_end > start) data = {reinterpret_cast<char*>(read_only_end), start + data.size - read_only_end};
    *static_cast<Bytes*>(found) = data;
    return 1; // the program is the first
}

// Plays the sentence that is asked for, and has nothing left of it.
void rehearse() {
    static Bytes data;
    static char as_loaded[4096];
    if (data.start == nullptr) {
        dl_iterate_phdr(find_data, &data);
        if (data.size > sizeof as_loaded) _exit(1);
        memcpy(as_loaded, data.start, data.size);
    }

    const Words words = read_words();
    is_rehearsing = true;
    if (sigsetjmp(end_of_rehearsal, 1) == 0) run_main(words.text);
    is_rehearsing = false;
    fflush(nullptr);
    munmap(words.mapped.start, words.mapped.size);

    memcpy(data.start, as_loaded, data.size);
    const int written[] = {STDOUT_FILENO, STDERR_FILENO, recorder::recording_fd};
    for (const int file : written) {
        if (lseek(file, 0, SEEK_SET) != 0 || ftruncate(file, 0) != 0) _exit(1);
    }
    if (lseek(recorder::answers_fd, 0, SEEK_SET) != 0) _exit(1);
}

// Until the runner hangs up. What became of a sentence is its wait status in digits.
int serve(int, char** arguments, char**) {
    program_words[0] = arguments[0];
    char request = 0;
    while (read(recorder::server_fd, &request, 1) == 1) {
        if (is_emulated) rehearse();
        const pid_t child = fork();
        if (child < 0) return 1;
        if (child == 0) play();
        int status = 0;
        if (waitpid(child, &status, 0) != child) return 1;
        char text[16];
        const int length = snprintf(text, sizeof text, "%d %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                                    WIFSIGNALED(status) ? WTERMSIG(status) : 0);
        recorder::write_all(recorder::server_fd, text, static_cast<size_t>(length));
    }
    return 0;
}

template <typename Function> Function* next_of(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The end of a rehearsal is not that of the server. The C library has nothing to do at the end of the program, which
// registers nothing there: that each child has this translated once more is spared. A start of its own goes through it.
extern "C" void exit(int status) noexcept {
    if (is_rehearsing) siglongjmp(end_of_rehearsal, 1);
    if (is_emulated) {
        fflush(nullptr);
        _exit(status);
    }
    next_of<void(int)>("exit")(status);
    __builtin_unreachable();
}

#if defined(__powerpc__) && !defined(__powerpc64__)

// Where a program for this processor has its `main`, as its start-up code hands it to the C library.
struct StartupInfo {
    void* small_data;
    Main main;
    void (*initialise)();
    void (*finish)();
};

extern "C" int __libc_start_main(int count, char** arguments, char** variables, void* auxiliary, void (*finish)(),
                                 StartupInfo* info, char** stack);

extern "C" int __libc_start_main(int count, char** arguments, char** variables, void* auxiliary, void (*finish)(),
                                 StartupInfo* info, char** stack) {
    program_main = info->main;
    StartupInfo serving = *info;
    serving.main = serve;
    return next_of<decltype(__libc_start_main)>("__libc_start_main")(count, arguments, variables, auxiliary, finish,
                                                                     &serving, stack);
}

#else

extern "C" int __libc_start_main(Main main, int count, char** arguments, void (*initialise)(), void (*finish)(),
                                 void (*finish_loader)(), void* stack);

extern "C" int __libc_start_main(Main main, int count, char** arguments, void (*initialise)(), void (*finish)(),
                                 void (*finish_loader)(), void* stack) {
    program_main = main;
    return next_of<decltype(__libc_start_main)>("__libc_start_main")(serve, count, arguments, initialise, finish,
                                                                     finish_loader, stack);
}

#endif
