#include "HVKStatistics/processes/StatisticsProcessList.h"

#include <algorithm>

namespace hvk {

StatisticsProcessList::StatisticsProcessList(Items items) : items_(std::move(items)) {
    pids_.reserve(items_.size());
    for (const auto& item : items_) pids_.push_back(item->pid);
}

std::size_t StatisticsProcessList::indexOf(std::int32_t pid) const {
    const auto place = std::lower_bound(pids_.begin(), pids_.end(), pid);
    if (place == pids_.end() || *place != pid) return size();
    return static_cast<std::size_t>(place - pids_.begin());
}

std::shared_ptr<StatisticsProcessItem> StatisticsProcessList::find(std::int32_t pid) const {
    const std::size_t index = indexOf(pid);
    return index < size() ? items_[index] : nullptr;
}

}  // namespace hvk
