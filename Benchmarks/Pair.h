// Pair.h - a benchmark and its bare twin.
//
// The framework's work and the least that any program would have to do for the same figures are measured in one run,
// their repetitions in random order, so that the ratio holds on a machine whose speed drifts.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <string>

#include "Benchmarks/Allocations.h"

namespace hvk::bench {

/// What the report says beside the ratio.
struct Pair {
    std::string name;        ///< "history append"
    double target;           ///< the ratio that is aimed at
    std::string comparison;  ///< what the bare twin does
    std::size_t items = 0;   ///< what a pass goes over, for the time of each; 0 when that says nothing
};

/// Tells the report of a pair; defined beside `main`.
void announce(const Pair& pair);

/// Registers both sides of a pair; each function does one pass. Allocations are counted on the framework's side.
inline void registerPair(const Pair& pair, std::function<void()> framework, std::function<void()> bare) {
    announce(pair);
    const auto run = [](std::function<void()> pass) {
        return [pass = std::move(pass)](benchmark::State& state) {
            pass();
            const std::uint64_t before = allocations();
            for (auto _ : state) pass();
            state.counters["allocations"] =
                benchmark::Counter(static_cast<double>(allocations() - before), benchmark::Counter::kAvgIterations);
        };
    };
    for (const bool isBare : {false, true}) {
        benchmark::RegisterBenchmark((pair.name + (isBare ? "/bare" : "/framework")).c_str(),
                                     run(isBare ? std::move(bare) : std::move(framework)))
            ->Repetitions(9)
            ->MinTime(0.05);
    }
}

}  // namespace hvk::bench
