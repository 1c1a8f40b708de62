// main.cpp - runs the pairs and reports ratios; `--write FILE` also writes them as a document.

#include <benchmark/benchmark.h>
#include <fmt/core.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"

namespace hvk::bench {

namespace {

std::vector<Pair>& pairs() {
    static std::vector<Pair> all;
    return all;
}

/// The median of one side of a pair.
struct Side {
    double nanoseconds = 0;
    double allocations = 0;
};

/// Keeps the medians and prints nothing on the way.
class MedianReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
            Side& side = sides_[run.run_name.function_name];
            side.nanoseconds = run.GetAdjustedCPUTime();
            const auto counter = run.counters.find("allocations");
            if (counter != run.counters.end()) side.allocations = counter->second.value;
        }
    }

    const Side& side(const std::string& name) const {
        static const Side none;
        const auto found = sides_.find(name);
        return found == sides_.end() ? none : found->second;
    }

private:
    std::map<std::string, Side> sides_;
};

std::string document(const MedianReporter& reporter) {
    std::string text =
        "# Performance\n\nWritten by `./test --bench`. Each row compares one pass of the framework with the least that "
        "any program\nwould do for the same figures, both in the same run: processor time, medians of 9 repetitions in "
        "random order.\n\n"
        "| What | Framework, µs | Each, ns | Bare, µs | Ratio | Target | Allocations a pass | The bare pass |\n"
        "|---|---:|---:|---:|---:|---:|---:|---|\n";
    for (const Pair& pair : pairs()) {
        const Side& framework = reporter.side(pair.name + "/framework");
        const Side& bare = reporter.side(pair.name + "/bare");
        if (framework.nanoseconds == 0 || bare.nanoseconds == 0) continue;
        const std::string each =
            pair.items == 0 ? "" : fmt::format("{:.0f}", framework.nanoseconds / static_cast<double>(pair.items));
        text +=
            fmt::format("| {} | {:.3f} | {} | {:.3f} | {:.2f} | {:.1f} | {:.2f} | {} |\n", pair.name,
                        framework.nanoseconds / 1000, each, bare.nanoseconds / 1000,
                        framework.nanoseconds / bare.nanoseconds, pair.target, framework.allocations, pair.comparison);
    }
    return text;
}

/// Takes "--write FILE" out of the arguments; empty when it is not there.
std::string takeOutputPath(int& count, char** arguments) {
    for (int index = 1; index + 1 < count; ++index) {
        if (std::string(arguments[index]) != "--write") continue;
        const std::string path = arguments[index + 1];
        for (int next = index; next + 2 < count; ++next) arguments[next] = arguments[next + 2];
        count -= 2;
        return path;
    }
    return {};
}

}  // namespace

void announce(const Pair& pair) { pairs().push_back(pair); }

int run(int count, char** arguments) {
    const std::string path = takeOutputPath(count, arguments);
    std::vector<char*> all(arguments, arguments + count);
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    all.push_back(interleaving.data());
    int total = static_cast<int>(all.size());
    benchmark::Initialize(&total, all.data());
    if (benchmark::ReportUnrecognizedArguments(total, all.data())) return 2;

    registerHistoryBenchmarks();
    registerProcessorBenchmarks();
    registerRecipeBenchmarks();
    registerProcessesBenchmarks();
    registerLiveProcessesBenchmarks();
    registerRegistryBenchmarks();
    registerHardwareMonitorBenchmarks();
    registerEventBenchmarks();
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    const std::string text = document(reporter);
    std::fputs(text.c_str(), stdout);
    if (path.empty()) return 0;
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        return 1;
    }
    const bool written = std::fputs(text.c_str(), file) >= 0;
    return std::fclose(file) == 0 && written ? 0 : 1;
}

}  // namespace hvk::bench

int main(int count, char** arguments) { return hvk::bench::run(count, arguments); }
