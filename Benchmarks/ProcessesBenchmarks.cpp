// ProcessesBenchmarks.cpp - one pass of the processes module over tables of 70, 1,000 and 5,000 processes.
//
// The tables are in memory, so that what is measured is the module's own work.

#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Benchmarks/Groups.h"
#include "Benchmarks/Pair.h"
#include "HVKPlatform/recorded/RecordedMachine.h"
#include "HVKStatistics/processes/HVKStatisticsProcesses.h"

namespace hvk::bench {

namespace {

/// Processes that exist as numbers only: every tenth started by the launcher of all programs, the others by
/// the one before.
/// Each turn, every fourth has used time.
class NumberedTable : public UnsupportedProcessTablePort {
public:
    explicit NumberedTable(std::size_t count) : usage_(count) {
        for (std::size_t index = 0; index < count; ++index) {
            pids_.push_back(static_cast<std::int32_t>(index * 3 + 1));
            usage_[index] = {index + 1, 1000, 1 << 20, 0, 0, 0, ProcessUsageKind::Complete};
        }
    }

    void turn() {
        for (std::size_t index = 0; index < usage_.size(); index += 4) {
            usage_[index].cputime += 1'000'000;
            usage_[index].diskWritten += 4096;
            ++usage_[index].wakeups;
        }
    }

    const std::vector<ProcessUsage>& counters() const { return usage_; }

    Status pids(std::vector<std::int32_t>& pids) override {
        pids = pids_;
        return {};
    }
    Result<ProcessInformation> information(std::int32_t pid) override {
        const std::size_t index = static_cast<std::size_t>(pid) / 3;
        const std::int32_t parent = index % 10 == 0 ? 1 : pids_[index - 1];
        return ProcessInformation{pid, parent, 501, pid == 1 ? "launchd" : "process", {}, index + 1};
    }
    void usage(std::span<const std::int32_t>, std::span<ProcessUsage> usage) override {
        std::copy(usage_.begin(), usage_.end(), usage.begin());
    }

private:
    std::vector<std::int32_t> pids_;
    std::vector<ProcessUsage> usage_;
};

/// A machine that has these processes and nothing else.
class NumberedMachine : public ForwardingMachine {
public:
    NumberedMachine(std::unique_ptr<RecordedMachine> base, std::size_t count)
        : ForwardingMachine(*base), base_(std::move(base)), table_(count) {}
    ProcessTablePort& processTable() override { return table_; }
    NumberedTable& table() { return table_; }

private:
    std::unique_ptr<RecordedMachine> base_;
    NumberedTable table_;
};

std::unique_ptr<NumberedMachine> numberedMachine(std::size_t count) {
    auto base = RecordedMachine::fromJSON({{"schema", 1}, {"frames", {{{"time", 1700000000.0}}}}});
    if (!base) std::abort();
    return std::make_unique<NumberedMachine>(std::move(*base), count);
}

/// The module over one machine.
struct Module {
    explicit Module(std::size_t count) : machine(numberedMachine(count)), processes(*machine) {}

    void pass() {
        machine->table().turn();
        processes.update(++time);
    }

    std::unique_ptr<NumberedMachine> machine;
    HVKStatisticsProcesses processes;
    double time = 1;
};

/// The least that any program with the same figures would do: copy the list and the counters, take the differences,
/// divide, and move 30 energy samples on.
class BareFigures {
public:
    explicit BareFigures(std::size_t count) : table_(count), previous_(count), figures_(count), rings_(count) {}

    void operator()() {
        table_.turn();
        if (!table_.pids(pids_)) return;
        reading_.resize(pids_.size());
        table_.usage(pids_, reading_);
        for (std::size_t index = 0; index < reading_.size(); ++index) {
            const auto since = [&](std::uint64_t ProcessUsage::*counter) {
                return static_cast<double>(reading_[index].*counter - previous_[index].*counter);
            };
            Figures& figures = figures_[index];
            figures.cpu = since(&ProcessUsage::cputime) / 1e7;
            figures.read = since(&ProcessUsage::diskRead);
            figures.written = since(&ProcessUsage::diskWritten);
            figures.memory = static_cast<double>(reading_[index].memory);
            Ring& ring = rings_[index];
            std::memmove(ring.data() + 1, ring.data(), (ring.size() - 1) * sizeof(Sample));
            ring[0] = {1, figures.cpu + since(&ProcessUsage::wakeups) * 0.05};
            figures.power = 0;
            for (const Sample& sample : ring) figures.power += sample.power;
        }
        previous_.swap(reading_);
        benchmark::ClobberMemory();
    }

private:
    struct Figures {
        double cpu, read, written, memory, power;
    };
    struct Sample {
        double time, power;
    };
    using Ring = std::array<Sample, 30>;

    NumberedTable table_;
    std::vector<std::int32_t> pids_;
    std::vector<ProcessUsage> reading_;
    std::vector<ProcessUsage> previous_;
    std::vector<Figures> figures_;
    std::vector<Ring> rings_;
};

void registerPass(std::size_t count) {
    auto module = std::make_shared<Module>(count);
    auto bare = std::make_shared<BareFigures>(count);
    registerPair(
        {std::to_string(count) + " processes: figures and families", 6.0,
         "copy the same counters, take differences, move the energy samples; no families", count},
        [module] { module->pass(); }, [bare] { (*bare)(); });
}

}  // namespace

void registerProcessesBenchmarks() {
    for (const std::size_t count : {70, 1000, 5000}) registerPass(count);
}

}  // namespace hvk::bench
