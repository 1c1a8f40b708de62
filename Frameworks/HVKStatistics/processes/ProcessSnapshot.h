// ProcessSnapshot.h - the process table as another program sends it.
//
// A program with more privileges reads the processes, sends them as a dictionary, and this one shows them. It owns the
// form: {"processes": [{"pid": 812, "user": 501, "parent": 1, "controlling": 812, "name": "Editor", "path":
// "/usr/bin/editor", "type": 32, "stats": true, "cputime": 41000000, "wakeups": 30, "memory": 52428800, "disksread":
// 4096, "diskswrite": 0}], "frequency": 1000000000, "time": 1700000000.0}.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKPlatform/ports/ProcessTable.h"
#include "HVKStatistics/processes/StatisticsProcessItem.h"

namespace hvk {

/// One process of a snapshot.
struct ProcessSnapshotRecord {
    std::int32_t pid = 0;
    std::uint32_t user = StatisticsProcessNoUser;  ///< "user": -1 when unknown
    std::int32_t parent = -1;
    std::int32_t controlling = -1;
    std::string name;
    std::string path;
    int type = 0;  ///< 0 when the record has none
    /// None without "stats"; CPUOnly when "stats" comes without the disk counters and wakeups.
    ProcessUsage usage;
};

/// A snapshot.
struct HVK_EXPORT ProcessSnapshot {
    std::vector<ProcessSnapshotRecord> processes;  ///< ascending by pid, each pid once
    std::int64_t frequency = 1'000'000'000;        ///< time-base ticks per second of "cputime"
    double time = 0;                               ///< seconds since 1970

    /// Reads a dictionary. Malformed, with the place in the detail ("/processes/17/cputime: ..."), when a field has the
    /// wrong type or range; then nothing of it is used. Of two records with one pid the first counts.
    static Result<ProcessSnapshot> fromValue(const Value& dictionary);

    /// The dictionary; without "stats" and counters when `withCounters` is false. "stats" is false where no counter is
    /// known. Names and paths that are no UTF-8 are mended.
    Value toValue(bool withCounters = true) const;
};

}  // namespace hvk
