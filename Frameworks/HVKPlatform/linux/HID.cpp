#include "HVKPlatform/linux/HID.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "HVKPlatform/linux/parse/HardwareMonitor.h"

namespace hvk {

namespace {

constexpr const char* ThermalClass = "/sys/class/thermal";
constexpr double AbsoluteZero = -273.15;

std::string fileOf(const std::string& node, const char* file) {
    return std::string(ThermalClass).append("/").append(node).append("/").append(file);
}

}  // namespace

LinuxHIDPort::LinuxHIDPort(const LinuxRoot& root, Diagnostics& diagnostics)
    : root_(root),
      source_(diagnostics.source("/sys/class/thermal", "temperatures of thermal zones")),
      watch_(root.path(ThermalClass), root.isLive()) {}

/// The type, with the lowest number that makes it unlike the names that are taken.
std::string LinuxHIDPort::productFor(const std::string& type, const std::vector<Zone>& named) const {
    std::string product = type;
    for (unsigned number = 2;; ++number) {
        const auto isTaken = [&](const Zone& zone) { return zone.description.product == product; };
        if (std::none_of(named.begin(), named.end(), isTaken)) return product;
        product = type + " " + std::to_string(number);
    }
}

void LinuxHIDPort::update() {
    if (!watch_.changed()) return;
    std::vector<std::string> nodes = root_.list(ThermalClass);
    std::erase_if(nodes, [](const std::string& node) { return !node.starts_with("thermal_zone"); });
    std::sort(nodes.begin(), nodes.end(), parse::naturalLess);
    // Zones of before keep their names as long as they are of the same type.
    std::vector<Zone> kept;
    std::vector<std::pair<std::string, std::string>> added;
    for (const std::string& node : nodes) {
        const auto type = root_.readLine(fileOf(node, "type"));
        if (!type) continue;
        const auto known = std::find_if(zones_.begin(), zones_.end(), [&](const Zone& zone) {
            return zone.node == node && zone.description.type == *type;
        });
        if (known != zones_.end()) {
            kept.push_back(std::move(*known));
            kept.back().temperature.close();
            kept.back().mode.close();
        } else {
            added.emplace_back(node, *type);
        }
    }
    for (auto& [node, type] : added) {
        Zone zone;
        zone.description = {productFor(type, kept), type};
        zone.temperature = AttributeFile(root_.path(fileOf(node, "temp")), budget_);
        zone.mode = AttributeFile(root_.path(fileOf(node, "mode")), budget_);
        zone.node = std::move(node);
        kept.push_back(std::move(zone));
    }
    std::sort(kept.begin(), kept.end(),
              [](const Zone& left, const Zone& right) { return parse::naturalLess(left.node, right.node); });
    zones_ = std::move(kept);
    ++revision_;
}

bool LinuxHIDPort::isDisabled(Zone& zone) {
    char line[32];
    const std::ptrdiff_t count = zone.mode.readInto(line, sizeof line);
    return count > 0 && std::string_view(line, static_cast<std::size_t>(count)).starts_with("disabled");
}

bool LinuxHIDPort::read(Zone& zone, double& celsius) {
    if (isDisabled(zone)) return false;
    AttributeReading reading = zone.temperature.read();
    celsius = static_cast<double>(reading.number) / 1000;
    if (reading.error == 0 && celsius <= AbsoluteZero) reading.error = ERANGE;
    // A zone that goes on failing the same way is noted once: a pass allocates nothing.
    if (reading.error != 0 && reading.error != zone.error) {
        Failure failure = failureFromErrno(reading.error, fileOf(zone.node, "temp"));
        failure.detail = zone.description.product + ": " + failure.detail;
        (void)source_.failed(std::move(failure));
    }
    zone.error = reading.error;
    return reading.error == 0;
}

Status LinuxHIDPort::readings(std::uint32_t usagePage, std::uint32_t usage, std::uint32_t eventType,
                              std::vector<HIDReading>& readings) {
    if (usagePage != HIDTemperatureUsagePage || usage != HIDTemperatureUsage || eventType != HIDTemperatureEvent) {
        readings.clear();
        return {};
    }
    std::lock_guard lock(mutex_);
    update();
    if (!watch_.exists()) {
        readings.clear();
        return source_.failed({FailureKind::Absent, ThermalClass, "this machine has no thermal zones"});
    }
    std::size_t count = 0;
    for (Zone& zone : zones_) {
        double celsius = 0;
        if (!read(zone, celsius)) continue;
        if (count == readings.size()) readings.emplace_back();
        readings[count].product = zone.description.product;
        readings[count++].value = celsius;
    }
    readings.resize(count);
    if (count == zones_.size()) source_.works();
    return {};
}

std::vector<ThermalZoneDescription> LinuxHIDPort::zones() {
    std::lock_guard lock(mutex_);
    update();
    std::vector<ThermalZoneDescription> descriptions;
    for (const Zone& zone : zones_) descriptions.push_back(zone.description);
    return descriptions;
}

std::uint64_t LinuxHIDPort::revision() {
    std::lock_guard lock(mutex_);
    update();
    return revision_;
}

}  // namespace hvk
