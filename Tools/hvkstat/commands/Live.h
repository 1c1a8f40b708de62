// Live.h - the live view: the report on a screen of its own, drawn anew at each interval until q is pressed.
#pragma once

#include <cstddef>
#include <string>

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"
#include "hvkstat/Session.h"

namespace hvk::hvkstat {

/// Shows samples until q, an end of the input, or an interrupt, and gives the terminal back as it was. A recorded
/// machine plays at the speed of its own clock. Answers the exit code: failed when there is no terminal to be had.
int runLive(Session& session, const Options& options, const Host& host);

/// The first `rows` lines of a text. Each is ended so that what an earlier, longer line left on the screen goes away.
std::string fitToScreen(const std::string& text, std::size_t rows);

}  // namespace hvk::hvkstat
