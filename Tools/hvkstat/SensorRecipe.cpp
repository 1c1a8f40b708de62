#include "hvkstat/SensorRecipe.h"

#include <string>

#include "HVKStatistics/sensors/RecipeFile.h"
#include "HVKStatistics/sensors/RecipeMaker.h"

namespace hvk::hvkstat {

namespace {

/// Whether a recipe is one that was made and not written by a person.
bool wasMade(const Value& recipe) {
    if (!recipe.is_object()) return true;
    const auto version = recipe.find("version");
    return version == recipe.end() || !version->is_number() || version->get<double>() <= MadeRecipeVersion;
}

/// Where it cannot be kept, it is made again next time: nobody needs to know.
void keep(HVKStatisticsPlatform& platform, FilesPort& files, const Value& recipe) {
    const auto path = platform.path();
    if (!path) return;
    const auto file = encodeRecipe(recipe.dump(2, ' ', false, Value::error_handler_t::replace));
    if (file) (void)files.replace(*path, *file);
}

}  // namespace

void prepareSensors(HVKStatisticsFramework& framework, Machine& machine) {
    const bool supported = framework.isPlatformSupported();
    HVKStatisticsPlatform& platform = framework.Platform();
    if (wasMade(platform.platform())) {
        const auto made = RecipeMaker(machine).make();
        if (made) {
            if (!supported) keep(platform, machine.files(), *made);
            platform.setPlatform(*made);
        }
    }
    framework.loadPlatform();
}

}  // namespace hvk::hvkstat
