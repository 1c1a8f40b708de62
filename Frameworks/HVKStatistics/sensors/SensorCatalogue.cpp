#include "HVKStatistics/sensors/SensorCatalogue.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "HVKLocalization/HVKLocalizedString.h"
#include "HVKStatistics/categories/StatisticsHash.h"
#include "HVKStatistics/core/StatisticsAverage.h"
#include "HVKStatistics/core/StatisticsBundle.h"
#include "HVKStatistics/sensors/SensorNames.h"

namespace hvk {

namespace {

/// An entry of a configuration; null when it is absent, and when the configuration is no dictionary.
const Value& entry(const Value& configuration, const char* key) {
    static const Value absent;
    if (!configuration.is_object()) return absent;
    const auto found = configuration.find(key);
    return found == configuration.end() ? absent : *found;
}

std::string textOf(const Value& value) { return value.is_string() ? value.get<std::string>() : std::string(); }

double numberOf(const Value& value) {
    if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
    return value.is_number() ? value.get<double>() : 0;
}

/// A number without its fraction, kept inside the range of the type.
std::int64_t integerOf(const Value& value) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(Limits::max()))
        return Limits::max();
    if (value.is_number_integer()) return value.get<std::int64_t>();
    const double number = numberOf(value);
    if (std::isnan(number)) return 0;
    if (number >= 0x1p63) return Limits::max();
    if (number <= -0x1p63) return Limits::min();
    return static_cast<std::int64_t>(number);
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
    std::string result;
    std::size_t begin = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, begin)) {
        result.append(text, begin, at - begin).append(with);
        begin = at + what.size();
    }
    return result.append(text, begin);
}

SensorCatalogue::Sensor firstWithKey(const SensorList& sensors, std::string_view key) {
    for (const auto& sensor : sensors)
        if (sensor->key == key || sensor->keyHash == key) return sensor;
    return nullptr;
}

bool contains(const SensorList& sensors, const SensorCatalogue::Sensor& sensor) {
    return std::find(sensors.begin(), sensors.end(), sensor) != sensors.end();
}

}  // namespace

SensorCatalogue::Changes::Changes(SensorCatalogue& catalogue) : catalogue_(catalogue) {
    ++catalogue_.changesInProgress_;
}

SensorCatalogue::Changes::~Changes() {
    if (--catalogue_.changesInProgress_ == 0 && catalogue_.unpublished_) catalogue_.publish();
}

SensorCatalogue::SensorCatalogue(Machine& machine) : machine_(machine), bundle_(statisticsBundle(machine)) {}

// --- making records

SensorCatalogue::Sensor SensorCatalogue::createSensor(const Value& configuration) const {
    auto sensor = std::make_shared<StatisticsSensorItem>();
    sensor->key = textOf(entry(configuration, "key"));
    sensor->keyHash = statisticsHash(sensor->key);
    sensor->engish = textOf(entry(configuration, "name"));
    sensor->name = localizedNameForSensor(sensor->engish);
    sensor->type = typeFromKey(sensor->key);
    sensor->low = numberOf(entry(configuration, "low"));
    sensor->high = numberOf(entry(configuration, "high"));
    if (configuration.is_object()) sensor->config = configuration;
    sensor->freq = textOf(entry(configuration, "freq"));
    if (const Value& type = entry(configuration, "type"); !type.is_null()) sensor->type = integerOf(type);
    sensor->source = sensorSourceFromWord(textOf(entry(configuration, "source")));
    // HID sensors are temperatures whatever the configuration says.
    if (sensor->source == StatisticsSensorSourceHID) sensor->type = StatisticsSensorTypeTemperature;
    return sensor;
}

std::int64_t SensorCatalogue::typeFromKey(std::string_view key) { return sensorTypeFromKey(key); }

std::string SensorCatalogue::localizedNameForSensor(std::string_view englishName) const {
    const std::string name = withoutProximity(englishName);
    const auto found = nameKeyForSensor(name);
    if (!found) return std::string(englishName);
    std::string text = localized(found->key);
    return found->number.empty() ? text : replaced(std::move(text), "{x}", found->number);
}

// --- adding and removing

