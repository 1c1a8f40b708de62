#include "HVKPlatform/linux/parse/DesktopEntry.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "HVKPlatform/linux/parse/Scan.h"

namespace hvk::parse {

namespace {

constexpr std::size_t LongestText = 1024;
constexpr std::size_t MostWords = 256;
constexpr std::size_t MostLocales = 64;

Failure malformed(const char* detail) { return {FailureKind::Malformed, "desktop entry", detail}; }

/// The length of the UTF-8 character that `text` begins with; 0 when it begins with none.
std::size_t characterLength(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xF5 ? 0 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
    if (length == 0 || text.size() < length) return 0;
    for (std::size_t at = 1; at < length; ++at)
        if ((byte(at) & 0xC0) != 0x80) return 0;
    // Overlong forms, surrogates, and what lies beyond the last plane.
    if (first == 0xE0 && byte(1) < 0xA0) return 0;
    if (first == 0xED && byte(1) >= 0xA0) return 0;
    if (first == 0xF0 && byte(1) < 0x90) return 0;
    if (first == 0xF4 && byte(1) >= 0x90) return 0;
    return length;
}

/// A path or an argument: escapes undone, bytes as they are; nothing when it holds a NUL.
std::optional<std::string> plainText(std::string_view value) {
    std::string text;
    for (std::size_t at = 0; at < value.size(); ++at) {
        char c = value[at];
        if (c == '\0') return std::nullopt;
        if (c == '\\' && at + 1 < value.size()) {
            switch (value[at + 1]) {
                case 's': c = ' '; break;
                case 'n': c = '\n'; break;
                case 't': c = '\t'; break;
                case 'r': c = '\r'; break;
                case '\\': break;
                default: text += c; continue;
            }
            ++at;
        }
        text += c;
    }
    return text;
}

/// One `key[locale]=value` line; the locale is empty where there is none.
struct Line {
    std::string_view key;
    std::string_view locale;
    std::string_view value;
};

std::optional<Line> splitLine(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    Line line{trimmed(text.substr(0, equals)), {}, trimmed(text.substr(equals + 1))};
    if (const std::size_t open = line.key.find('['); open != std::string_view::npos) {
        if (!line.key.ends_with(']')) return std::nullopt;
        line.locale = line.key.substr(open + 1, line.key.size() - open - 2);
        line.key = line.key.substr(0, open);
    }
    if (line.key.empty()) return std::nullopt;
    return line;
}

/// Calls `handle` with each line of a group; false when there is no such group. Two groups of one name are one.
template <class Handle>
bool eachLine(std::string_view text, std::string_view group, Handle handle) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    bool found = false;
    bool inside = false;
    bool complete = true;
    while (!text.empty()) {
        const std::string_view line = trimmed(takeLine(text, complete));
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            inside = line == group;
            found = found || inside;
        } else if (inside) {
            if (const auto split = splitLine(line)) handle(*split);
        }
    }
    return found;
}

bool isTrue(std::string_view value) { return value == "true" || value == "1"; }

void setOnce(std::string& field, std::string_view value) {
    if (field.empty()) field = shownText(value);
}

}  // namespace

std::string shownText(std::string_view value) {
    std::string text;
    while (!value.empty() && text.size() < LongestText) {
        if (value[0] == '\\' && value.size() > 1) {
            const char next = value[1];
            value.remove_prefix(2);
            if (next == 's' || next == 'n' || next == 't' || next == 'r')
                text += ' ';
            else if (next == '\\')
                text += '\\';
            else if (static_cast<unsigned char>(next) >= 0x20 && static_cast<unsigned char>(next) < 0x7F)
                text.append({'\\', next});
            else
                break;
            continue;
        }
        const std::size_t length = characterLength(value);
        if (length == 0 || text.size() + length > LongestText) break;
        const unsigned char first = static_cast<unsigned char>(value[0]);
        // C1 controls are two bytes: C2 80 to C2 9F.
        const bool control =
            first < 0x20 || first == 0x7F || (first == 0xC2 && static_cast<unsigned char>(value[1]) < 0xA0);
        if (control)
            text += ' ';
        else
            text.append(value.substr(0, length));
        value.remove_prefix(length);
    }
    return std::string(trimmed(text));
}

