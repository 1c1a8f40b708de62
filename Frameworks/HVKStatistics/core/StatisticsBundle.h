// StatisticsBundle.h - the framework's own texts for people: the string table "HVKStatisticsKit".
#pragma once

#include "HVKBase/Export.h"
#include "HVKLocalization/LocalizedBundle.h"
#include "HVKPlatform/Machine.h"

namespace hvk {

/// The name of the table, "HVKStatisticsKit".
inline constexpr const char* StatisticsStringTable = "HVKStatisticsKit";

/// The framework's resources, in the languages of the machine's user. What is wrong with a table goes to the log and to
/// the machine's diagnostics; it must not outlive the machine. Thread: any.
HVK_EXPORT LocalizedBundle statisticsBundle(Machine& machine);

}  // namespace hvk
