// Suggestion.h - what somebody probably meant by a word that is not known.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hvk::hvkstat {

/// The nearest of `known` to `word`, by letters to add, drop, change or swap with their neighbour; empty when none is
/// nearer than a third of the word (at least one letter). Of equally near ones the first.
std::optional<std::string> nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace hvk::hvkstat
