// One call of a library: written down, made as one transaction, logged in it, and answered.
#pragma once

#include "core/store.h"
#include "notation.h"

#include <cstdint>

namespace emulator {

// What is kept of the store belongs to one thread of the process at a time.
class OneThread {
public:
    OneThread();
    ~OneThread();
    OneThread(const OneThread&) = delete;
    OneThread& operator=(const OneThread&) = delete;
};

class Call {
public:
    template <typename... Arguments>
    // cppcheck-suppress uninitMemberVar ; the buffers hold what their texts put there, and nothing reads beyond
    explicit Call(const char* function, const Arguments&... arguments) : function_(function) {
        notation::write_call(text_, function, arguments...);
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() = default;

    // Makes the change: `operation` returns 0, or the status with which the switch refuses, and then nothing of what it
    // did is kept. Returns 0, or -1 with the status stored where the function has one.
    template <typename Operation> int32_t make(int32_t* status, Operation operation) {
        int32_t outcome = begin(store::Waiting::to_the_limit);
        if (outcome == 0) outcome = operation();
        outcome = end(outcome, status != nullptr);
        if (outcome == 0) return 0;
        if (status != nullptr) *status = outcome;
        return -1;
    }
    template <typename Operation> int32_t make(Operation operation) { return make(nullptr, operation); }

    // The same for what follows an accepted change and must not be lost: whoever holds up the switch is waited for.
    template <typename Operation> int32_t tell(Operation operation) {
        int32_t outcome = begin(store::Waiting::without_end);
        if (outcome == 0) outcome = operation();
        return end(outcome, false) == 0 ? 0 : -1;
    }

    // What the function answers beside its result: ` vid 10`.
    void answer(const char* name, uint32_t value);
    void answer_print(const char* text, bool is_whole);

private:
    // Takes the store, and refuses where a fault is to be played. Returns 0 or the status.
    int32_t begin(store::Waiting waiting);
    int32_t end(int32_t outcome, bool has_status);
    int32_t log_and_commit(int32_t outcome, bool has_status);

    const char* function_;
    char call_[4000]; // longer ones end with dots in the log
    char answer_[1700];
    notation::Text text_{call_, sizeof call_};
    notation::Text answer_text_{answer_, sizeof answer_};
    bool is_open_ = false;  // the transaction
    bool is_fault_ = false; // refused by one
};

} // namespace emulator
