// RecipeValue.h - entries of a recipe, of whatever kind its writer gave them. Nothing is refused here: what is absent
// or of another kind is null, "" or 0. Thread: any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// The entry of a dictionary; null for none, and for what is no dictionary. Valid as long as the dictionary.
HVK_EXPORT const Value& recipeEntry(const Value& dictionary, const char* key);

/// Whether a dictionary has the entry, whatever its value.
HVK_EXPORT bool hasRecipeEntry(const Value& dictionary, const char* key);

/// A text; "" for anything else.
HVK_EXPORT std::string recipeText(const Value& value);

/// A number without its fraction, kept inside the range of the type; true is 1; a text counts by the number that it
/// begins with.
HVK_EXPORT std::int64_t recipeInteger(const Value& value);

/// The text with each `what` replaced; an empty `what` replaces nothing.
HVK_EXPORT std::string recipeReplaced(std::string text, std::string_view what, std::string_view with);

}  // namespace hvk