void SensorCatalogue::addSensor(const Sensor& sensor) {
    if (contains(sensors_, sensor)) return;
    if (const auto place = placeForSensorName(sensor->engish)) {
        sensor->location = place->location;
        sensor->nameShort = place->label;
    }
    if (sensor->type == StatisticsSensorTypeFan || sensor->type == StatisticsSensorTypeFanSpeed)
        sensor->nameShort = "FAN";
    sensors_.push_back(sensor);
    sensorsChanged_ = true;
    listsChanged();
}

void SensorCatalogue::addHiddenSensor(const Sensor& sensor) {
    addSensor(sensor);
    sensorsChanged_ = true;
}

void SensorCatalogue::addToKind(const Sensor& sensor, std::string_view kind, std::string_view suffix,
                                std::int64_t type) {
    const Changes changes(*this);
    addSensor(sensor);
    sensorsChanged_ = true;
    const std::string key = std::string(kind) + std::string(suffix);
    const auto found =
        std::find_if(groups_.begin(), groups_.end(), [&](const Group& group) { return group->key == key; });
    if (found != groups_.end()) {
        appendToGroup(**found, sensor);
        return;
    }
    auto group = std::make_shared<SensorGroup>();
    group->identifier = key;
    group->key = key;
    group->type = type;
    group->name = nameForGroup(Value{{"key", kind}});
    group->sensors = {sensor};
    addGroup(std::move(group));
}

void SensorCatalogue::addSimpleSensor(const Sensor& sensor, std::string_view kind) {
    addToKind(sensor, kind, "-simple", SensorGroupTypeSimple);
}

void SensorCatalogue::addDetailedSensor(const Sensor& sensor, std::string_view kind) {
    addToKind(sensor, kind, "-detailed", SensorGroupTypeDetailed);
}

void SensorCatalogue::addGlobalSensor(const Sensor& sensor, std::string_view kind) {
    const Changes changes(*this);
    addSimpleSensor(sensor, kind);
    addDetailedSensor(sensor, kind);
}

void SensorCatalogue::removeItem(const Sensor& sensor) {
    // The caller may have handed over the very reference that a list holds.
    const Sensor removed = sensor;
    const Changes changes(*this);
    for (const Group& group : groups_)
        if (std::erase(group->sensors, removed) != 0) listsChanged();
    if (std::erase(sensors_, removed) != 0) listsChanged();
}

void SensorCatalogue::removeItemWithKey(std::string_view key) {
    if (const Sensor sensor = sensorWithKey(key)) removeItem(sensor);
}

void SensorCatalogue::addHiddenItem(const Sensor& sensor) { hiddenItems_.push_back(sensor); }

void SensorCatalogue::removeHiddenItem(const Sensor& sensor) {
    const Sensor removed = sensor;
    std::erase(hiddenItems_, removed);
}

void SensorCatalogue::removeAllSensorsAndGroups() {
    sensors_.clear();
    groups_.clear();
    listsChanged();
}

// --- finding records

SensorCatalogue::Sensor SensorCatalogue::sensorWithKey(std::string_view key) const {
    return firstWithKey(sensors_, key);
}

SensorCatalogue::Sensor SensorCatalogue::hiddenSensorWithKey(std::string_view key) const {
    return firstWithKey(hiddenItems_, key);
}

SensorCatalogue::Sensor SensorCatalogue::updateSensorWithKey(std::string_view key) const {
    if (auto sensor = sensorWithKey(key)) return sensor;
    return hiddenSensorWithKey(key);
}

SensorCatalogue::Sensor SensorCatalogue::group(const SensorGroup& group, std::string_view sensorWithKey) {
    return firstWithKey(group.sensors, sensorWithKey);
}

// --- reading the lists

SensorList SensorCatalogue::immutableSensors() const {
    std::unique_lock lock(mutex_);
    const auto published = publishedSensors_;
    lock.unlock();
    return *published;
}

std::vector<SensorGroup> SensorCatalogue::immutableGroups() const {
    std::unique_lock lock(mutex_);
    const auto published = publishedGroups_;
    lock.unlock();
    return *published;
}

std::vector<std::string> SensorCatalogue::keys() const {
    std::vector<std::string> keys;
    keys.reserve(sensors_.size());
    for (const Sensor& sensor : sensors_) keys.push_back(sensor->key);
    return keys;
}

SensorList SensorCatalogue::fans() const {
    SensorList fans;
    std::copy_if(sensors_.begin(), sensors_.end(), std::back_inserter(fans), [](const Sensor& sensor) {
        return sensor->type == StatisticsSensorTypeFanSpeed && sensor->source == StatisticsSensorSourceSMC;
    });
    return fans;
}

