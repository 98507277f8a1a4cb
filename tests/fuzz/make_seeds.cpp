// Turns the transcripts into the fuzzer's first inputs, one file a sentence, and a dictionary of their words.
#include "contract/transcript.h"
#include "fuzz/input.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>

namespace {

// Answers have numbers that fit 32 bits, statuses and VLAN ids beyond them are cut.
int32_t to_number(const std::string& text) {
    return text.empty() ? 0 : static_cast<int32_t>(std::stoll(text));
}

Input to_input(const Case& item) {
    Input input;
    input.words = item.words;
    for (const Call& call : item.calls) {
        const bool is_known_protocol = call.text.starts_with("getprotobyname") && !call.value.empty();
        input.answers.push_back({to_number(call.result), to_number(call.status), to_number(call.value),
                                 !call.status.empty() || is_known_protocol});
    }
    return input;
}

std::string dictionary_entry(const std::string& word) {
    constexpr char digits[] = "0123456789abcdef";
    std::string entry = "\"";
    for (const char c : word) {
        const auto byte = static_cast<unsigned char>(c);
        if (isalnum(byte) != 0)
            entry += c;
        else
            entry += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
    }
    return entry + "\"\n";
}

void write_file(const std::filesystem::path& path, const std::string& contents) {
    std::ofstream out(path, std::ios::binary);
    if (!(out << contents).flush()) throw std::runtime_error(path.string() + ": cannot be written");
}

void make_seeds(const std::filesystem::path& transcripts, const std::filesystem::path& folder,
                const std::filesystem::path& dictionary) {
    constexpr size_t longest_seed = 4096;
    constexpr size_t longest_word = 32;
    std::set<std::string> words;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    for (const auto& entry : std::filesystem::directory_iterator(transcripts)) {
        if (entry.path().extension() != ".txt" || entry.path().stem() == "CMakeLists") continue;
        for (const Case& item : read_transcript(entry.path(), "")) {
            const std::string seed = encode(to_input(item));
            if (seed.size() <= longest_seed) write_file(folder / (item.file + "-" + std::to_string(item.line)), seed);
            for (const std::string& word : item.words)
                if (!word.empty() && word.size() <= longest_word) words.insert(word);
        }
    }
    std::string text;
    for (const std::string& word : words)
        text += dictionary_entry(word);
    write_file(dictionary, text);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: make_seeds TRANSCRIPTS SEEDS DICTIONARY\n";
        return 2;
    }
    try {
        make_seeds(argv[1], argv[2], argv[3]);
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << "\n";
        return 1;
    }
}
