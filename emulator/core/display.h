// The display of classification lists.
#pragma once

#include <cstdint>

namespace emulator {

// Text that grows; it owns its memory.
class Page {
public:
    Page() = default;
    ~Page();
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    [[gnu::format(printf, 2, 3)]] void print(const char* format, ...);
    void trim_blanks(); // at the end
    void show() const;  // on standard output, in turn with what the process prints itself
    const char* text() const { return text_ != nullptr ? text_ : ""; }
    bool is_broken() const { return is_broken_; } // there was no memory for it

private:
    char* text_ = nullptr;
    unsigned long length_ = 0;
    unsigned long room_ = 0;
    bool is_broken_ = false;
};

// Writes the rules of a list, or of all lists for 0, one a line. Returns 0 or the status of a refusal.
int32_t display_classify(int32_t list, Page& page);

} // namespace emulator
