#include "HVKStatistics/processor/HVKStatisticsMemory.h"

#include <cmath>

#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

namespace {

constexpr double MebibytesPerByte = 1.0 / 1048576;

/// What alerts call free: everything that wired, app and compressed data do not hold.
double freeForAlerts(const StatisticsHistoryMemorySample& sample) {
    return sample.total - (sample.wired + sample.app + sample.compressed);
}

double finiteOrZero(double number) { return std::isfinite(number) ? number : 0; }

}  // namespace

HVKStatisticsMemory::HVKStatisticsMemory(Machine& machine) : machine_(machine), versions_(machine) {}

HVKStatisticsMemory& HVKStatisticsMemory::Memory() {
    static HVKStatisticsMemory& instance = *new HVKStatisticsMemory;
    return instance;
}

void HVKStatisticsMemory::readCounters() {
    if (const auto counters = machine_.memory().virtualMemory()) counters_ = *counters;
    if (const auto swap = machine_.memory().swapUsage()) swap_ = *swap;
}

/// From 10.10.3 on, purgeable pages are cache rather than application memory.
bool HVKStatisticsMemory::excludesPurgeable() const {
    return (versions_.isYosemite && versions_.bugfix >= 3) || versions_.elCapitan();
}

void HVKStatisticsMemory::update(double time) {
    if (!pageSize_) pageSize_ = static_cast<double>(machine_.system().pageSize().valueOr(0));
    readCounters();
    const auto bytes = [this](double pages) { return *pageSize_ * pages; };
    const auto pages = [](std::uint64_t count) { return static_cast<double>(count); };

    memory_.time = time;
    memory_.wired = bytes(pages(counters_.wireCount));
    memory_.free = bytes(pages(counters_.freeCount));
    memory_.swaptotal = static_cast<double>(swap_.total);
    memory_.swapused = static_cast<double>(swap_.used);
    memory_.compressed = 0;

    memory_.pagein = pages(counters_.pageIns) - memory_.pageinTotal;
    memory_.pageout = pages(counters_.pageOuts) - memory_.pageoutTotal;
    memory_.pageinTotal = pages(counters_.pageIns);
    memory_.pageoutTotal = pages(counters_.pageOuts);

    if (memory_.total == 0) {
        memory_.total = static_cast<double>(machine_.memory().physicalMemory().valueOr(0));
        if (memory_.total == 0)
            memory_.total = bytes(pages(counters_.freeCount) + pages(counters_.activeCount) +
                                  pages(counters_.inactiveCount) + pages(counters_.wireCount));
    }

    if (versions_.isMavericks) {
        memory_.compressed = bytes(pages(counters_.compressorPageCount));
        const double purgeable = excludesPurgeable() ? pages(counters_.purgeableCount) : 0;
        memory_.filecache = bytes(pages(counters_.externalPageCount) + purgeable);
        memory_.app = bytes(pages(counters_.internalPageCount) - purgeable);
    }

    memory_.pressure = finiteOrZero((memory_.wired + memory_.compressed) / memory_.total * 100);
    history_.append({time, memory_.wired, memory_.app, memory_.compressed, memory_.total, memory_.pressure,
                     memory_.swapused, memory_.swaptotal});
}

Value HVKStatisticsMemory::stats() const {
    return {{"wired", memory_.wired},          {"free", memory_.free},           {"total", memory_.total},
            {"pagein", memory_.pagein},        {"pageout", memory_.pageout},     {"swapused", memory_.swapused},
            {"swaptotal", memory_.swaptotal},  {"filecache", memory_.filecache}, {"app", memory_.app},
            {"compressed", memory_.compressed}};
}

bool HVKStatisticsMemory::isPressureAbove(double threshold, double duration) const {
    return history_.holdsForDuration(
        machine_.clock().wallSeconds(), duration,
        [threshold](const StatisticsHistoryMemorySample& sample) { return sample.presure > threshold; });
}

bool HVKStatisticsMemory::isPressureBelow(double threshold) const {
    return !history_.isEmpty() && threshold >= history_.newest().presure;
}

bool HVKStatisticsMemory::isFreeMemoryAbove(double threshold) const {
    return !history_.isEmpty() && freeForAlerts(history_.newest()) >= threshold;
}

bool HVKStatisticsMemory::isFreeMemoryBelow(double threshold, double duration) const {
    return history_.holdsForDuration(
        machine_.clock().wallSeconds(), duration,
        [threshold](const StatisticsHistoryMemorySample& sample) { return threshold > freeForAlerts(sample); });
}

Value HVKStatisticsMemory::historyConfig() {
    return historyConfigDictionary("memory", {"pressure", "wired", "app", "compressed", "total"});
}

Value HVKStatisticsMemory::historyAverage(double start, double end, std::int64_t interval) const {
    double pressure = 0;
    double wired = 0;
    double app = 0;
    double compressed = 0;
    double oldestTotal = 0;
    const auto count =
        static_cast<double>(history_.scanBucket(start, end, [&](const StatisticsHistoryMemorySample& sample) {
            pressure += sample.presure;
            wired += sample.wired;
            app += sample.app;
            compressed += sample.compressed;
            oldestTotal = sample.total;
        }));
    if (count == 0) return nullptr;
    Value average = averageDictionary("memory", start, interval);
    average["pressure"] = pressure / count;
    average["wired"] = wired / count * MebibytesPerByte;
    average["app"] = app / count * MebibytesPerByte;
    average["compressed"] = compressed / count * MebibytesPerByte;
    average["total"] = oldestTotal * MebibytesPerByte;
    return average;
}

Value HVKStatisticsMemory::swapHistoryConfig() { return historyConfigDictionary("swap", {"swap"}); }

Value HVKStatisticsMemory::swapHistoryAverage(double start, double end, std::int64_t interval) const {
    double used = 0;
    const std::size_t count = history_.scanBucket(
        start, end, [&](const StatisticsHistoryMemorySample& sample) { used += sample.swapused / sample.swaptotal; });
    if (count == 0) return nullptr;
    Value average = averageDictionary("swap", start, interval);
    average["swap"] = finiteOrZero(used / static_cast<double>(count));
    return average;
}

void HVKStatisticsMemory::loadDemoData() {
    memory_.total = 12884901888;
    memory_.wired = 2576980480;
    memory_.free = 5153960755.2;
    memory_.swapused = 1073741824;
    memory_.swaptotal = 2147483648;
    memory_.compressed = 1288490240;
    memory_.app = 3972844800;
    memory_.pressure = 44;
}

}  // namespace hvk
