// One call of a library: transaction, faults, log.
#include "core/call.h"

#include "core/limits.h"
#include "core/process.h"
#include "core/query.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace emulator {

namespace {

pthread_mutex_t thread_turn = PTHREAD_MUTEX_INITIALIZER; // among the threads of this process

// Counts the faults of the function down by one call. Returns the status to refuse this one with, or 0.
int32_t next_fault(const char* function) {
    int32_t status = 0;
    bool is_hit = false;
    Rows faults("SELECT id, status, skip, times FROM fault WHERE function = ?1 ORDER BY id", function);
    while (faults.next()) {
        const int64_t id = faults.number(0);
        if (faults.number(2) > 0) {
            change("UPDATE fault SET skip = skip - 1 WHERE id = ?1", id);
        } else if (!is_hit) {
            is_hit = true;
            status = static_cast<int32_t>(faults.number(1));
            if (faults.number(3) > 1)
                change("UPDATE fault SET times = times - 1 WHERE id = ?1", id);
            else
                change("DELETE FROM fault WHERE id = ?1", id);
        }
    }
    return status;
}

} // namespace

OneThread::OneThread() {
    pthread_mutex_lock(&thread_turn);
}

OneThread::~OneThread() {
    pthread_mutex_unlock(&thread_turn);
}

void Call::answer(const char* name, uint32_t value) {
    answer_text_.put(" = 0 ");
    answer_text_.put(name);
    answer_text_.put(' ');
    notation::write_unsigned(answer_text_, value);
}

void Call::answer_print(const char* text, bool is_whole) {
    constexpr size_t longest = 400;
    char start[longest + 1];
    const size_t length = strlen(text);
    memcpy(start, text, length < longest ? length : longest);
    start[length < longest ? length : longest] = '\0';
    answer_text_.put(" = 0 prints ");
    notation::write_quoted(answer_text_, start);
    if (length > longest || !is_whole) answer_text_.put("...");
}

int32_t Call::begin(store::Waiting waiting) {
    pthread_mutex_lock(&thread_turn);
    if (const int32_t status = store::begin(waiting); status != 0) return status;
    is_open_ = true;
    const int32_t fault = next_fault(function_);
    is_fault_ = fault != 0;
    return fault;
}

int32_t Call::end(int32_t outcome, bool has_status) {
    if (is_open_ && store::failure() != 0) outcome = store::failure();
    // What a refused operation has changed goes; what the call did to the faults stays.
    if (is_open_ && outcome != 0 && !is_fault_ && store::is_changed()) {
        is_open_ = store::begin_again() == 0;
        if (is_open_) next_fault(function_);
    }
    if (is_open_) {
        const int32_t status = log_and_commit(outcome, has_status);
        if (outcome == 0) outcome = status;
    }
    pthread_mutex_unlock(&thread_turn);
    return outcome;
}

int32_t Call::log_and_commit(int32_t outcome, bool has_status) {
    if (outcome != 0) {
        answer_text_ = notation::Text(answer_, sizeof answer_);
        answer_text_.put(" = -1");
        if (has_status) {
            answer_text_.put(" status ");
            notation::write_signed(answer_text_, outcome);
        }
    }
    char line[sizeof call_ + sizeof answer_ + 4];
    snprintf(line, sizeof line, "%s%s%s", call_, text_.is_cut ? "..." : "", answer_);
    change("INSERT INTO call_log (at, pid, run, sentence, call)"
           " VALUES (strftime('%Y-%m-%d %H:%M:%f'), ?1, ?2, ?3, ?4)",
           getpid(), run_number(), sentence(), line);
    prune("DELETE FROM call_log WHERE id <= min(?1, (SELECT min(id) FROM call_log) + ?2 - 1)", "calls");
    if (const int32_t status = store::failure(); status != 0) {
        store::roll_back();
        return status;
    }
    return store::commit();
}

} // namespace emulator
