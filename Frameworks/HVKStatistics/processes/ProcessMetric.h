// ProcessMetric.h - the figures of a process that lists are ordered by and families are summed over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKStatistics/processes/StatisticsProcessItem.h"

namespace hvk {

/// One figure of a process.
enum class ProcessMetric : std::uint8_t {
    CPU,
    Memory,
    Power,
    Energy,
    NetworkUpload,
    NetworkDownload,
    DiskRead,
    DiskWrite,
};
inline constexpr std::size_t ProcessMetricCount = 8;

/// "cpu", "memory", "power", "energy", "network-upload", "network-download", "diskactivity-read",
/// "diskactivity-write".
HVK_EXPORT std::string_view processMetricName(ProcessMetric metric);

/// The figure of one process, in the unit of the item's field. Thread: any.
HVK_EXPORT double processMetricValue(const StatisticsProcessItem& item, ProcessMetric metric);

}  // namespace hvk
