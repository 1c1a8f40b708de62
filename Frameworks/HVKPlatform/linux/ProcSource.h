// ProcSource.h - the process table from /proc: every kernel, every user, and a saved tree.
//
// Opening a file of a process costs as much as reading it, so the descriptors of `stat` and `io` are kept for as many
// processes as a quarter of the descriptor limit allows; the others are opened below a kept directory. `statm` is read
// only when page faults or the resident size say that it changed, `status` only when the process ran, and `io` only now
// and then where it was denied. A saved tree is opened anew each time.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/linux/LinuxRoot.h"
#include "HVKPlatform/linux/ProcessSource.h"
#include "HVKPlatform/linux/parse/ProcessStat.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// Reads /proc.
class ProcSource : public ProcessSource {
public:
    /// `ticksPerSecond` and `pageSize` are the machine's; neither may be 0.
    ProcSource(const LinuxRoot& root, std::uint64_t ticksPerSecond, std::uint64_t pageSize, Diagnostics& diagnostics);
    ~ProcSource() override;
    ProcSource(const ProcSource&) = delete;
    ProcSource& operator=(const ProcSource&) = delete;

    Status pids(std::vector<std::int32_t>& pids) override;
    Result<ProcessInformation> information(std::int32_t pid) override;
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override;
    void prepare(std::span<const std::int32_t> pids) override { keepEntries(pids); }

    /// Descriptors of processes that are kept open now; never more than `descriptorLimit`.
    std::size_t keptDescriptors() const { return kept_; }
    std::size_t descriptorLimit() const { return limit_; }

private:
    /// One process between two passes.
    struct Entry {
        std::int32_t pid = 0;
        int stat = -1;  ///< kept descriptors; -1 when not kept
        int io = -1;
        std::uint64_t start = 0;  ///< identity of the figures below; 0 before the first reading
        std::uint64_t cpuTicks = 0;
        std::uint64_t faults = 0;
        std::uint64_t residentPages = 0;
        std::uint64_t memory = 0;
        std::uint64_t wakeups = 0;
        std::uint8_t ioPause = 0;  ///< passes for which `io` is not tried again after it was denied
    };

    Status openDirectory();
    void closeDirectory();
    void closeKept(int& descriptor);
    void closeKept(Entry& entry);
    void keepEntries(std::span<const std::int32_t> pids);
    Result<std::string_view> read(std::int32_t pid, const char* file, int* keptDescriptor);
    Result<parse::ProcessStat> readStat(std::int32_t pid, int* keptDescriptor);
    void readOne(Entry& entry, ProcessUsage& usage);
    bool readMemory(Entry& entry, const parse::ProcessStat& stat);
    Result<std::uint32_t> user(std::int32_t pid);

    const LinuxRoot& root_;
    std::uint64_t nanosecondsPerTick_;
    std::uint64_t pageSize_;
    SourceHealth& listSource_;
    SourceHealth& statSource_;
    SourceHealth& ioSource_;
    int directory_ = -1;  ///< of /proc
    std::size_t kept_ = 0;
    std::size_t limit_ = 0;
    std::size_t denied_ = 0;       ///< processes of this pass whose `io` may not be read
    std::size_t deniedNoted_ = 0;  ///< what the note says
    bool ioRead_ = false;          ///< the `io` of one of them was
    std::string buffer_;
    std::vector<std::int32_t> listed_;
    std::vector<Entry> entries_;  ///< ascending by pid
    std::vector<Entry> next_;
};

}  // namespace hvk
