// SensorSampler.h - gives every sensor its value: one sample of all of them, in three passes.
//
// First what is read (controller keys and HID sensors), then what is made from others (products and averages), last the
// readings that were too low to be believed and name a sensor to stand in for them. No sensor is read more often than
// every 5 seconds; in between its last value is written into its history again. Which sensors there are, the catalogue
// says; values of drives, batteries and GPUs come from their own modules.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKStatistics/sensors/HIDSensorReader.h"
#include "HVKStatistics/sensors/SMC.h"
#include "HVKStatistics/sensors/SensorCatalogue.h"

namespace hvk {

/// The sampling. Thread: the sensors module's.
class HVK_EXPORT SensorSampler {
public:
    /// Reads nothing yet. All three must outlive this object.
    SensorSampler(SensorCatalogue& catalogue, SMC& smc, HIDSensorReader& hid);

    /// Takes one sample of every sensor, the hidden ones included, at a time in seconds since 1970.
    ///
    /// Besides the value it sets `exists` (a value was obtained; a sensor that no longer answers keeps its last value
    /// and loses the mark), `off` of an average over fans (none of them turns), and `percentage` (the value's share of
    /// the configured range, 0 to 1; 0 without a range). A product of a key that does not answer is not available. A
    /// steady sample allocates nothing.
    void sample(double time);

private:
    using Item = StatisticsSensorItem;

    void readSources(double time);
    void readKey(Item& item, double time);
    void deriveValues(double time);
    double product(const Item& item);
    std::optional<double> average(Item& item) const;
    void substituteLowReadings(double time);
    static void take(Item& item, double value, bool exists, double time);
    static void describe(Item& item, double value, bool exists);

    SensorCatalogue& catalogue_;
    SMC& smc_;
    HIDSensorReader& hid_;
    std::vector<std::shared_ptr<Item>> walk_;  ///< of one sample; kept for its memory
    std::vector<Item*> tooLow_;
};

}  // namespace hvk
