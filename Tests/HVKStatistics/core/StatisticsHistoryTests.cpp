// The life of a history: it fills, it overflows, it is averaged and it answers alerts.

#include "HVKStatistics/core/StatisticsHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "HVKStatistics/core/StatisticsHistoryRecords.h"

namespace hvk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Record {
    double time;
    float value;
    float kept;
};
using Short = StatisticsHistory<Record, 4>;

std::vector<double> bucket(const Short& history, double start, double end) {
    std::vector<double> times;
    const auto count = history.scanBucket(start, end, [&](const Record& record) { times.push_back(record.time); });
    EXPECT_EQ(count, times.size());
    return times;
}

TEST(StatisticsHistory, KeepsTheNewestInFrontAndLetsTheOldestFall) {
    Short history;
    const Record* const records = history.records();
    EXPECT_TRUE(history.isEmpty());
    for (int time = 1; time <= 6; ++time) history.append({static_cast<double>(time), 0, 0});
    EXPECT_EQ(history.records(), records) << "a host keeps the pointer";
    std::vector<double> times;
    for (std::size_t index = 0; index < Short::capacity(); ++index) times.push_back(records[index].time);
    EXPECT_THAT(times, ElementsAre(6, 5, 4, 3));
}

TEST(StatisticsHistory, AShiftCarriesOverWhatTheOwnerDoesNotWrite) {
    Short history;
    history.append({1, 10, 7});
    Record& front = history.shift();
    front.time = 2;
    front.value = 20;
    EXPECT_EQ(history[0].kept, 7);
    EXPECT_EQ(history[1].value, 10);
}

TEST(StatisticsHistory, ABucketIsOpenAtItsOlderEndAndClosedAtItsNewer) {
    Short history;
    EXPECT_THAT(bucket(history, 10, 0), IsEmpty()) << "unused slots are never in a bucket";
    for (const double time : {10.0, 20.0, 30.0}) history.append({time, 0, 0});
    EXPECT_THAT(bucket(history, 30, 10), ElementsAre(30, 20));
    EXPECT_THAT(bucket(history, 29, 9), ElementsAre(20, 10));
    EXPECT_THAT(bucket(history, 19, 10), IsEmpty());
    EXPECT_THAT(bucket(history, 100, 30), IsEmpty());
    EXPECT_THAT(bucket(history, 100, -1), ElementsAre(30, 20, 10, 0)) << "only a negative end reaches unused slots";
}

TEST(StatisticsHistory, TheScanEndsAtTheFirstRecordAtOrBeforeTheBucket) {
    Short history;
    for (const double time : {50.0, 10.0, 40.0}) history.append({time, 0, 0});  // the clock was set back in between
    EXPECT_THAT(bucket(history, 60, 20), ElementsAre(40)) << "what lies behind 10 is not looked at";
}

TEST(StatisticsHistory, ASkippedRecordNeitherCountsNorEndsTheScan) {
    Short history;
    for (const double time : {30.0, 0.0, 40.0}) history.append({time, time == 0 ? 0.0F : 1.0F, 0});
    std::size_t visited = 0;
    const auto isBlank = [](const Record& record) { return record.value == 0; };
    EXPECT_EQ(history.scanBucket(
                  50, 20, [&](const Record&) { ++visited; }, isBlank),
              2U);
    EXPECT_EQ(visited, 2U);
}

TEST(StatisticsHistory, AnAlertNeedsTheWholeWindowAndProofBeforeIt) {
    const struct {
        std::vector<Record> records;  // oldest first
        double duration;
        bool expected;
        const char* why;
    } cases[] = {
        {{}, 10, false, "nothing was measured"},
        {{{90, 1, 0}, {95, 1, 0}, {100, 1, 0}}, 10, false, "90 is inside the window, nothing is before it"},
        {{{80, 0, 0}, {95, 1, 0}, {100, 1, 0}}, 10, true, "an older record proves the window, whatever its value"},
        {{{80, 1, 0}, {95, 0, 0}, {100, 1, 0}}, 10, false, "one record inside does not hold"},
        {{{80, 1, 0}, {95, 1, 0}, {100, 0, 0}}, 10, false, "the newest does not hold"},
        {{{80, 1, 0}}, 10, false, "the newest record is older than the window"},
        {{{80, 1, 0}, {100, 0, 0}}, 0, false, "a record of this very moment is inside an empty window"},
        {{{80, 1, 0}, {90, 0, 0}}, 10, false, "a record exactly at the edge is inside"},
        {{{79, 1, 0}, {80, 1, 0}, {90, 1, 0}, {100, 1, 0}}, 10, true, "the edge holds and something is before it"},
        {{{91, 1, 0}, {92, 1, 0}, {93, 1, 0}, {94, 1, 0}}, 10, false, "the whole history lies inside the window"},
    };
    for (const auto& one : cases) {
        Short history;
        for (const Record& record : one.records) history.append(record);
        EXPECT_EQ(history.holdsForDuration(100, one.duration, [](const Record& record) { return record.value > 0; }),
                  one.expected)
            << one.why;
    }
}

}  // namespace
}  // namespace hvk
