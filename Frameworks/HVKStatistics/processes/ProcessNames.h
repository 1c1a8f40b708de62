// ProcessNames.h - what a process is called, where its program lies, and which type that makes it.
//
// Decided once, when a process is first seen. Thread: the sampling thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKPlatform/ports/ProcessTable.h"
#include "HVKStatistics/processes/StatisticsProcessItem.h"

namespace hvk {

/// The path of the executable, "/Applications/Editor.app/Contents/MacOS/Editor"; none when the arguments of the process
/// cannot be read.
HVK_EXPORT std::optional<std::string> pathForProcess(ProcessTablePort& table, std::int32_t pid);

/// The bundle of a web application: the argument that follows "--bundlepath", among 1 to 99 arguments; none otherwise.
HVK_EXPORT std::optional<std::string> pathForWebApp(ProcessTablePort& table, std::int32_t pid);

/// Names the item: with the system's long name, else its short one. A `path` that is not empty becomes the item's path,
/// cut to the application bundle when it leads into one ("/Applications/Editor.app"), and what the system shows for
/// that path, when it shows anything, becomes the name.
HVK_EXPORT void updateProcessNameWithPath(ProcessTablePort& table, const ProcessInformation& information,
                                          std::string_view path, StatisticsProcessItem& item);

/// The long name, or the short one when there is none, as text.
HVK_EXPORT std::string nameForProcess(const ProcessInformation& information);

/// The bytes of a name up to the first NUL, as valid UTF-8: a kernel cuts names in the middle of a character. What is
/// no UTF-8 becomes U+FFFD.
HVK_EXPORT std::string stringifyProcessName(std::string_view bytes);

/// The `StatisticsProcessType` of a process by the beginning of its name in lower case; what no name tells is
/// background (16), or an application (32) when a readable process of a user from 501 on is a foreground application.
HVK_EXPORT int typeForProcess(ProcessTablePort& table, const StatisticsProcessItem& item);

}  // namespace hvk
