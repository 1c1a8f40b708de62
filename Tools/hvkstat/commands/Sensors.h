// Sensors.h - the sensors command: every sensor in its group, with unit and range.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Takes one sample and prints it.
int runSensors(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
