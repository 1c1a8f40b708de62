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

void addNewSensors(HVKStatisticsFramework& framework, Machine& machine, std::optional<std::uint64_t>& revision) {
    const auto now = machine.sensorDescriptions().revision();
    if (!now || revision == *now) return;
    const bool first = !revision;
    revision = *now;
    // What was there at the start is loaded; a recipe that a person wrote says all there is.
    if (first || !wasMade(framework.Platform().platform())) return;
    const auto recipe = RecipeMaker(machine).make();
    if (!recipe) return;
    HVKStatisticsSensors& sensors = *framework.Sensors();
    const SensorCatalogue::Changes changes(sensors);
    const auto add = [&](const Value& entry, const Value& group) {
        const auto key = entry.find("key");
        if (key == entry.end() || !key->is_string() || sensors.sensorWithKey(key->get<std::string>())) return;
        sensors.loadSensor(entry, group);
    };
    for (const Value& entry : (*recipe)["sensors"]["supported"]) {
        if (!entry.contains("group"))
            add(entry, nullptr);
        else
            for (const Value& member : entry["sensors"]) add(member, entry);
    }
}

}  // namespace hvk::hvkstat
