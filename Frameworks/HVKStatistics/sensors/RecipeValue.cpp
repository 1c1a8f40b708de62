#include "HVKStatistics/sensors/RecipeValue.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace hvk {

const Value& recipeEntry(const Value& dictionary, const char* key) {
    static const Value absent;
    if (!dictionary.is_object()) return absent;
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? absent : *found;
}

bool hasRecipeEntry(const Value& dictionary, const char* key) {
    return dictionary.is_object() && dictionary.contains(key);
}

std::string recipeText(const Value& value) { return value.is_string() ? value.get<std::string>() : std::string(); }

std::int64_t recipeInteger(const Value& value) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(Limits::max()))
        return Limits::max();
    if (value.is_number_integer()) return value.get<std::int64_t>();
    if (value.is_number_float()) {
        const double number = value.get<double>();
        if (std::isnan(number)) return 0;
        if (number >= 0x1p63) return Limits::max();
        if (number <= -0x1p63) return Limits::min();
        return static_cast<std::int64_t>(number);
    }
    std::int64_t number = 0;
    if (value.is_string()) {
        const std::string& text = value.get_ref<const std::string&>();
        std::from_chars(text.data(), text.data() + text.size(), number);
    }
    return number;
}

std::string recipeReplaced(std::string text, std::string_view what, std::string_view with) {
    if (what.empty()) return text;
    std::string result;
    std::size_t begin = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, begin)) {
        result.append(text, begin, at - begin).append(with);
        begin = at + what.size();
    }
    return result.append(text, begin);
}

}  // namespace hvk
