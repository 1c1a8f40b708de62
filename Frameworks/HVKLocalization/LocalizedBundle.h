// LocalizedBundle.h - a directory of string tables in several languages: "de.lproj/HVKStatisticsKit.strings".
//
// It owns the choice of the language and the reading of tables, each once. The format of a table is StringTable's.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKLocalization/StringTable.h"

namespace hvk {

/// The languages that every bundle tries before those that it was made with, the most preferred first, as language tags
/// ("de-AT", "ja"); an empty list, as at first, leaves it to the bundles. For a host with a choice of its own; what was
/// named before keeps its name. Thread: any.
HVK_EXPORT void setPreferredLanguages(std::vector<std::string> languages);

/// A directory of string tables. Thread: any.
class HVK_EXPORT LocalizedBundle {
public:
    /// Told what is wrong with a table, in one line, e.g. "de.lproj/Names.strings:12: ...". Called while a lock is
    /// held: it must not look up a text.
    using FaultHandler = std::function<void(const std::string& fault)>;

    /// `directory` is the one that holds the "<language>.lproj" directories; with "" there is no table. Nothing is read
    /// before the first look-up.
    LocalizedBundle(std::string directory, std::vector<std::string> preferredLanguages, FaultHandler faults = {});

    /// The text for `key` in the first preferred language that the table is there in ("de-AT" takes "de" when there is
    /// no "de-AT"), else in English, else the key itself.
    std::string localizedString(std::string_view key, std::string_view table) const;

private:
    using Table = std::shared_ptr<const StringTable>;

    Table table(const std::string& language, std::string_view name) const;
    Table preferredTable(const std::vector<std::string>& host, std::string_view name) const;
    Table read(const std::string& file) const;

    std::string directory_;
    std::vector<std::string> preferredLanguages_;
    FaultHandler faults_;
    mutable std::mutex mutex_;
    mutable std::map<std::string, Table> tables_;  ///< by file; null for one that is not there
};

}  // namespace hvk
