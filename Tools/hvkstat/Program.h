// Program.h - the program from its arguments to its exit code; main.cpp adds only the process around it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Value.h"
#include "hvkstat/Output.h"
#include "hvkstat/render/Palette.h"

namespace hvk::hvkstat {

/// The process around the program, as the commands see it.
struct Host {
    Output& output;          ///< data
    Output& messages;        ///< everything that is not data
    bool terminal = false;   ///< a person sits at both ends: the live view can be shown
    bool colours = false;    ///< `output` shows colours and nobody turned them off
    std::size_t width = 80;  ///< columns of `output`

    Palette palette() const { return Palette(colours); }

    /// Writes a line that begins with the program's name.
    void say(std::string_view message) const;
};

/// Runs the program: 0 done, 1 failed, 2 wrong use. A reader that closed the output ends it quietly with 0; any other
/// failure to write is said and is a 1.
int runProgram(const std::vector<std::string>& arguments, const Host& host);

/// Whether `output` to a terminal should be coloured, by the environment: NO_COLOR unset or empty, TERM not "dumb".
/// Null stands for an unset variable.
bool coloursWanted(const char* noColor, const char* term);

/// A dictionary on one line, with line end. Text that is not UTF-8 is mended, what JSON cannot say is null.
std::string jsonLine(const Value& value);

}  // namespace hvk::hvkstat
