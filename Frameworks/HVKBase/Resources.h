// Resources.h - where the files lie that come with the framework: recipes and string tables.
//
// The build and the installed tree have the same shape: `share/HVKStatisticsKit` below the directory that holds the
// library's own, so a tree that was moved still finds its files. What the files are called and hold is said by those
// who read them.
#pragma once

#include <string>

#include "HVKBase/Export.h"

namespace hvk {

/// The directory of the framework's resources, without a slash at the end, e.g. "/usr/share/HVKStatisticsKit". It is
/// the one that was set; else the nearest `share/HVKStatisticsKit` in or up to two directories above the one of the
/// library (or of the program that contains it), else of the running program; looked for on the first call. "" when
/// there is none. Thread: any.
HVK_EXPORT std::string resourceDirectory();

/// Names the directory for a host that keeps the resources elsewhere; "" goes back to looking for it. What was read
/// before stays read. Thread: any.
HVK_EXPORT void setResourceDirectory(std::string path);

}  // namespace hvk
