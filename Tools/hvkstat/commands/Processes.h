// Processes.h - the processes command: the busiest processes or families of one span of time, or all families as a
// tree.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Measures for the options' interval and prints.
int runProcesses(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
