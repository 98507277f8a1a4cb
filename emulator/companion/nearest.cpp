// Distances between words.
#include "companion/nearest.h"

#include <algorithm>

namespace {

// A slip in every third letter, and one in short words.
size_t farthest(std::string_view word) {
    return std::max<size_t>(word.size() < 4 ? 1 : 2, word.size() / 3);
}

} // namespace

size_t edit_distance(std::string_view one, std::string_view other) {
    std::vector<size_t> before;
    std::vector<size_t> above(other.size() + 1);
    std::vector<size_t> row(other.size() + 1);
    for (size_t j = 0; j <= other.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= one.size(); ++i) {
        before = above;
        above = row;
        row[0] = i;
        for (size_t j = 1; j <= other.size(); ++j) {
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1)});
            const bool is_swapped = i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
            if (is_swapped) row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row.back();
}

std::optional<std::string> nearest_word(std::string_view word, const std::vector<std::string>& known) {
    constexpr size_t longest = 64; // nobody mistypes more than that
    if (word.empty() || word.size() > longest) return std::nullopt;
    const std::string* best = nullptr;
    size_t least = farthest(word) + 1;
    for (const std::string& one : known) {
        const size_t difference = std::max(word.size(), one.size()) - std::min(word.size(), one.size());
        if (difference >= least) continue;
        const size_t distance = edit_distance(word, one);
        if (distance >= least || distance >= std::max(word.size(), one.size())) continue;
        least = distance;
        best = &one;
    }
    if (best == nullptr) return std::nullopt;
    return *best;
}

std::string did_you_mean(std::string_view word, const std::vector<std::string>& known) {
    const std::optional<std::string> nearest = nearest_word(word, known);
    return nearest ? ", did you mean \"" + *nearest + "\"?" : "";
}
