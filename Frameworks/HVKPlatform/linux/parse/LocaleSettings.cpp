#include "HVKPlatform/linux/parse/LocaleSettings.h"

#include <algorithm>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

/// "de_AT.UTF-8@euro" gives "de-AT"; "" for the locale of programs.
std::string languageTag(std::string_view locale) {
    locale = locale.substr(0, locale.find_first_of(".@"));
    if (locale == "C" || locale == "POSIX") return {};
    std::string tag(locale);
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag;
}

std::string_view unquoted(std::string_view value) {
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        return value.substr(1, value.size() - 2);
    return value;
}

}  // namespace

LocaleSettings parseLocaleSettings(std::string_view text) {
    LocaleSettings settings;
    while (!text.empty()) {
        bool complete = false;
        std::string_view line = trimmed(takeLine(text, complete));
        constexpr std::string_view Export = "export ";
        if (line.starts_with(Export)) line = trimmed(line.substr(Export.size()));
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view name = line.substr(0, equals);
        const std::string_view value = unquoted(line.substr(equals + 1));
        if (name == "LC_ALL") settings.all = value;
        if (name == "LC_MESSAGES") settings.messages = value;
        if (name == "LANG") settings.lang = value;
        if (name == "LANGUAGE") settings.language = value;
    }
    return settings;
}

std::vector<std::string> preferredLanguages(const LocaleSettings& settings) {
    const std::string& locale = !settings.all.empty()        ? settings.all
                                : !settings.messages.empty() ? settings.messages
                                                             : settings.lang;
    const std::string ofLocale = languageTag(locale);
    if (ofLocale.empty()) return {"en"};
    std::vector<std::string> languages;
    const auto add = [&](const std::string& language) {
        if (!language.empty() && std::find(languages.begin(), languages.end(), language) == languages.end())
            languages.push_back(language);
    };
    for (std::string_view rest = settings.language; !rest.empty();) {
        const std::size_t end = std::min(rest.find(':'), rest.size());
        add(languageTag(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    add(ofLocale);
    return languages;
}

}  // namespace hvk::parse
