// Recipe.h - `hvkstat recipe`: reads, writes and checks recipe files. docs/recipes.md says what is in one.
#pragma once

#include "hvkstat/Options.h"
#include "hvkstat/Program.h"

namespace hvk::hvkstat {

/// Runs the action and answers the exit code.
///
/// `decode` prints the plain text exactly as it was enciphered, once it is known to be a JSON dictionary. `encode`
/// refuses a text that is none; the file is replaced whole or stays as it was. `check` takes both forms and prints a
/// line for each fault.
int runRecipe(const Options& options, const Host& host);

}  // namespace hvk::hvkstat
