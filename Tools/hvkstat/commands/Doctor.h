// Doctor.h - `hvkstat doctor`: which sources of the machine work, why the others do not and what would mend them, and
// what a pass of each module costs.
#pragma once

#include <string>
#include <vector>

#include "HVKPlatform/support/Diagnostics.h"
#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// What is known of a source after a pass.
enum class SourceState { Works, Fails, NotAsked };

/// The state after the last reading.
SourceState sourceState(const SourceReport& source);

/// Runs two passes, so that what is read only once is not charged to the last, and prints. Answers the exit code:
/// failed only when nothing could be read at all.
int runDoctor(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
