// SensorCatalogue.h - the sensors of the module and the groups in which they are shown.
//
// It owns the lists: how a record is made from its configuration, which list and which group it joins, what it and its
// group are called. What is loaded and how it gets values is said by the module, which derives from this.
//
//     auto sensor = catalogue.createSensor({{"key", "TC0P"}, {"name", "CPU Proximity"}});
//     catalogue.addGlobalSensor(sensor, "temperature");
//     catalogue.groupWithKey("temperature-simple")->sensors.front()->nameShort;  // "CPU"
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKLocalization/LocalizedBundle.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/sensors/SensorGroup.h"
#include "HVKStatistics/sensors/StatisticsSensorItem.h"

namespace hvk {

/// The lists. Thread: the one that updates the module; `immutableSensors` and `immutableGroups` may be called on any.
class HVK_EXPORT SensorCatalogue {
public:
    using Sensor = std::shared_ptr<StatisticsSensorItem>;
    using Group = std::shared_ptr<SensorGroup>;

    /// Holds back what `immutableSensors` and `immutableGroups` answer while the lists are in the making: they change
    /// at once when the outermost of these ends. Without one, every addition and removal is seen immediately.
    class HVK_EXPORT Changes {
    public:
        explicit Changes(SensorCatalogue& catalogue);
        ~Changes();
        Changes(const Changes&) = delete;
        Changes& operator=(const Changes&) = delete;

    private:
        SensorCatalogue& catalogue_;
    };

    /// Empty lists. Asks the machine for the languages of its user; reads no sensor.
    explicit SensorCatalogue(Machine& machine = Machine::current());
    virtual ~SensorCatalogue() = default;
    SensorCatalogue(const SensorCatalogue&) = delete;
    SensorCatalogue& operator=(const SensorCatalogue&) = delete;

    // Making records

    /// A record from a configuration: "key", "name" (English), "low", "high", "freq", "type", "source". What is absent
    /// or of another kind gives "" or 0; nothing is refused. The record stands in no list yet.
    Sensor createSensor(const Value& configuration) const;

    /// The kind by the first letter of a key, in either case: 't' a temperature (1), 'f' a fan speed (3) ...; else 0.
    static std::int64_t typeFromKey(std::string_view key);

    /// The name in the user's language: "Ambient Intake Proximity" is "Ambient Air Intake" in English and
    /// "Umgebungsluft (Einlass)" in German. A name that the framework has no word for comes back as it is.
    std::string localizedNameForSensor(std::string_view englishName) const;

    // Adding and removing

    /// Appends to the list, unless the record stands in it, and sets `location` and `nameShort` by its English name.
    /// A record that stands in it is left as it is.
    void addSensor(const Sensor& sensor);

    /// `addSensor` for a record that joins no group. It is one of `sensors` and not of `hiddenItems`.
    void addHiddenSensor(const Sensor& sensor);

    /// `addSensor`, and puts it at the end of the group with the key "<kind>-simple" or "<kind>-detailed", e.g.
    /// "temperature-simple", which is made when there is none. A record that was there is there twice then.
    void addSimpleSensor(const Sensor& sensor, std::string_view kind);
    void addDetailedSensor(const Sensor& sensor, std::string_view kind);

    /// Both of the above.
    void addGlobalSensor(const Sensor& sensor, std::string_view kind);

    /// Takes a record out of the list and out of every group; the hidden ones and empty groups stay.
    void removeItem(const Sensor& sensor);

    /// The same for the first record with that key or key hash; nothing happens when there is none.
    void removeItemWithKey(std::string_view key);

    /// Keeps a record out of the visible list: for values that only others are made from. Appends; takes out.
    void addHiddenItem(const Sensor& sensor);
    void removeHiddenItem(const Sensor& sensor);

    /// Empties the list of sensors and that of groups; the hidden ones stay.
    void removeAllSensorsAndGroups();

    // Finding records; null when there is none. A record is found by its key or by its key hash.

    /// The first of `sensors`.
    Sensor sensorWithKey(std::string_view key) const;
    /// The first of `hiddenItems`.
    Sensor hiddenSensorWithKey(std::string_view key) const;
    /// The first of `sensors`, else of `hiddenItems`.
    Sensor updateSensorWithKey(std::string_view key) const;
    /// The first of a group.
    static Sensor group(const SensorGroup& group, std::string_view sensorWithKey);

    // Reading the lists

