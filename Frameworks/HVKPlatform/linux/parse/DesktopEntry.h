// DesktopEntry.h - the text of a .desktop file: what an application calls itself and which program it starts.
//
// Only the [Desktop Entry] group is read; actions and other groups are passed over. Such files are written by anybody:
// a line that makes no sense is passed over, a text never holds control characters or bytes that are no UTF-8, and the
// first of two lines with one key holds.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::parse {

/// What is wanted of a desktop entry. Texts are empty where the file has none.
struct DesktopEntry {
    std::string type;                  ///< "Application", "Link", "Directory"
    std::string name;                  ///< Name in the first of the asked locales that has one, else without a locale
    std::vector<std::string> command;  ///< Exec: program and arguments, unquoted, without field codes
    std::string tryExec;               ///< the program that must be there: "/usr/bin/gimp" or "gimp"
    std::string windowClass;           ///< StartupWMClass
    std::string flatpak;               ///< X-Flatpak, the id of a Flatpak application
    std::string snap;                  ///< X-SnapInstanceName
    bool noDisplay = false;            ///< it is not shown in menus
    bool hidden = false;               ///< it stands for a deleted entry

    bool isApplication() const { return type == "Application"; }
};

/// Reads an entry. `locales` are tried in order, as `desktopLocales` makes them. Malformed without a [Desktop Entry]
/// group, without a Type, or for an application without a Name; a hidden entry needs none of the latter two. An Exec
/// that makes no sense leaves `command` empty: the entry still has its name.
Result<DesktopEntry> parseDesktopEntry(std::string_view text, std::span<const std::string> locales);

/// The words of an Exec value whose general escapes (\s, \\) are already gone. Field codes are left off, "%%" is a
/// percent sign, and within double quotes a backslash takes the special meaning from `"`, `` ` ``, `$` and `\`.
/// Malformed for an open quote, an unknown field code, or when no program is left.
Result<std::vector<std::string>> parseExec(std::string_view exec);

/// The locales that a Name is looked for in, the closest first: "sr_RS.UTF-8@latin" gives sr_RS@latin, sr_RS, sr@latin,
/// sr. `locale` may be a list with colons, as LANGUAGE is. "C" and "POSIX" give none.
std::vector<std::string> desktopLocales(std::string_view locale);

/// A value fit to be shown: escapes undone, control characters made blanks, cut before the first byte that is no UTF-8
/// and after 1024 bytes.
std::string shownText(std::string_view value);

/// The value of `key` in `group` of a key file ("[Application]", "name" of a .flatpak-info), escapes undone; empty when
/// there is none.
std::string keyFileValue(std::string_view text, std::string_view group, std::string_view key);

}  // namespace hvk::parse
