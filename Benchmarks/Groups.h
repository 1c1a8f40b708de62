// Groups.h - the groups of benchmarks; each registers its own.
#pragma once

namespace hvk::bench {

void registerHistoryBenchmarks();
void registerProcessorBenchmarks();
void registerRecipeBenchmarks();
void registerProcessesBenchmarks();
void registerLiveProcessesBenchmarks();
void registerRegistryBenchmarks();
void registerHardwareMonitorBenchmarks();
void registerEventBenchmarks();

}  // namespace hvk::bench
