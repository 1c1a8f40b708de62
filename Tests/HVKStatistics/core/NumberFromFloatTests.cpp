// Single-precision numbers in dictionaries: the digits that the float needs, and the same float when read back.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {
namespace {

TEST(NumberFromFloat, PrintsWithTheDigitsThatTheFloatNeeds) {
    const struct {
        float number;
        const char* printed;
    } cases[] = {
        {0.12F, "0.12"},           {-0.0F, "-0.0"},      {100, "100.0"},
        {16777216, "16777216.0"},  {1.5e-7F, "1.5e-07"}, {240823472, "240823472.0"},
        {1e11F, "100000000000.0"}, {1e20F, "1e+20"},     {-3349592408064.0F, "-3349592408064.0"},
    };
    for (const auto& one : cases) {
        const Value value = numberFromFloat(one.number);
        EXPECT_EQ(value.dump(), one.printed);
        EXPECT_EQ(value.get<float>(), one.number);
    }
    for (const float extreme : {std::numeric_limits<float>::max(), std::numeric_limits<float>::denorm_min()})
        EXPECT_EQ(numberFromFloat(extreme).get<float>(), extreme);
    EXPECT_TRUE(std::isnan(numberFromFloat(std::numeric_limits<float>::quiet_NaN()).get<double>()));
}

}  // namespace
}  // namespace hvk
