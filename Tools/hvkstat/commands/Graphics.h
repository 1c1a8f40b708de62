// Graphics.h - the gpu command: every graphics processor with its figures.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Takes one sample and prints it.
int runGraphics(Session& session, const Options& options, const Host& host);

}  // namespace hvk::hvkstat
