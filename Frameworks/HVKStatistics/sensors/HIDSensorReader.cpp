#include "HVKStatistics/sensors/HIDSensorReader.h"

#include <algorithm>
#include <array>

namespace hvk {

namespace {

constexpr std::string_view Noise = "Temp Sensor";

struct Average {
    const char* key;
    std::array<const char*, 2> names;  ///< null for none
};

constexpr Average Averages[] = {
    {"AS_SOCDIE_AVERAGE", {"SOC MTR"}}, {"AS_CPU_AVG", {"eACC", "pACC"}},   {"AS_GPU_AVG", {"GPU MTR 1", "GPU MTR 4"}},
    {"AS_EFF_AVG", {"eACC"}},           {"AS_PERF_AVG", {"pACC"}},          {"AS_PMDIE_AVG", {"PMU tdie"}},
    {"AS_SSD_AVG", {"NAND CH0 temp"}},  {"AS_PMSOC_AVG", {"PMGR SOC Die"}},
};

/// The product's name without the words that say what it is.
void setKey(std::string& key, const std::string& product) {
    key = product;
    for (std::size_t at = key.find(Noise); at != std::string::npos; at = key.find(Noise, at))
        key.erase(at, Noise.size());
}

/// The mean over the first `count` sensors; one that begins with two of the names counts twice.
double mean(const std::vector<HIDSensor>& sensors, std::size_t count, const std::vector<std::string>& names) {
    double sum = 0;
    std::size_t readings = 0;
    for (const std::string& name : names) {
        for (std::size_t index = 0; index < count; ++index) {
            if (!sensors[index].key.starts_with(name)) continue;
            sum += sensors[index].value;
            ++readings;
        }
    }
    return readings == 0 ? 0 : sum / static_cast<double>(readings);
}

}  // namespace

const std::vector<HIDSensor>& HIDSensorReader::read() {
    if (!port_.readings(HIDTemperatureUsagePage, HIDTemperatureUsage, HIDTemperatureEvent, readings_))
        readings_.clear();
    const std::size_t count = readings_.size();
    sensors_.resize(count + std::size(Averages));
    for (std::size_t index = 0; index < count; ++index) {
        setKey(sensors_[index].key, readings_[index].product);
        sensors_[index].value = readings_[index].value;
        sensors_[index].names.clear();
    }
    for (std::size_t row = 0; row < std::size(Averages); ++row) {
        HIDSensor& average = sensors_[count + row];
        average.key = Averages[row].key;
        average.names.clear();
        for (const char* name : Averages[row].names)
            if (name != nullptr) average.names.emplace_back(name);
        average.value = mean(sensors_, count, average.names);
    }
    return sensors_;
}

const HIDSensor* HIDSensorReader::find(const std::vector<HIDSensor>& sensors, std::string_view key) {
    const auto found =
        std::find_if(sensors.begin(), sensors.end(), [&](const HIDSensor& sensor) { return sensor.key == key; });
    return found == sensors.end() ? nullptr : &*found;
}

Value HIDSensorReader::dictionaries(const std::vector<HIDSensor>& sensors) {
    Value list = Value::array();
    for (const HIDSensor& sensor : sensors) {
        Value dictionary{{"type", "temperature"}, {"key", sensor.key}, {"value", sensor.value}};
        if (!sensor.names.empty()) dictionary["names"] = sensor.names;
        list.push_back(std::move(dictionary));
    }
    return list;
}

}  // namespace hvk
