#include "HVKStatistics/sensors/SensorNames.h"

#include <algorithm>
#include <array>
#include <utility>

#include "HVKStatistics/sensors/StatisticsSensorItem.h"

namespace hvk {

namespace {

using Row = std::pair<std::string_view, std::string_view>;

char lowered(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

std::string lowered(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char letter) { return lowered(letter); });
    return result;
}

/// The whole names.
constexpr std::array WholeNames = {
    Row{"CPU", "Sensors.CPU"},
    Row{"CPU Cores", "Sensors.CPU Cores"},
    Row{"CPU Efficiency Cores", "Sensors.CPU Efficiency Cores"},
    Row{"CPU Performance Cores", "Sensors.CPU Performance Cores"},
    Row{"GPU", "Sensors.Graphics"},
    Row{"Graphics", "Sensors.Graphics"},
    Row{"Memory", "Sensors.Memory"},
    Row{"Palm Rest", "Sensors.Palm Rest"},
    Row{"SSD", "Sensors.SSD"},
    Row{"AirPort", "Sensors.Wi-Fi"},
    Row{"Airport", "Sensors.Wi-Fi"},
    Row{"Wireless", "Sensors.Wi-Fi"},
    Row{"Wi-Fi", "Sensors.Wi-Fi"},
    Row{"Airflow", "Sensors.Airflow"},
    Row{"AirFlow", "Sensors.Airflow"},
    Row{"Air Flow", "Sensors.Airflow"},
    Row{"Display", "Sensors.Display"},
    Row{"DC In", "Sensors.DC In"},
    Row{"DC Input", "Sensors.DC In"},
    Row{"Battery", "Sensors.Battery"},
    Row{"Total Power", "Sensors.Total Power"},
    Row{"Left Fan", "Sensors.Left Fan"},
    Row{"Right Fan", "Sensors.Right Fan"},
    Row{"Fan", "Sensors.Fan"},
    Row{"Ambient", "Sensors.Ambient"},
    Row{"Exhaust", "Sensors.Exhaust"},
    Row{"Airflow Front", "Sensors.Airflow Front"},
    Row{"Airflow Front Left", "Sensors.Airflow Front Left"},
    Row{"Airflow Front Right", "Sensors.Airflow Front Right"},
    Row{"Airflow Left", "Sensors.Airflow Left"},
    Row{"Airflow Rear", "Sensors.Airflow Rear"},
    Row{"Airflow Rear Left", "Sensors.Airflow Rear Left"},
    Row{"Airflow Rear Right", "Sensors.Airflow Rear Right"},
    Row{"Airflow Right", "Sensors.Airflow Right"},
    Row{"Fans", "Sensors.Fans"},
    Row{"Ambient Exhaust", "Sensors.Ambient Air Exhaust"},
    Row{"Ambient Intake", "Sensors.Ambient Air Intake"},
};

/// What stands before a number; the first row that fits somewhere in a name holds.
constexpr std::array NumberedNames = {
    Row{"Fan ", "Sensors.Fan {x}"},
    Row{"CPU Performance Core ", "Sensors.CPU Performance Core {x}"},
    Row{"CPU Efficiency Core ", "Sensors.CPU Efficiency Core {x}"},
    Row{"CPU Core ", "Sensors.CPU Core {x}"},
    Row{"GPU ", "Sensors.Graphics {x}"},
    Row{"Graphics ", "Sensors.Graphics {x}"},
    Row{"Memory ", "Sensors.Memory {x}"},
    Row{"Palm Rest ", "Sensors.Palm Rest {x}"},
    Row{"Airflow ", "Sensors.Airflow {x}"},
    Row{"Ambient ", "Sensors.Ambient {x}"},
    Row{"Battery ", "Sensors.Battery {x}"},
};

/// The beginnings of group keys that have a word.
constexpr std::array GroupNames = {
    Row{"sensors", "Sensors.Sensors"},         Row{"overview", "Sensors.Overview"},
    Row{"temperature", "Sensors.Temperature"}, Row{"fan", "Sensors.Fans"},
    Row{"current", "Sensors.Amperage"},        Row{"power", "Sensors.Power"},
    Row{"voltage", "Sensors.Voltage"},         Row{"frequency", "Sensors.Frequency"},
    Row{"ambientlight", "Sensors.Light"},      Row{"multiplier", "Sensors.Multiplier"},
};

/// The first lacks its first letter: hosts compare with it as it is.
constexpr std::array GroupFilters = {
    Row{"overview", "verview"},
    Row{"temperature", "temperature"},
    Row{"fan", "fan"},
    Row{"current", "current"},
    Row{"power", "power"},
    Row{"voltage", "voltage"},
    Row{"frequency", "frequency"},
    Row{"ambientlight", "ambientlight"},
};

/// By kind, from 1.
constexpr std::array<std::string_view, 9> DefaultGroups = {"temperature", "Fan", "Fan",       "current", "power",
                                                           "voltage",     "LIG", "frequency", "MUL"};

/// The digits behind the first place where they follow `before`; empty when there is none.
std::string_view numberBehind(std::string_view before, std::string_view name) {
    for (std::size_t at = name.find(before); at != std::string_view::npos; at = name.find(before, at + 1)) {
        const std::string_view rest = name.substr(at + before.size());
        const auto end = std::find_if_not(rest.begin(), rest.end(), isDigit);
        if (end != rest.begin()) return rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    }
    return {};
}

template <class Rows>
std::string_view byBeginning(const Rows& rows, std::string_view key) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row& r) { return key.starts_with(r.first); });
    return row == rows.end() ? std::string_view{} : row->second;
}

}  // namespace

