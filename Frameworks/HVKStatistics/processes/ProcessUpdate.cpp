#include "HVKStatistics/processes/ProcessUpdate.h"

namespace hvk {

namespace {

constexpr double MicrosecondsPerSecond = 1'000'000;
constexpr double MicrosecondsPerWakeup = 500;

/// Whether a rate can be made since the sample before.
bool hasElapsed(double now, double sampleTime) { return now - sampleTime > 0 && sampleTime > 0; }

/// The growth of a counter; negative when it ran backwards.
double growth(std::uint64_t now, std::uint64_t before) {
    return static_cast<double>(static_cast<std::int64_t>(now - before));
}

}  // namespace

bool ProcessUpdateCPU(StatisticsProcessItem& item, double now, std::uint64_t cputime, std::int64_t tbfrequency) {
    const double elapsed = now - item.cpuSampleTime;
    const std::uint64_t before = item.cpuTime;
    item.cpu = hasElapsed(now, item.cpuSampleTime)
                   ? growth(cputime, before) / static_cast<double>(tbfrequency) / elapsed * 100
                   : 0;
    item.cpuTime = cputime;
    item.cpuSampleTime = now;
    return cputime <= before;
}

bool ProcessUpdateMemory(StatisticsProcessItem& item, std::uint64_t memory) {
    const bool isUnchanged = item.memory == memory;
    item.memory = memory;
    return isUnchanged;
}

void ProcessUpdateMemory2(StatisticsProcessItem& item, ProcessTablePort& table) {
    item.memory = table.footprint(item.pid).valueOr(0);
}

void ProcessUpdateIO(StatisticsProcessItem& item, double now, std::uint64_t read, std::uint64_t written) {
    const double elapsed = now - item.diskSampleTime;
    const bool hasRate = hasElapsed(now, item.diskSampleTime);
    item.diskRead = hasRate ? growth(read, item.diskReadLast) / elapsed : 0;
    item.diskWrite = hasRate ? growth(written, item.diskWriteLast) / elapsed : 0;
    item.diskReadLast = read;
    item.diskWriteLast = written;
    item.diskSampleTime = now;
}

void ProcessUpdatePower(StatisticsProcessItem& item, double now, std::uint64_t wakeups, std::uint64_t cputime,
                        std::int64_t tbfrequency) {
    double energy = 0;
    if (hasElapsed(now, item.powerSampleTime)) {
        const double processor =
            growth(cputime, item.powerCpuTime) / static_cast<double>(tbfrequency) * MicrosecondsPerSecond;
        const double woken = growth(wakeups, item.powerIdleWakeups) * MicrosecondsPerWakeup;
        energy = (processor + woken) / ((now - item.powerSampleTime) * MicrosecondsPerSecond) * 100;
        item.addPowerUsage(energy, now);
        item.power = item.powerAverage();
    } else {
        item.power = 0;
    }
    item.energy = energy;
    item.powerSampleTime = now;
    item.powerIdleWakeups = wakeups;
    item.powerCpuTime = cputime;
}

}  // namespace hvk
