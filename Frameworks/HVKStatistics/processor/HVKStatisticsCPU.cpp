#include "HVKStatistics/processor/HVKStatisticsCPU.h"

#include <cmath>
#include <random>
#include <string>

#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"
#include "HVKStatistics/core/StatisticsAverage.h"

namespace hvk {

namespace {

/// Ticks of one processor, or of all of them, wide enough to add up.
struct TickSums {
    double user = 0;
    double system = 0;
    double idle = 0;
    double nice = 0;

    void add(const ProcessorTicks& ticks) {
        user += ticks[ProcessorStateUser];
        system += ticks[ProcessorStateSystem];
        idle += ticks[ProcessorStateIdle];
        nice += ticks[ProcessorStateNice];
    }

    double total() const { return user + system + idle + nice; }
    float userPercent() const { return percent(user); }
    float systemPercent() const { return percent(system); }

private:
    float percent(double part) const {
        const double share = part / total() * 100;
        return std::isfinite(share) ? static_cast<float>(share) : 0;
    }
};

/// The text of a "cluster-type" property: data with a trailing zero byte, e.g. "E\0".
std::string clusterTypeText(const Value& property) {
    if (property.is_string()) return property.get<std::string>();
    if (!property.is_binary()) return {};
    const auto& bytes = property.get_binary();
    return {bytes.begin(), bytes.end()};
}

}  // namespace

HVKStatisticsCPU::HVKStatisticsCPU(Machine& machine) : machine_(machine) { setup(); }

HVKStatisticsCPU& HVKStatisticsCPU::CPU() {
    static HVKStatisticsCPU& instance = *new HVKStatisticsCPU;
    return instance;
}

void HVKStatisticsCPU::setup() {
    cleanup();
    cores_.clear();
    if (!machine_.processor().loadInfo(reading_)) return;

    const std::size_t count = reading_.size();
    cpuData_.processors = static_cast<std::int32_t>(count);
    cpuData_.current = reading_;
    cpuData_.previous.resize(count);
    cpuData_.ticks.resize(count);

    const std::vector<char> clusters = clusterTypes();
    cores_.reserve(count);
    for (std::size_t index = 0; index < count; ++index)
        cores_.push_back(std::make_shared<HVKStatisticsCPUCore>(coreType(index, clusters)));
    cpuData_.time = machine_.clock().wallSeconds();
}

void HVKStatisticsCPU::cleanup() {
    cpuData_.processors = 0;
    for (std::vector<ProcessorTicks>* ticks : {&cpuData_.ticks, &cpuData_.previous, &cpuData_.current})
        std::vector<ProcessorTicks>().swap(*ticks);
}

/// The cluster letters of the registry's processors, in registry order: 'P', 'E', or 0 for an empty text. A
/// "logical-cpu-id" only tells a processor from another device; its value plays no part.
std::vector<char> HVKStatisticsCPU::clusterTypes() const {
    std::vector<char> types;
    auto devices = HVKStatisticsIOKitUtilities::iteratorWithServiceMatch(machine_.registry(), "IOPlatformDevice");
    while (devices.nextObject() != 0) {
        const Value type = devices.propertyWithKey("cluster-type");
        if (type.is_null() || devices.propertyWithKey("logical-cpu-id").is_null()) continue;
        const std::string text = clusterTypeText(type);
        types.push_back(text.empty() ? '\0' : text.front());
    }
    return types;
}

int HVKStatisticsCPU::coreType(std::size_t index, const std::vector<char>& clusterTypes) const {
    if (machine_.processor().architecture() == ProcessorArchitecture::Paired)
        return index % 2 == 0 ? HVKStatisticsCPUCoreTypeFirstOfPair : HVKStatisticsCPUCoreTypeSecondOfPair;
    if (index >= clusterTypes.size()) return HVKStatisticsCPUCoreTypeUnknown;
    return clusterTypes[index] == 'E' ? HVKStatisticsCPUCoreTypeEfficiency : HVKStatisticsCPUCoreTypePerformance;
}

void HVKStatisticsCPU::updateTicks(double time) {
    if (!machine_.processor().loadInfo(reading_)) return;
    // Without a set-up that succeeded there is no processor, and a reading only has a time. A machine that suddenly
    // answers for another number of processors is not believed.
    if (!cpuData_.current.empty() && reading_.size() != cpuData_.current.size()) return;

    cpuData_.time = time;
    if (cpuData_.current.empty()) return;
    cpuData_.previous.swap(cpuData_.current);
    cpuData_.current.swap(reading_);
    for (std::size_t index = 0; index < cpuData_.current.size(); ++index) {
        // 32-bit unsigned arithmetic: a counter that wrapped still gives the right difference.
        for (std::size_t state = 0; state < ProcessorStateCount; ++state)
            cpuData_.ticks[index][state] = cpuData_.current[index][state] - cpuData_.previous[index][state];
    }
}

void HVKStatisticsCPU::update(double time) {
    updateTicks(time);

    TickSums all;
    for (std::size_t index = 0; index < cpuData_.ticks.size(); ++index) {
        TickSums one;
        one.add(cpuData_.ticks[index]);
        all.add(cpuData_.ticks[index]);
        cores_[index]->addUsageWithUser(one.userPercent(), one.systemPercent(), cpuData_.time);
    }
    history_.append({cpuData_.time, all.userPercent(), all.systemPercent()});
}

Value HVKStatisticsCPU::stats() const {
    Value cores = Value::array();
    for (const auto& core : cores_) cores.push_back(core->stats());
    const HVKStatisticsCPUSample& newest = history_.newest();
    return {{"user", numberFromFloat(newest.user)},
            {"system", numberFromFloat(newest.system)},
            {"time", newest.time},
            {"cores", std::move(cores)}};
}

bool HVKStatisticsCPU::isUsageAbove(double threshold, double duration) const {
    return history_.holdsForDuration(
        machine_.clock().wallSeconds(), duration,
        [threshold](const HVKStatisticsCPUSample& sample) { return sample.user + sample.system > threshold; });
}

bool HVKStatisticsCPU::isUsageBelow(double threshold) const {
    return !history_.isEmpty() && threshold >= history_.newest().user + history_.newest().system;
}

Value HVKStatisticsCPU::historyConfig() { return historyConfigDictionary("cpu", {"user", "system"}); }

Value HVKStatisticsCPU::historyAverage(double start, double end, std::int64_t interval) const {
    double user = 0;
    double system = 0;
    const std::size_t count = history_.scanBucket(start, end, [&](const HVKStatisticsCPUSample& sample) {
        user += sample.user;
        system += sample.system;
    });
    if (count == 0) return nullptr;
    Value average = averageDictionary("cpu", start, interval);
    average["user"] = user / static_cast<double>(count);
    average["system"] = system / static_cast<double>(count);
    return average;
}

void HVKStatisticsCPU::loadDemoData() {
    std::minstd_rand random(static_cast<std::minstd_rand::result_type>(machine_.clock().wallSeconds()));
    const auto figure = [&random] { return static_cast<float>(random() % 20 + 10); };
    for (std::size_t index = 0; index < history_.capacity(); ++index) {
        history_.slot(index).user = figure();
        history_.slot(index).system = figure();
        for (const auto& core : cores_) {
            const float user = figure();
            const float system = figure();
            core->addUsageWithUser(user, system, 0);
        }
    }
    history_.slot(0).user = 28;
    history_.slot(0).system = 16;
}

}  // namespace hvk
