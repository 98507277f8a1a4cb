// Reading switches from files.
#include "companion/switch_file.h"

#include "companion/child_process.h"
#include "companion/interrupts.h"
#include "companion/sentence.h"
#include "companion/words.h"
#include "core/store.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>

namespace fs = std::filesystem;

namespace {

enum class Contents { store, sentences, neither };

// By how it begins. A pipe is not looked into: what is read of it is gone.
Contents contents_of(const std::string& file) {
    static constexpr char magic[] = "SQLite format 3";
    std::array<char, 100> beginning{};
    if (!fs::is_regular_file(file)) return Contents::sentences;
    std::ifstream in(file, std::ios::binary);
    in.read(beginning.data(), beginning.size());
    if (memcmp(beginning.data(), magic, sizeof magic) == 0) return Contents::store;
    const std::string_view text(beginning.data(), static_cast<size_t>(in.gcount()));
    return text.find('\0') == std::string_view::npos ? Contents::sentences : Contents::neither;
}

SwitchModel play_on_empty_switch(const std::string& file) {
    const std::vector<Sentence> sentences = read_sentences(file);
    if (sentences.empty()) {
        Database empty = Database::fresh();
        return SwitchModel(empty);
    }
    const PatientInterrupts interrupts;
    const PrivateFolder folder;
    const std::string store = folder.file("switch.db");
    prepare_environment(store);
    for (const Sentence& sentence : sentences) {
        const Said said = say(sentence);
        if (!said.refusal.empty()) {
            std::cerr << told(file, sentence, said) << "\n";
            throw Failure("");
        }
        if (PatientInterrupts::has_come()) throw Failure("interrupted at line " + std::to_string(sentence.line));
    }
    return read_store(store);
}

} // namespace

SwitchModel read_store(const std::string& file) {
    setenv("EMUSWITCH", file.c_str(), 1);
    emulator::store::close();
    Database snapshot = Database::snapshot();
    emulator::store::close();
    return SwitchModel(snapshot);
}

SwitchModel read_switch(const std::string& file) {
    if (file == "-") return play_on_empty_switch(file);
    std::error_code problem;
    const fs::file_status status = fs::status(file, problem);
    if (!fs::exists(status))
        throw Failure(file + ": there is no such file; name a switch's store, or a file of sentences");
    if (fs::is_directory(status)) throw Failure(file + ": is a folder; name a switch's store, or a file of sentences");
    const Contents contents = contents_of(file);
    // In one line, where each of its own would be a bad sentence.
    if (contents == Contents::neither)
        throw Failure(file + ": neither a switch's store nor a file of sentences: there is a NUL in its first bytes");
    if (contents == Contents::sentences) return play_on_empty_switch(file);
    Database copy = Database::copy_of(file);
    return SwitchModel(copy);
}

std::string say_to(const std::string& store, const std::string& line) {
    setenv("EMUSWITCH", store.c_str(), 1);
    Sentence sentence;
    sentence.text = line;
    sentence.words = split_words(line);
    return say(sentence).refusal;
}
