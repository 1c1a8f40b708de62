// History.h - `hvkstat history`: means of a module's history over equal spans of a window, newest first.
//
// It decides which window a command line means on which machine, and collects each span's mean as soon as the samples
// have passed it, so that a long window is not limited by the number of samples that a history keeps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hvkstat/Modules.h"
#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// A span of time, seconds since 1970: it holds its newer end and not its older one.
struct Window {
    double newer = 0;
    double older = 0;

    bool operator==(const Window&) const = default;
};

/// The window between two bounds when relative ones count from `now`.
Window resolveWindow(const TimeBound& one, const TimeBound& other, double now);

/// The window's spans of `seconds`, newest first, beginning at its newer end; the last one may be shorter. Malformed
/// when there would be more than 100000.
Result<std::vector<Window>> spansOf(const Window& window, std::int64_t seconds);

/// How a live machine, which has no past, is measured for a window.
struct MeasuringPlan {
    Window window;      ///< what will be shown
    double delay = 0;   ///< seconds to wait before the first sample
    double period = 1;  ///< seconds between samples
    std::uint64_t samples = 0;
    bool moved = false;  ///< the window lay in the past and begins now instead
};

/// The plan for a window at the moment `now`: until its newer end when that is still to come, otherwise for its length
/// from now on. Then it ends half a period behind the last sample, so that a late sample still lies in it. Malformed
/// when measuring would take more than 7 days.
Result<MeasuringPlan> planMeasuring(const Window& window, std::int64_t seconds, double now);

/// Samples, and prints the spans that hold a sample. Answers the exit code.
int runHistory(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
