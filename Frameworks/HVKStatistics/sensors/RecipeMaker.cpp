#include "HVKStatistics/sensors/RecipeMaker.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <utility>

namespace hvk {

namespace {

constexpr std::array<SensorKind, 6> KindsInOrder = {SensorKind::Temperature, SensorKind::Fan,
                                                    SensorKind::Power,       SensorKind::Voltage,
                                                    SensorKind::Current,     SensorKind::Frequency};
constexpr int SimpleGroup = 1;
constexpr int DetailedGroup = 2;

/// The kind as records and recipes count it.
int typeOf(SensorKind kind) {
    switch (kind) {
        case SensorKind::Temperature: return 1;
        case SensorKind::Fan: return 3;
        case SensorKind::Current: return 4;
        case SensorKind::Power: return 5;
        case SensorKind::Voltage: return 6;
        case SensorKind::Frequency: return 8;
    }
    return 0;
}

/// An average of fans is one of shares of their ranges.
constexpr int FanAverageType = 2;

/// The kind as the keys of groups begin.
std::string wordOf(SensorKind kind) { return sensorKindName(kind); }

/// The key under which the record is found: that of the controller, or the product as the sampling calls it.
std::string keyOf(const SensorDescription& sensor) {
    std::string key = sensor.key;
    constexpr std::string_view Suffix = "Temp Sensor";
    if (sensor.source == SensorSource::HID)
        for (auto at = key.find(Suffix); at != std::string::npos; at = key.find(Suffix)) key.erase(at, Suffix.size());
    return key;
}

Value entryOf(const SensorDescription& sensor) {
    Value entry = {{"key", keyOf(sensor)},
                   {"name", sensor.name},
                   {"source", sensor.source == SensorSource::HID ? "hid" : "smc"},
                   {"type", typeOf(sensor.kind)}};
    if (sensor.low) entry["low"] = *sensor.low;
    if (sensor.high) entry["high"] = *sensor.high;
    return entry;
}

std::string averageKey(SensorKind kind, const std::string& group) {
    // Those that compact displays look for by name.
    if (kind == SensorKind::Temperature && group == "GPU") return "AS_GPU_AVG";
    if (kind == SensorKind::Temperature && group == "CPU Cores") return "AS_CPU_AVG";
    if (kind == SensorKind::Temperature && group == "Battery") return "CUS_BATTERY_AVERAGE";
    std::string key = "AVG_" + wordOf(kind) + "_" + group;
    for (char& c : key)
        c = std::isalnum(static_cast<unsigned char>(c)) ? static_cast<char>(std::toupper(static_cast<unsigned char>(c)))
                                                        : '_';
    return key;
}

bool isProcessorGroup(const std::string& group) {
    return group == "CPU" || group == "CPU Cores" || group == "CPU Dies";
}

/// Where a group stands among others: what people look for first; 0 comes first.
std::size_t rankOf(const std::string& group) {
    constexpr std::array<std::string_view, 7> Order = {"CPU", "CPU Cores", "CPU Dies", "GPU", "Memory", "SSD", "Disks"};
    return static_cast<std::size_t>(std::find(Order.begin(), Order.end(), group) - Order.begin());
}

/// Makes one recipe.
class Making {
public:
    explicit Making(const std::vector<SensorDescription>& sensors) : sensors_(sensors) {}

    Value recipe() {
        for (const SensorKind kind : KindsInOrder) addSimpleGroup(kind);
        for (const SensorKind kind : KindsInOrder) addDetailedGroups(kind);
        return {{"version", MadeRecipeVersion},
                {"sensors", {{"supported", supported_}, {"default", default_}}},
                {"cpu", {{"sensors", cpu_}}},
                {"fans", {{"groups", fans_}}}};
    }

private:
    using Members = std::vector<const SensorDescription*>;

    template <class Test>
    Members select(SensorKind kind, Test test) const {
        Members members;
        for (const SensorDescription& sensor : sensors_)
            if (sensor.kind == kind && test(sensor)) members.push_back(&sensor);
        return members;
    }

    /// The values of one kind, in order of appearance: groups or chips.
    std::vector<std::string> distinct(SensorKind kind, std::string SensorDescription::*field) const {
        std::vector<std::string> found;
        for (const SensorDescription& sensor : sensors_) {
            const std::string& text = sensor.*field;
            if (sensor.kind == kind && std::find(found.begin(), found.end(), text) == found.end())
                found.push_back(text);
        }
        return found;
    }

