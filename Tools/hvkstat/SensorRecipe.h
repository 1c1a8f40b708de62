// SensorRecipe.h - makes the sensors of a machine known before they are measured: by its recipe, or by what they say.
#pragma once

#include "HVKPlatform/Machine.h"
#include "HVKStatistics/HVKStatisticsFramework.h"

namespace hvk::hvkstat {

/// Loads the recipe of the machine's model. When there is none, one is made from what the sensors say of themselves,
/// put in force, and kept where downloaded recipes are; when that one is there, it is made anew, so that sensors that
/// were added since are among them. A machine whose sensors say nothing has none.
void prepareSensors(HVKStatisticsFramework& framework, Machine& machine);

}  // namespace hvk::hvkstat
