// RecipeText.h - a JSON text as somebody wrote it: every value with its line, keys that are there twice included.
//
// A dictionary of values forgets both. What may be in a recipe is RecipeCheck's business.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::hvkstat {

/// A value and where it stands.
struct RecipeNode {
    enum class Kind { Null, Boolean, Integer, Number, Text, List, Dictionary };

    Kind kind = Kind::Null;
    std::string key;                ///< of an entry of a dictionary
    std::size_t line = 0;           ///< where it begins; of an entry of a dictionary, where its key stands
    double number = 0;              ///< of an integer or a number
    std::string text;               ///< of a text
    std::vector<RecipeNode> items;  ///< of a list, and of a dictionary in the order of the text

    /// The last entry of that key, as every reader takes it; null for none.
    const RecipeNode* find(std::string_view wanted) const;

    bool isNumber() const { return kind == Kind::Integer || kind == Kind::Number; }
};

/// Where a text stops being JSON.
struct RecipeTextFault {
    std::size_t line = 0;
    std::string detail;
};

/// Reads a text; fills `fault` when it is no JSON or is nested too deeply, and answers null then.
RecipeNode readRecipeText(std::string_view text, RecipeTextFault& fault);

}  // namespace hvk::hvkstat