    /// The members of an average are keys of the controller; a fan needs a range to have a share of it.
    Value averageOf(SensorKind kind, const std::string& group) const {
        const bool ofFans = kind == SensorKind::Fan;
        if (!ofFans && kind != SensorKind::Temperature && kind != SensorKind::Frequency) return nullptr;
        Value keys = Value::array();
        for (const SensorDescription* member : select(kind, [&](const auto& each) { return each.group == group; })) {
            if (member->source != SensorSource::Controller) continue;
            if (ofFans && !(member->high && *member->high > member->low.value_or(0))) continue;
            keys.push_back(member->key);
        }
        const bool isLookedFor = group == "GPU" || group == "Battery";
        if (keys.size() < (isLookedFor && !ofFans ? 1U : 2U)) return nullptr;
        return {{"key", averageKey(kind, group)},
                {"name", group},
                {"source", "average"},
                {"type", ofFans ? FanAverageType : typeOf(kind)},
                {"sensors", std::move(keys)}};
    }

    void addSimpleGroup(SensorKind kind) {
        Value entries = Value::array();
        std::vector<std::string> groups = distinct(kind, &SensorDescription::group);
        std::erase(groups, "");
        std::stable_sort(groups.begin(), groups.end(), [](const std::string& left, const std::string& right) {
            return rankOf(left) < rankOf(right);
        });
        for (const std::string& group : groups) {
            const Value average = averageOf(kind, group);
            if (!average.is_null()) entries.push_back(average);
            // Fans are few; of other groups the average stands for all.
            if (average.is_null() || kind == SensorKind::Fan)
                for (const SensorDescription* member :
                     select(kind, [&](const auto& each) { return each.group == group; }))
                    entries.push_back(entryOf(*member));
            if (kind == SensorKind::Temperature && isProcessorGroup(group)) {
                if (!average.is_null()) cpu_.push_back(average["key"]);
                for (const SensorDescription* member :
                     select(kind, [&](const auto& each) { return each.group == group; }))
                    cpu_.push_back(keyOf(*member));
            }
        }
        if (entries.empty())
            for (const SensorDescription* sensor : select(kind, [](const auto&) { return true; }))
                entries.push_back(entryOf(*sensor));
        if (entries.empty()) return;
        if (kind == SensorKind::Temperature || kind == SensorKind::Fan || kind == SensorKind::Power)
            for (const Value& entry : entries) default_.push_back(entry["key"]);
        supported_.push_back({{"group", wordOf(kind)},
                              {"key", wordOf(kind) + "-simple"},
                              {"type", SimpleGroup},
                              {"sensors", std::move(entries)}});
    }

    void addDetailedGroups(SensorKind kind) {
        for (const std::string& chip : distinct(kind, &SensorDescription::chip)) {
            Value entries = Value::array();
            Value keys = Value::array();
            for (const SensorDescription* sensor : select(kind, [&](const auto& each) { return each.chip == chip; })) {
                entries.push_back(entryOf(*sensor));
                keys.push_back(keyOf(*sensor));
            }
            const std::string key = wordOf(kind) + "-" + chip;
            supported_.push_back({{"group", wordOf(kind)},
                                  {"key", key},
                                  {"type", DetailedGroup},
                                  {"name", chip},
                                  {"sensors", std::move(entries)}});
            if (kind == SensorKind::Fan) fans_.push_back({{"key", key}, {"name", chip}, {"sensors", std::move(keys)}});
        }
    }

    const std::vector<SensorDescription>& sensors_;
    Value supported_ = Value::array();
    Value default_ = Value::array();
    Value cpu_ = Value::array();
    Value fans_ = Value::array();
};

}  // namespace

Value RecipeMaker::recipe(const std::vector<SensorDescription>& sensors) { return Making(sensors).recipe(); }

Result<Value> RecipeMaker::make() const {
    const auto sensors = machine_.sensorDescriptions().descriptions();
    if (!sensors) return sensors.failure();
    if (sensors->empty())
        return Failure{FailureKind::Absent, "sensors", "this machine has none that this program reads"};
    return recipe(*sensors);
}

}  // namespace hvk
