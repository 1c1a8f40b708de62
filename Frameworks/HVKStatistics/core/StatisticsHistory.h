// StatisticsHistory.h - the past of a reading: a fixed array of time-stamped records, newest first.
//
// There is no head index and no count: an append is one block move, an unused slot has time 0, and a host draws
// straight from the array. This file owns the three ways in which a history is used: append, the bucket scan behind
// every `historyAverage`, and the walk behind every alert query. What is summed or compared is the owner's business.
//
//     StatisticsHistory<StatisticsHistoryLoadSample, 1000> history;
//     history.append({time, one, five, fifteen});
//     double sum = 0;
//     std::size_t count = history.scanBucket(start, end, [&](const auto& record) { sum += record.one; });
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace hvk {

/// A history of `Capacity` records, zeroed at first. The record is a plain struct that begins with `double time`,
/// seconds since 1970. Held by value in its owner; not copied. Thread: the owner's.
template <class Record, std::size_t Capacity>
class StatisticsHistory {
    static_assert(std::is_trivially_copyable_v<Record> && std::is_standard_layout_v<Record>);
    static_assert(std::is_same_v<decltype(Record::time), double> && offsetof(Record, time) == 0);
    static_assert(Capacity > 1);

public:
    StatisticsHistory() = default;
    StatisticsHistory(const StatisticsHistory&) = delete;
    StatisticsHistory& operator=(const StatisticsHistory&) = delete;

    /// How many records it holds, used or not.
    static constexpr std::size_t capacity() { return Capacity; }

    /// The newest record; `capacity()` contiguous ones follow it into the past. Valid for the owner's life.
    const Record* records() const { return records_.data(); }

    /// One record, 0 the newest; all zero in a slot that nothing has reached yet.
    const Record& operator[](std::size_t index) const { return records_[index]; }
    const Record& newest() const { return records_[0]; }

    /// Whether nothing has been appended yet (or the newest record carries no time).
    bool isEmpty() const { return records_[0].time == 0; }

    /// Puts a record at the front; the oldest falls off.
    void append(const Record& record) { shift() = record; }

    /// Moves every record one place into the past and returns the front slot for writing. The slot still holds what the
    /// newest record held, so a field that the owner does not write is carried over.
    Record& shift() {
        std::memmove(records_.data() + 1, records_.data(), (Capacity - 1) * sizeof(Record));
        return records_[0];
    }

    /// A slot for writing in place; for demonstration data.
    Record& slot(std::size_t index) { return records_[index]; }

    /// Calls `visit` for every record with `end` < time <= `start`, newest first, and returns how many there were. The
    /// scan ends behind the first record at or before `end`. A record for which `skip` is true is passed over before it
    /// is tested: it is not visited and does not end the scan.
    template <class Visit, class Skip>
    std::size_t scanBucket(double start, double end, Visit&& visit, Skip&& skip) const {
        std::size_t count = 0;
        for (const Record& record : records_) {
            if (skip(record)) continue;
            if (record.time <= end) break;
            if (record.time <= start) {
                visit(record);
                ++count;
            }
        }
        return count;
    }

    /// The same without a record that is passed over.
    template <class Visit>
    std::size_t scanBucket(double start, double end, Visit&& visit) const {
        return scanBucket(start, end, std::forward<Visit>(visit), [](const Record&) { return false; });
    }

    /// Whether `exceeds` holds for every record of the last `duration` seconds before `now`, and an older record proves
    /// that the history reaches back that far. False for an empty history, when the newest record is itself older than
    /// the window, when the history ends inside the window, and when all of it lies inside.
    template <class Exceeds>
    bool holdsForDuration(double now, double duration, Exceeds&& exceeds) const {
        for (std::size_t index = 0; index < Capacity; ++index) {
            const Record& record = records_[index];
            if (record.time == 0) return false;
            if (now - duration > record.time) return index != 0;
            if (!exceeds(record)) return false;
        }
        return false;
    }

private:
    std::array<Record, Capacity> records_{};
};

}  // namespace hvk
