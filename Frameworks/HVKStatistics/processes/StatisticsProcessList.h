// StatisticsProcessList.h - all processes of one pass, in ascending order of their pids.
//
// A list never changes once it is made: a pass that finds other processes makes another one, a pass that finds the same
// ones keeps it. So a reader holds on to a list at the price of one pointer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKStatistics/processes/StatisticsProcessItem.h"

namespace hvk {

/// The processes, each pid once. Thread: any.
class HVK_EXPORT StatisticsProcessList {
public:
    using Items = std::vector<std::shared_ptr<StatisticsProcessItem>>;

    /// An empty list, or one of items that are in strictly ascending order of pid.
    StatisticsProcessList() = default;
    explicit StatisticsProcessList(Items items);

    /// The place of a pid in the list; `size()` when it is not there. Logarithmic.
    std::size_t indexOf(std::int32_t pid) const;

    /// The process of a pid, or null.
    std::shared_ptr<StatisticsProcessItem> find(std::int32_t pid) const;

    /// The pids, in the order of the items.
    std::span<const std::int32_t> pids() const { return pids_; }

    // The items, as of a vector.
    std::size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }
    const std::shared_ptr<StatisticsProcessItem>& operator[](std::size_t index) const { return items_[index]; }
    Items::const_iterator begin() const { return items_.begin(); }
    Items::const_iterator end() const { return items_.end(); }

private:
    std::vector<std::int32_t> pids_;
    Items items_;
};

}  // namespace hvk
