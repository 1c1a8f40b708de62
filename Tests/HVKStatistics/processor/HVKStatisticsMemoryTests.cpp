// Memory and load on a machine that is written down.

#include "HVKStatistics/processor/HVKStatisticsMemory.h"

#include <gtest/gtest.h>

#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "support/WrittenMachine.h"

namespace hvk {
namespace {

using test::Start;
using test::turn;
using test::writtenMachine;

constexpr double Page = 4096;

/// A machine of 1000 pages.
Value answers() {
    return Value::parse(R"({"memory": {
        "virtualMemory": {"wireCount": 100, "freeCount": 200, "activeCount": 50, "inactiveCount": 60,
                          "compressorPageCount": 40, "externalPageCount": 300, "internalPageCount": 360,
                          "purgeableCount": 10, "pageIns": 5000, "pageOuts": 70},
        "swapUsage": {"total": 8000, "available": 6000, "used": 2000},
        "physicalMemory": 4096000}})");
}

Value counters(const Value& changed) { return {{"memory", {{"virtualMemory", changed}}}}; }

TEST(Memory, CategoriesPressureAndPaging) {
    const auto machine = writtenMachine(answers());
    HVKStatisticsMemory memory(*machine);
    EXPECT_FALSE(memory.isFreeMemoryAbove(0)) << "nothing is known before the first update";
    memory.update(Start);
    HVKStatisticsMemorySample sample = memory.memory();
    EXPECT_EQ(sample.wired, 100 * Page);
    EXPECT_EQ(sample.free, 200 * Page);
    EXPECT_EQ(sample.compressed, 40 * Page);
    EXPECT_EQ(sample.app, 350 * Page);
    EXPECT_EQ(sample.filecache, 310 * Page);
    EXPECT_EQ(sample.total, 1000 * Page);
    EXPECT_DOUBLE_EQ(sample.pressure, 14);
    EXPECT_EQ(sample.pagein, 5000) << "the first update reports the count since boot";
    EXPECT_EQ(sample.swapused, 2000);
    EXPECT_FALSE(memory.stats().contains("pressure"));
    EXPECT_EQ(memory.stats()["filecache"], 310 * Page);

    turn(*machine, 1, counters({{"pageIns", 5012}, {"pageOuts", 70}}));
    memory.update(Start + 1);
    sample = memory.memory();
    EXPECT_EQ(sample.pagein, 12);
    EXPECT_EQ(sample.pageout, 0);
    EXPECT_EQ(sample.pageinTotal, 5012);

    turn(*machine, 1, counters({{"error", "gone"}}));
    memory.update(Start + 2);
    EXPECT_EQ(memory.memory().app, sample.app) << "raw counters stay as they were";
    EXPECT_EQ(memory.memory().pagein, 0);
    EXPECT_EQ(memory.history()[0].time, Start + 2);
}

TEST(Memory, TheReleaseDecidesWhatIsCompressedAndWhoHasThePurgeablePages) {
    const struct {
        std::array<int, 3> level;
        double compressed, app, filecache;
    } cases[] = {
        {{10, 8, 5}, 0, 0, 0},       {{10, 9, 0}, 40, 360, 300},  {{10, 10, 2}, 40, 360, 300},
        {{10, 10, 3}, 40, 350, 310}, {{10, 11, 0}, 40, 350, 310}, {{14, 0, 0}, 40, 350, 310},
    };
    for (const auto& one : cases) {
        Value description = answers();
        description["system"]["operatingSystemVersion"] = one.level;
        const auto machine = writtenMachine(description);
        HVKStatisticsMemory memory(*machine);
        memory.update(Start);
        EXPECT_EQ(memory.memory().compressed, one.compressed * Page) << one.level[1] << '.' << one.level[2];
        EXPECT_EQ(memory.memory().app, one.app * Page) << one.level[1] << '.' << one.level[2];
        EXPECT_EQ(memory.memory().filecache, one.filecache * Page) << one.level[1] << '.' << one.level[2];
    }
}

TEST(Memory, AnUnknownSizeIsTheSumOfFourCounts) {
    Value description = answers();
    description["memory"]["physicalMemory"] = 0;
    const auto machine = writtenMachine(description);
    HVKStatisticsMemory memory(*machine);
    memory.update(Start);
    EXPECT_EQ(memory.memory().total, (200 + 50 + 60 + 100) * Page);

    const auto empty = writtenMachine();
    HVKStatisticsMemory unknown(*empty);
    unknown.update(Start);
    EXPECT_EQ(unknown.memory().pressure, 0) << "no division by a total of 0";
    turn(*empty, 1, answers());
    unknown.update(Start + 1);
    EXPECT_EQ(unknown.memory().total, 1000 * Page) << "asked again while it is 0";
}

