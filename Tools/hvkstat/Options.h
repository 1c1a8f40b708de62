// Options.h - what the command line asks for, checked: every value is in its range before anything is measured.
//
// It owns the options' names, limits and help texts, and the wording of what is wrong with a command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "HVKPlatform/Result.h"

namespace hvk::hvkstat {

enum class CommandName { Report, History, Processes, Sensors, Graphics, Traffic, Events, Doctor, Recipe };

/// By what `traffic` is told apart.
enum class TrafficBy { Process, Interface };

/// What `recipe` does.
enum class RecipeAction { Decode, Encode, Check, Make };

/// A bound of a window of time: seconds since 1970, or relative to the end of what can be measured.
struct TimeBound {
    double seconds = 0;  ///< since 1970; when relative, 0 or below
    bool relative = false;

    bool operator==(const TimeBound&) const = default;
};

/// A whole command line.
struct Options {
    CommandName command = CommandName::Report;
    /// Nothing said what to print, so a terminal gets the live view.
    bool liveWhenTerminal = false;

    std::string root;     ///< a saved tree; empty: none
    std::string machine;  ///< a recorded machine's file; empty: none
    bool json = false;

    // report and the live view
    std::vector<std::string> modules;  ///< names from Modules.h, each once, in its order
    double interval = 1;               ///< seconds
    std::uint64_t count = 1;

    // processes
    std::string sort = "cpu";         ///< a metric of processSortKeys
    std::uint64_t rows = 20;          ///< most rows to print
    std::optional<double> threshold;  ///< least energy impact; only with "power"
    bool combine = false;             ///< a row for each family
    bool tree = false;                ///< the families with their members

    // traffic
    TrafficBy trafficBy = TrafficBy::Process;

    // events
    std::optional<double> seconds;  ///< how long; until interrupted, or to the end of the recording, without

    // sensors
    bool all = false;  ///< every key of the controller and every HID reading

    // history
    std::string history;  ///< a name from Modules.h
    /// The two ends of the window, in either order: which is the newer one is known once both are resolved.
    TimeBound start{-60, true};
    TimeBound end{0, true};
    std::int64_t bucketSeconds = 10;

    // recipe
    RecipeAction recipeAction = RecipeAction::Decode;
    std::string input;       ///< the file that is read
    std::string outputFile;  ///< the one that is written; only for an action that writes one
};

/// The command line is answered, rightly or wrongly, and nothing is to be done.
struct Exit {
    int code = 0;
    std::string output;   ///< for standard output: help, version
    std::string message;  ///< for standard error, with line end
};

/// Reads the arguments (without the program's name). Options may stand before or behind the command.
std::variant<Options, Exit> parseArguments(const std::vector<std::string>& arguments);

/// Seconds since 1970 ("1700000000", "1700000000.5"), or with a leading minus seconds before the end ("-60", "-0"), or
/// "now" for "-0". Malformed with a detail that says what is accepted.
Result<TimeBound> parseTimeBound(std::string_view text);

/// What processes can be sorted by: "cpu", "memory", ...
const std::vector<std::string>& processSortKeys();

/// The exit codes of the program.
inline constexpr int ExitOk = 0;
inline constexpr int ExitFailed = 1;
inline constexpr int ExitUsage = 2;

}  // namespace hvk::hvkstat