    /// The sensors, the groups, and the sensors that are kept out of both, each in the order in which they were added.
    const SensorList& sensors() const { return sensors_; }
    const std::vector<Group>& groups() const { return groups_; }
    const SensorList& hiddenItems() const { return hiddenItems_; }

    /// Copies of the two lists as they were last finished. The records are the module's own, see their header for what
    /// may be read of them; the groups are copies. Thread: any.
    SensorList immutableSensors() const;
    std::vector<SensorGroup> immutableGroups() const;

    /// Every sensor's key, in the order of the list.
    std::vector<std::string> keys() const;

    /// The sensors of kind 3 (fan speed) that are SMC keys, in the order of the list.
    SensorList fans() const;

    /// Every sensor's own `stats`, in the order of the list.
    Value stats() const;

    /// {"type": "sensors", "fields": ["value", "peak"], "keys": true}
    static Value historyConfig();

    /// Every sensor's `historyAverage`, in the order of the list, without those that have none; maybe an empty array.
    Value historyAverage(double start, double end, std::int64_t interval) const;

    // Groups

    /// {"key": "temperature"} for kind 1, and so on; an empty dictionary for a kind that is none.
    static Value defaultGroupConfigForType(std::int64_t type);

    /// The group with that identifier; null when there is none.
    Group groupWithKey(std::string_view identifier) const;

    /// The group with the identifier "<key>-<type>" of the configuration's "key" and "type", or the key alone when the
    /// type is absent or below 1. It is made, with the configuration's "name", when there is none.
    Group groupWithConfig(const Value& configuration);

    /// Appends a sensor to a group, whether or not it stands in it.
    void appendToGroup(SensorGroup& group, const Sensor& sensor);

    /// Sets the group's "sensor-type".
    void setSensorType(SensorGroup& group, std::int64_t type);

    /// The group's own name, else a name in the user's language by the beginning of its key ("temperature-simple" is
    /// "Temperature"), else the key.
    std::string nameForGroup(const SensorGroup& group) const;
    /// The same of a dictionary with "key" and maybe "name".
    std::string nameForGroup(const Value& group) const;

    /// The word by which a host filters the sensors of a group, by the beginning of the group's key; "" for others.
    /// "overview" gives "verview", which hosts know.
    static std::string filterKeyForGroup(std::string_view groupKey);

    /// A group for a host: "identifier", "key", "type", "name" (never empty while there is a key), "sensors" (an array
    /// of their `stats`) and, when a recipe set it, "sensor-type".
    Value valueForGroup(const SensorGroup& group) const;

    // What loading leaves for the host: passed through from the recipe, empty arrays at first.

    /// The groups that fans are shown in.
    const Value& fanGroups() const { return fanGroups_; }
    void setFanGroups(Value groups) { fanGroups_ = std::move(groups); }
    /// The keys of the sensors that a host shows when nobody chose others.
    const Value& defaultSensors() const { return defaultSensors_; }
    void setDefaultSensors(Value keys) { defaultSensors_ = std::move(keys); }
    /// The keys of the sensors of the processor.
    const Value& cpuSensors() const { return cpuSensors_; }
    void setCpuSensors(Value keys) { cpuSensors_ = std::move(keys); }

    /// Raised whenever a sensor or a group is added; whoever noticed lowers it.
    bool sensorsChanged() const { return sensorsChanged_; }
    void setSensorsChanged(bool changed) { sensorsChanged_ = changed; }

protected:
    Machine& machine_;

private:
    void addToKind(const Sensor& sensor, std::string_view kind, std::string_view suffix, std::int64_t type);
    void addGroup(Group group);
    std::string localized(std::string_view key) const;
    void listsChanged();
    void publish();

    LocalizedBundle bundle_;
    SensorList sensors_;
    SensorList hiddenItems_;
    std::vector<Group> groups_;
    Value fanGroups_ = Value::array();
    Value defaultSensors_ = Value::array();
    Value cpuSensors_ = Value::array();
    bool sensorsChanged_ = false;

    int changesInProgress_ = 0;
    bool unpublished_ = false;
    mutable std::mutex mutex_;  ///< guards the two below
    std::shared_ptr<const SensorList> publishedSensors_ = std::make_shared<const SensorList>();
    std::shared_ptr<const std::vector<SensorGroup>> publishedGroups_ =
        std::make_shared<const std::vector<SensorGroup>>();
};

}  // namespace hvk
