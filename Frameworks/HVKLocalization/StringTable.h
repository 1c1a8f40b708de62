// StringTable.h - the texts of one language: lines of "key" = "value"; with comments and escapes, in UTF-8.
//
//     /* The name of a group. */
//     "Sensors.Fans" = "L\u00fcfter";  // or with the letter itself
//
// A text ends on the line on which it begins. Escapes are \" \\ \/ \' \n \r \t, \u or \U with four hexadecimal digits
// (two of them for what lies beyond the first 65,536 characters), and up to three octal digits. A file may begin with a
// byte order mark.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HVKBase/Export.h"

namespace hvk {

/// Something in a table that makes no sense.
struct StringTableFault {
    std::size_t line = 0;  ///< counted from 1
    std::string reason;    ///< e.g. "there is no = behind the key"
};

/// The texts of one table. Immutable once parsed; thread: any.
class HVK_EXPORT StringTable {
public:
    /// Takes in a whole file. A fault costs the rest of its line and leaves the other lines; of a key that is said
    /// twice the first text holds.
    static StringTable parse(std::string_view text);

    /// The text for a key; nothing when the table does not have it.
    std::optional<std::string_view> find(std::string_view key) const;

    /// Key and text, sorted by key.
    const std::map<std::string, std::string, std::less<>>& entries() const { return entries_; }

    /// What was wrong, in the order of the lines; the first 20 of them.
    const std::vector<StringTableFault>& faults() const { return faults_; }

private:
    std::map<std::string, std::string, std::less<>> entries_;
    std::vector<StringTableFault> faults_;
};

}  // namespace hvk
