#include "HVKStatistics/processes/ProcessLists.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "HVKStatistics/processes/ProcessNames.h"

namespace hvk {

namespace {

struct KeyShape {
    std::string_view name;
    std::array<ProcessMetric, 2> metrics;
    std::size_t count;
};

/// By ProcessListKey.
constexpr std::array<KeyShape, ProcessListKeyCount> KeyShapes = {{
    {"cpu", {ProcessMetric::CPU}, 1},
    {"memory", {ProcessMetric::Memory}, 1},
    {"power", {ProcessMetric::Power}, 1},
    {"energy", {ProcessMetric::Energy}, 1},
    {"network", {ProcessMetric::NetworkUpload, ProcessMetric::NetworkDownload}, 2},
    {"diskactivity", {ProcessMetric::DiskRead, ProcessMetric::DiskWrite}, 2},
    {"network-upload", {ProcessMetric::NetworkUpload}, 1},
    {"network-download", {ProcessMetric::NetworkDownload}, 1},
    {"diskactivity-read", {ProcessMetric::DiskRead}, 1},
    {"diskactivity-write", {ProcessMetric::DiskWrite}, 1},
}};

std::size_t placeOf(ProcessListKey key) { return static_cast<std::size_t>(key); }

std::span<const ProcessMetric> metricsOf(ProcessListKey key) {
    const KeyShape& shape = KeyShapes[placeOf(key)];
    return {shape.metrics.data(), shape.count};
}

Failure malformed(std::string detail) {
    return {FailureKind::Malformed, "process list configuration", std::move(detail)};
}

std::optional<ProcessListKey> keyNamed(std::string_view name) {
    for (std::size_t place = 0; place < KeyShapes.size(); ++place)
        if (KeyShapes[place].name == name) return static_cast<ProcessListKey>(place);
    return std::nullopt;
}

}  // namespace

std::string_view processListKeyName(ProcessListKey key) { return KeyShapes[placeOf(key)].name; }

Result<ProcessListConfig> ProcessListConfig::fromValue(const Value& dictionary) {
    if (!dictionary.is_object()) return malformed("should be a dictionary");
    ProcessListConfig config;

    const auto key = dictionary.find("key");
    if (key == dictionary.end() || !key->is_string()) return malformed("\"key\" should be a text");
    const auto named = keyNamed(key->get_ref<const std::string&>());
    if (!named)
        return malformed("\"key\" names no figure: " + stringifyProcessName(key->get_ref<const std::string&>()));
    config.key = *named;

    const auto count = dictionary.find("count");
    if (count == dictionary.end() || !count->is_number_integer()) return malformed("\"count\" should be an integer");
    constexpr auto Most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    config.count = count->is_number_unsigned() ? static_cast<std::int64_t>(std::min(count->get<std::uint64_t>(), Most))
                                               : count->get<std::int64_t>();

    if (const auto threshold = dictionary.find("threshold"); threshold != dictionary.end()) {
        if (!threshold->is_number()) return malformed("\"threshold\" should be a number");
        config.threshold = threshold->get<double>();
    }
    if (const auto combine = dictionary.find("combine"); combine != dictionary.end()) {
        if (!combine->is_boolean()) return malformed("\"combine\" should be true or false");
        config.combine = combine->get<bool>();
    }
    return config;
}

std::string ProcessListConfig::cacheKey() const {
    std::string name(processListKeyName(key));
    if (combine) name += "-combined";
    return name;
}

Value ProcessListRows::toValue() const {
    const auto metrics = metricsOf(key);
    Value list = Value::array();
    for (const ProcessListRow& row : rows) {
        Value one = {{"pid", row.process->pid},
                     {"name", stringifyProcessName(row.process->name)},
                     {"path", stringifyProcessName(row.process->path)}};
        for (std::size_t index = 0; index < metrics.size(); ++index)
            one[std::string(processMetricName(metrics[index]))] = row.values[index];
        list.push_back(std::move(one));
    }
    return list;
}

const ProcessListRows& ProcessLists::make(const ProcessListConfig& config, const StatisticsProcessList& processes) {
    const auto metrics = metricsOf(config.key);
    candidates_.clear();
    for (const auto& process : processes) {
        std::array<double, 2> values{};
        for (std::size_t index = 0; index < metrics.size(); ++index)
            values[index] = processMetricValue(*process, metrics[index]);
        consider(config, process, values);
    }
    return keep(config);
}

const ProcessListRows& ProcessLists::make(const ProcessListConfig& config, ProcessHierarchy& hierarchy) {
    const auto metrics = metricsOf(config.key);
    candidates_.clear();
    for (ProcessHierarchyNode& node : hierarchy.nodes()) {
        std::array<double, 2> values{};
        for (std::size_t index = 0; index < metrics.size(); ++index) values[index] = sumNode(node, metrics[index]);
        consider(config, node.process(), values);
    }
    return keep(config);
}

void ProcessLists::consider(const ProcessListConfig& config, const std::shared_ptr<StatisticsProcessItem>& process,
                            const std::array<double, 2>& values) {
    if (config.key == ProcessListKey::Power &&
        (values[0] < config.threshold || process->type != StatisticsProcessTypeApplication))
        return;
    const double larger = metricsOf(config.key).size() == 2 ? std::max(values[0], values[1]) : values[0];
    const double rank = std::isnan(larger) ? -std::numeric_limits<double>::infinity() : larger;
    candidates_.push_back({rank, process->pid, &process, values});
}

const ProcessListRows& ProcessLists::keep(const ProcessListConfig& config) {
    const auto count = static_cast<std::size_t>(
        std::clamp<std::int64_t>(config.count, 0, static_cast<std::int64_t>(candidates_.size())));
    std::partial_sort(
        candidates_.begin(), candidates_.begin() + static_cast<std::ptrdiff_t>(count), candidates_.end(),
        [](const Candidate& a, const Candidate& b) { return a.rank != b.rank ? a.rank > b.rank : a.pid < b.pid; });
    auto& kept = cache_[placeOf(config.key)][config.combine ? 1 : 0];
    if (!kept) kept.emplace();
    kept->key = config.key;
    kept->rows.resize(count);
    for (std::size_t index = 0; index < count; ++index)
        kept->rows[index] = {*candidates_[index].process, candidates_[index].values};
    latestIsCombined_[placeOf(config.key)] = config.combine;
    return *kept;
}

const ProcessListRows* ProcessLists::find(ProcessListKey key, bool combined) const {
    const auto& kept = cache_[placeOf(key)][combined ? 1 : 0];
    return kept ? &*kept : nullptr;
}

const ProcessListRows* ProcessLists::latest(ProcessListKey key) const {
    return find(key, latestIsCombined_[placeOf(key)]);
}

Value ProcessLists::toValue() const {
    Value all = Value::object();
    for (std::size_t place = 0; place < cache_.size(); ++place) {
        for (const bool combined : {false, true}) {
            const ProcessListConfig config{static_cast<ProcessListKey>(place), 0, 0, combined};
            if (const ProcessListRows* list = find(config.key, combined)) all[config.cacheKey()] = list->toValue();
        }
    }
    return all;
}

void ProcessLists::clear() {
    for (auto& lists : cache_) lists = {};
}

}  // namespace hvk
