// HistoryBenchmarks.cpp - appending to a history and averaging a bucket of it.

#include <array>
#include <cstring>
#include <memory>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKStatistics/core/StatisticsHistory.h"
#include "HVKStatistics/core/StatisticsHistoryRecords.h"

namespace hvk::bench {

namespace {

using Record = HVKStatisticsCPUSample;
using History = StatisticsHistory<Record, ModuleHistoryCapacity>;
using Plain = std::array<Record, ModuleHistoryCapacity>;

void registerAppend() {
    auto history = std::make_shared<History>();
    auto plain = std::make_shared<Plain>();
    registerPair(
        {"history append", 1.1, "memmove of the same bytes and one store"},
        [history] {
            history->append({1, 2, 3});
            benchmark::DoNotOptimize(history->records());
            benchmark::ClobberMemory();
        },
        [plain] {
            std::memmove(plain->data() + 1, plain->data(), (plain->size() - 1) * sizeof(Record));
            (*plain)[0] = {1, 2, 3};
            benchmark::DoNotOptimize(plain->data());
            benchmark::ClobberMemory();
        });
}

void registerAverage() {
    auto history = std::make_shared<History>();
    auto plain = std::make_shared<Plain>();
    for (std::size_t index = 0; index < ModuleHistoryCapacity; ++index) {
        history->append({static_cast<double>(index + 1), 20, 10});
        (*plain)[index] = {static_cast<double>(ModuleHistoryCapacity - index), 20, 10};
    }
    // The last quarter of the history, so that three quarters are walked first.
    static constexpr double Start = 250;
    static constexpr double End = 0;
    registerPair(
        {"bucket average", 1.5, "a plain scan of the same records"},
        [history] {
            double user = 0;
            double system = 0;
            const std::size_t count = history->scanBucket(Start, End, [&](const Record& record) {
                user += record.user;
                system += record.system;
            });
            benchmark::DoNotOptimize(user / static_cast<double>(count));
            benchmark::DoNotOptimize(system / static_cast<double>(count));
        },
        [plain] {
            double user = 0;
            double system = 0;
            std::size_t count = 0;
            for (const Record& record : *plain) {
                if (record.time > End && record.time <= Start) {
                    user += record.user;
                    system += record.system;
                    ++count;
                }
            }
            benchmark::DoNotOptimize(user / static_cast<double>(count));
            benchmark::DoNotOptimize(system / static_cast<double>(count));
        });
}

}  // namespace

void registerHistoryBenchmarks() {
    registerAppend();
    registerAverage();
}

}  // namespace hvk::bench