TEST(Memory, AlertsCountTheFileCacheAsFree) {
    const auto machine = writtenMachine(answers());
    HVKStatisticsMemory memory(*machine);
    const double free = (1000 - 100 - 350 - 40) * Page;
    for (int second = 0; second <= 6; ++second) {
        if (second > 0) machine->advance(1);
        memory.update(Start + second);
        EXPECT_EQ(memory.isPressureAbove(13.9, 3), second >= 4) << second;
        EXPECT_EQ(memory.isFreeMemoryBelow(free + 1, 3), second >= 4) << second;
    }
    EXPECT_FALSE(memory.isPressureAbove(14.1, 3));
    EXPECT_TRUE(memory.isPressureBelow(14.1));
    EXPECT_FALSE(memory.isPressureBelow(13.9));
    EXPECT_FALSE(memory.isFreeMemoryBelow(free, 3)) << "below is strictly below";
    EXPECT_TRUE(memory.isFreeMemoryAbove(free));
    EXPECT_FALSE(memory.isFreeMemoryAbove(free + 1));
}

TEST(Memory, AveragesAreInMebibytesWithTheOldestTotal) {
    constexpr double Mebibyte = 1048576;
    const auto machine = writtenMachine(answers());
    HVKStatisticsMemory memory(*machine);
    memory.update(Start);
    turn(*machine, 1, counters({{"wireCount", 300}}));
    memory.update(Start + 1);
    const Value average = memory.historyAverage(Start + 1, Start - 1, 5);
    EXPECT_DOUBLE_EQ(average["wired"].get<double>(), 200 * Page / Mebibyte);
    EXPECT_DOUBLE_EQ(average["pressure"].get<double>(), (14 + 34) / 2.0);
    EXPECT_DOUBLE_EQ(average["total"].get<double>(), 1000 * Page / Mebibyte);
    EXPECT_DOUBLE_EQ(memory.swapHistoryAverage(Start + 1, Start - 1, 5)["swap"].get<double>(), 0.25);
    EXPECT_TRUE(memory.swapHistoryAverage(Start - 1, Start - 2, 1).is_null());

    const auto withoutSwap = writtenMachine();
    HVKStatisticsMemory none(*withoutSwap);
    none.update(Start);
    EXPECT_EQ(none.swapHistoryAverage(Start, Start - 1, 1)["swap"], 0) << "0 of 0 is shown as 0";
    EXPECT_EQ(HVKStatisticsMemory::historyConfig(),
              Value::parse(R"({"type":"memory","fields":["pressure","wired","app","compressed","total"]})"));
    EXPECT_EQ(HVKStatisticsMemory::swapHistoryConfig(), Value::parse(R"({"type":"swap","fields":["swap"]})"));
}

TEST(Memory, DemonstrationLeavesTheHistory) {
    const auto machine = writtenMachine(answers());
    HVKStatisticsMemory memory(*machine);
    memory.update(Start);
    memory.loadDemoData();
    EXPECT_EQ(memory.memory().pressure, 44);
    EXPECT_EQ(memory.memory().total, 12884901888);
    EXPECT_EQ(memory.memory().filecache, 310 * Page) << "what has no demonstration figure stays";
    EXPECT_DOUBLE_EQ(memory.history()[0].presure, 14);
}

TEST(Load, FollowsTheKernelAndItsOwnHistory) {
    const auto machine = writtenMachine({{"load", {{"values", {2048, 1024, 614}}, {"scale", 2048}}}});
    HVKStatisticsLoad load(*machine);
    EXPECT_FALSE(load.isUsageAbove(0, 0));
    EXPECT_FALSE(load.isUsageBelow(100));
    load.update(Start);
    EXPECT_FLOAT_EQ(load.load().one, 1);
    EXPECT_FLOAT_EQ(load.load().fifteen, 0.29980469F);

    turn(*machine, 10, {{"load", {{"error", "absent"}}}});
    load.update(Start + 10);
    EXPECT_FLOAT_EQ(load.load().one, 1) << "a failed reading repeats the averages";
    EXPECT_EQ(load.load().time, Start + 10);
    EXPECT_TRUE(load.isUsageAbove(0.9, 5));
    EXPECT_FALSE(load.isUsageAbove(1, 5));
    EXPECT_TRUE(load.isUsageBelow(1));

    turn(*machine, 1, {{"load", {{"values", {12, 900, 900}}, {"scale", 100}}}});
    load.update(Start + 11);
    EXPECT_FALSE(load.isUsageAbove(0.5, 5)) << "the longer averages play no part";
    EXPECT_EQ(load.stats()["one"].dump(), "0.12");
    const Value average = load.historyAverage(Start + 11, Start, 11);
    EXPECT_NEAR(average["one"].get<double>(), (1 + 0.12) / 2, 1e-6);
    EXPECT_EQ(average["type"], "load");
    load.loadDemoData();
    EXPECT_FLOAT_EQ(load.load().one, 8.88F);
    EXPECT_FLOAT_EQ(load.history()[0].one, 0.12F);
}

}  // namespace
}  // namespace hvk
