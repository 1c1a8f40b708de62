// SensorLoader.h - fills the sensors module from a model's recipe: which entries this machine has, under which names,
// in which groups.
//
// It asks the controller and the HID event system whether an entry answers, and makes the records of those that do.
// What a recipe's file looks like is RecipeFile's business, what values the records get later is the sampling's. An
// entry that makes no sense is skipped; why stands in the machine's diagnostics, under "recipe entries".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/sensors/HIDSensorReader.h"
#include "HVKStatistics/sensors/SMC.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"

namespace hvk {

/// A family has no more members; a larger count in a recipe counts as this one. Each costs calls of the controller.
inline constexpr std::int64_t SensorFamilyLimit = 1024;

/// The loader. Thread: the one that updates the sensors.
class HVK_EXPORT SensorLoader {
public:
    using Sensor = SensorCatalogue::Sensor;

    /// All four must outlive this object. Asks for nothing yet.
    SensorLoader(Machine& machine, SensorCatalogue& catalogue, SMC& controller, HIDSensorReader& hid);

    /// Empties the lists of sensors and groups and fills them again, in the recipe's order; raises `sensorsChanged`.
    /// Nothing happens without a recipe. Whoever reads the published lists meanwhile sees the old ones.
    void loadFromPlatform(const Value& recipe);

    /// One entry, in its group's entry or, when that is null, in the group of its kind: the record, which may have been
    /// there. Null when this machine does not have it, and for a family, whose members join the lists all the same.
    Sensor loadSensor(const Value& entry, const Value& group);

private:
    /// A member of a family that answers.
    struct Member {
        std::string key;
        std::uint64_t number = 0;  ///< what its name says
    };

    Sensor loadHID(const Value& entry, const Value& group);
    Sensor loadSingle(const Value& entry, const Value& group);
    void loadFamily(const Value& entry, const Value& group);
    void loadFamilyAverage(const Value& entry, const Value& group, const std::vector<Member>& members, double last);
    bool addMembers(const Value& entry, std::int64_t kind);
    Sensor place(const Value& entry, const Value& group, std::int64_t kind);
    void join(const Sensor& sensor, const Value& group, std::int64_t kind);
    void validate(StatisticsSensorItem& average);
    std::int64_t familyCount(const Value& entry);
    bool isForThisCoreCount(const Value& entry);
    std::int64_t physicalCores();
    std::int64_t logicalCores();
    void refuse(const std::string& what);

    Machine& machine_;
    SensorCatalogue& catalogue_;
    SMC& controller_;
    HIDSensorReader& hid_;
    SourceHealth& health_;

    /// The HID sensors, asked for once in a loading.
    std::optional<std::vector<HIDSensor>> hidSensors_;
    std::optional<std::int64_t> physicalCores_;
    std::optional<std::int64_t> logicalCores_;
};

}  // namespace hvk
