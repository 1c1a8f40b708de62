// The sampling of the sensors on a written machine: when a sensor is read, what counts, and what stands in.

#include "HVKStatistics/sensors/SensorSampler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HVKStatistics/sensors/HVKStatisticsSensors.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::Start;
using test::turn;
using test::writtenMachine;

Value floatKey(const char* key, float value) {
    std::uint8_t bytes[4];
    float2Bytes(bytes, value);
    char text[9];
    std::snprintf(text, sizeof text, "%02x%02x%02x%02x", bytes[0], bytes[1], bytes[2], bytes[3]);
    return {{"key", key}, {"type", "flt "}, {"bytes", text}};
}

Value controller(std::initializer_list<std::pair<const char*, float>> keys) {
    Value list = Value::array();
    for (const auto& [key, value] : keys) list.push_back(floatKey(key, value));
    return {{"services", {{"AppleSMC", {{"keys", list}}}}}};
}

/// What the keys read from now on.
Value changed(std::initializer_list<std::pair<const char*, float>> keys) {
    Value changes = Value::object();
    for (const auto& [key, value] : keys) changes[key] = {{"bytes", floatKey(key, value)["bytes"]}};
    return {{"controller", {{"services", {{"AppleSMC", {{"changes", changes}}}}}}}};
}

class Sampling : public testing::Test {
protected:
    void start(std::initializer_list<std::pair<const char*, float>> keys, const Value& readings = Value::array()) {
        machine_ = writtenMachine({{"controller", controller(keys)}, {"hid", {{"readings", readings}}}});
        sensors_ = std::make_unique<HVKStatisticsSensors>(*machine_);
    }
    StatisticsSensorItem& add(const Value& configuration) {
        const auto sensor = sensors_->createSensor(configuration);
        sensors_->addSensor(sensor);
        return *sensor;
    }
    std::int64_t sample() { return sensors_->update(machine_->clock().wallSeconds()); }
    void later(double seconds, const Value& frame = Value::object()) {
        turn(*machine_, seconds, frame);
        sample();
    }

    std::unique_ptr<RecordedMachine> machine_;
    std::unique_ptr<HVKStatisticsSensors> sensors_;
};

TEST_F(Sampling, ReadsEveryFiveSecondsAndRepeatsInBetween) {
    start({{"TC0P", 40}});
    StatisticsSensorItem& sensor = add({{"key", "TC0P"}, {"name", "CPU"}, {"low", 20}, {"high", 100}});
    sample();
    EXPECT_EQ(sensor.value, 40);
    EXPECT_TRUE(sensor.exists);
    EXPECT_EQ(sensor.percentage, 0.25);
    later(4.9, changed({{"TC0P", 60}}));
    EXPECT_EQ(sensor.value, 40);
    EXPECT_EQ(sensor.history()[0].time, Start + 4.9) << "a repeated sample";
    EXPECT_EQ(sensor.lastUpdate, Start);
    later(0.1);
    EXPECT_EQ(sensor.value, 60) << "5 seconds to the point are no longer fresh";
    EXPECT_EQ(sensor.history()[2].time, Start) << "one record a sample";
}

TEST_F(Sampling, LowTemperaturesKeepTheLastValueOrTakeAnother) {
    start({{"TC0P", 40}, {"TG0P", 50}, {"VC0C", 5}});
    StatisticsSensorItem& plain = add({{"key", "TC0P"}, {"name", "CPU"}});
    StatisticsSensorItem& relieved = add({{"key", "TG0P"}, {"name", "GPU"}, {"bhash", "TC0P"}});
    StatisticsSensorItem& voltage = add({{"key", "VC0C"}, {"name", "Core"}});
    sample();
    later(5, changed({{"TC0P", 9.5F}, {"TG0P", 9.5F}, {"VC0C", 9.5F}}));
    EXPECT_EQ(plain.value, 40);
    EXPECT_EQ(plain.lastUpdate, Start + 5);
    EXPECT_EQ(relieved.value, 40) << "that of the sensor it names";
    EXPECT_EQ(voltage.value, 9.5) << "no temperature";
    later(5, changed({{"TC0P", 10}, {"TG0P", 10}}));
    EXPECT_EQ(plain.value, 10);
    EXPECT_EQ(relieved.value, 10);
}

TEST_F(Sampling, ASilentKeyKeepsItsValueAndASilentHIDSensorDoesNot) {
    start({{"TC0P", 40}}, {{{"product", "PMU tdie1 Temp Sensor"}, {"value", 41.5}}});
    StatisticsSensorItem& key = add({{"key", "TC0P"}, {"name", "CPU"}});
    StatisticsSensorItem& hid = add({{"key", "PMU tdie1 "}, {"name", "Die"}, {"source", "hid"}});
    StatisticsSensorItem& average = add({{"key", "AS_PMDIE_AVG"}, {"name", "Dies"}, {"source", "hid"}});
    sample();
    EXPECT_EQ(hid.value, 41.5);
    EXPECT_EQ(average.value, 41.5);
    later(5, {{"controller", {{"services", {{"AppleSMC", {{"changes", {{"TC0P", {{"bytes", "ffff7f7f"}}}}}}}}}}},
              {"hid", {{"readings", Value::array()}}}});
    EXPECT_EQ(key.value, 40);
    EXPECT_FALSE(key.exists);
    EXPECT_EQ(hid.value, StatisticsSensorNotAvailable);
    EXPECT_FALSE(hid.exists);
    EXPECT_EQ(average.value, 0) << "nothing counts to it";
}