std::optional<SensorPlace> placeForSensorName(std::string_view englishName) {
    const std::string name = lowered(englishName);
    const auto has = [&](std::string_view part) { return name.find(part) != std::string::npos; };
    if (has("cpu")) {
        if (has("eff")) return SensorPlace{StatisticsSensorLocationCPUEfficiency, "CPU"};
        if (has("perf")) return SensorPlace{StatisticsSensorLocationCPUPerformance, "CPU"};
        return SensorPlace{StatisticsSensorLocationCPU, "CPU"};
    }
    if (has("gpu") || has("graphics") || name.starts_with("amd"))
        return SensorPlace{StatisticsSensorLocationGPU, "GPU"};
    if (has("memory")) return SensorPlace{StatisticsSensorLocationMemory, "MEM"};
    if (has("palm")) return SensorPlace{StatisticsSensorLocationPalmRest, "PLM"};
    if (has("airport") || has("wireless")) return SensorPlace{StatisticsSensorLocationWireless, "APT"};
    if (has("air")) return SensorPlace{StatisticsSensorLocationAir, "AIR"};
    if (has("logic")) return SensorPlace{StatisticsSensorLocationLogicBoard, "LOG"};
    if (has("ssd")) return SensorPlace{StatisticsSensorLocationSSD, "SSD"};
    if (has("soc")) return SensorPlace{StatisticsSensorLocationSOC, "SOC"};
    if (has("battery")) return SensorPlace{StatisticsSensorLocationPower, "BAT"};
    if (has("power")) return SensorPlace{StatisticsSensorLocationPower, "POW"};
    if (has("display")) return SensorPlace{StatisticsSensorLocationPower, "DISP"};
    return std::nullopt;
}

std::string withoutProximity(std::string_view englishName) {
    constexpr std::string_view Word = " Proximity";
    std::string name;
    std::size_t at = 0;
    for (std::size_t found; (found = englishName.find(Word, at)) != std::string_view::npos; at = found + Word.size())
        name += englishName.substr(at, found - at);
    name += englishName.substr(at);
    return name;
}

std::optional<SensorNameKey> nameKeyForSensor(std::string_view name) {
    for (const auto& [whole, key] : WholeNames)
        if (name == whole) return SensorNameKey{key, {}};
    for (const auto& [before, key] : NumberedNames)
        if (const std::string_view number = numberBehind(before, name); !number.empty())
            return SensorNameKey{key, number};
    return std::nullopt;
}

std::string_view nameKeyForGroup(std::string_view groupKey) { return byBeginning(GroupNames, groupKey); }

std::string_view filterKeyForGroupKey(std::string_view groupKey) { return byBeginning(GroupFilters, groupKey); }

std::string_view defaultGroupKeyForType(std::int64_t type) {
    if (type < 1 || type > static_cast<std::int64_t>(DefaultGroups.size())) return {};
    return DefaultGroups[static_cast<std::size_t>(type - 1)];
}

std::int64_t sensorTypeFromKey(std::string_view key) {
    switch (key.empty() ? '\0' : lowered(key.front())) {
        case 't': return StatisticsSensorTypeTemperature;
        case 'f': return StatisticsSensorTypeFanSpeed;
        case 'i': return StatisticsSensorTypeCurrent;
        case 'p': return StatisticsSensorTypePower;
        case 'v': return StatisticsSensorTypeVoltage;
        case 'a': return StatisticsSensorTypeLight;
        case 'c': return StatisticsSensorTypeFrequency;
        case 'm': return StatisticsSensorTypeMultiplier;
        default: return StatisticsSensorTypeUnknown;
    }
}

std::int64_t sensorSourceFromWord(std::string_view word) {
    if (word == "average") return StatisticsSensorSourceAverage;
    if (word == "multiply") return StatisticsSensorSourceMultiply;
    if (word == "hid") return StatisticsSensorSourceHID;
    return StatisticsSensorSourceSMC;
}

}  // namespace hvk
