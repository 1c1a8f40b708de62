// Report.h - `hvkstat report`: samples at equal intervals, as text for a person or as one JSON object a line.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Waits the interval, samples and prints, `count` times; each sample is written at once. Ends early when nobody takes
/// the output any more. Answers the exit code.
int runReport(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