Result<DesktopEntry> parseDesktopEntry(std::string_view text, std::span<const std::string> locales) {
    DesktopEntry entry;
    std::optional<std::string> exec;
    bool noDisplayKnown = false;
    bool hiddenKnown = false;
    std::size_t nameRank = locales.size() + 1;  // of the locale that gave the name; the plain name comes last
    const bool found = eachLine(text, "[Desktop Entry]", [&](const Line& line) {
        if (line.key == "Name") {
            const std::size_t rank =
                line.locale.empty() ? locales.size()
                                    : static_cast<std::size_t>(std::find(locales.begin(), locales.end(), line.locale) -
                                                               locales.begin());
            if (rank >= nameRank || (!line.locale.empty() && rank == locales.size())) return;
            std::string name = shownText(line.value);
            if (name.empty()) return;
            entry.name = std::move(name);
            nameRank = rank;
            return;
        }
        if (!line.locale.empty()) return;
        if (line.key == "Type") setOnce(entry.type, line.value);
        if (line.key == "TryExec" && entry.tryExec.empty()) entry.tryExec = plainText(line.value).value_or("");
        if (line.key == "StartupWMClass") setOnce(entry.windowClass, line.value);
        if (line.key == "X-Flatpak") setOnce(entry.flatpak, line.value);
        if (line.key == "X-SnapInstanceName") setOnce(entry.snap, line.value);
        if (line.key == "NoDisplay" && !std::exchange(noDisplayKnown, true)) entry.noDisplay = isTrue(line.value);
        if (line.key == "Hidden" && !std::exchange(hiddenKnown, true)) entry.hidden = isTrue(line.value);
        if (line.key == "Exec" && !exec) exec = plainText(line.value).value_or("");
    });
    if (!found) return malformed("there is no [Desktop Entry] group");
    if (entry.hidden) return entry;
    if (entry.type.empty()) return malformed("there is no Type");
    if (entry.isApplication() && entry.name.empty()) return malformed("an application without a Name");
    if (exec) {
        if (auto words = parseExec(*exec)) entry.command = std::move(*words);
    }
    return entry;
}

Result<std::vector<std::string>> parseExec(std::string_view exec) {
    std::vector<std::string> words;
    std::string word;
    bool hasWord = false;  // a word has begun; "" in quotes is one
    bool quoted = false;
    for (std::size_t at = 0; at <= exec.size(); ++at) {
        const bool end = at == exec.size();
        const char c = end ? ' ' : exec[at];
        const char next = at + 1 < exec.size() ? exec[at + 1] : '\0';
        if (end && quoted) return malformed("Exec has an open quote");
        if (quoted) {
            if (c == '"') {
                quoted = false;
            } else if (c == '\\' && (next == '"' || next == '`' || next == '$' || next == '\\')) {
                word += next;
                ++at;
            } else {
                word += c;
            }
        } else if (c == '"') {
            quoted = hasWord = true;
        } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            if (!hasWord) continue;
            if (words.size() == MostWords) return malformed("Exec has too many words");
            words.push_back(std::move(word));
            word.clear();
            hasWord = false;
        } else if (c == '%') {
            ++at;
            if (next == '%') {
                word += '%';
                hasWord = true;
            } else if (std::string_view("fFuUickdDnNvm").find(next) == std::string_view::npos || next == '\0') {
                return malformed("Exec has an unknown field code");
            }
        } else {
            // Old files mask characters outside quotes as a shell does.
            if (c == '\\' && next != '\0') {
                word += next;
                ++at;
            } else {
                word += c;
            }
            hasWord = true;
        }
    }
    if (words.empty() || words.front().empty()) return malformed("Exec names no program");
    return words;
}

std::vector<std::string> desktopLocales(std::string_view locale) {
    std::vector<std::string> locales;
    const auto add = [&](std::string name) {
        if (locales.size() < MostLocales && std::find(locales.begin(), locales.end(), name) == locales.end())
            locales.push_back(std::move(name));
    };
    while (!locale.empty()) {
        const std::size_t colon = locale.find(':');
        std::string_view one = locale.substr(0, colon);
        locale.remove_prefix(colon == std::string_view::npos ? locale.size() : colon + 1);

        std::string_view modifier;
        if (const std::size_t at = one.find('@'); at != std::string_view::npos) {
            modifier = one.substr(at);
            one = one.substr(0, at);
        }
        one = one.substr(0, one.find('.'));
        if (one.empty() || one == "C" || one == "POSIX") continue;
        const std::string_view language = one.substr(0, one.find('_'));
        if (modifier.size() > 1) add(std::string(one) + std::string(modifier));
        add(std::string(one));
        if (modifier.size() > 1) add(std::string(language) + std::string(modifier));
        add(std::string(language));
    }
    return locales;
}

std::string keyFileValue(std::string_view text, std::string_view group, std::string_view key) {
    std::string value;
    eachLine(text, group, [&](const Line& line) {
        if (line.key == key && line.locale.empty()) setOnce(value, line.value);
    });
    return value;
}

}  // namespace hvk::parse
