// One sensor's readings and their past.

#include "HVKStatistics/sensors/StatisticsSensorItem.h"

#include <gtest/gtest.h>

namespace hvk {
namespace {

TEST(SensorItem, KeepsReadingsAndRepeatsThem) {
    StatisticsSensorItem item;
    item.key = "TC0P";
    item.name = "CPU";
    EXPECT_EQ(item.history()[0].time, 0);
    item.addValue(52.25, 100);
    item.addValue(40.5, 105);
    EXPECT_EQ(item.value, 40.5);
    EXPECT_EQ(item.peak, 52.25);
    EXPECT_EQ(item.lastUpdate, 105);
    item.fillSample(106);
    EXPECT_EQ(item.lastUpdate, 105) << "that was no reading";
    EXPECT_EQ(item.history()[0].time, 106);
    EXPECT_EQ(item.history()[0].value, 40.5F);
    EXPECT_EQ(item.history()[2].time, 100);
    EXPECT_EQ(item.description(), "key - TC0P, name - CPU, value - 40.50");

    item.addValue(StatisticsSensorNotAvailable, 107);
    EXPECT_EQ(item.value, StatisticsSensorNotAvailable);
    EXPECT_EQ(static_cast<double>(item.history()[0].value), StatisticsSensorNotAvailable) << "a float holds it";
    EXPECT_EQ(item.peak, 52.25) << "what stands for no value is no peak";
    for (int sample = 0; sample < 200; ++sample) item.addValue(sample, 200 + sample);
    EXPECT_EQ(item.history()[199].time, 200) << "the oldest fell off";
}

TEST(SensorItem, AveragesOfABucket) {
    StatisticsSensorItem item;
    item.key = "k";
    EXPECT_TRUE(item.historyAverage(100, 0, 60).is_null());
    for (const auto& [time, value] : {std::pair{10, 30.0}, {20, 50.0}, {30, 10.0}}) item.addValue(value, time);
    EXPECT_EQ(item.historyAverage(30, 10, 20), Value::parse(R"({"type": "sensors", "time": 30.0, "interval": 20,
                                                                "value": 30.0, "peak": 50.0, "key": "k"})"))
        << "open at its older bound, closed at its newer one";

    const struct {
        std::vector<double> values;
        Value value, peak;
    } cases[] = {
        {{-1, -1, -1}, nullptr, nullptr}, {{-1}, nullptr, nullptr}, {{-3, 1}, nullptr, nullptr},
        {{0.5, -1.5}, nullptr, nullptr},  {{-2, -4}, -3.0, 0.0},    {{0, 0}, 0.0, 0.0},
    };
    for (const auto& c : cases) {
        StatisticsSensorItem sensor;
        for (const double value : c.values) sensor.addValue(value, 5);
        const Value average = sensor.historyAverage(10, 0, 10);
        EXPECT_EQ(average.is_null(), c.value.is_null()) << average;
        if (average.is_null()) continue;
        EXPECT_EQ(average["value"], c.value);
        EXPECT_EQ(average["peak"], c.peak);
    }
}

}  // namespace
}  // namespace hvk
