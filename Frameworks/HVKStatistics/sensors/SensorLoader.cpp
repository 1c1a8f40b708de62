#include "HVKStatistics/sensors/SensorLoader.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

#include "HVKStatistics/categories/StatisticsHash.h"
#include "HVKStatistics/sensors/RecipeValue.h"

namespace hvk {

namespace {

constexpr double NoFamily = -1;
/// No controller key and no product's name comes near; what was asked for once is remembered.
constexpr std::size_t LongestSensorKey = 256;

/// An array of the recipe; an empty one for anything else.
Value arrayOf(const Value& value) { return value.is_array() ? value : Value::array(); }

bool isAvailable(float reading) { return reading != SMCNotAvailable; }

bool isFanKey(const std::string& key) { return key.starts_with('f') || key.starts_with('F'); }

std::string upperHexadecimal(std::uint64_t number) {
    char digits[17];
    std::snprintf(digits, sizeof digits, "%llX", static_cast<unsigned long long>(number));
    return digits;
}

/// The entry of one member of a family. A lone member is not numbered.
Value memberEntry(const Value& entry, const std::string& key, std::uint64_t number, bool alone) {
    const std::string format = recipeText(recipeEntry(entry, "name"));
    Value member = entry;
    member["key"] = key;
    member["index"] = static_cast<std::int64_t>(number);
    member["name-format"] = format;
    member["name"] = alone ? recipeReplaced(recipeReplaced(format, " %@", ""), "%@ ", "")
                           : recipeReplaced(format, "%@", std::to_string(static_cast<std::int64_t>(number)));
    return member;
}

}  // namespace

SensorLoader::SensorLoader(Machine& machine, SensorCatalogue& catalogue, SMC& controller, HIDSensorReader& hid)
    : machine_(machine),
      catalogue_(catalogue),
      controller_(controller),
      hid_(hid),
      health_(machine.diagnostics().source("recipe entries", "sensors of this model",
                                           "mend the recipe; hvkstat recipe check says where")) {}

void SensorLoader::refuse(const std::string& what) {
    (void)health_.failed({FailureKind::Malformed, "recipe entries", what});
}

void SensorLoader::loadFromPlatform(const Value& recipe) {
    if (!recipe.is_object()) return;
    health_.works();
    const SensorCatalogue::Changes changes(catalogue_);
    const Value& sensors = recipeEntry(recipe, "sensors");
    catalogue_.setDefaultSensors(arrayOf(recipeEntry(sensors, "default")));
    catalogue_.setCpuSensors(arrayOf(recipeEntry(recipeEntry(recipe, "cpu"), "sensors")));
    catalogue_.setFanGroups(arrayOf(recipeEntry(recipeEntry(recipe, "fans"), "groups")));
    catalogue_.removeAllSensorsAndGroups();
    hidSensors_.reset();

    const Value& supported = recipeEntry(sensors, "supported");
    if (supported.is_array()) {
        for (const Value& entry : supported) {
            if (!hasRecipeEntry(entry, "group")) {
                loadSensor(entry, nullptr);
                continue;
            }
            const Value& members = recipeEntry(entry, "sensors");
            if (!members.is_array()) {
                refuse("the group '" + recipeText(recipeEntry(entry, "key")) + "' has no array of sensors");
                continue;
            }
            for (const Value& member : members) loadSensor(member, entry);
        }
    } else if (!supported.is_null()) {
        refuse("the supported sensors are no array");
    }
    for (const Sensor& sensor : catalogue_.sensors())
        if (sensor->source == StatisticsSensorSourceAverage) validate(*sensor);
    catalogue_.setSensorsChanged(true);
}

/// Notes which members of an average count. Fans, and what is no key of the controller, are not asked: they count even
/// while they do not answer.
void SensorLoader::validate(StatisticsSensorItem& average) {
    Value valid = Value::array();
    const Value& members = recipeEntry(average.config, "sensors");
    if (members.is_array()) {
        for (const Value& member : members) {
            if (!member.is_string()) continue;
            const std::string key = member.get<std::string>();
            if (key.size() < 5 && !isFanKey(key) && !isAvailable(controller_.read(key))) continue;
            valid.push_back(member);
        }
    }
    average.config["sensors-valid"] = std::move(valid);
}

SensorLoader::Sensor SensorLoader::loadSensor(const Value& entry, const Value& group) {
    if (!entry.is_object()) {
        refuse("an entry is no dictionary");
        return nullptr;
    }
    if (!recipeEntry(entry, "key").is_string()) {
        refuse("the entry '" + recipeText(recipeEntry(entry, "name")) + "' has no key");
        return nullptr;
    }
    if (recipeText(recipeEntry(entry, "key")).size() > LongestSensorKey) {
        refuse("an entry's key has more than " + std::to_string(LongestSensorKey) + " characters");
        return nullptr;
    }
    if (recipeText(recipeEntry(entry, "source")) == "hid" && !hasRecipeEntry(entry, "average"))
        return loadHID(entry, group);
    if (!hasRecipeEntry(entry, "dynamic-type")) return loadSingle(entry, group);
    loadFamily(entry, group);
    return nullptr;
}

SensorLoader::Sensor SensorLoader::loadHID(const Value& entry, const Value& group) {
    if (!hidSensors_) hidSensors_ = hid_.read();
    if (HIDSensorReader::find(*hidSensors_, recipeText(recipeEntry(entry, "key"))) == nullptr) return nullptr;
    return place(entry, group, StatisticsSensorTypeTemperature);
}

SensorLoader::Sensor SensorLoader::loadSingle(const Value& entry, const Value& group) {
    const std::string source = recipeText(recipeEntry(entry, "source"));
    const std::string key = recipeText(recipeEntry(entry, "key"));
    if (source == "smc") {
        if (!isForThisCoreCount(entry)) return nullptr;
        // A graphics processor that sleeps does not answer yet.
        if (!isAvailable(controller_.read(key)) && !key.starts_with("TG")) return nullptr;
        return place(entry, group, SensorCatalogue::typeFromKey(key));
    }
    if (source == "multiply") return place(entry, group, recipeInteger(recipeEntry(entry, "type")));
    if (source == "average") {
        const std::int64_t kind = recipeInteger(recipeEntry(entry, "type"));
        if (!isForThisCoreCount(entry) || !addMembers(entry, kind)) return nullptr;
        return place(entry, group, kind);
    }
    return place(entry, group, StatisticsSensorTypeUnknown);
}

/// Makes hidden records of an average's members that nobody shows; whether any member answers.
bool SensorLoader::addMembers(const Value& entry, std::int64_t kind) {
    bool answered = false;
    const Value& members = recipeEntry(entry, "sensors");
    if (!members.is_array()) return false;
    for (const Value& member : members) {
        if (!member.is_string()) continue;
        const std::string key = member.get<std::string>();
        const float reading = controller_.read(key);
        if (!isAvailable(reading)) continue;
        answered = true;
        if (catalogue_.updateSensorWithKey(key)) continue;
        const auto hidden = std::make_shared<StatisticsSensorItem>();
        hidden->key = key;
        hidden->keyHash = statisticsHash(key);
        hidden->type = kind;
        hidden->source = StatisticsSensorSourceSMC;
        hidden->addValue(reading, machine_.clock().wallSeconds());
        catalogue_.addHiddenItem(hidden);
    }
    return answered;
}

SensorLoader::Sensor SensorLoader::place(const Value& entry, const Value& group, std::int64_t kind) {
    const SensorCatalogue::Changes changes(catalogue_);
    const std::string key = recipeText(recipeEntry(entry, "key"));
    Sensor sensor = catalogue_.sensorWithKey(key);
    if (const Sensor hidden = catalogue_.hiddenSensorWithKey(key)) catalogue_.removeHiddenItem(hidden);
    if (!sensor) sensor = catalogue_.createSensor(entry);
    join(sensor, group, kind);
    return sensor;
}

void SensorLoader::join(const Sensor& sensor, const Value& group, std::int64_t kind) {
    const auto target =
        catalogue_.groupWithConfig(group.is_object() ? group : SensorCatalogue::defaultGroupConfigForType(kind));
    catalogue_.appendToGroup(*target, sensor);
    catalogue_.setSensorType(*target, sensor->type);
    catalogue_.addSensor(sensor);
}

// Families

void SensorLoader::loadFamily(const Value& entry, const Value& group) {
    const std::string keyTemplate = recipeText(recipeEntry(entry, "key"));
    const std::int64_t count = familyCount(entry);
    auto keyNumber = static_cast<std::uint64_t>(recipeInteger(recipeEntry(entry, "key-offset")));
    auto nameNumber = static_cast<std::uint64_t>(recipeInteger(recipeEntry(entry, "name-offset")));
    std::vector<Member> members;
    double last = NoFamily;
    for (std::int64_t step = 0; step < count; ++step, ++keyNumber, ++nameNumber) {
        std::string key = recipeReplaced(keyTemplate, "{0}", upperHexadecimal(keyNumber));
        const float reading = controller_.read(key);
        last = reading;
        if (isAvailable(reading)) members.push_back({std::move(key), nameNumber});
    }
    if (hasRecipeEntry(entry, "dynamic-average")) {
        loadFamilyAverage(entry, group, members, last);
        return;
    }
    for (const Member& member : members)
        place(memberEntry(entry, member.key, member.number, members.size() == 1), group, StatisticsSensorTypeUnknown);
}

void SensorLoader::loadFamilyAverage(const Value& entry, const Value& group, const std::vector<Member>& members,
                                     double last) {
    Sensor sensor = catalogue_.sensorWithKey(recipeText(recipeEntry(entry, "key")));
    if (!sensor) {
        Value configuration = entry;
        Value& keys = configuration["average"] = Value::array();
        for (const Member& member : members) keys.push_back(member.key);
        configuration["type"] = StatisticsSensorTypeUnknown;
        sensor = catalogue_.createSensor(configuration);
        sensor->addValue(last, machine_.clock().wallSeconds());
    }
    join(sensor, group, StatisticsSensorTypeUnknown);
}

std::int64_t SensorLoader::familyCount(const Value& entry) {
    const std::string kind = recipeText(recipeEntry(entry, "dynamic-type"));
    if (kind == "package") return std::min(physicalCores(), SensorFamilyLimit);
    if (kind == "cores") return std::min(logicalCores(), SensorFamilyLimit);
    const std::int64_t limit = recipeInteger(recipeEntry(entry, "limit"));
    if (limit <= SensorFamilyLimit) return limit;
    refuse("the family '" + recipeText(recipeEntry(entry, "key")) + "' has more than " +
           std::to_string(SensorFamilyLimit) + " members");
    return SensorFamilyLimit;
}

bool SensorLoader::isForThisCoreCount(const Value& entry) {
    return !hasRecipeEntry(entry, "cores") || recipeInteger(recipeEntry(entry, "cores")) == physicalCores();
}

std::int64_t SensorLoader::physicalCores() {
    if (!physicalCores_) physicalCores_ = machine_.system().physicalProcessorCount().valueOr(0);
    return *physicalCores_;
}

std::int64_t SensorLoader::logicalCores() {
    if (!logicalCores_) logicalCores_ = machine_.system().logicalProcessorCount().valueOr(0);
    return *logicalCores_;
}

}  // namespace hvk
