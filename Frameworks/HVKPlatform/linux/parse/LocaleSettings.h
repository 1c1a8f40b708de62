// LocaleSettings.h - the variables that name a locale (locale(7)), and the languages that they ask for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace hvk::parse {

/// The variables; "" is one that is not set.
struct LocaleSettings {
    std::string all;       ///< LC_ALL: before every other
    std::string messages;  ///< LC_MESSAGES: for texts
    std::string lang;      ///< LANG: for what has no variable of its own
    std::string language;  ///< LANGUAGE: several for texts, "de_AT:de:fr"

    bool isEmpty() const { return all.empty() && messages.empty() && lang.empty() && language.empty(); }
};

/// The variables in a file of assignments such as /etc/locale.conf: NAME=value, NAME="value", with "export" before
/// them or not. The last one of a name holds; other lines are passed over.
LocaleSettings parseLocaleSettings(std::string_view text);

/// The languages as tags, the most preferred first, each once: "de_AT.UTF-8@euro" is "de-AT". The locale of programs
/// ("C", "POSIX", or nothing set) is English, whatever LANGUAGE says, as gettext(3) has it.
std::vector<std::string> preferredLanguages(const LocaleSettings& settings);

}  // namespace hvk::parse
