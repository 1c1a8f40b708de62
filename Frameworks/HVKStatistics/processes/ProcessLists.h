// ProcessLists.h - the busiest processes or families: which figure decides, how many rows, and the rows themselves.
//
// It owns the configuration that a host sends, the ranking, and the cache of the last list of each kind. It sums no
// families; ProcessHierarchy.h does. Thread: the sampling thread.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/processes/ProcessHierarchy.h"
#include "HVKStatistics/processes/ProcessMetric.h"
#include "HVKStatistics/processes/StatisticsProcessList.h"

namespace hvk {

/// What a list is made of.
enum class ProcessListKey : std::uint8_t {
    CPU,
    Memory,
    Power,
    Energy,
    Network,       ///< both directions; the larger one decides
    DiskActivity,  ///< both directions; the larger one decides
    NetworkUpload,
    NetworkDownload,
    DiskRead,
    DiskWrite,
};
inline constexpr std::size_t ProcessListKeyCount = 10;

/// "cpu", "memory", "power", "energy", "network", "diskactivity", "network-upload", "network-download",
/// "diskactivity-read", "diskactivity-write".
HVK_EXPORT std::string_view processListKeyName(ProcessListKey key);

/// A list that a host wants.
struct HVK_EXPORT ProcessListConfig {
    ProcessListKey key = ProcessListKey::CPU;
    std::int64_t count = 0;  ///< most rows; none when not above 0
    double threshold = 0;    ///< for Power: the least energy impact of a row
    bool combine = false;    ///< families instead of processes

    /// Reads {"key": "power", "count": 5, "threshold": 1.0, "combine": true}; the last two may be missing. Malformed,
    /// with the field in the detail, when it is anything else.
    static Result<ProcessListConfig> fromValue(const Value& dictionary);

    /// The name of the list in the cache: "power", or "power-combined".
    std::string cacheKey() const;
};

/// One row. `values` has one entry, or two where the key shows both directions: upload and download, read and write.
struct ProcessListRow {
    std::shared_ptr<const StatisticsProcessItem> process;  ///< the head of the family in a combined list
    std::array<double, 2> values{};
};

/// A list as it was made last, the busiest first.
struct HVK_EXPORT ProcessListRows {
    ProcessListKey key = ProcessListKey::CPU;
    std::vector<ProcessListRow> rows;

    /// The rows as dictionaries: "pid", "name", "path", and the key's figures: [{"pid": 812, "name": "Editor", "path":
    /// "/usr/bin/editor", "network-upload": 0.0, "network-download": 1500.0}].
    Value toValue() const;
};

/// Ranks, and keeps the lists.
class HVK_EXPORT ProcessLists {
public:
    /// Makes a list of processes and keeps it under the configuration's cache key. Rows of equal value stand in the
    /// order of their pids. A Power list has applications of at least the threshold only.
    const ProcessListRows& make(const ProcessListConfig& config, const StatisticsProcessList& processes);

    /// The same of the families, whose figures are summed first.
    const ProcessListRows& make(const ProcessListConfig& config, ProcessHierarchy& hierarchy);

    /// The list that was made last, or null.
    const ProcessListRows* find(ProcessListKey key, bool combined) const;

    /// The one of a key that was made last, of processes or of families; null when there is none.
    const ProcessListRows* latest(ProcessListKey key) const;

    /// Every list by the name of its configuration.
    Value toValue() const;

    /// Forgets every list.
    void clear();

private:
    struct Candidate {
        double rank;
        std::int32_t pid;
        const std::shared_ptr<StatisticsProcessItem>* process;
        std::array<double, 2> values;
    };

    void consider(const ProcessListConfig& config, const std::shared_ptr<StatisticsProcessItem>& process,
                  const std::array<double, 2>& values);
    const ProcessListRows& keep(const ProcessListConfig& config);

    std::vector<Candidate> candidates_;  ///< kept so that a list allocates nothing
    std::array<std::array<std::optional<ProcessListRows>, 2>, ProcessListKeyCount> cache_;
    std::array<bool, ProcessListKeyCount> latestIsCombined_{};
};

}  // namespace hvk
