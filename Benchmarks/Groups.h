// Groups.h - the groups of benchmarks; each registers its own.
#pragma once

namespace hvk::bench {

void registerHistoryBenchmarks();
void registerProcessorBenchmarks();
void registerRegistryBenchmarks();

}  // namespace hvk::bench
