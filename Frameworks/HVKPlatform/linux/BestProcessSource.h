// BestProcessSource.h - picks where the process table is read from: the task iterator where it can be had, else /proc.
//
// The iterator is loaded by the first pass, not before: a host that asks for no processes pays nothing. A pass that it
// fails is read from /proc at once; after three failures in a row it is given up. Diagnostics say which source is in
// force, why it is not the iterator, and what would mend that.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/ProcSource.h"
#include "HVKPlatform/linux/ProcessSource.h"
#include "HVKPlatform/linux/bpf/TaskIterator.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

class IteratorSource;

/// The source of a machine.
class BestProcessSource : public ProcessSource {
public:
    /// How the iterator is come by; a test gives its own.
    using Opener = std::function<std::unique_ptr<TaskReader>(const LinuxRoot&, TaskIteratorRefusal&)>;

    /// A machine whose files are not those of the running kernel has no iterator, whatever `choice` says.
    BestProcessSource(const LinuxRoot& root, std::uint64_t ticksPerSecond, std::uint64_t pageSize,
                      Diagnostics& diagnostics, ProcessSourceChoice choice, Opener opener = openTaskIterator);
    ~BestProcessSource() override;

    Status pids(std::vector<std::int32_t>& pids) override;
    Result<ProcessInformation> information(std::int32_t pid) override { return inForce_->information(pid); }
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override {
        inForce_->usage(pids, usage);
    }
    void prepare(std::span<const std::int32_t> pids) override { inForce_->prepare(pids); }

private:
    void open();
    Status failed(Failure failure);

    const LinuxRoot& root_;
    std::uint64_t ticksPerSecond_;
    std::uint64_t pageSize_;
    Diagnostics& diagnostics_;
    ProcessSourceChoice choice_;
    Opener opener_;
    ProcSource proc_;
    std::unique_ptr<IteratorSource> iterator_;
    SourceHealth* health_ = nullptr;  ///< of the iterator; none before it was tried
    Failure refusal_;                 ///< why there is no iterator
    int failuresInARow_ = 0;
    ProcessSource* inForce_;  ///< which one the last list came from
};

}  // namespace hvk
