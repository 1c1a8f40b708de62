// RecipeCheck.h - what is wrong with the text of a recipe, with the line and the key of each fault.
//
// The loader takes what it can from any recipe; this is for those who write one. It knows every key and every rule of
// docs/recipes.md, but not whether a machine has a sensor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hvk::hvkstat {

/// One fault.
struct RecipeFault {
    std::size_t line = 0;  ///< of the text, from 1
    std::string key;       ///< where in it: "sensors.supported[3].sensors[0].type"; "" for the whole
    std::string detail;

    bool operator==(const RecipeFault&) const = default;
};

/// What is known of a text.
struct RecipeReport {
    std::vector<RecipeFault> faults;  ///< by line
    std::int64_t version = 0;
    std::size_t entries = 0;  ///< sensor entries, those in groups included
};

/// Looks at all of a text. One that is no JSON has that fault alone. A text without "sensors" is a global recipe, of
/// which only "version" and keys that are there twice can be judged.
RecipeReport checkRecipe(std::string_view text);

}  // namespace hvk::hvkstat
