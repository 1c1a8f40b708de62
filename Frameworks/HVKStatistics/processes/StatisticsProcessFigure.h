// StatisticsProcessFigure.h - one number of a process that the sampling thread changes and any thread reads.
//
// A host lists processes while the next pass runs. Every figure is whole whenever it is read; two figures of one
// process may stem from two passes. Costs no more than a plain number.
#pragma once

#include <atomic>

namespace hvk {

/// A number or flag that is used like a plain one: `item.cpu = 12.5; double cpu = item.cpu;`
template <class T>
class StatisticsProcessFigure {
public:
    StatisticsProcessFigure() = default;
    StatisticsProcessFigure(T value) : value_(value) {}
    StatisticsProcessFigure(const StatisticsProcessFigure&) = delete;
    StatisticsProcessFigure& operator=(const StatisticsProcessFigure&) = delete;

    /// Stores a value. Thread: the sampling thread.
    T operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return value;
    }

    /// The latest value. Thread: any.
    T load() const { return value_.load(std::memory_order_relaxed); }
    operator T() const { return load(); }

private:
    std::atomic<T> value_{};
    static_assert(std::atomic<T>::is_always_lock_free);
};

}  // namespace hvk
