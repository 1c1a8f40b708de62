#include "hvkstat/Suggestion.h"

#include <algorithm>

namespace hvk::hvkstat {

namespace {

/// Letters to add, drop, change or swap with their neighbour to get from one word to the other.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::vector<std::size_t>> steps(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t row = 0; row <= from.size(); ++row) {
        for (std::size_t column = 0; column <= to.size(); ++column) {
            std::size_t& best = steps[row][column];
            if (row == 0 || column == 0) {
                best = row + column;
                continue;
            }
            const bool same = from[row - 1] == to[column - 1];
            best = std::min(
                {steps[row - 1][column] + 1, steps[row][column - 1] + 1, steps[row - 1][column - 1] + (same ? 0 : 1)});
            if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1])
                best = std::min(best, steps[row - 2][column - 2] + 1);
        }
    }
    return steps[from.size()][to.size()];
}

}  // namespace

std::optional<std::string> nearest(std::string_view word, const std::vector<std::string>& known) {
    constexpr std::size_t LongestWord = 64;
    if (word.size() > LongestWord) return std::nullopt;
    std::optional<std::string> best;
    std::size_t bestDistance = std::max<std::size_t>(1, word.size() / 3) + 1;
    for (const std::string& candidate : known) {
        const std::size_t steps = distance(word, candidate);
        if (steps >= bestDistance) continue;
        best = candidate;
        bestDistance = steps;
    }
    return best;
}

}  // namespace hvk::hvkstat
