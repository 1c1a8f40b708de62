// ProcessorBenchmarks.cpp - one pass of processor, memory and load, on this machine and on a recorded one with 256
// processors.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/LiveMachine.h"
#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/processor/HVKStatisticsCPU.h"
#include "HVKStatistics/processor/HVKStatisticsLoad.h"
#include "HVKStatistics/processor/HVKStatisticsMemory.h"

namespace hvk::bench {

namespace {

/// The three modules over one machine.
struct Modules {
    explicit Modules(std::unique_ptr<Machine> measured)
        : machine(std::move(measured)), cpu(*machine), memory(*machine), load(*machine) {}

    void pass() {
        ++time;
        cpu.update(time);
        memory.update(time);
        load.update(time);
    }

    std::unique_ptr<Machine> machine;
    HVKStatisticsCPU cpu;
    HVKStatisticsMemory memory;
    HVKStatisticsLoad load;
    double time = 0;
};

void openReadClose(const char* path) {
    static std::array<char, 1 << 16> buffer;
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    while (::read(descriptor, buffer.data(), buffer.size()) > 0) {
    }
    ::close(descriptor);
}

void registerLivePass() {
    auto modules = std::make_shared<Modules>(makeLiveMachine());
    registerPair(
        {"processor + memory + load, this machine", 1.3,
         "open, read to the end, close: /proc/stat, meminfo, vmstat, loadavg"},
        [modules] { modules->pass(); },
        [] {
            for (const char* path : {"/proc/stat", "/proc/meminfo", "/proc/vmstat", "/proc/loadavg"})
                openReadClose(path);
        });
}

constexpr std::size_t ManyProcessors = 256;

std::unique_ptr<Machine> manyProcessorMachine() {
    Value ticks = Value::array();
    for (std::size_t index = 0; index < ManyProcessors; ++index) ticks.push_back({1000 + index, 500, 20000, 10});
    const Value description = {
        {"schema", 1},
        {"system", {{"operatingSystemVersion", {14, 0, 0}}, {"pageSize", 4096}}},
        {"processor", {{"architecture", "paired"}}},
        {"frames",
         {{{"time", 1700000000.0},
           {"processor", {{"ticks", ticks}}},
           {"memory",
            {{"virtualMemory", {{"wireCount", 1000}, {"freeCount", 2000}, {"internalPageCount", 3000}}},
             {"swapUsage", {{"total", 0}, {"available", 0}, {"used", 0}}},
             {"physicalMemory", 1 << 30}}},
           {"load", {{"values", {12, 34, 56}}, {"scale", 100}}}}}},
    };
    auto machine = RecordedMachine::fromJSON(description);
    if (!machine) std::abort();
    return std::move(*machine);
}

/// The least that any program with the same histories would do for 256 processors: copy the counters, take the
/// differences, move the histories on and store one record in each.
class BarePass {
public:
    BarePass() : counters_(ManyProcessors), previous_(ManyProcessors), histories_(ManyProcessors) {}

    void operator()() {
        reading_ = counters_;
        for (std::size_t index = 0; index < ManyProcessors; ++index) {
            double parts[ProcessorStateCount];
            double total = 0;
            for (std::size_t state = 0; state < ProcessorStateCount; ++state)
                total += parts[state] = reading_[index][state] - previous_[index][state];
            const auto percent = [&](double part) { return static_cast<float>(total > 0 ? part / total * 100 : 0); };
            store(histories_[index], {1, percent(parts[0]), percent(parts[1])});
        }
        previous_.swap(reading_);
        store(all_, {1, 2, 3});
        store(memory_, {1, 2, 3, 4, 5, 6, 7, 8});
        store(load_, {1, 2, 3, 4});
        benchmark::ClobberMemory();
    }

private:
    template <class Record>
    using Past = std::array<Record, ModuleHistoryCapacity>;

    template <class Record>
    static void store(Past<Record>& history, const Record& record) {
        std::memmove(history.data() + 1, history.data(), (history.size() - 1) * sizeof(Record));
        history[0] = record;
    }

    std::vector<ProcessorTicks> counters_;
    std::vector<ProcessorTicks> reading_;
    std::vector<ProcessorTicks> previous_;
    std::vector<Past<HVKStatisticsCPUSample>> histories_;
    Past<HVKStatisticsCPUSample> all_{};
    Past<StatisticsHistoryMemorySample> memory_{};
    Past<StatisticsHistoryLoadSample> load_{};
};

void registerRecordedPass() {
    auto modules = std::make_shared<Modules>(manyProcessorMachine());
    auto bare = std::make_shared<BarePass>();
    registerPair(
        {"processor + memory + load, 256 recorded processors", 1.3,
         "copy the same counters, take differences, move the same histories"},
        [modules] { modules->pass(); }, [bare] { (*bare)(); });
}

}  // namespace

void registerProcessorBenchmarks() {
    registerLivePass();
    registerRecordedPass();
}

}  // namespace hvk::bench
