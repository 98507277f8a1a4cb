// Plays arbitrary sentences in this process, on libraries that give arbitrary answers. The tool's process end and its
// write come here instead (--wrap of the linker). To see what an input does: scripts/fuzz --replay FILE.
#include "fuzz/run.h"

#include "contract/result.h"
#include "contract/transcript.h"
#include "main/dispatch.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

Run run;

namespace {

std::string usage_text;
bool is_playing = false;
std::jmp_buf end_of_sentence;
int exit_code = 0;

void show(const std::string& text) {
    fwrite(text.data(), 1, text.size(), stderr);
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        std::array<char, 8> escaped{};
        const auto byte = static_cast<unsigned char>(c);
        const bool is_plain = byte >= 0x20 && byte < 0x7f && c != '"' && c != '\\';
        snprintf(escaped.data(), escaped.size(), is_plain ? "%c" : "\\x%02x", byte);
        result += escaped.data();
    }
    return result + "\"";
}

void show_sentence() {
    std::string line = "$";
    for (const std::string& word : run.input.words)
        line += " " + quoted(word);
    show(line + "\n");
}

void show_result() {
    for (const MadeCall& call : run.calls)
        show("> " + (call.text.empty() ? std::string(call.function) : call.text) +
             (call.has_failed ? " failed, status " + std::to_string(call.status) : std::string()) + "\n");
    show(run.output);
}

// --- What may be printed ---

std::string_view word(size_t i) {
    return i < run.input.words.size() ? std::string_view(run.input.words[i]) : std::string_view();
}

bool may_be_silent() {
    if (word(0) == "set" && word(1) == "ether" && run.input.words.size() >= 4)
        return word(3) != "shaping" && word(3) != "share" && run.calls.empty();
    return word(0) == "show" && word(1) == "clslist" && run.calls.size() == 1 && !run.calls[0].has_failed;
}

// Nothing has been asked of the libraries but names.
bool has_changed_nothing() {
    return std::none_of(run.calls.begin(), run.calls.end(), [](const MadeCall& call) { return call.is_bridge; });
}

bool is_catalogue_code(int32_t code) {
    return code == 1 || code == 102 || (code >= 201 && code <= 218) || (code >= 301 && code <= 321);
}

void check_refusal(const Result& refusal) {
    require(!refusal.message.empty() || refusal.code == 314 || refusal.code == 315, "a message says something");
    require(refusal.message.size() <= 127, "a message has at most 127 characters");

    if (run.calls_before_output > 0 && run.calls[run.calls_before_output - 1].has_failed) {
        const int32_t status = run.calls[run.calls_before_output - 1].status;
        require(refusal.code == status || (status == 111 && refusal.code == 109),
                "the code is the status of the failed call");
    } else {
        require(is_catalogue_code(refusal.code), "the code of a refused operand is of the catalogue");
        require(has_changed_nothing(), "a refused operand changes nothing");
    }
}

bool may_end_in_failure() {
    return (word(0) == "create" || word(0) == "delete") && word(1) == "queue" && word(2).find('-') != std::string::npos;
}

} // namespace

void check_outcome() {
    require(exit_code == 0, "the exit status is 0");
    const Result result = read_result(run.output, usage_text);
    switch (result.kind) {
    case ResultKind::nothing: return require(may_be_silent(), "a sentence has an outcome");
    case ResultKind::usage:
    case ResultKind::surplus: return require(has_changed_nothing(), "a bad sentence changes nothing");
    case ResultKind::refusal: return check_refusal(result);
    case ResultKind::ok:
        require(!has_changed_nothing(), "OK follows a change");
        return require(!run.calls.back().has_failed || may_end_in_failure(), "OK follows no failure");
    case ResultKind::other: fail("the output is one document");
    }
}

void fail(const char* claim) {
    show(std::string("\nThis does not hold: ") + claim + "\n");
    show_sentence();
    show_result();
    abort();
}

extern "C" {

[[noreturn]] void __real_exit(int status);
ssize_t __real_write(int fd, const void* bytes, size_t count);

[[noreturn]] void __wrap_exit(int status) {
    if (!is_playing) __real_exit(status);
    exit_code = status;
    std::longjmp(end_of_sentence, 1);
}

ssize_t __wrap_write(int fd, const void* bytes, size_t count) {
    if (!is_playing) return __real_write(fd, bytes, count);
    require(fd == STDOUT_FILENO, "only standard output is written");
    require(count > 0, "something is written");

    size_t accepted = count;
    if (!run.has_written) {
        run.calls_before_output = run.calls.size();
        run.has_written = true;
        if (run.input.first_write == first_write::is_interrupted) {
            errno = EINTR;
            return -1;
        }
        if (run.input.first_write != first_write::takes_all && run.input.first_write != first_write::fails)
            accepted = std::min<size_t>(count, run.input.first_write);
    }
    run.output.append(static_cast<const char*>(bytes), accepted);
    if (run.input.first_write == first_write::fails) {
        errno = ENOSPC;
        return -1;
    }
    return static_cast<ssize_t>(accepted);
}

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    usage_text = read_file(TRANSCRIPT_FOLDER "/usage.golden");
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    run = Run{};
    run.input = decode(data, size);
    run.is_shown = getenv("FUZZ_SHOW") != nullptr;
    if (run.is_shown) show_sentence();

    // Every word in a piece of memory of its own size, and so the list of words, so that a byte too far is noticed.
    const size_t count = run.input.words.size();
    std::vector<std::unique_ptr<char[]>> copies;
    const std::unique_ptr<char*[]> words(new char*[count + 1]);
    for (size_t i = 0; i < count; ++i) {
        const std::string& text = run.input.words[i];
        copies.emplace_back(new char[text.size() + 1]);
        std::copy_n(text.c_str(), text.size() + 1, copies[i].get());
        words[i] = copies[i].get();
    }
    words[count] = nullptr;

    exit_code = 0;
    is_playing = true;
    if (setjmp(end_of_sentence) == 0) dispatch(static_cast<int32_t>(count), words.get());
    is_playing = false;

    if (run.is_shown) show_result();
    check_outcome();
    for (size_t i = 0; i < count; ++i)
        require(run.input.words[i] == words[i], "the words are left as they are");
    return 0;
}

} // extern "C"
