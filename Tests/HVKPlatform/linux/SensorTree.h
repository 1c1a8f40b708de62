// SensorTree.h - a saved tree with hardware monitors, and the controller's client on it.
#pragma once

#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "HVKPlatform/linux/LinuxMachine.h"
#include "HVKStatistics/sensors/SMC.h"
#include "support/SavedTree.h"

namespace hvk::test {

/// Attributes of a chip: {"temp1_input", "45000"}.
using Attributes = std::vector<std::pair<std::string, std::string>>;

/// A tree to which chips are added as the kernel does: a directory below the device, a link in the class.
class SensorTree : public SavedTree {
public:
    SensorTree() { std::system(("mkdir -p '" + path("/sys/class/hwmon") + "'").c_str()); }

    /// Adds chip hwmon`number` of a device, e.g. "platform/coretemp.0".
    SensorTree& chip(int number, const std::string& device, const std::string& name, const Attributes& attributes) {
        const std::string node = "hwmon" + std::to_string(number);
        const std::string directory = directoryOf(number, device);
        write(directory + "/name", name + "\n");
        for (const auto& [attribute, content] : attributes) write(directory + "/" + attribute, content + "\n");
        link("/sys/class/hwmon/" + node, "../../devices/" + device + "/hwmon/" + node);
        return *this;
    }

    static std::string directoryOf(int number, const std::string& device) {
        return "/sys/devices/" + device + "/hwmon/hwmon" + std::to_string(number);
    }

    /// Takes a chip away with its directory.
    void unplug(int number, const std::string& device) {
        remove("/sys/class/hwmon/hwmon" + std::to_string(number));
        remove(directoryOf(number, device));
    }
};

/// A machine with the client that the sensors module has.
struct SensorMachine {
    explicit SensorMachine(const SavedTree& tree) : machine(tree.root()), smc(machine) { opened = smc.open(); }

    /// The keys of the channels by chip and channel: "coretemp temp1".
    std::map<std::string, std::string> keys() {
        std::map<std::string, std::string> found;
        for (const MonitorChannelDescription& channel : monitors().descriptions())
            found[channel.chip + " " + channel.channel] = controllerText(channel.key);
        return found;
    }

    /// The client's reading of a channel.
    float read(const std::string& channel) {
        const auto all = keys();
        const auto key = all.find(channel);
        return key == all.end() ? -1 : smc.read(key->second);
    }

    HardwareMonitors& monitors() { return machine.monitors(); }

    LinuxMachine machine;
    SMC smc;
    bool opened = false;
};

}  // namespace hvk::test
