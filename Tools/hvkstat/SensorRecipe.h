// SensorRecipe.h - makes the sensors of a machine known before they are measured: by its recipe, or by what they say.
#pragma once

#include <cstdint>
#include <optional>

#include "HVKPlatform/Machine.h"
#include "HVKStatistics/HVKStatisticsFramework.h"

namespace hvk::hvkstat {

/// Loads the recipe of the machine's model. When there is none, one is made from what the sensors say of themselves,
/// put in force, and kept where downloaded recipes are; when that one is there, it is made anew, so that sensors that
/// were added since are among them. A machine whose sensors say nothing has none.
void prepareSensors(HVKStatisticsFramework& framework, Machine& machine);

/// Makes sensors known that came since: those that are not in the module yet are added to their groups, and nothing
/// else changes. `revision` is the one that was seen last, nothing at first, and is brought up to date; without a new
/// one nothing is looked at.
void addNewSensors(HVKStatisticsFramework& framework, Machine& machine, std::optional<std::uint64_t>& revision);

}  // namespace hvk::hvkstat
