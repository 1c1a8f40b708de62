// Events.h - the events command: a line for each hardware event as it happens.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Starts the notifications and prints what they tell, with the time, until the time asked for is over, the recording
/// ends, or nobody reads any more. Answers the exit code: failed when this machine can tell nothing.
int runEvents(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