Value SensorCatalogue::stats() const {
    Value stats = Value::array();
    for (const Sensor& sensor : sensors_) stats.push_back(sensor->stats());
    return stats;
}

Value SensorCatalogue::historyConfig() { return historyConfigDictionary("sensors", {"value", "peak"}, true); }

Value SensorCatalogue::historyAverage(double start, double end, std::int64_t interval) const {
    Value averages = Value::array();
    for (const Sensor& sensor : sensors_)
        if (Value average = sensor->historyAverage(start, end, interval); !average.is_null())
            averages.push_back(std::move(average));
    return averages;
}

// --- groups

Value SensorCatalogue::defaultGroupConfigForType(std::int64_t type) {
    const std::string_view key = defaultGroupKeyForType(type);
    return key.empty() ? Value::object() : Value{{"key", key}};
}

SensorCatalogue::Group SensorCatalogue::groupWithKey(std::string_view identifier) const {
    const auto found = std::find_if(groups_.begin(), groups_.end(),
                                    [&](const Group& group) { return group->identifier == identifier; });
    return found == groups_.end() ? nullptr : *found;
}

SensorCatalogue::Group SensorCatalogue::groupWithConfig(const Value& configuration) {
    const std::string key = textOf(entry(configuration, "key"));
    const std::int64_t type = integerOf(entry(configuration, "type"));
    const std::string identifier = type < 1 ? key : key + "-" + std::to_string(type);
    if (auto existing = groupWithKey(identifier)) return existing;
    auto group = std::make_shared<SensorGroup>();
    group->identifier = identifier;
    group->key = key;
    group->type = type;
    group->name = textOf(entry(configuration, "name"));
    addGroup(group);
    return group;
}

void SensorCatalogue::addGroup(Group group) {
    groups_.push_back(std::move(group));
    sensorsChanged_ = true;
    listsChanged();
}

void SensorCatalogue::appendToGroup(SensorGroup& group, const Sensor& sensor) {
    group.sensors.push_back(sensor);
    listsChanged();
}

void SensorCatalogue::setSensorType(SensorGroup& group, std::int64_t type) {
    if (group.sensorType == type) return;
    group.sensorType = type;
    listsChanged();
}

std::string SensorCatalogue::nameForGroup(const SensorGroup& group) const {
    if (!group.name.empty()) return group.name;
    const std::string_view key = nameKeyForGroup(group.key);
    return key.empty() ? group.key : localized(key);
}

std::string SensorCatalogue::nameForGroup(const Value& group) const {
    SensorGroup named;
    named.key = textOf(entry(group, "key"));
    named.name = textOf(entry(group, "name"));
    return nameForGroup(named);
}

std::string SensorCatalogue::filterKeyForGroup(std::string_view groupKey) {
    return std::string(filterKeyForGroupKey(groupKey));
}

Value SensorCatalogue::valueForGroup(const SensorGroup& group) const {
    Value sensors = Value::array();
    for (const Sensor& sensor : group.sensors) sensors.push_back(sensor->stats());
    Value value = {{"identifier", group.identifier},
                   {"key", group.key},
                   {"type", group.type},
                   {"name", nameForGroup(group)},
                   {"sensors", std::move(sensors)}};
    if (group.sensorType) value["sensor-type"] = *group.sensorType;
    return value;
}

std::string SensorCatalogue::localized(std::string_view key) const {
    return HVKLocalizedStringFromTableInBundle(key, StatisticsStringTable, bundle_);
}

// --- publishing

void SensorCatalogue::listsChanged() {
    unpublished_ = true;
    if (changesInProgress_ == 0) publish();
}

void SensorCatalogue::publish() {
    auto sensors = std::make_shared<const SensorList>(sensors_);
    auto groups = std::make_shared<std::vector<SensorGroup>>();
    groups->reserve(groups_.size());
    for (const Group& group : groups_) groups->push_back(*group);
    unpublished_ = false;
    // What was published before is let go behind the lock: its last reader may be this one.
    std::shared_ptr<const std::vector<SensorGroup>> finishedGroups = std::move(groups);
    const std::lock_guard lock(mutex_);
    publishedSensors_.swap(sensors);
    publishedGroups_.swap(finishedGroups);
}

}  // namespace hvk
