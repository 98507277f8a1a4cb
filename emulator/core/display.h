// The display of classification lists.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>

namespace emulator {

// Text that grows; it owns its memory.
class Page {
public:
    Page() = default;
    ~Page();
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    void put(const char* text) { put(text, 0); }
    void put(const char* text, size_t width); // blanks behind it up to the width
    void put(int64_t number, size_t width);   // blanks before it
    void end_line();                          // without blanks at its end
    void clear() { length_ = 0; }
    void show() const; // on standard output, in turn with what the process prints itself
    const char* text() const { return text_ != nullptr ? text_ : ""; }
    bool is_broken() const { return is_broken_; } // there was no memory for it

private:
    bool make_room(size_t more);

    char* text_ = nullptr;
    size_t length_ = 0;
    size_t room_ = 0;
    bool is_broken_ = false;
};

// The rules of a list, or of all lists for 0, one a line.
class Display {
public:
    explicit Display(int32_t list) : list_(list) {}
    ~Display() { sqlite3_close(copy_); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    // To be called in a call of the library: looks what there is and copies it. Returns 0 or the status of a refusal.
    int32_t prepare();

    // What the display begins with, and whether that is all of it. Many rules are laid out behind the call, which would
    // hold up the switch.
    const char* beginning() const { return page_.text(); }
    bool is_whole() const { return is_whole_; }

    // Shows it. Returns 0, or the status where that failed.
    int32_t show();

private:
    void write_all();

    int32_t list_;
    sqlite3* copy_ = nullptr;
    Page page_;
    bool is_whole_ = false;
};

} // namespace emulator