TEST_F(Sampling, ProductsTakeTwo) {
    start({{"VC0C", 2}, {"IC0C", 3}, {"VX0X", 4}});
    add({{"key", "VC0C"}, {"name", "Core"}});
    StatisticsSensorItem& mixed =
        add({{"key", "P1"}, {"name", "Power"}, {"source", "multiply"}, {"sensors", {"VC0C", "IC0C"}}});
    StatisticsSensorItem& three =
        add({{"key", "P2"}, {"name", "Power"}, {"source", "multiply"}, {"sensors", {"VC0C", "IC0C", "VX0X"}}});
    sample();
    EXPECT_EQ(mixed.value, 6) << "read, because one of them is no sensor";
    EXPECT_EQ(three.value, 0);
    later(5, changed({{"VC0C", 5}}));
    EXPECT_EQ(mixed.value, 15);
}

TEST_F(Sampling, AveragesCountFansByTheirRange) {
    start({{"F0Ac", 2000}, {"F1Ac", 3000}, {"TC1C", 40}, {"TC2C", 50}});
    for (const char* fan : {"F0Ac", "F1Ac"}) add({{"key", fan}, {"name", "Fan"}, {"low", 1000}, {"high", 5000}});
    for (const char* core : {"TC1C", "TC2C"}) add({{"key", core}, {"name", "Core"}});
    StatisticsSensorItem& fans = add({{"key", "FANS"},
                                      {"name", "Fans"},
                                      {"source", "average"},
                                      {"type", 2},
                                      {"sensors-valid", {"F0Ac", "F1Ac", "F9Ac"}}});
    StatisticsSensorItem& cores = add(
        {{"key", "CORES"}, {"name", "CPU"}, {"source", "average"}, {"type", 1}, {"sensors-valid", {"TC1C", "TC2C"}}});
    StatisticsSensorItem& none =
        add({{"key", "NONE"}, {"name", "None"}, {"source", "average"}, {"sensors-valid", {"TX0X"}}});
    sample();
    EXPECT_EQ(fans.value, 0.375);
    EXPECT_FALSE(fans.off);
    EXPECT_EQ(cores.value, 45);
    EXPECT_EQ(none.value, 0);
    EXPECT_FALSE(none.exists);
    later(5, changed({{"F0Ac", 0}, {"F1Ac", 0}}));
    EXPECT_TRUE(fans.off);
    EXPECT_EQ(fans.value, 0.375) << "keeps its value";
    later(5, changed({{"F0Ac", 5000}}));
    EXPECT_FALSE(fans.off);
    EXPECT_EQ(fans.value, 1) << "a fan that stands does not count";
}

TEST_F(Sampling, TellsOnceThatSensorsCame) {
    start({{"TC0P", 40}});
    EXPECT_EQ(sample(), 0);
    sensors_->addGlobalSensor(sensors_->createSensor({{"key", "TC0P"}, {"name", "CPU"}}), "temperature");
    EXPECT_EQ(sample(), 1024);
    EXPECT_EQ(sample(), 0);
}

TEST_F(Sampling, NamesAreLookedUpForCompactDisplays) {
    start({});
    EXPECT_EQ(sensors_->cpuFrequency(), nullptr);
    const auto& metrics = add({{"key", "pm-cpu-freq"}, {"name", "CPU of the tool"}});
    EXPECT_EQ(sensors_->cpuFrequency().get(), &metrics);
    const auto& clock = add({{"key", "CC0C"}, {"name", "CPU"}});
    EXPECT_EQ(sensors_->cpuFrequency().get(), &clock);
    const auto& misspelt = add({{"key", "CG0C"}, {"name", "Graphica"}});
    EXPECT_EQ(sensors_->gpuFrequency().get(), &misspelt);
    add({{"key", "AS_GPU_AVG"}, {"name", "x"}});
    const auto& custom = add({{"key", "CUS_AS_GPU_AVERAGE"}, {"name", "x"}});
    EXPECT_EQ(sensors_->gpuTemperature().get(), &custom);
    const auto& radeon = add({{"key", "TG9D"}, {"name", "Radeon GPU Die"}});
    EXPECT_EQ(sensors_->amdGPUTemperature().get(), &radeon);
    EXPECT_EQ(sensors_->intelGPUTemperature(), nullptr);
    sensors_->removePowermetricsSensors();
    EXPECT_EQ(sensors_->sensorWithKey("pm-cpu-freq"), nullptr);
    EXPECT_NE(sensors_->sensorWithKey("CC0C"), nullptr);
}

}  // namespace
}  // namespace hvk
