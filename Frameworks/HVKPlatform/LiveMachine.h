// LiveMachine.h - makes the machine of the operating system that this library was built for.
//
// Declared once, defined by the one composition file of each operating system (linux/LiveMachine.cpp,
// darwin/LiveMachine.mm).
#pragma once

#include <memory>
#include <string>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"

namespace hvk {

/// A new machine that reads the running system.
HVK_EXPORT std::unique_ptr<Machine> makeLiveMachine();

/// A new machine that reads a tree of files saved from a Linux machine (its proc/ and sys/ below `root`). Absent when
/// there is no such directory, Unsupported on a system whose adapter does not read files.
HVK_EXPORT Result<std::unique_ptr<Machine>> makeSavedMachine(const std::string& root);

}  // namespace hvk
