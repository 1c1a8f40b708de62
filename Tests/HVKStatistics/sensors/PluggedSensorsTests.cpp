// The sensors of a Linux machine whose chips come and go while the module runs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKPlatform/linux/SensorTree.h"
#include "HVKStatistics/sensors/HVKStatisticsSensors.h"
#include "HVKStatistics/sensors/RecipeMaker.h"

namespace hvk {
namespace {

constexpr int Chips = 12;

std::string deviceOf(int chip) { return "platform/chip." + std::to_string(chip); }

test::Attributes channelsOf(int chip) {
    test::Attributes attributes;
    for (int channel = 1; channel <= (chip < 8 ? 17 : 16); ++channel) {
        const std::string name = "temp" + std::to_string(channel);
        attributes.emplace_back(name + "_input", std::to_string(30000 + chip * 1000 + channel * 10));
        attributes.emplace_back(name + "_label", "Sensor " + std::to_string(chip) + "." + std::to_string(channel));
    }
    return attributes;
}

TEST(PluggedSensors, OfAChipGoAndComeAndNothingElseMoves) {
    test::SensorTree tree;
    for (int chip = 0; chip < Chips; ++chip)
        tree.chip(chip, deviceOf(chip), "chip" + std::to_string(chip), channelsOf(chip));
    LinuxMachine machine(tree.root());
    HVKStatisticsSensors sensors(machine);
    const auto recipe = RecipeMaker(machine).make();
    ASSERT_TRUE(recipe) << recipe.failure().detail;
    sensors.loadFromPlatform(*recipe);

    const auto existing = [&](bool ofTheChip) {
        std::size_t count = 0;
        for (const auto& sensor : sensors.sensors())
            if (sensor->engish.starts_with("Sensor ") && sensor->engish.starts_with("Sensor 5.") == ofTheChip)
                count += sensor->exists ? 1U : 0U;
        return count;
    };
    const auto values = [&] {
        std::vector<double> all;
        for (const auto& sensor : sensors.sensors()) all.push_back(sensor->value);
        return all;
    };
    double time = 1700000000;
    sensors.update(time);
    EXPECT_EQ(existing(true), 17U);
    EXPECT_EQ(existing(false), 183U);
    const auto before = values();
    const SensorList list = sensors.sensors();

    tree.unplug(5, deviceOf(5));
    sensors.update(time += 5);
    EXPECT_EQ(existing(true), 0U) << "absent, and not zero";
    EXPECT_EQ(existing(false), 183U);
    EXPECT_EQ(values(), before);

    // The kernel gives it another number.
    tree.chip(40, deviceOf(5), "chip5", channelsOf(5));
    sensors.update(time += 5);
    EXPECT_EQ(existing(true), 17U);
    EXPECT_EQ(values(), before);
    EXPECT_EQ(sensors.sensors(), list) << "the same records, with their histories";
}

}  // namespace
}  // namespace hvk
