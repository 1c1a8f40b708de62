// Traffic.h - the traffic command: bytes by process or by interface, from the packets that passed.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Counts for the interval and prints the busiest first.
int runTraffic(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
