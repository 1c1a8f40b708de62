// IteratorSource.h - the process table from the kernel's task iterator: one reading of the whole table in each pass.
//
// The usage of a pass is that of its list, and who a process is comes from there too. What the iterator does not tell
// of is asked of /proc: processes that were not listed, and those that a kernel keeps from such programs (a guarded
// first process): the list of /proc is compared in the first pass and again now and then.
#pragma once

#include <memory>
#include <vector>

#include "HVKPlatform/linux/ProcessSource.h"
#include "HVKPlatform/linux/TaskReader.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// Reads task records.
class IteratorSource : public ProcessSource {
public:
    /// `ticksPerSecond` and `pageSize` are the machine's; neither may be 0. `proc` reads the same machine. `health`
    /// gets a note when there are processes that only `proc` tells of.
    IteratorSource(std::unique_ptr<TaskReader> reader, ProcessSource& proc, std::uint64_t ticksPerSecond,
                   std::uint64_t pageSize, SourceHealth& health);

    Status pids(std::vector<std::int32_t>& pids) override;
    /// As of the last list; Gone when it has ended since.
    Result<ProcessInformation> information(std::int32_t pid) override;
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override;
    void prepare(std::span<const std::int32_t>) override {}

private:
    struct Suspect {
        std::int32_t pid = 0;
        std::uint64_t identity = 0;
    };

    Status read();
    Status findHidden();
    const parse::TaskRecord* find(std::int32_t pid) const;
    std::uint64_t identityOf(const parse::TaskRecord& record) const;
    ProcessUsage usageOf(const parse::TaskRecord& record) const;

    std::unique_ptr<TaskReader> reader_;
    ProcessSource& proc_;
    std::uint64_t nanosecondsPerTick_;
    std::uint64_t pageSize_;
    SourceHealth& health_;
    std::span<parse::TaskRecord> records_;  ///< of the last pass, ascending; in the reader's buffer
    std::uint64_t pass_ = 0;
    std::vector<std::int32_t> hidden_;  ///< ascending
    std::vector<Suspect> suspects_;
    std::vector<std::int32_t> listed_;
    std::vector<std::int32_t> missing_;
    std::vector<std::size_t> missingAt_;
    std::vector<ProcessUsage> missingUsage_;
};

}  // namespace hvk
