// RecipeMaker.h - makes the recipe of a machine from what its sensors say of themselves.
//
// Models with a recipe of their own have a better one: names and ranges that a person chose. Every other machine gets
// this one. It owns the layout: for each kind a simple group, of averages and of what stands for a whole part, and a
// detailed group for each chip. It reads no values, and where a recipe is kept belongs to HVKStatisticsPlatform.
//
//     Result<Value> recipe = RecipeMaker(machine).make();
//     if (recipe) sensors.loadFromPlatform(*recipe);
#pragma once

#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// The version of a recipe that was made: one that a person wrote has a higher one and wins.
inline constexpr int MadeRecipeVersion = 1;

/// Makes recipes. Thread: any.
class HVK_EXPORT RecipeMaker {
public:
    explicit RecipeMaker(Machine& machine = Machine::current()) : machine_(machine) {}

    /// The recipe of the machine as it is now: "version", "sensors" with "supported" and "default", "cpu", "fans". The
    /// same sensors give the same recipe. Unsupported when they do not describe themselves, Absent when there are none.
    Result<Value> make() const;

    /// The recipe of these sensors, those of one chip together.
    static Value recipe(const std::vector<SensorDescription>& sensors);

private:
    Machine& machine_;
};

}  // namespace hvk
