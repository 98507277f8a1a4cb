// Plays many sentences with one start of the tool. Most of the time of a sentence goes into what comes before `main`:
// loading, relocating and, with the sanitizers or under an emulator of another processor, getting these ready. This
// stands in for the function of the C library that calls `main`: it forks for each sentence that the runner sends, and
// each child calls the `main` of the program, which is as it always is, on the words of that sentence. So each has the
// memory of a program that has just been started, and ends by itself.
//
// It is linked with the recording libbrgfdb.so into a folder of its own, for runners that ask for it.
#include "recorder.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using Main = int (*)(int, char**, char**);

constexpr int most_words = 4096;
Main program_main;
char* program_words[most_words + 2];

// The words of a sentence, each ended by NUL, from the file that the runner has written them to; returns their number.
// The file is mapped for good: it is only called in the process that plays the sentence.
int read_words() {
    struct stat status {};
    if (fstat(recorder::words_fd, &status) != 0) _exit(1);
    int count = 1; // the name of the program is there
    if (status.st_size > 0) {
        const auto size = static_cast<size_t>(status.st_size);
        void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, recorder::words_fd, 0);
        if (mapped == MAP_FAILED) _exit(1);
        char* word = static_cast<char*>(mapped);
        for (const char* const end = word + size; word < end && count <= most_words; word += strlen(word) + 1)
            program_words[count++] = word;
    }
    program_words[count] = nullptr;
    return count;
}

[[noreturn]] void play() {
    const int count = read_words();
    close(recorder::words_fd);
    close(recorder::server_fd);
    exit(program_main(count, program_words, environ));
}

// Until the runner hangs up. What became of a sentence is its wait status in digits.
int serve(int, char** arguments, char**) {
    program_words[0] = arguments[0];
    char request = 0;
    while (read(recorder::server_fd, &request, 1) == 1) {
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
