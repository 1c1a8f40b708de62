// Modules.h - the one list of the statistic modules that this program knows: how each is updated, shipped and shown.
//
// A module that joins the framework joins the program here; the commands, `--modules`, `--help` and doctor's table
// follow the list. Nothing here draws.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Value.h"
#include "HVKStatistics/HVKStatisticsFramework.h"
#include "hvkstat/render/ReportView.h"

namespace hvk::hvkstat {

/// How a column of a history is shown to a person. JSON always carries the module's own figures.
enum class HistoryUnit {
    Number,    ///< as it is, two decimals
    Percent,   ///< already percent
    Fraction,  ///< 0 to 1, shown as percent
    Mebibytes,
};

/// One field of an average.
struct HistoryColumn {
    std::string_view key;    ///< in the average's dictionary: "user"
    std::string_view title;  ///< for a person: "User"
    HistoryUnit unit = HistoryUnit::Number;
};

/// A history that a module keeps.
struct HistoryEntry {
    std::string_view name;  ///< as `hvkstat history` takes it: "cpu", "swap"
    std::vector<HistoryColumn> columns;
    /// The framework's own average of the samples with `end` < time <= `start`; null when there is none.
    Value (*average)(HVKStatisticsFramework&, double start, double end, std::int64_t interval);
};

/// A module of the framework.
struct ModuleEntry {
    std::string_view name;  ///< as `--modules` takes it and as JSON carries it
    void (*update)(HVKStatisticsFramework&, double time);
    /// The module's `stats`, or what a host makes of a module that has none.
    Value (*stats)(HVKStatisticsFramework&, double time);
    /// Writes the module's part of a view.
    void (*fill)(HVKStatisticsFramework&, double time, ReportView& view);
    std::vector<HistoryEntry> histories;
    /// The figures are of the time since the previous reading: a second pass at the same moment says nothing.
    bool overInterval = false;
    /// Makes the module ready before its first update, when there is something to do: a first reading, a recipe.
    void (*begin)(HVKStatisticsFramework&, Machine&, double time) = nullptr;
};

/// Every module, in the order in which it is sampled and shown.
const std::vector<ModuleEntry>& moduleEntries();

/// A history and the module that keeps it.
struct HistoryChoice {
    const ModuleEntry* module = nullptr;
    const HistoryEntry* history = nullptr;
};

/// The entry of that name; null when there is none.
const ModuleEntry* findModule(std::string_view name);

/// The history of that name; both pointers null when there is none.
HistoryChoice findHistory(std::string_view name);

std::vector<std::string> moduleNames();
std::vector<std::string> historyNames();

}  // namespace hvk::hvkstat
