// ProcessTable.h - the process calls of macOS. What their records mean is decode/'s; names of bundles, Launch Services
// and the window server have files of their own.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "HVKPlatform/darwin/LaunchServices.h"
#include "HVKPlatform/darwin/SystemControl.h"
#include "HVKPlatform/darwin/WindowServer.h"
#include "HVKPlatform/darwin/decode/ProcessIdentities.h"
#include "HVKPlatform/darwin/decode/ProcessRecords.h"
#include "HVKPlatform/ports/ProcessTable.h"
#include "HVKPlatform/support/Diagnostics.h"

namespace hvk {

/// ProcessTablePort of macOS.
///
/// A process's identity is its start in microseconds since 1970, which proc_pidinfo tells of every process, whoever
/// owns it. proc_pid_rusage tells the start in ticks only; the identity that goes with them is asked once for each
/// process. So a steady pass makes one call for each process that may be read, two for one that may not.
///
/// That a process has ended or has nothing to tell is an answer like any other; a refusal is noted at the source.
class DarwinProcessTablePort : public ProcessTablePort {
public:
    explicit DarwinProcessTablePort(Diagnostics& diagnostics);

    Result<std::int64_t> timebaseFrequency() override;
    Status pids(std::vector<std::int32_t>& pids) override;
    Result<ProcessInformation> information(std::int32_t pid) override;
    void usage(std::span<const std::int32_t> pids, std::span<ProcessUsage> usage) override;
    Result<std::uint64_t> footprint(std::int32_t pid) override;
    Result<std::int32_t> responsible(std::int32_t pid) override;
    Result<std::vector<std::string>> arguments(std::int32_t pid) override;
    Result<std::string> displayName(std::int32_t pid, const std::string& path) override;
    Result<std::string> applicationType(std::int32_t pid) override;
    Result<bool> isUnresponsive(std::int32_t pid) override;

private:
    using Responsible = std::int32_t (*)(std::int32_t);

    /// Lists the pids in the kernel's order, into `listed_`.
    Result<std::span<const std::int32_t>> listPids();

    /// One reading of proc_pid_rusage; empty, with errno set, when the kernel refuses.
    static std::optional<decode::ResourceUsage> resourceUsage(std::int32_t pid);

    ProcessUsage usageOf(std::int32_t pid);
    ProcessUsage processorTimeOf(std::int32_t pid);

    /// The identity of the process that `resources` were read from; 0 when it ended meanwhile.
    std::uint64_t identityOf(std::int32_t pid, const decode::ResourceUsage& resources);

    /// Notes a pass: how many of the processes could not be read in full.
    void noteUsage(std::size_t processes, std::size_t refused);

    /// The raw arguments of a process, in `argumentBytes_` until the next question.
    Result<std::span<const std::uint8_t>> argumentBytes(std::int32_t pid);

    SystemControl timebase_;
    SystemControl longestArguments_;
    std::vector<std::int32_t> listed_;
    decode::ProcessIdentities identities_;
    std::size_t notedRefusals_ = 0;
    std::unique_ptr<std::uint8_t[]> argumentBytes_;  ///< not cleared: only as much of it is touched as a process fills
    std::size_t argumentCapacity_ = 0;
    Responsible responsible_;
    LaunchServices launchServices_;
    WindowServer windowServer_;
    SourceHealth& timebaseHealth_;
    SourceHealth& listHealth_;
    SourceHealth& informationHealth_;
    SourceHealth& usageHealth_;
    SourceHealth& footprintHealth_;
    SourceHealth& responsibleHealth_;
    SourceHealth& argumentsHealth_;
    SourceHealth& namesHealth_;
    SourceHealth& typesHealth_;
    SourceHealth& windowServerHealth_;
};

}  // namespace hvk
