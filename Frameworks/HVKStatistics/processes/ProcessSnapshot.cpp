#include "HVKStatistics/processes/ProcessSnapshot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "HVKStatistics/processes/ProcessNames.h"

namespace hvk {

namespace {

/// The place and the fault of a field; thrown and caught in this file.
struct Fault {
    std::string text;
};

[[noreturn]] void fault(const std::string& place, const char* wanted) { throw Fault{place + ": should be " + wanted}; }

const Value* find(const Value& dictionary, const char* key) {
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : &*found;
}

/// A whole number of the range; a floating-point number counts when it is one.
template <class Integer>
Integer integerIn(const Value& value, const std::string& place, Integer least, Integer most) {
    bool isIn = false;
    Integer number = 0;
    if (value.is_number_unsigned()) {
        const auto given = value.get<std::uint64_t>();
        isIn = std::cmp_greater_equal(given, least) && std::cmp_less_equal(given, most);
        number = static_cast<Integer>(given);
    } else if (value.is_number_integer()) {
        const auto given = value.get<std::int64_t>();
        isIn = std::cmp_greater_equal(given, least) && std::cmp_less_equal(given, most);
        number = static_cast<Integer>(given);
    } else if (value.is_number_float()) {
        // The largest number may be none of this type; what is below it, by a double's measure, fits.
        const auto given = value.get<double>();
        isIn = given >= static_cast<double>(least) && given < static_cast<double>(most) && std::trunc(given) == given;
        number = isIn ? static_cast<Integer>(given) : 0;
    }
    if (!isIn) fault(place, "an integer of its range");
    return number;
}

std::string textIn(const Value& record, const char* key, const std::string& place) {
    const Value* value = find(record, key);
    if (value == nullptr) return {};
    if (!value->is_string()) fault(place + "/" + key, "a text");
    return value->get<std::string>();
}

class RecordReader {
public:
    RecordReader(const Value& record, std::string place) : record_(record), place_(std::move(place)) {
        if (!record.is_object()) fault(place_, "a dictionary");
    }

    ProcessSnapshotRecord read() const {
        ProcessSnapshotRecord result;
        if (find(record_, "pid") == nullptr) fault(place_ + "/pid", "there");
        result.pid = number<std::int32_t>("pid", 0, 0);
        result.user =
            static_cast<std::uint32_t>(number<std::int64_t>("user", -1, -1, std::numeric_limits<std::uint32_t>::max()));
        result.parent = number<std::int32_t>("parent", -1, -1);
        result.controlling = number<std::int32_t>("controlling", -1, -1);
        result.type = number<int>("type", 0, 0);
        result.name = stringifyProcessName(textIn(record_, "name", place_));
        result.path = textIn(record_, "path", place_);
        if (hasStats()) readUsage(result.usage);
        return result;
    }

private:
    template <class Integer>
    Integer number(const char* key, Integer fallback, Integer least,
                   Integer most = std::numeric_limits<Integer>::max()) const {
        const Value* value = find(record_, key);
        return value == nullptr ? fallback : integerIn<Integer>(*value, place_ + "/" + key, least, most);
    }

    bool hasStats() const {
        const Value* value = find(record_, "stats");
        if (value == nullptr) return false;
        if (!value->is_boolean()) fault(place_ + "/stats", "true or false");
        return value->get<bool>();
    }

    void readUsage(ProcessUsage& usage) const {
        if (find(record_, "cputime") == nullptr) fault(place_ + "/cputime", "there, as \"stats\" promises");
        usage.cputime = number<std::uint64_t>("cputime", 0, 0);
        usage.memory = number<std::uint64_t>("memory", 0, 0);
        usage.wakeups = number<std::uint64_t>("wakeups", 0, 0);
        usage.diskRead = number<std::uint64_t>("disksread", 0, 0);
        usage.diskWritten = number<std::uint64_t>("diskswrite", 0, 0);
        const bool isComplete = find(record_, "wakeups") != nullptr && find(record_, "disksread") != nullptr &&
                                find(record_, "diskswrite") != nullptr;
        usage.kind = isComplete ? ProcessUsageKind::Complete : ProcessUsageKind::CPUOnly;
    }

    const Value& record_;
    std::string place_;
};

ProcessSnapshot readSnapshot(const Value& dictionary) {
    if (!dictionary.is_object()) fault("/", "a dictionary");
    ProcessSnapshot snapshot;

    const Value* time = find(dictionary, "time");
    if (time == nullptr || !time->is_number() || !std::isfinite(time->get<double>()) || time->get<double>() < 0)
        fault("/time", "seconds since 1970");
    snapshot.time = time->get<double>();
    if (const Value* frequency = find(dictionary, "frequency"))
        snapshot.frequency =
            integerIn<std::int64_t>(*frequency, "/frequency", 1, std::numeric_limits<std::int64_t>::max());

    const Value* processes = find(dictionary, "processes");
    if (processes == nullptr || !processes->is_array()) fault("/processes", "an array");
    snapshot.processes.reserve(processes->size());
    for (std::size_t index = 0; index < processes->size(); ++index)
        snapshot.processes.push_back(RecordReader((*processes)[index], "/processes/" + std::to_string(index)).read());

    const auto pid = [](const ProcessSnapshotRecord& record) { return record.pid; };
    std::stable_sort(snapshot.processes.begin(), snapshot.processes.end(),
                     [&](const auto& a, const auto& b) { return pid(a) < pid(b); });
    snapshot.processes.erase(std::unique(snapshot.processes.begin(), snapshot.processes.end(),
                                         [&](const auto& a, const auto& b) { return pid(a) == pid(b); }),
                             snapshot.processes.end());
    return snapshot;
}

Value identityValue(const ProcessSnapshotRecord& record) {
    const std::int64_t user = record.user == StatisticsProcessNoUser ? -1 : std::int64_t{record.user};
    return {{"pid", record.pid},
            {"user", user},
            {"parent", record.parent},
            {"controlling", record.controlling},
            {"name", stringifyProcessName(record.name)},
            {"path", stringifyProcessName(record.path)},
            {"type", record.type}};
}

void addCounters(Value& value, const ProcessUsage& usage) {
    value["stats"] = usage.kind != ProcessUsageKind::None;
    if (usage.kind == ProcessUsageKind::None) return;
    value["cputime"] = usage.cputime;
    value["memory"] = usage.memory;
    if (usage.kind != ProcessUsageKind::Complete) return;
    value["wakeups"] = usage.wakeups;
    value["disksread"] = usage.diskRead;
    value["diskswrite"] = usage.diskWritten;
}

}  // namespace

Result<ProcessSnapshot> ProcessSnapshot::fromValue(const Value& dictionary) {
    try {
        return readSnapshot(dictionary);
    } catch (const Fault& found) {
        return Failure{FailureKind::Malformed, "process snapshot", found.text};
    }
}

Value ProcessSnapshot::toValue(bool withCounters) const {
    Value list = Value::array();
    for (const ProcessSnapshotRecord& record : processes) {
        Value value = identityValue(record);
        if (withCounters) addCounters(value, record.usage);
        list.push_back(std::move(value));
    }
    return {{"processes", std::move(list)}, {"frequency", frequency}, {"time", time}};
}

}  // namespace hvk
