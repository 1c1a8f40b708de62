#include "HVKPlatform/linux/SensorDescriptions.h"

#include <algorithm>
#include <map>
#include <utility>

#include "HVKPlatform/linux/SensorNames.h"
#include "HVKPlatform/support/ControllerProtocol.h"

namespace hvk {

namespace {

constexpr const char* ThermalZones = "thermal zones";

/// A name for each chip: "nvme", and "nvme 2" for the next device of that name.
class ChipNames {
public:
    std::string nameOf(const MonitorChannelDescription& channel) {
        const auto [known, isNew] = names_.try_emplace(channel.device);
        if (isNew) {
            const unsigned number = ++counts_[channel.chip];
            known->second = channel.chip + (number == 1 ? "" : " " + std::to_string(number));
        }
        return known->second;
    }

    bool hasChip(const std::string& chip) const { return counts_.contains(chip); }

private:
    std::map<std::string, std::string> names_;  ///< by the identity of the device
    std::map<std::string, unsigned> counts_;
};

/// Whether a zone shows what a monitor shows: the kernel makes a monitor of most zones, under the zone's type with
/// underscores, and the package temperature of a processor comes from the register that "coretemp" reads.
bool isShownByMonitor(const std::string& type, const ChipNames& chips) {
    std::string chip = type;
    std::replace(chip.begin(), chip.end(), '-', '_');
    return chips.hasChip(chip) || (chip == "x86_pkg_temp" && chips.hasChip("coretemp"));
}

}  // namespace

Result<std::vector<SensorDescription>> LinuxSensorDescriptionsPort::descriptions() {
    std::vector<SensorDescription> descriptions;
    ChipNames chips;
    for (MonitorChannelDescription& channel : monitors_.descriptions()) {
        SensorName name = sensorName({channel.chip, channel.label, channel.index, channel.kind});
        SensorDescription description;
        description.key = controllerText(channel.key);
        description.kind = channel.kind;
        description.name = std::move(name.name);
        description.chip = chips.nameOf(channel);
        description.group = std::move(name.group);
        description.low = channel.low;
        description.high = channel.high;
        descriptions.push_back(std::move(description));
    }
    // Places are given in the order of arrival; channels that a driver added late go to their chip.
    std::map<std::string, std::size_t> order;
    for (const SensorDescription& each : descriptions) order.try_emplace(each.chip, order.size());
    std::stable_sort(descriptions.begin(), descriptions.end(),
                     [&](const auto& left, const auto& right) { return order.at(left.chip) < order.at(right.chip); });
    for (const ThermalZoneDescription& zone : hid_.zones()) {
        if (isShownByMonitor(zone.type, chips)) continue;
        SensorName name = thermalZoneName(zone.type);
        SensorDescription description;
        description.key = zone.product;
        description.source = SensorSource::HID;
        description.name = std::move(name.name);
        description.chip = ThermalZones;
        description.group = std::move(name.group);
        descriptions.push_back(std::move(description));
    }
    numberAlikeNames(descriptions);
    return descriptions;
}

Result<std::uint64_t> LinuxSensorDescriptionsPort::revision() { return monitors_.revision() + hid_.revision(); }

}  // namespace hvk
